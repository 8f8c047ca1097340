// Servers that are not there, fall silent or go away.

#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <string>
#include <thread>

#include "tests/sftpserver/delayrelay.h"
#include "tests/support/payload.h"
#include "tests/support/sockets.h"
#include "tests/tool/sftptool.h"

using namespace ToolTest;
using TestSupport::Clock;
using TestSupport::DelayRelay;
using TestSupport::Millis;
using TestSupport::Payload;
using TestSupport::ReadFile;
using TestSupport::SamePayload;
using TestSupport::TempDir;
using TestSupport::WriteFile;
namespace fs = std::filesystem;

namespace {

constexpr std::size_t kSize = 60'000'001;
constexpr Millis kRoundTrip{200};  // a window of 4 MiB each: the transfer takes seconds

// A server so far away that a transfer can be watched.
class SftpBroken : public testing::Test {
protected:
    SftpBroken() : m_relay(m_tool.Server().Port(), kRoundTrip) {
        const std::string strLine = m_tool.HostLine();
        m_tool.WriteKnownHosts(strLine + "[127.0.0.1]:" + std::to_string(m_relay.Port()) +
                               strLine.substr(strLine.find(' ')));
    }

    std::string FarUrl(const std::string& strPath) const {
        return m_tool.Url(strPath, m_relay.Port());
    }

    Arguments Far(const char* pszCommand, const Arguments& paths) const {
        Arguments arguments{pszCommand, "--retries", "0", "--connect-timeout", "3"};
        arguments.insert(arguments.end(), paths.begin(), paths.end());
        return ToolCommand(arguments);
    }

    // Waits until a part of the file has arrived.
    static void AwaitPart(const std::string& strPart) {
        const auto end = Clock::now() + Millis(20000);
        std::error_code error;
        while (Clock::now() < end) {
            const auto uSize = fs::file_size(strPart, error);
            if (!error && uSize > 1'000'000) return;
            std::this_thread::sleep_for(Millis(5));
        }
        FAIL() << strPart << " does not grow";
    }

    // The part is the beginning of the file, and not all of it.
    static void ExpectBeginning(const std::string& strPart, const std::string& strBytes) {
        ASSERT_TRUE(fs::exists(strPart));
        const std::string strArrived = ReadFile(strPart);
        EXPECT_GT(strArrived.size(), 1'000'000U);
        EXPECT_LT(strArrived.size(), strBytes.size());
        EXPECT_TRUE(SamePayload(strBytes.substr(0, strArrived.size()), strArrived));
    }

    SftpTool m_tool;
    DelayRelay m_relay;
    TempDir m_local;
};

TEST_F(SftpBroken, ServerThatDiesWhileGettingLeavesTheTargetAndThePart) {
    const std::string strBytes = Payload(kSize);
    m_tool.Make("x", strBytes);
    WriteFile(m_local.File("x"), "old");
    ChildProcess tool(Far("get", {FarUrl("/x"), m_local.File("x")}), m_tool.WithPassword());
    AwaitPart(m_local.File("x.part"));
    m_tool.Server().Kill();
    const SRun run = tool.Wait();
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("get /x: connection lost (SFTP error 10)"), std::string::npos)
        << run.strErr;
    EXPECT_EQ(ReadFile(m_local.File("x")), "old");
    ExpectBeginning(m_local.File("x.part"), strBytes);
}

TEST_F(SftpBroken, ServerThatDiesWhilePuttingLeavesTheTargetAndThePart) {
    const std::string strBytes = Payload(kSize);
    WriteFile(m_local.File("x"), strBytes);
    m_tool.Make("x", "old");
    ChildProcess tool(Far("put", {m_local.File("x"), FarUrl("/x")}), m_tool.WithPassword());
    AwaitPart(m_tool.File("x.part"));
    m_tool.Server().Kill();
    const SRun run = tool.Wait();
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("put /x: connection lost (SFTP error 10)"), std::string::npos)
        << run.strErr;
    EXPECT_EQ(ReadFile(m_tool.File("x")), "old");
    ExpectBeginning(m_tool.File("x.part"), strBytes);
}

TEST_F(SftpBroken, LineThatFallsSilentCanBeContinuedBothWays) {
    const std::string strBytes = Payload(kSize);
    WriteFile(m_local.File("x"), strBytes);
    m_tool.Make("x", "old");
    {
        ChildProcess put(Far("put", {m_local.File("x"), FarUrl("/x")}), m_tool.WithPassword());
        AwaitPart(m_tool.File("x.part"));
        m_relay.FallSilent();
        const SRun run = put.Wait();
        EXPECT_EQ(run.nExit, 1);
        EXPECT_NE(run.strErr.find("put /x: the server does not answer"), std::string::npos)
            << run.strErr;
    }
    EXPECT_EQ(ReadFile(m_tool.File("x")), "old");
    ExpectBeginning(m_tool.File("x.part"), strBytes);
    const SRun put = m_tool.RunWithPassword({"put", "-c", m_local.File("x"), m_tool.Url("/x")});
    EXPECT_EQ(put.nExit, 0) << put.strErr;
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(m_tool.File("x"))));
    EXPECT_FALSE(fs::exists(m_tool.File("x.part")));

    const DelayRelay relay(m_tool.Server().Port(), kRoundTrip);
    const std::string strLine = m_tool.HostLine();
    m_tool.WriteKnownHosts(strLine + "[127.0.0.1]:" + std::to_string(relay.Port()) +
                           strLine.substr(strLine.find(' ')));
    {
        ChildProcess get(Far("get", {m_tool.Url("/x", relay.Port()), m_local.File("y")}),
                         m_tool.WithPassword());
        AwaitPart(m_local.File("y.part"));
        ::kill(get.Pid(), SIGKILL);  // worse than any error: nobody tidies up
        EXPECT_EQ(get.Wait().nExit, 128 + SIGKILL);
    }
    EXPECT_FALSE(fs::exists(m_local.File("y")));
    ExpectBeginning(m_local.File("y.part"), strBytes);
    const SRun get = m_tool.RunWithPassword({"get", "-c", m_tool.Url("/x"), m_local.File("y")});
    EXPECT_EQ(get.nExit, 0) << get.strErr;
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(m_local.File("y"))));
}

TEST_F(SftpBroken, InterruptKeepsThePartAndTheTarget) {
    const std::string strBytes = Payload(kSize);
    m_tool.Make("x", strBytes);
    ChildProcess get(Far("get", {FarUrl("/x"), m_local.File("x")}), m_tool.WithPassword());
    AwaitPart(m_local.File("x.part"));
    ::kill(get.Pid(), SIGINT);
    EXPECT_NE(get.Wait().nExit, 0);
    EXPECT_FALSE(fs::exists(m_local.File("x")));
    ExpectBeginning(m_local.File("x.part"), strBytes);

    // The server is there: whoever tidies up could remove what must stay.
    WriteFile(m_local.File("y"), strBytes);
    m_tool.Make("y", "old");
    ChildProcess put(Far("put", {m_local.File("y"), FarUrl("/y")}), m_tool.WithPassword());
    AwaitPart(m_tool.File("y.part"));
    ::kill(put.Pid(), SIGINT);
    EXPECT_NE(put.Wait().nExit, 0);
    EXPECT_EQ(ReadFile(m_tool.File("y")), "old");
    ExpectBeginning(m_tool.File("y.part"), strBytes);
}

Arguments LsAt(unsigned short usPort, const char* pszRetries) {
    return {"ls",        "--connect-timeout",
            "1",         "--connect-retries",
            pszRetries,  "--connect-retry-timeout",
            "1",         "--known-hosts",
            "/dev/null", "sftp://bob@127.0.0.1:" + std::to_string(usPort)};
}

const SSurroundings kWithPassword = {{{"QELFTP_PASSWORD", "x"}}, "", "", ""};

TEST(SftpUnreachable, NobodyListens) {
    const TestSupport::DeadPort port;
    const SRun run = RunTool(LsAt(port.Port(), "2"), kWithPassword);
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr,
              "qelftp: login 127.0.0.1:" + std::to_string(port.Port()) +
                  ": connection could not be made: no connection to 127.0.0.1 port " +
                  std::to_string(port.Port()) +
                  ": Connection refused (SFTP error 5); check host and port, that an SSH server "
                  "runs there, and firewalls between\n");
}

TEST(SftpUnreachable, NobodyAnswersAsOftenAsIsTried) {
    const TestSupport::SilentPort full;
    for (const auto& [pszRetries, nSeconds] : {std::pair{"0", 1}, std::pair{"2", 3}}) {
        const auto start = Clock::now();
        const SRun run = RunTool(LsAt(full.Port(), pszRetries), kWithPassword);
        const auto taken = Clock::now() - start;
        EXPECT_EQ(run.nExit, 1);
        EXPECT_NE(run.strErr.find("(SFTP error 5)"), std::string::npos) << run.strErr;
        EXPECT_GE(taken, Millis(nSeconds * 1000 - 100));
        EXPECT_LT(taken, Millis(nSeconds * 1000 + 3000));
    }
}

}  // namespace
