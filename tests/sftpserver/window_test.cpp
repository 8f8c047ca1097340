// Whole files against servers that answer as they like: short, late, out of order, wrong.

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/sftpserver/scriptedsession.h"
#include "tests/support/payload.h"

namespace {

using namespace TestSupport;
using namespace sftpwrapper;

constexpr std::size_t kFileSize = 3'000'001;  // no multiple of any block
constexpr std::uint32_t kSafeSize = 32768;
constexpr std::size_t kManyRequests = 32;

// A connected session on a server that plays the script.
class ScriptedFile : public testing::Test {
protected:
    void Play(const std::function<void(SftpPeer& peer)>& play) {
        m_pServer = std::make_unique<RecordingServer>(PlaysSftp(play));
        m_pSession = std::make_unique<HostSession>(AccountOf(*m_pServer));
        ASSERT_EQ(Session()->connect(), SFTP_OK) << m_pSession->Error();
    }

    HostSession& Session() { return *m_pSession; }
    std::string Local() const { return m_temp.File("local"); }

    int Get() {
        return Session()->getFile(SFTP_String("remote"), SFTP_String(Local().c_str()), nullptr);
    }

    int Put(const std::string& strBytes) {
        WriteFile(Local(), strBytes);
        return Session()->putFile(SFTP_String(Local().c_str()), SFTP_String("remote"), nullptr);
    }

    // A failed get leaves nothing behind.
    void ExpectNoLocalFile() const {
        EXPECT_FALSE(std::filesystem::exists(Local()));
        EXPECT_FALSE(std::filesystem::exists(Local() + ".part"));
    }

    // What a script saw; here because the server's thread outlives the body of the test.
    std::size_t m_uLargest = 0;
    std::string m_strArrived;

    TempDir m_temp;
    std::unique_ptr<RecordingServer> m_pServer;
    std::unique_ptr<HostSession> m_pSession;
};

// Serves reads of a payload, at most uMost bytes each.
void ServeReads(SftpPeer& peer, const std::string& strFile, std::size_t uMost) {
    while (true) {
        const SRequest request = peer.Take();
        if (peer.AnswerUsual(request, strFile.size())) continue;
        if (request.bEnd) return;
        if (request.ullOffset >= strFile.size())
            peer.GiveStatus(request.uId, kStatusEof);
        else
            peer.GiveData(request.uId, strFile.substr(request.ullOffset,
                                                      std::min<std::size_t>(request.uSize, uMost)));
    }
}

TEST_F(ScriptedFile, IsReadWithoutAskingForMoreThanEveryServerGives) {
    const std::string strFile = Payload(kFileSize);
    Play([this, strFile](SftpPeer& peer) {
        while (true) {
            const SRequest request = peer.Take();
            if (peer.AnswerUsual(request, strFile.size())) continue;
            if (request.bEnd) return;
            m_uLargest = std::max<std::size_t>(m_uLargest, request.uSize);
            peer.GiveData(request.uId, strFile.substr(request.ullOffset, request.uSize));
        }
    });
    ASSERT_EQ(Get(), SFTP_OK) << Session().Error();
    EXPECT_TRUE(SamePayload(strFile, ReadFile(Local())));
    EXPECT_EQ(m_uLargest, kSafeSize);
}

TEST_F(ScriptedFile, IsReadWholeFromAServerOfShortAnswers) {
    const std::string strFile = Payload(kFileSize);
    Play([=](SftpPeer& peer) { ServeReads(peer, strFile, 1000); });
    ASSERT_EQ(Get(), SFTP_OK) << Session().Error();
    EXPECT_TRUE(SamePayload(strFile, ReadFile(Local())));
}

TEST_F(ScriptedFile, IsReadToItsEndWhenItsSizeIsSaidToBeZero) {
    const std::string strFile = Payload(100'000);
    Play([=](SftpPeer& peer) {
        while (true) {
            const SRequest request = peer.Take();
            if (peer.AnswerUsual(request, 0)) continue;
            if (request.bEnd) return;
            if (request.ullOffset >= strFile.size())
                peer.GiveStatus(request.uId, kStatusEof);
            else
                peer.GiveData(request.uId, strFile.substr(request.ullOffset, request.uSize));
        }
    });
    ASSERT_EQ(Get(), SFTP_OK) << Session().Error();
    EXPECT_TRUE(SamePayload(strFile, ReadFile(Local())));
}

// Answers nothing until so many reads wait, then all of them, the last one first.
TEST_F(ScriptedFile, IsReadWithManyRequestsOnTheirWayInAnyOrder) {
    const std::string strFile = Payload(kFileSize);
    Play([=](SftpPeer& peer) {
        std::vector<SRequest> waiting;
        std::size_t uLeft = strFile.size();
        while (true) {
            const SRequest request = peer.Take();
            if (peer.AnswerUsual(request, strFile.size())) continue;
            if (request.bEnd) return;
            waiting.push_back(request);
            uLeft -= request.uSize;
            if (waiting.size() < kManyRequests && uLeft > 0) continue;
            for (auto next = waiting.rbegin(); next != waiting.rend(); ++next)
                peer.GiveData(next->uId, strFile.substr(next->ullOffset, next->uSize));
            waiting.clear();
        }
    });
    ASSERT_EQ(Session()->setTimeout(2), SFTP_OK);
    ASSERT_EQ(Get(), SFTP_OK) << Session().Error();
    EXPECT_TRUE(SamePayload(strFile, ReadFile(Local())));
}

TEST_F(ScriptedFile, ThatEndsBeforeItsSizeIsAFailure) {
    const std::string strFile = Payload(kFileSize);
    Play([=](SftpPeer& peer) {
        while (true) {
            const SRequest request = peer.Take();
            if (peer.AnswerUsual(request, strFile.size() + 1)) continue;
            if (request.bEnd) return;
            if (request.ullOffset >= strFile.size())
                peer.GiveStatus(request.uId, kStatusEof);
            else
                peer.GiveData(request.uId, strFile.substr(request.ullOffset, request.uSize));
        }
    });
    EXPECT_EQ(Get(), SFTP_ERR_REMOTE);
    EXPECT_EQ(Session().Error(), "15 the remote file changed its length while it was read");
    ExpectNoLocalFile();
}

TEST_F(ScriptedFile, ThatCannotBeReadAnyFurtherLeavesTheSessionUsable) {
    const std::string strFile = Payload(kFileSize);
    Play([=](SftpPeer& peer) {
        while (true) {
            const SRequest request = peer.Take();
            if (peer.AnswerUsual(request, strFile.size())) continue;
            if (request.bEnd) return;
            if (request.ullOffset > kFileSize / 2)
                peer.GiveStatus(request.uId, kStatusFailure, "bad\r\nblock");
            else
                peer.GiveData(request.uId, strFile.substr(request.ullOffset, request.uSize));
        }
    });
    EXPECT_EQ(Get(), SFTP_ERR_REMOTE);
    EXPECT_EQ(Session().Error(), "15 read: the server says \"bad??block\" (status 4)");
    ExpectNoLocalFile();
    SFTP_FileInfo info = {};
    EXPECT_EQ(Session()->stat(SFTP_String("remote"), info), SFTP_OK) << Session().Error();
    EXPECT_EQ(info.ullSize, kFileSize);
}

// Holds acknowledgements back until so many writes wait, then gives them the last one first.
TEST_F(ScriptedFile, IsWrittenWithManyRequestsOnTheirWay) {
    const std::string strFile = Payload(kFileSize);
    m_strArrived.assign(kFileSize, '\0');
    Play([this](SftpPeer& peer) {
        std::vector<std::uint32_t> waiting;
        std::size_t uLeft = kFileSize;
        while (true) {
            const SRequest request = peer.Take();
            if (peer.AnswerUsual(request, 0)) continue;
            if (request.bEnd || request.ullOffset + request.strData.size() > kFileSize) return;
            m_strArrived.replace(request.ullOffset, request.strData.size(), request.strData);
            m_uLargest = std::max(m_uLargest, request.strData.size());
            uLeft -= request.strData.size();
            waiting.push_back(request.uId);
            if (waiting.size() < kManyRequests && uLeft > 0) continue;
            for (auto next = waiting.rbegin(); next != waiting.rend(); ++next)
                peer.GiveStatus(*next, kStatusOk);
            waiting.clear();
        }
    });
    ASSERT_EQ(Session()->setTimeout(2), SFTP_OK);
    ASSERT_EQ(Put(strFile), SFTP_OK) << Session().Error();
    EXPECT_TRUE(SamePayload(strFile, m_strArrived));
    EXPECT_EQ(m_uLargest, kSafeSize);
}

TEST_F(ScriptedFile, OfWhichOneBlockIsNotWrittenIsAFailureThatLeavesTheSessionUsable) {
    Play([=](SftpPeer& peer) {
        while (true) {
            const SRequest request = peer.Take();
            if (peer.AnswerUsual(request, 7)) continue;
            if (request.bEnd) return;
            const bool bFull = request.ullOffset == 10 * kSafeSize;
            peer.GiveStatus(request.uId, bFull ? kStatusFailure : kStatusOk, "disk full");
        }
    });
    EXPECT_EQ(Put(Payload(kFileSize)), SFTP_ERR_REMOTE);
    EXPECT_EQ(Session().Error(), "15 write: the server says \"disk full\" (status 4)");
    SFTP_FileInfo info = {};
    EXPECT_EQ(Session()->stat(SFTP_String("remote"), info), SFTP_OK) << Session().Error();
}

// A server that answers the first read with something else, and what is said about it.
struct SWrongAnswer {
    const char* pszName;
    void (*pAnswer)(SftpPeer& peer, const SRequest& read);
    const char* pszText;
};

void PrintTo(const SWrongAnswer& answer, std::ostream* pStream) {
    *pStream << answer.pszName;
}

constexpr SWrongAnswer kWrongAnswers[] = {
    {"TooMuchData",
     [](SftpPeer& peer, const SRequest& read) {
         peer.GiveData(read.uId, std::string(read.uSize + 1, 'x'));
     },
     "data of a wrong length"},
    {"NoData", [](SftpPeer& peer, const SRequest& read) { peer.GiveData(read.uId, ""); },
     "data of a wrong length"},
    {"UnknownIdentifier",
     [](SftpPeer& peer, const SRequest& read) { peer.GiveData(read.uId + 1000, "x"); },
     "reply to no request"},
    {"Handle", [](SftpPeer& peer, const SRequest& read) { peer.GiveHandle(read.uId); },
     "neither data nor status"},
    {"StatusOk", [](SftpPeer& peer, const SRequest& read) { peer.GiveStatus(read.uId, kStatusOk); },
     "no data"},
    {"HugePacket",
     [](SftpPeer& peer, const SRequest&) { peer.GiveRaw(std::string("\xff\xff\xff\xff", 4)); },
     "packet too long"},
    {"EmptyPacket",
     [](SftpPeer& peer, const SRequest&) { peer.GiveRaw(std::string("\0\0\0\0", 4)); },
     "short packet"},
};

class WrongAnswer : public ScriptedFile, public testing::WithParamInterface<SWrongAnswer> {};

TEST_P(WrongAnswer, EndsTheUseOfTheConnection) {
    Play([](SftpPeer& peer) {
        while (true) {
            const SRequest request = peer.Take();
            if (peer.AnswerUsual(request, kFileSize)) continue;
            if (request.bEnd) return;
            GetParam().pAnswer(peer, request);
        }
    });
    const std::string strError =
        std::string("10 the server does not keep to SFTP: ") + GetParam().pszText;
    EXPECT_EQ(Get(), SFTP_ERR_LOST);
    EXPECT_EQ(Session().Error(), strError);
    ExpectNoLocalFile();
    EXPECT_EQ(Session()->makeDir(SFTP_String("d")), SFTP_ERR_LOST);
    EXPECT_EQ(Session().Error(), strError);
}

INSTANTIATE_TEST_SUITE_P(Answers, WrongAnswer, testing::ValuesIn(kWrongAnswers),
                         [](const auto& parameter) { return parameter.param.pszName; });

TEST_F(ScriptedFile, ThatIsNeverDeliveredIsGivenUpInTime) {
    Play([](SftpPeer& peer) {
        while (peer.AnswerUsual(peer.Take(), kFileSize)) {
        }
        while (!peer.Take().bEnd) {
        }
    });
    ASSERT_EQ(Session()->disconnect(), SFTP_OK);
    ASSERT_EQ(Session()->setPassword(SFTP_String("tea")), SFTP_OK);
    ASSERT_EQ(Session()->setTimeout(1), SFTP_OK);
    ASSERT_EQ(Session()->connect(), SFTP_OK) << Session().Error();
    const auto start = Clock::now();
    EXPECT_EQ(Get(), SFTP_ERR_TIMEOUT);
    EXPECT_EQ(Session().Error(), "11 no answer for 1 seconds");
    EXPECT_LT(Clock::now() - start, Millis(3000));
    EXPECT_GE(Clock::now() - start, Millis(1000));
    ExpectNoLocalFile();
}

class NameCollector : public SFTP_DirVisitor {
public:
    bool entry(const SFTP_FileInfo& info) override {
        m_names.emplace_back(info.pszName);
        return true;
    }
    std::vector<std::string> m_names;
};

// Gives one batch of names, then the end.
std::function<void(SftpPeer& peer)> Lists(const std::vector<std::string>& names) {
    return [names](SftpPeer& peer) {
        bool bGiven = false;
        while (true) {
            const SRequest request = peer.Take();
            if (request.bEnd) return;
            if (request.type == kOpenDir) {
                peer.GiveHandle(request.uId);
            } else if (request.type == kReadDir && !bGiven) {
                CPacketWriter batch(kName, request.uId);
                batch.U32(static_cast<std::uint32_t>(names.size()));
                for (const std::string& strName : names)
                    batch.String(strName).String("-rw-r--r--").U32(0);
                peer.Give(batch);
                bGiven = true;
            } else {
                peer.GiveStatus(request.uId, request.type == kReadDir ? kStatusEof : kStatusOk);
            }
        }
    };
}

TEST_F(ScriptedFile, NamesOfADirectoryComeInTheServersOrder) {
    Play(Lists({".", "b", "..", "a"}));
    NameCollector collector;
    EXPECT_EQ(Session()->readDir(SFTP_String("d"), collector), SFTP_OK) << Session().Error();
    EXPECT_EQ(collector.m_names, (std::vector<std::string>{"b", "a"}));
}

TEST_F(ScriptedFile, NamesThatLeadOutOfTheirDirectoryAreNotShown) {
    Play(Lists({"a", "../../etc/passwd"}));
    NameCollector collector;
    EXPECT_EQ(Session()->readDir(SFTP_String("d"), collector), SFTP_ERR_LOST);
    EXPECT_EQ(collector.m_names, std::vector<std::string>());
}

TEST_F(ScriptedFile, AnEmptyBatchOfNamesIsNotAskedForAgain) {
    Play(Lists({}));
    NameCollector collector;
    EXPECT_EQ(Session()->readDir(SFTP_String("d"), collector), SFTP_ERR_LOST);
}

}  // namespace
