// SFTP servers that do not mean well, and what qelftp makes of them.

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/hostile/measured.h"
#include "tests/hostile/toolrun.h"
#include "tests/sftpserver/scriptedsession.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace {

using namespace HostileTest;
using namespace TestSupport;
using namespace ToolTest;
using namespace sftpwrapper;
namespace fs = std::filesystem;

constexpr std::uint32_t kFile = 0100644;
constexpr std::uint32_t kDirectory = 0040755;
constexpr std::uint32_t kLink = 0120777;

struct SName {
    std::string strName;
    std::uint32_t uMode = kFile;
    std::uint64_t ullSize = 5;
};

void WriteAttributes(CPacketWriter& packet, std::uint32_t uMode, std::uint64_t ullSize) {
    packet.U32(kAttributeSize | kAttributeMode).U64(ullSize).U32(uMode);
}

// A server whose directories, by their paths as the client writes them, are made up. Every file
// reads "evil!".
struct SMadeUp {
    std::function<std::vector<SName>(const std::string& strDirectory)> listing;
    bool bEndlessly = false;  // each directory is given again and again
    std::function<bool(SftpPeer& peer, const SRequest& request)> instead = {};
};

void GivePathAsHandle(SftpPeer& peer, const SRequest& request) {
    CPacketWriter packet(kHandle, request.uId);
    packet.String(request.strFirst);
    peer.Give(packet);
}

void GiveNames(SftpPeer& peer, const SRequest& request, const std::vector<SName>& names) {
    CPacketWriter packet(kName, request.uId);
    packet.U32(static_cast<std::uint32_t>(names.size()));
    for (const SName& name : names) {
        packet.String(name.strName).String("");
        WriteAttributes(packet, name.uMode, name.ullSize);
    }
    peer.Give(packet);
}

void Serve(SftpPeer& peer, const SMadeUp& madeUp) {
    std::set<std::string> given;
    while (true) {
        const SRequest request = peer.Take();
        if (request.bEnd) return;
        if (madeUp.instead && madeUp.instead(peer, request)) continue;
        if (request.type == kOpen) {
            GivePathAsHandle(peer, request);
        } else if (request.type == kOpenDir) {
            given.erase(request.strFirst);
            GivePathAsHandle(peer, request);
        } else if (request.type == kReadDir) {
            const std::vector<SName> names = madeUp.listing(request.strFirst);
            if (names.empty() || (!madeUp.bEndlessly && !given.insert(request.strFirst).second))
                peer.GiveStatus(request.uId, kStatusEof);
            else
                GiveNames(peer, request, names);
        } else if (request.type == kStat || request.type == kLstat || request.type == kFstat) {
            CPacketWriter packet(kAttributes, request.uId);
            WriteAttributes(packet, kFile, 5);
            peer.Give(packet);
        } else if (request.type == kRead && request.ullOffset == 0) {
            peer.GiveData(request.uId, std::string("evil!").substr(0, request.uSize));
        } else {
            peer.GiveStatus(request.uId, request.type == kRead ? kStatusEof : kStatusOk);
        }
    }
}

class HostileSftpToTool : public testing::Test {
protected:
    void Play(const SMadeUp& madeUp) {
        Play([madeUp](SftpPeer& peer) { Serve(peer, madeUp); });
    }
    void Play(const std::function<void(SftpPeer& peer)>& play) {
        m_pServer = std::make_unique<RecordingServer>(PlaysSftp(play));
        WriteFile(m_home.File("known_hosts"), "[127.0.0.1]:" + std::to_string(m_pServer->Port()) +
                                                  " " + m_pServer->HostKey() + "\n");
    }

    std::string Url(const std::string& strPath) const {
        return "sftp://bob@127.0.0.1:" + std::to_string(m_pServer->Port()) + strPath;
    }

    SRun Run(Arguments arguments) const {
        arguments.insert(arguments.begin(), {"--known-hosts", m_home.File("known_hosts")});
        return RunHasty(arguments);
    }

    TempDir m_home;
    CSandbox m_sandbox;
    std::unique_ptr<RecordingServer> m_pServer;
};

std::set<std::string> NamesIn(const std::string& strDirectory) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(strDirectory))
        names.insert(entry.path().filename().string());
    return names;
}

TEST_F(HostileSftpToTool, NamesWithASlashEndTheListing) {
    for (const char* pszName : {"../escaped", "/tmp/qelftp-hostile-escaped", "a/b"}) {
        for (const std::uint32_t uMode : {kFile, kDirectory}) {
            Play(SMadeUp{[=](const std::string&) {
                return std::vector<SName>{{"a"}, {pszName, uMode}};
            }});
            const SRun run = Run({"get", "-r", Url("/"), m_sandbox.Target()});
            EXPECT_EQ(run.nExit, 1) << run.strErr;
            m_sandbox.ExpectUntouched();
            EXPECT_FALSE(fs::exists("/tmp/qelftp-hostile-escaped"));
            EXPECT_TRUE(NamesIn(m_sandbox.Target()).empty());
        }
    }
}

TEST_F(HostileSftpToTool, OtherNamesLeadNowhereElse) {
    const std::string strLong(100'000, 'n');
    Play(SMadeUp{[=](const std::string& strDirectory) {
        std::vector<SName> names{{".."}, {"."},     {"..\\escaped"}, {"a\nb"}, {"a\x1b[2Jb"},
                                 {""},   {strLong}, {"~"},           {"x"},    {"link", kLink}};
        if (strDirectory == ".") names.push_back({"inside", kDirectory});
        return names;
    }});
    for (const Arguments& command :
         {Arguments{"get", "-r", Url("/"), m_sandbox.Target()},
          Arguments{"mirror", "--delete", "--yes", Url("/"), m_sandbox.Target()}}) {
        const SRun run = Run(command);
        EXPECT_EQ(run.nExit, 1);
        m_sandbox.ExpectUntouched();
        EXPECT_EQ(NamesIn(m_sandbox.Target()), (std::set<std::string>{"inside", "link", "x", "~"}));
        EXPECT_TRUE(fs::is_regular_file(m_sandbox.InTarget("link")));  // what stat says is behind
        EXPECT_EQ(ReadFile(m_sandbox.InTarget("x")), "evil!");
        EXPECT_EQ(run.strErr.find('\x1b'), std::string::npos);
    }
}

TEST_F(HostileSftpToTool, ADirectoryBelowItselfEnds) {
    Play(SMadeUp{[](const std::string&) { return std::vector<SName>{{"below", kDirectory}}; }});
    const SRun run = Run({"get", "-r", "--dry-run", Url("/"), m_sandbox.Target()});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("too many directories one below the other"), std::string::npos)
        << run.strErr.substr(0, 2000);
}

TEST_F(HostileSftpToTool, AnEndlessDirectoryOfLongNamesIsRefused) {
    const std::string strLong(100'000, 'n');
    Play(SMadeUp{[=](const std::string&) {
                     return std::vector<SName>{{strLong}, {strLong}};
                 },
                 true});
    for (const char* pszCommand : {"ls", "rmdir"}) {
        const SRun run = Run({pszCommand, Url("/d")});
        EXPECT_EQ(run.nExit, 1);
        EXPECT_NE(run.strErr.find("the directory has too many entries"), std::string::npos)
            << run.strErr.substr(0, 2000);
        EXPECT_LT(run.nPeakKiB, 500 * kMiB * kMemoryFactor);
    }
}

TEST_F(HostileSftpToTool, AttributesThatAreLiesLeaveTheTargetAsItWas) {
    WriteFile(m_sandbox.InTarget("target"), "old");
    for (const std::uint64_t ullSize : {std::uint64_t{6}, std::uint64_t{1} << 62, UINT64_MAX}) {
        SMadeUp madeUp;
        madeUp.instead = [=](SftpPeer& peer, const SRequest& request) {
            if (request.type != kStat && request.type != kFstat) return false;
            CPacketWriter packet(kAttributes, request.uId);
            WriteAttributes(packet, kFile, ullSize);
            peer.Give(packet);
            return true;
        };
        Play(madeUp);
        const SRun run = Run({"get", "--retries", "0", Url("/x"), m_sandbox.InTarget("target")});
        EXPECT_EQ(run.nExit, 1) << ullSize;
        EXPECT_NE(run.strErr.find("the remote file changed its length while it was read"),
                  std::string::npos)
            << run.strErr;
        EXPECT_EQ(ReadFile(m_sandbox.InTarget("target")), "old");
        m_sandbox.ExpectUntouched();
    }
}

TEST_F(HostileSftpToTool, MoreThanWasAskedForLeavesTheTargetAsItWas) {
    WriteFile(m_sandbox.InTarget("target"), "old");
    SMadeUp madeUp;
    madeUp.instead = [](SftpPeer& peer, const SRequest& request) {
        if (request.type == kRead) peer.GiveData(request.uId, std::string(request.uSize + 1, 'x'));
        return request.type == kRead;
    };
    Play(madeUp);
    const SRun run = Run({"get", "--retries", "0", Url("/x"), m_sandbox.InTarget("target")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("connection lost (SFTP error 10)"), std::string::npos) << run.strErr;
    EXPECT_EQ(ReadFile(m_sandbox.InTarget("target")), "old");
}

// What the server says about a failure is shown, and cannot drive the terminal. The wrapper has
// already dropped the control characters.
TEST_F(HostileSftpToTool, WordsAreShownWithoutEffect) {
    SMadeUp madeUp;
    madeUp.instead = [](SftpPeer& peer, const SRequest& request) {
        if (request.type == kRemove)
            peer.GiveStatus(request.uId, kStatusFailure,
                            "\x1b[2J\x1b]0;t\x07no\r\n\xe2\x80\xaegpj");
        return request.type == kRemove;
    };
    Play(madeUp);
    const SRun run = Run({"rm", Url("/x")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("the server says \"?[2J?]0;t?no??\\xe2\\x80\\xaegpj\""),
              std::string::npos)
        << run.strErr;
    EXPECT_EQ(run.strErr.find("\xe2\x80\xae"), std::string::npos);
}

TEST_F(HostileSftpToTool, AServerThatClosesWithoutAWordIsGivenUp) {
    Play([](SftpPeer& peer) { peer.Take(); });
    const Clock::time_point start = Clock::now();
    const SRun run = Run({"ls", Url("/")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_LT(MsSince(start), 10000);
}

// Before anything is encrypted: lines that a server may say ahead of its version (RFC 4253, section
// 4.2), a version without end, and one that comes byte by byte.
TEST_F(HostileSftpToTool, GreetingsThatDoNotEndAreGivenUp) {
    const struct {
        const char* pszName;
        Behaviour greeting;
    } rows[] = {
        {"lines", [](CConversation& talk, const std::string&) { talk.SayEndlessly("hello\r\n"); }},
        {"no line end",
         [](CConversation& talk, const std::string&) { talk.SayEndlessly("SSH-2.0-hello"); }},
        {"packets",
         [](CConversation& talk, const std::string&) {
             talk.Say("SSH-2.0-hello\r\n");
             talk.SayEndlessly(std::string("\0\0\x80\0garbage", 11));
         }},
        {"byte by byte",
         [](CConversation& talk, const std::string&) {
             talk.Drip("SSH-2.0-" + std::string(200, 'x'), Millis(500));
         }},
        {"silence", [](CConversation& talk, const std::string&) { talk.FallSilent(); }},
    };
    WriteFile(m_home.File("known_hosts"), "");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.pszName);
        SHostility hostility;
        hostility.instead[""] = row.greeting;
        const CHostileServer server(hostility);
        const Clock::time_point start = Clock::now();
        const SRun run =
            RunHasty({"--known-hosts", m_home.File("known_hosts"), "ls", "s" + UrlOf(server, "/")});
        std::printf("%s: %lld ms, peak %ld KiB\n", row.pszName, MsSince(start), run.nPeakKiB);
        EXPECT_EQ(run.nExit, 1);
        EXPECT_LT(run.nPeakKiB, 64 * kMiB * kMemoryFactor);
        EXPECT_LT(MsSince(start), 12000);
    }
}

}  // namespace
