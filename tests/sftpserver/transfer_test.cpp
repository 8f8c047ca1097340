#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "tests/sftpserver/delayrelay.h"
#include "tests/sftpserver/hostsession.h"
#include "tests/sftpserver/opensshserver.h"
#include "tests/support/payload.h"

namespace {

using namespace TestSupport;
namespace fs = std::filesystem;

constexpr Millis kRoundTrip{200};  // long, so that a busy machine's own delays do not count

SFTP_String Text(const std::string& strText) {
    return SFTP_String(strText.c_str());
}

class Progress : public SFTP_Progress {
public:
    bool moved(std::uint64_t ullDone, std::uint64_t ullTotal) override {
        ++m_nCalls;
        m_bBackwards = m_bBackwards || ullDone < m_ullDone;
        m_ullDone = ullDone;
        m_ullTotal = ullTotal;
        return !m_react || m_react(ullDone);
    }

    std::function<bool(std::uint64_t ullDone)> m_react;
    int m_nCalls = 0;
    std::uint64_t m_ullDone = 0;
    std::uint64_t m_ullTotal = 0;
    bool m_bBackwards = false;
};

class Transfer : public testing::Test {
protected:
    Transfer() : m_session(PasswordAccount(m_server)) {}

    void SetUp() override { ASSERT_EQ(m_session->connect(), SFTP_OK) << m_session.Error(); }

    int Get(SFTP_Progress* pProgress = nullptr) {
        return m_session->getFile(Text(Remote()), Text(Local()), pProgress);
    }

    int Put(SFTP_Progress* pProgress = nullptr) {
        return m_session->putFile(Text(Local()), Text(Remote()), pProgress);
    }

    std::string Remote() const { return m_server.File("remote-file"); }
    std::string Local() const { return m_temp.File("local-file"); }

    void MakeRemote(const std::string& strBytes) {
        WriteFile(Remote(), strBytes);
        GiveToUnprivileged(Remote());
    }

    OpenSshServer m_server;
    TempDir m_temp;
    HostSession m_session;
};

class TransferOfSize : public Transfer, public testing::WithParamInterface<std::size_t> {};

TEST_P(TransferOfSize, ArrivesWholeBothWays) {
    const std::string strBytes = Payload(GetParam());
    WriteFile(Local(), strBytes);
    Progress put;
    ASSERT_EQ(Put(&put), SFTP_OK) << m_session.Error();
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Remote())));
    fs::remove(Local());
    Progress get;
    ASSERT_EQ(Get(&get), SFTP_OK) << m_session.Error();
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local())));
    EXPECT_FALSE(fs::exists(Local() + ".part"));
    for (const Progress* pProgress : {&put, &get}) {
        EXPECT_GE(pProgress->m_nCalls, 1);
        EXPECT_EQ(pProgress->m_ullDone, strBytes.size());
        EXPECT_EQ(pProgress->m_ullTotal, strBytes.size());
        EXPECT_FALSE(pProgress->m_bBackwards);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, TransferOfSize,
                         testing::Values(0, 1, 32768, 261119, 261120, 261121, 2 * 261120,
                                         10'000'000));

TEST_F(Transfer, ReplacesWhatIsThere) {
    WriteFile(Local(), "new");
    MakeRemote("a longer old text");
    ASSERT_EQ(Put(), SFTP_OK) << m_session.Error();
    EXPECT_EQ(ReadFile(Remote()), "new");
    WriteFile(Local(), "a longer old text");
    ASSERT_EQ(Get(), SFTP_OK) << m_session.Error();
    EXPECT_EQ(ReadFile(Local()), "new");
}

TEST_F(Transfer, NeedsALocalFileItCanOpen) {
    MakeRemote("old");
    EXPECT_EQ(m_session->putFile(Text(m_temp.File("missing")), Text(Remote()), nullptr),
              SFTP_ERR_LOCAL_FILE);
    EXPECT_EQ(m_session.Error(),
              "16 local file " + m_temp.File("missing") + ": No such file or directory");
    EXPECT_EQ(ReadFile(Remote()), "old");
    EXPECT_EQ(m_session->putFile(Text(m_temp.Path().string()), Text(Remote()), nullptr),
              SFTP_ERR_LOCAL_FILE);
    EXPECT_EQ(m_session->getFile(Text(Remote()), Text(m_temp.File("missing/f")), nullptr),
              SFTP_ERR_LOCAL_FILE);
    EXPECT_EQ(Get(), SFTP_OK) << m_session.Error();
}

TEST_F(Transfer, ThatIsCancelledWhileGettingLeavesTheLocalFileAsItWas) {
    MakeRemote(Payload(20'000'000));
    WriteFile(Local(), "old");
    Progress progress;
    progress.m_react = [](std::uint64_t ullDone) { return ullDone < 5'000'000; };
    EXPECT_EQ(Get(&progress), SFTP_ERR_CANCELLED);
    EXPECT_LT(progress.m_ullDone, 10'000'000U);
    EXPECT_EQ(ReadFile(Local()), "old");
    EXPECT_FALSE(fs::exists(Local() + ".part"));
    EXPECT_EQ(Get(), SFTP_OK) << m_session.Error();
    EXPECT_TRUE(SamePayload(Payload(20'000'000), ReadFile(Local())));
}

TEST_F(Transfer, ThatIsCancelledWhilePuttingLeavesTheSessionUsable) {
    WriteFile(Local(), Payload(20'000'000));
    Progress progress;
    progress.m_react = [](std::uint64_t ullDone) { return ullDone < 5'000'000; };
    EXPECT_EQ(Put(&progress), SFTP_ERR_CANCELLED);
    EXPECT_LT(fs::file_size(Remote()), 20'000'000U);
    EXPECT_EQ(Put(), SFTP_OK) << m_session.Error();
    EXPECT_EQ(fs::file_size(Remote()), 20'000'000U);
}

TEST_F(Transfer, WhoseServerGoesAwayWhileGettingLeavesTheLocalFileAsItWas) {
    MakeRemote(Payload(50'000'000));
    WriteFile(Local(), "old");
    Progress progress;
    progress.m_react = [this](std::uint64_t ullDone) {
        if (ullDone > 1'000'000) m_server.Kill();
        return true;
    };
    EXPECT_EQ(Get(&progress), SFTP_ERR_LOST);
    EXPECT_EQ(m_session.Error().substr(0, 25), "10 the connection is lost");
    EXPECT_EQ(ReadFile(Local()), "old");
    EXPECT_FALSE(fs::exists(Local() + ".part"));
    EXPECT_EQ(m_session->makeDir(Text(m_server.File("d"))), SFTP_ERR_LOST);
}

TEST_F(Transfer, WhoseServerGoesAwayWhilePuttingDoesNotEndTheProgram) {
    ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
    WriteFile(Local(), Payload(50'000'000));
    Progress progress;
    progress.m_react = [this](std::uint64_t ullDone) {
        if (ullDone > 1'000'000) m_server.Kill();
        return true;
    };
    EXPECT_EQ(Put(&progress), SFTP_ERR_LOST);
    EXPECT_LT(fs::file_size(Remote()), 50'000'000U);
}

TEST_F(Transfer, OfAThousandSmallFilesBothWays) {
    for (int i = 0; i < 1000; ++i) {
        const std::string strName = "small-" + std::to_string(i);
        const std::string strBytes =
            Payload(static_cast<std::size_t>(i), 100U + static_cast<unsigned int>(i));
        WriteFile(m_temp.File(strName), strBytes);
        ASSERT_EQ(
            m_session->putFile(Text(m_temp.File(strName)), Text(m_server.File(strName)), nullptr),
            SFTP_OK)
            << m_session.Error();
        ASSERT_EQ(m_session->getFile(Text(m_server.File(strName)),
                                     Text(m_temp.File(strName + "-back")), nullptr),
                  SFTP_OK)
            << m_session.Error();
        ASSERT_TRUE(SamePayload(strBytes, ReadFile(m_temp.File(strName + "-back")))) << i;
    }
}

// The server, far away.
class DistantTransfer : public testing::Test {
protected:
    DistantTransfer() : m_relay(m_server.Port(), kRoundTrip) {
        TQ_UTIL::StFTPAccountInfo account = PasswordAccount(m_server);
        account.nPort = m_relay.Port();
        m_pSession = std::make_unique<HostSession>(account);
    }

    OpenSshServer m_server;
    DelayRelay m_relay;
    TempDir m_temp;
    std::unique_ptr<HostSession> m_pSession;
};

// One block after the other, 16 MB would take 12 s in the largest blocks and 97 s in those of 32
// KiB.
TEST_F(DistantTransfer, DoesNotWaitForEachBlock) {
    HostSession& session = *m_pSession;
    ASSERT_EQ(session->connect(), SFTP_OK) << session.Error();
    const std::string strBytes = Payload(16'000'000);
    WriteFile(m_temp.File("f"), strBytes);
    const auto start = Clock::now();
    ASSERT_EQ(session->putFile(Text(m_temp.File("f")), Text(m_server.File("f")), nullptr), SFTP_OK)
        << session.Error();
    const auto put = Clock::now() - start;
    ASSERT_EQ(session->getFile(Text(m_server.File("f")), Text(m_temp.File("g")), nullptr), SFTP_OK)
        << session.Error();
    const auto get = Clock::now() - start - put;
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(m_temp.File("g"))));
    EXPECT_LT(put, Millis(8000));
    EXPECT_LT(get, Millis(8000));
}

TEST_F(DistantTransfer, IsGivenUpWhenTheLineIsDead) {
    HostSession& session = *m_pSession;
    ASSERT_EQ(session->setTimeout(2), SFTP_OK);
    ASSERT_EQ(session->connect(), SFTP_OK) << session.Error();
    WriteFile(m_temp.File("f"), Payload(50'000'000));
    Progress progress;
    progress.m_react = [this](std::uint64_t ullDone) {
        if (ullDone > 1'000'000) m_relay.FallSilent();
        return true;
    };
    const auto start = Clock::now();
    EXPECT_EQ(session->putFile(Text(m_temp.File("f")), Text(m_server.File("f")), &progress),
              SFTP_ERR_TIMEOUT);
    EXPECT_EQ(session.Error(), "11 no answer for 2 seconds");
    EXPECT_EQ(session->disconnect(), SFTP_OK);
    EXPECT_LT(Clock::now() - start, Millis(6000));
}

TEST(Connect, FailsAtOnceWhereNobodyListens) {
    const DeadPort port;
    TQ_UTIL::StFTPAccountInfo account;
    account.strHost = "127.0.0.1";
    account.nPort = port.Port();
    account.strUserName = "bob";
    HostSession session(account);
    EXPECT_EQ(session->connect(), SFTP_ERR_CONNECT);
    EXPECT_EQ(session.Error(), "5 no connection to 127.0.0.1 port " + std::to_string(port.Port()) +
                                   ": Connection refused");
}

// Neither a full queue nor a peer that accepts and stays silent may hold a host for ever.
TEST(Connect, FailsInTimeWhereNobodyAnswers) {
    const SilentPort full;
    const CHandle silent = BindLoopback();
    StartListening(silent.Get());
    for (const unsigned short usPort : {full.Port(), PortOf(silent.Get())}) {
        TQ_UTIL::StFTPAccountInfo account;
        account.strHost = "127.0.0.1";
        account.nPort = usPort;
        account.strUserName = "bob";
        HostSession session(account);
        ASSERT_EQ(session->setTimeout(1), SFTP_OK);
        const auto start = Clock::now();
        EXPECT_EQ(session->connect(), SFTP_ERR_CONNECT) << session.Error();
        EXPECT_LT(Clock::now() - start, Millis(4000));
    }
}

}  // namespace
