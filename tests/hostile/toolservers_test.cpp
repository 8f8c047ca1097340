// Servers that do not stop, fall silent or lie, and what qelftp makes of it.

#include <gtest/gtest.h>
#include <signal.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "tests/hostile/hostileserver.h"
#include "tests/hostile/measured.h"
#include "tests/hostile/toolrun.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

using namespace HostileTest;
using namespace TestSupport;
using namespace ToolTest;
namespace fs = std::filesystem;

namespace {

class HostileToTool : public testing::Test {
protected:
    HostileToTool() { WriteFile(Target(), "old"); }

    std::string Target() const { return m_local.File("target"); }
    void ExpectOldTarget() const {
        EXPECT_EQ(ReadFile(Target()), "old");
        EXPECT_EQ(std::distance(fs::directory_iterator(m_local.Path()), {}), 1);
    }

    TempDir m_local;
};

Behaviour Endless(const std::string& strText) {
    return [strText](CConversation& talk, const std::string&) { talk.SayEndlessly(strText); };
}

TEST_F(HostileToTool, EndlessRepliesAreGivenUp) {
    for (const char* pszWord : {"", "USER", "PASS", "CWD", "LIST"}) {
        SCOPED_TRACE(pszWord);
        SHostility hostility;
        hostility.instead[pszWord] = Endless("220-and another line of welcome\r\n");
        const CHostileServer server(hostility);
        const Clock::time_point start = Clock::now();
        const SRun run = RunHasty({"ls", UrlOf(server, "/")});
        EXPECT_EQ(run.nExit, 1);
        EXPECT_NE(run.strErr.find("qelftp: "), std::string::npos) << run.strErr;
        EXPECT_LT(run.strErr.size(), 2000U);
        EXPECT_LT(run.nPeakKiB, 64 * kMiB * kMemoryFactor);
        EXPECT_LT(MsSince(start), 15000);
    }
}

// With --verbose the dialogue is shown as far as it is read.
TEST_F(HostileToTool, EndlessRepliesAreShownOnlyAsFarAsTheyAreRead) {
    SHostility hostility;
    hostility.instead["CWD"] = Endless("250-\x1b[2J and another line\r\n");
    const CHostileServer server(hostility);
    const SRun run = RunHasty({"ls", "--verbose", UrlOf(server, "/")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_LT(run.strErr.size(), std::size_t{8} << 20);
    EXPECT_EQ(run.strErr.find('\x1b'), std::string::npos);
}

TEST_F(HostileToTool, AServerThatClosesWithoutAWordIsGivenUpAtOnce) {
    SHostility hostility;
    hostility.instead[""] = [](CConversation& talk, const std::string&) { talk.Close(); };
    const CHostileServer server(hostility);
    const Clock::time_point start = Clock::now();
    const SRun run = RunHasty({"ls", UrlOf(server, "/")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("qelftp: login 127.0.0.1:"), std::string::npos) << run.strErr;
    EXPECT_LT(MsSince(start), 4000);
}

TEST_F(HostileToTool, AHugeLoginDirectoryIsNamedAsTooLong) {
    SHostility hostility;
    hostility.instead["PWD"] = [](CConversation& talk, const std::string&) {
        talk.Say("257 \"/" + std::string(60'000, 'd') + "\"\r\n");
    };
    const CHostileServer server(hostility);
    for (const Arguments& command :
         {Arguments{"get", UrlOf(server, "/x"), Target()}, Arguments{"ls", UrlOf(server, "/")},
          Arguments{"rm", UrlOf(server, "/x")}}) {
        const SRun run = RunHasty(command);
        EXPECT_EQ(run.nExit, 1) << command[0];
        EXPECT_LT(run.strErr.size(), 2000U);
    }
    ExpectOldTarget();
}

// From TYPE on each reply is the one of the command before.
TEST_F(HostileToTool, AServerThatIsOneReplyAheadIsGivenUp) {
    constexpr Millis kReadByThen{150};
    SHostility hostility;
    hostility.instead["TYPE"] = [=](CConversation& talk, const std::string&) {
        talk.Say("250 done before\r\n");
        std::this_thread::sleep_for(kReadByThen);
        talk.Say("200 image\r\n");
    };
    hostility.instead["CWD"] = [=](CConversation& talk, const std::string&) {
        std::this_thread::sleep_for(kReadByThen);
        talk.Say("250 there\r\n");
        std::this_thread::sleep_for(kReadByThen);  // or both would be read as one reply
    };
    const CHostileServer server(hostility);
    const SRun run = RunHasty({"get", "--retries", "0", UrlOf(server, "/x"), Target()});
    EXPECT_EQ(run.nExit, 1);
    const bool bOutOfStep = run.strErr.find("(0x3bb00024)") != std::string::npos;
    const bool bNoPort = run.strErr.find("(0x40070019)") != std::string::npos;
    EXPECT_TRUE(bOutOfStep || bNoPort) << run.strErr;
    ExpectOldTarget();
}

// ---- Listings ----

TEST_F(HostileToTool, AnEndlessListingIsRefused) {
    SHostility hostility;
    hostility.instead["LIST"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        talk.SendDataEndlessly("-rw-r--r-- 1 u g 5 Mar 3 2019 x\r\n");
    };
    const CHostileServer server(hostility);
    const Clock::time_point start = Clock::now();
    const SRun run = RunHasty({"ls", UrlOf(server, "/")});
    std::printf("peak %ld KiB, %lld ms\n", run.nPeakKiB, MsSince(start));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("listing too long (0x3bb00023)"), std::string::npos) << run.strErr;
    EXPECT_LT(run.nPeakKiB, 320 * kMiB * kMemoryFactor);
    EXPECT_LT(MsSince(start), 30000);
}

// ---- Transfers ----

TEST_F(HostileToTool, AFileWithoutEndIsEndedByTheUser) {
    SHostility hostility;
    hostility.instead["RETR"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        while (true)
            talk.DripData("and on ", Millis(1));
    };
    const CHostileServer server(hostility);
    ChildProcess tool(Hasty({"get", UrlOf(server, "/x"), Target()}), WithPassword());
    while (!fs::exists(Target() + ".part"))
        std::this_thread::sleep_for(Millis(10));
    std::this_thread::sleep_for(Millis(500));
    ::kill(tool.Pid(), SIGINT);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(tool.Wait().nExit, 130);
    EXPECT_LT(MsSince(start), 10000);
    ExpectOldTarget();
}

TEST_F(HostileToTool, AStoreThatIsNotReadIsGivenUp) {
    SHostility hostility;
    hostility.instead["STOR"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 go ahead\r\n");
        talk.AcceptData();
        talk.FallSilent();
    };
    const CHostileServer server(hostility);
    const std::string strBig = m_local.File("big");
    WriteFile(strBig, Payload(24 << 20));
    const Clock::time_point start = Clock::now();
    const SRun run = RunHasty({"put", "--retries", "0", strBig, UrlOf(server, "/x")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("(0x3bb00020)"), std::string::npos) << run.strErr;
    EXPECT_LT(MsSince(start), 20000);
}

TEST_F(HostileToTool, AServerThatIsKilledInTheMiddleOfAFileLeavesTheTargetAsItWas) {
    SHostility hostility;
    hostility.instead["RETR"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        talk.SendData(Payload(100'000));
        talk.Vanish();
    };
    const CHostileServer server(hostility);
    const SRun run = RunHasty({"get", "--retries", "1", UrlOf(server, "/x"), Target()});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("get /x: no usable reply from the server (0x3bb00003)"),
              std::string::npos)
        << run.strErr;
    EXPECT_EQ(server.Connections(), 2);
    ExpectOldTarget();
}

TEST_F(HostileToTool, AFileThatIsLargerThanListedIsTakenWhole) {
    SHostility hostility;
    hostility.listing = [](const std::string&) {
        return "-rw-r--r-- 1 u g 5 Mar 3 2019 target\r\n";
    };
    hostility.file = [](const std::string&) { return Payload(500'000); };
    const CHostileServer server(hostility);
    const SRun run = RunHasty({"get", "-r", UrlOf(server, "/"), m_local.Path().string()});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_TRUE(SamePayload(Payload(500'000), ReadFile(Target())));
}

TEST_F(HostileToTool, OneByteNowAndThenIsEndedByTheUser) {
    SHostility hostility;
    hostility.instead["RETR"] = [](CConversation& talk, const std::string&) {
        talk.Drip("150-one byte now and then, for as long as you like", Millis(300));
    };
    const CHostileServer server(hostility);
    ChildProcess tool(Hasty({"get", UrlOf(server, "/x"), Target()}), WithPassword());
    while (!server.Heard("RETR x"))
        std::this_thread::sleep_for(Millis(10));
    std::this_thread::sleep_for(Millis(4000));  // longer than any time-out that was given
    ASSERT_EQ(::kill(tool.Pid(), 0), 0);
    ::kill(tool.Pid(), SIGINT);  // looked at between replies
    std::this_thread::sleep_for(Millis(300));
    ::kill(tool.Pid(), SIGINT);  // ends it at once
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(tool.Wait().nExit, 130);
    EXPECT_LT(MsSince(start), 5000);
    ExpectOldTarget();
}

TEST_F(HostileToTool, IsSentToNoOtherHost) {
    SHostility hostility;
    hostility.instead["PASV"] = [](CConversation& talk, const std::string&) {
        talk.Announce("227 Entering Passive Mode (127,0,0,2,%p).\r\n");
    };
    // What is announced for 127.0.0.2 listens on 127.0.0.1 only, the host that was named.
    const CHostileServer server(hostility);
    const SRun run = RunHasty({"get", UrlOf(server, "/x"), Target()});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(ReadFile(Target()), "content of /x");
}

}  // namespace
