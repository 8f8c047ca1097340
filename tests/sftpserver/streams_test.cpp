// Transfers that continue, and what surrounds them: attributes, replacing, the choice of a host
// key.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/sftpserver/scriptedsession.h"
#include "tests/support/payload.h"

namespace {

using namespace TestSupport;
using namespace sftpwrapper;
namespace fs = std::filesystem;

constexpr std::size_t kFileSize = 10'000'001;  // more than a window, no multiple of any block

SFTP_String Text(const std::string& strText) {
    return SFTP_String(strText.c_str());
}

class Collector : public SFTP_Sink {
public:
    bool take(const void* pData, std::size_t nSize) override {
        m_bEmptyBlock = m_bEmptyBlock || nSize == 0;
        m_bAfterEnd = m_bAfterEnd || m_bEnded;
        m_bEnded = m_strBytes.size() + nSize > m_uMost;
        if (!m_bEnded) m_strBytes.append(static_cast<const char*>(pData), nSize);
        return !m_bEnded;
    }

    std::string m_strBytes;
    std::size_t m_uMost = SIZE_MAX;
    bool m_bEnded = false;
    bool m_bAfterEnd = false;  // was called again after it had refused
    bool m_bEmptyBlock = false;
};

class Giver : public SFTP_Source {
public:
    explicit Giver(std::string strBytes) : m_strBytes(std::move(strBytes)) {}

    bool give(void* pBuffer, std::size_t nRoom, std::size_t* pSize) override {
        *pSize = std::min(nRoom, m_strBytes.size() - m_uGiven);
        std::copy_n(m_strBytes.data() + m_uGiven, *pSize, static_cast<char*>(pBuffer));
        m_uGiven += *pSize;
        return m_uGiven <= m_uMostGiven;
    }
    bool arrived(std::uint64_t ullDone) override {
        m_bBackwards = m_bBackwards || ullDone < m_ullDone;
        m_ullDone = ullDone;
        return ullDone <= m_ullMostDone;
    }

    std::string m_strBytes;
    std::size_t m_uGiven = 0;
    std::size_t m_uMostGiven = SIZE_MAX;
    std::uint64_t m_ullDone = 0;
    std::uint64_t m_ullMostDone = UINT64_MAX;
    bool m_bBackwards = false;
};

class Streams : public testing::Test {
protected:
    Streams() : m_session(PasswordAccount(m_server)) {}

    void SetUp() override { ASSERT_EQ(m_session->connect(), SFTP_OK) << m_session.Error(); }

    void Make(const std::string& strName, const std::string& strBytes) {
        WriteFile(m_server.File(strName), strBytes);
        GiveToUnprivileged(m_server.File(strName));
    }

    SFTP_File* Open(const std::string& strName, int nOpen) {
        SFTP_File* pFile = nullptr;
        EXPECT_EQ(m_session->openFile(Text(m_server.File(strName)), nOpen, &pFile), SFTP_OK)
            << m_session.Error();
        return pFile;
    }

    OpenSshServer m_server;
    HostSession m_session;
};

class StreamsFrom : public Streams, public testing::WithParamInterface<std::size_t> {};

TEST_P(StreamsFrom, AnOffsetReadTheRestInOrder) {
    const std::string strBytes = Payload(kFileSize);
    Make("f", strBytes);
    Collector collector;
    ASSERT_EQ(m_session->readAll(Open("f", SFTP_OPEN_READ), GetParam(), collector), SFTP_OK)
        << m_session.Error();
    EXPECT_TRUE(
        SamePayload(strBytes.substr(std::min(GetParam(), strBytes.size())), collector.m_strBytes));
    EXPECT_FALSE(collector.m_bEmptyBlock);
}

TEST_P(StreamsFrom, AnOffsetWriteTheRest) {
    const std::string strBytes = Payload(kFileSize);
    const std::size_t uOffset = std::min(GetParam(), strBytes.size());
    Make("f", strBytes.substr(0, uOffset));
    SFTP_File* const pFile = Open("f", SFTP_OPEN_WRITE);
    Giver giver(strBytes.substr(uOffset));
    ASSERT_EQ(m_session->writeAll(pFile, uOffset, giver), SFTP_OK) << m_session.Error();
    ASSERT_EQ(m_session->closeFile(pFile), SFTP_OK) << m_session.Error();
    EXPECT_EQ(giver.m_ullDone, strBytes.size() - uOffset);
    EXPECT_FALSE(giver.m_bBackwards);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(m_server.File("f"))));
}

INSTANTIATE_TEST_SUITE_P(Offsets, StreamsFrom,
                         testing::Values(0, 1, 261120, 261121, 9'999'999, 10'000'000, 10'000'001));

TEST_F(Streams, BeyondTheEndAreEmpty) {
    Make("f", "abc");
    Collector collector;
    EXPECT_EQ(m_session->readAll(Open("f", SFTP_OPEN_READ), 4, collector), SFTP_OK)
        << m_session.Error();
    EXPECT_EQ(collector.m_strBytes, "");
}

TEST_F(Streams, ThatTheSinkEndsAreCancelledAndNotContinued) {
    Make("f", Payload(kFileSize));
    Collector collector;
    collector.m_uMost = 3'000'000;
    SFTP_File* const pFile = Open("f", SFTP_OPEN_READ);
    EXPECT_EQ(m_session->readAll(pFile, 0, collector), SFTP_ERR_CANCELLED);
    EXPECT_FALSE(collector.m_bAfterEnd);
    EXPECT_GT(collector.m_strBytes.size(), 2'000'000U);
    EXPECT_TRUE(SamePayload(Payload(kFileSize).substr(0, collector.m_strBytes.size()),
                            collector.m_strBytes));
    EXPECT_EQ(m_session->closeFile(pFile), SFTP_OK) << m_session.Error();
}

TEST_F(Streams, ThatTheSourceEndsLeaveAnUnbrokenPiece) {
    for (const bool bByArrival : {false, true}) {
        const std::string strBytes = Payload(kFileSize);
        SFTP_File* const pFile = Open("f", SFTP_OPEN_WRITE | SFTP_OPEN_CREATE | SFTP_OPEN_TRUNCATE);
        Giver giver(strBytes);
        (bByArrival ? giver.m_ullMostDone : giver.m_uMostGiven) = 3'000'000;
        EXPECT_EQ(m_session->writeAll(pFile, 0, giver), SFTP_ERR_CANCELLED) << bByArrival;
        EXPECT_EQ(m_session->closeFile(pFile), SFTP_OK) << m_session.Error();
        const std::string strArrived = ReadFile(m_server.File("f"));
        EXPECT_GT(strArrived.size(), 2'000'000U) << bByArrival;
        EXPECT_LT(strArrived.size(), strBytes.size()) << bByArrival;
        EXPECT_TRUE(SamePayload(strBytes.substr(0, strArrived.size()), strArrived));
    }
}

TEST_F(Streams, NeedAnOpenFile) {
    Collector collector;
    Giver giver("x");
    EXPECT_EQ(m_session->readAll(nullptr, 0, collector), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(m_session->writeAll(nullptr, 0, giver), SFTP_ERR_ARGUMENT);
    ASSERT_EQ(m_session->disconnect(), SFTP_OK);
    EXPECT_EQ(m_session->readAll(nullptr, 0, collector), SFTP_ERR_NOT_CONNECTED);
    EXPECT_EQ(m_session->writeAll(nullptr, 0, giver), SFTP_ERR_NOT_CONNECTED);
}

TEST_F(Streams, GetAndSetTheTimeOfModification) {
    Make("f", "");
    for (const std::int64_t llTime : {std::int64_t{0}, std::int64_t{1559736000},
                                      std::int64_t{0x7fffffff}, std::int64_t{0xffffffff}}) {
        ASSERT_EQ(m_session->setModified(Text(m_server.File("f")), llTime), SFTP_OK)
            << m_session.Error();
        struct stat info = {};
        ASSERT_EQ(::stat(m_server.File("f").c_str(), &info), 0);
        EXPECT_EQ(info.st_mtime, llTime);
    }
    for (const std::int64_t llTime : {std::int64_t{-1}, std::int64_t{0x100000000}})
        EXPECT_EQ(m_session->setModified(Text(m_server.File("f")), llTime), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(m_session->setModified(Text(m_server.File("none")), 1), SFTP_ERR_NO_SUCH_PATH);
    EXPECT_EQ(m_session.Error(),
              "12 set the time of " + m_server.File("none") + ": no such file or directory");
}

TEST_F(Streams, SetPermissions) {
    Make("f", "");
    for (const std::uint32_t uPermission : {0600U, 0444U, 0750U}) {
        ASSERT_EQ(m_session->setPermission(Text(m_server.File("f")), uPermission), SFTP_OK)
            << m_session.Error();
        struct stat info = {};
        ASSERT_EQ(::stat(m_server.File("f").c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 07777U, uPermission);
    }
    EXPECT_EQ(m_session->setPermission(Text(m_server.File("f")), 0100644), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(m_session->setPermission(Text(m_server.File("none")), 0600), SFTP_ERR_NO_SUCH_PATH);
}

TEST_F(Streams, ReplaceAFileInOneStep) {
    Make("new", "new");
    Make("old", "old");
    ASSERT_EQ(m_session->replace(Text(m_server.File("new")), Text(m_server.File("old"))), SFTP_OK)
        << m_session.Error();
    EXPECT_EQ(ReadFile(m_server.File("old")), "new");
    EXPECT_FALSE(fs::exists(m_server.File("new")));
    ASSERT_EQ(m_session->replace(Text(m_server.File("old")), Text(m_server.File("free"))), SFTP_OK)
        << m_session.Error();
    EXPECT_EQ(m_session->replace(Text(m_server.File("old")), Text(m_server.File("x"))),
              SFTP_ERR_NO_SUCH_PATH);
    EXPECT_EQ(ReadFile(m_server.File("free")), "new");
}

TEST_F(Streams, DescribeALinkItself) {
    Make("f", "abc");
    fs::create_symlink("f", m_server.File("link"));
    fs::create_symlink("nowhere", m_server.File("dangling"));
    SFTP_FileInfo info = {};
    ASSERT_EQ(m_session->statLink(Text(m_server.File("link")), info), SFTP_OK) << m_session.Error();
    EXPECT_EQ(info.ucType, SFTP_TYPE_LINK);
    ASSERT_EQ(m_session->statLink(Text(m_server.File("dangling")), info), SFTP_OK)
        << m_session.Error();
    EXPECT_EQ(info.ucType, SFTP_TYPE_LINK);
    EXPECT_EQ(m_session->stat(Text(m_server.File("dangling")), info), SFTP_ERR_NO_SUCH_PATH);
    ASSERT_EQ(m_session->statLink(Text(m_server.File("f")), info), SFTP_OK) << m_session.Error();
    EXPECT_EQ(info.ucType, SFTP_TYPE_FILE);
    EXPECT_EQ(info.ullSize, 3U);
    EXPECT_EQ(m_session->statLink(Text(m_server.File("none")), info), SFTP_ERR_NO_SUCH_PATH);
}

// A session on a server that plays the script.
class ScriptedStreams : public testing::Test {
protected:
    SFTP_File* Play(const std::function<void(SftpPeer& peer)>& play) {
        m_pServer = std::make_unique<RecordingServer>(PlaysSftp(play));
        m_pSession = std::make_unique<HostSession>(AccountOf(*m_pServer));
        EXPECT_EQ(Session()->connect(), SFTP_OK) << m_pSession->Error();
        SFTP_File* pFile = nullptr;
        Session()->openFile(SFTP_String("f"), SFTP_OPEN_READ | SFTP_OPEN_WRITE, &pFile);
        return pFile;
    }

    HostSession& Session() { return *m_pSession; }

    // What a script saw; here because the server's thread outlives the body of the test.
    std::vector<std::string> m_seen;
    std::vector<std::uint64_t> m_cuts;

    std::unique_ptr<RecordingServer> m_pServer;
    std::unique_ptr<HostSession> m_pSession;
};

// Answers nothing until all reads of a round wait, then the last one first, half of each.
TEST_F(ScriptedStreams, AreInOrderWhateverTheServersOrder) {
    const std::string strFile = Payload(1'000'001);
    SFTP_File* const pFile = Play([strFile](SftpPeer& peer) {
        std::vector<SRequest> waiting;
        while (true) {
            const SRequest request = peer.Take();
            if (peer.AnswerUsual(request, strFile.size())) continue;
            if (request.bEnd) return;
            waiting.push_back(request);
            const bool bRoundOver =
                request.ullOffset + request.uSize >= strFile.size() || request.uSize < 32768;
            if (!bRoundOver) continue;
            for (auto next = waiting.rbegin(); next != waiting.rend(); ++next)
                peer.GiveData(next->uId, strFile.substr(next->ullOffset,
                                                        next->uSize > 20000 ? 20000 : next->uSize));
            waiting.clear();
        }
    });
    ASSERT_EQ(Session()->setTimeout(5), SFTP_OK);
    Collector collector;
    ASSERT_EQ(Session()->readAll(pFile, 0, collector), SFTP_OK) << Session().Error();
    EXPECT_TRUE(SamePayload(strFile, collector.m_strBytes));
}

TEST_F(ScriptedStreams, EndAtAHoleWhenTheFileHasShrunk) {
    SFTP_File* const pFile = Play([](SftpPeer& peer) {
        while (true) {
            const SRequest request = peer.Take();
            if (peer.AnswerUsual(request, 200'000)) continue;
            if (request.bEnd) return;
            if (request.ullOffset == 32768)
                peer.GiveStatus(request.uId, kStatusEof);
            else
                peer.GiveData(request.uId, std::string(request.uSize, 'x'));
        }
    });
    Collector collector;
    EXPECT_EQ(Session()->readAll(pFile, 0, collector), SFTP_ERR_REMOTE);
    EXPECT_EQ(Session().Error(), "15 the remote file changed its length while it was read");
    EXPECT_EQ(collector.m_strBytes.size(), 32768U);
}

// A full disk takes the small block behind the one that it refused.
TEST_F(ScriptedStreams, AreCutAtTheFirstBlockThatWasRefused) {
    SFTP_File* const pFile = Play([this](SftpPeer& peer) {
        while (true) {
            const SRequest request = peer.Take();
            if (request.type == kFsetstat) m_cuts.push_back(request.ullOffset);
            if (peer.AnswerUsual(request, 0)) continue;
            if (request.bEnd) return;
            const bool bRefused =
                request.ullOffset == 7 + 2 * 32768 || request.ullOffset == 7 + 4 * 32768;
            peer.GiveStatus(request.uId, bRefused ? kStatusFailure : kStatusOk, "no space");
        }
    });
    Giver giver(Payload(6 * 32768 + 1));
    EXPECT_EQ(Session()->writeAll(pFile, 7, giver), SFTP_ERR_REMOTE);
    EXPECT_EQ(Session().Error(), "15 write: the server says \"no space\" (status 4)");
    EXPECT_EQ(m_cuts, std::vector<std::uint64_t>{7 + 2 * 32768});
}

TEST_F(ScriptedStreams, ReplaceByRemovingFirstWhereTheServerCannotDoBetter) {
    Play([this](SftpPeer& peer) {
        bool bThere = true;
        while (true) {
            const SRequest request = peer.Take();
            if (request.bEnd) return;
            if (request.type == kRename)
                m_seen.push_back("rename " + request.strFirst + " " + request.strData);
            if (request.type == kRemove) {
                m_seen.push_back("remove " + request.strFirst);
                bThere = false;
            }
            if (request.type == kRename && bThere)
                peer.GiveStatus(request.uId, kStatusFailure, "Failure");
            else
                peer.AnswerUsual(request, 3);
        }
    });
    EXPECT_EQ(Session()->replace(SFTP_String("f.part"), SFTP_String("f")), SFTP_OK)
        << Session().Error();
    EXPECT_EQ(m_seen, (std::vector<std::string>{"rename f.part f", "remove f", "rename f.part f"}));
}

TEST(PreferredHostKeys, AreAskedForFirst) {
    const OpenSshServer server({"rsa", "ecdsa", "ed25519"});
    struct SRow {
        const char* pszTypes;
        const char* pszShown;
    };
    for (const SRow& row : {
             SRow{"", "ed25519"},
             SRow{"ssh-rsa", "rsa"},
             SRow{"ecdsa-sha2-nistp256", "ecdsa"},
             SRow{"ssh-dss,ssh-rsa", "rsa"},
             SRow{"ssh-rsa,ssh-ed25519", "ed25519"},  // the configured order among them
             SRow{"unheard-of", "ed25519"},
         }) {
        TQ_UTIL::StFTPAccountInfo account = PasswordAccount(server);
        account.strHostKey = server.HostKey(row.pszShown);
        HostSession session(account);
        ASSERT_EQ(session->preferHostKeys(SFTP_String(row.pszTypes)), SFTP_OK);
        EXPECT_EQ(session->connect(), SFTP_OK) << row.pszTypes << ": " << session.Error();
    }
}

TEST(ConnectTimeout, IsItsOwn) {
    const SilentPort full;
    TQ_UTIL::StFTPAccountInfo account;
    account.strHost = "127.0.0.1";
    account.nPort = full.Port();
    account.strUserName = "bob";
    HostSession session(account);
    ASSERT_EQ(session->setTimeout(60), SFTP_OK);
    ASSERT_EQ(session->setConnectTimeout(1), SFTP_OK);
    const auto start = Clock::now();
    EXPECT_EQ(session->connect(), SFTP_ERR_CONNECT) << session.Error();
    EXPECT_LT(Clock::now() - start, Millis(10000));
    ASSERT_EQ(session->setTimeout(1), SFTP_OK);
    ASSERT_EQ(session->setConnectTimeout(0), SFTP_OK);
    const auto again = Clock::now();
    EXPECT_EQ(session->connect(), SFTP_ERR_CONNECT) << session.Error();
    EXPECT_LT(Clock::now() - again, Millis(10000));
}

}  // namespace
