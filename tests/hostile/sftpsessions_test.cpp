// SFTP servers that do not mean well, and what a session of the wrapper makes of them.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/sftpserver/scriptedsession.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace {

using namespace TestSupport;
using namespace sftpwrapper;

constexpr unsigned int kTimeout = 3;  // seconds

class CNames : public SFTP_DirVisitor {
public:
    bool entry(const SFTP_FileInfo& info) override {
        m_names.emplace_back(info.pszName);
        return m_names.size() < m_uMost;
    }
    std::vector<std::string> m_names;
    std::size_t m_uMost = SIZE_MAX;
};

class CSink : public SFTP_Sink {
public:
    bool take(const void*, std::size_t nSize) override {
        m_ullTaken += nSize;
        return m_ullTaken < m_ullMost;
    }
    std::uint64_t m_ullTaken = 0;
    std::uint64_t m_ullMost = UINT64_MAX;
};

class HostileSftp : public testing::Test {
protected:
    void Play(const std::function<void(SftpPeer& peer)>& play) {
        m_pSession.reset();
        m_pServer = std::make_unique<RecordingServer>(PlaysSftp(play));
        m_pSession = std::make_unique<HostSession>(AccountOf(*m_pServer));
        ASSERT_EQ(Session()->setTimeout(kTimeout), SFTP_OK);
        ASSERT_EQ(Session()->connect(), SFTP_OK) << Session().Error();
    }

    HostSession& Session() { return *m_pSession; }

    SFTP_File* Open() {
        SFTP_File* pFile = nullptr;
        EXPECT_EQ(Session()->openFile(SFTP_String("f"), SFTP_OPEN_READ, &pFile), SFTP_OK)
            << Session().Error();
        return pFile;
    }

    // Reads a file of which the server says that size; answer gets each read request, and returns
    // false when there is nothing more to say.
    int Read(std::uint64_t ullSize,
             const std::function<bool(SftpPeer& peer, const SRequest& request)>& answer) {
        Play([=](SftpPeer& peer) {
            while (true) {
                const SRequest request = peer.Take();
                if (peer.AnswerUsual(request, ullSize)) continue;
                if (request.bEnd || !answer(peer, request)) return;
            }
        });
        SFTP_File* const pFile = Open();
        return pFile != nullptr ? Session()->readAll(pFile, 0, m_sink) : SFTP_ERR_ARGUMENT;
    }

    CSink m_sink;
    std::unique_ptr<RecordingServer> m_pServer;
    std::unique_ptr<HostSession> m_pSession;
};

// ---- Directories ----

std::function<void(SftpPeer& peer)> Lists(const std::vector<std::string>& names, bool bEndlessly) {
    return [names, bEndlessly](SftpPeer& peer) {
        bool bGiven = false;
        while (true) {
            const SRequest request = peer.Take();
            if (request.bEnd) return;
            if (request.type == kOpenDir) {
                peer.GiveHandle(request.uId);
            } else if (request.type == kReadDir && (bEndlessly || !bGiven)) {
                CPacketWriter batch(kName, request.uId);
                batch.U32(static_cast<std::uint32_t>(names.size()));
                for (const std::string& strName : names)
                    batch.String(strName).String("").U32(0);
                peer.Give(batch);
                bGiven = true;
            } else {
                peer.GiveStatus(request.uId, request.type == kReadDir ? kStatusEof : kStatusOk);
            }
        }
    };
}

TEST_F(HostileSftp, NamesThatLeadElsewhereEndTheSession) {
    for (const std::string& strName :
         {std::string("../escaped"), std::string("/escaped"), std::string("a/b"), std::string("/"),
          std::string("a/"), std::string("a\0b", 3)}) {
        Play(Lists({"a", strName}, false));
        CNames names;
        EXPECT_EQ(Session()->readDir(SFTP_String("d"), names), SFTP_ERR_LOST) << strName;
        EXPECT_TRUE(names.m_names.empty()) << strName;
        EXPECT_EQ(Session()->makeDir(SFTP_String("d")), SFTP_ERR_LOST) << "it must stay lost";
    }
    Play(Lists({".", "..", "a"}, false));
    CNames names;
    EXPECT_EQ(Session()->readDir(SFTP_String("d"), names), SFTP_OK);
    EXPECT_EQ(names.m_names, std::vector<std::string>{"a"});
}

TEST_F(HostileSftp, AnEndlessDirectoryIsEndedByItsVisitor) {
    Play(Lists({"a", "b"}, true));
    CNames names;
    names.m_uMost = 1001;
    EXPECT_EQ(Session()->readDir(SFTP_String("d"), names), SFTP_ERR_CANCELLED);
    EXPECT_EQ(names.m_names.size(), 1001U);
    EXPECT_EQ(Session()->makeDir(SFTP_String("d")), SFTP_OK) << Session().Error();
}

TEST_F(HostileSftp, ABatchOfNamesThatIsNotThereEndsTheSession) {
    Play([](SftpPeer& peer) {
        while (true) {
            const SRequest request = peer.Take();
            if (request.bEnd) return;
            if (request.type == kOpenDir) {
                peer.GiveHandle(request.uId);
                continue;
            }
            CPacketWriter batch(kName, request.uId);
            batch.U32(0xffffffff).String("a").String("").U32(0x8000000f).U32(0xffffffff);
            peer.Give(batch);
        }
    });
    CNames names;
    EXPECT_EQ(Session()->readDir(SFTP_String("d"), names), SFTP_ERR_LOST);
    EXPECT_TRUE(names.m_names.empty());
}

// ---- Packets ----

TEST_F(HostileSftp, PacketsThatCannotBeEndTheSession) {
    const struct {
        const char* pszName;
        std::string strBytes;
    } rows[] = {
        {"of 4 GiB", "\xff\xff\xff\xff"},
        {"longer than any", std::string("\x00\x04\x00\x01", 4)},
        {"of no bytes", std::string(4, '\0')},
        {"of a type alone", std::string("\x00\x00\x00\x01\x65", 5)},
        {"to another request",
         std::string("\x00\x00\x00\x09\x65\x7f\x7f\x7f\x7f\x00\x00\x00\x00", 13)},
        {"of another type", std::string("\x00\x00\x00\x05\x01\x00\x00\x00\x00", 9)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.pszName);
        Play([&row](SftpPeer& peer) {
            peer.Take();
            peer.GiveRaw(row.strBytes);
            peer.Take();
        });
        const Clock::time_point start = Clock::now();
        SFTP_FileInfo info = {};
        EXPECT_EQ(Session()->stat(SFTP_String("f"), info), SFTP_ERR_LOST) << Session().Error();
        EXPECT_LT(MsSince(start), 1000 * kTimeout - 100);  // not by the time-out
    }
}

TEST_F(HostileSftp, ManyAnswersToNoRequestEndTheSession) {
    Play([](SftpPeer& peer) {
        peer.Take();
        for (int i = 0; i < 100; ++i)
            peer.GiveStatus(0x7f000000, kStatusOk);
        peer.Take();
    });
    EXPECT_EQ(Session()->makeDir(SFTP_String("d")), SFTP_ERR_LOST);
}

// ---- Files ----

TEST_F(HostileSftp, MoreThanWasAskedForEndsTheSession) {
    const auto more = [](SftpPeer& peer, const SRequest& request) {
        peer.GiveData(request.uId, std::string(request.uSize + 1, 'x'));
        return true;
    };
    EXPECT_EQ(Read(100'000, more), SFTP_ERR_LOST);
    EXPECT_EQ(m_sink.m_ullTaken, 0U);
}

TEST_F(HostileSftp, NothingInsteadOfDataEndsTheSession) {
    const auto nothing = [](SftpPeer& peer, const SRequest& request) {
        peer.GiveData(request.uId, "");
        return true;
    };
    EXPECT_EQ(Read(100'000, nothing), SFTP_ERR_LOST);
}

TEST_F(HostileSftp, NoMoreIsTakenThanTheSizeSays) {
    const auto endless = [](SftpPeer& peer, const SRequest& request) {
        peer.GiveData(request.uId, std::string(request.uSize, 'x'));
        return true;
    };
    EXPECT_EQ(Read(10, endless), SFTP_OK) << Session().Error();
    EXPECT_EQ(m_sink.m_ullTaken, 10U);
}

// 0 stands for "not known", as of files that have no size.
TEST_F(HostileSftp, AFileWithoutEndIsEndedByItsSink) {
    const auto endless = [](SftpPeer& peer, const SRequest& request) {
        peer.GiveData(request.uId, std::string(request.uSize, 'x'));
        return true;
    };
    for (const std::uint64_t ullSize : {std::uint64_t{0}, UINT64_MAX}) {
        m_sink = CSink();
        m_sink.m_ullMost = 10'000'000;
        EXPECT_EQ(Read(ullSize, endless), SFTP_ERR_CANCELLED);
        EXPECT_LT(m_sink.m_ullTaken, 10'000'000U + 300'000U);
    }
}

TEST_F(HostileSftp, ASizeThatIsALieIsAnError) {
    const auto end = [](SftpPeer& peer, const SRequest& request) {
        peer.GiveStatus(request.uId, kStatusEof);
        return true;
    };
    for (const std::uint64_t ullSize : {std::uint64_t{1}, std::uint64_t{1} << 63, UINT64_MAX}) {
        m_sink = CSink();
        EXPECT_EQ(Read(ullSize, end), SFTP_ERR_REMOTE) << ullSize;
        EXPECT_EQ(m_sink.m_ullTaken, 0U);
    }
}

// What comes behind it must wait in memory.
TEST_F(HostileSftp, AFirstBlockThatNeverComesStopsTheAsking) {
    std::uint64_t ullAsked = 0;
    const auto allButTheFirst = [&ullAsked](SftpPeer& peer, const SRequest& request) {
        ullAsked = request.ullOffset + request.uSize;
        if (request.ullOffset != 0) peer.GiveData(request.uId, std::string(request.uSize, 'x'));
        return ullAsked < (64U << 20);  // by then it is clear that there is no bound
    };
    EXPECT_EQ(Read(UINT64_MAX, allButTheFirst), SFTP_ERR_TIMEOUT);
    m_pSession.reset();
    m_pServer.reset();
    EXPECT_GE(ullAsked, std::uint64_t{4} << 20);
    EXPECT_LE(ullAsked, std::uint64_t{17} << 20);
    EXPECT_EQ(m_sink.m_ullTaken, 0U);
}

// ---- One byte now and then ----

TEST_F(HostileSftp, AnAnswerByteByByteLastsAsLongAsBytesComeAndNoLonger) {
    constexpr int kBytes = 8;
    constexpr Millis kPause{700};
    Play([=](SftpPeer& peer) {
        peer.Take();
        const std::string strPacket("\x00\x00\x00\x64\x65\x00\x00\x00", kBytes);
        for (const char c : strPacket) {
            peer.GiveRaw(std::string(1, c));
            std::this_thread::sleep_for(kPause);
        }
        peer.Take();
    });
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(Session()->makeDir(SFTP_String("d")), SFTP_ERR_TIMEOUT) << Session().Error();
    const long long nLastByte = (kBytes - 1) * kPause.count();
    EXPECT_GE(MsSince(start), nLastByte + 1000 * kTimeout - 100);
    EXPECT_LT(MsSince(start), nLastByte + 1000 * kTimeout + 3000);
}

}  // namespace
