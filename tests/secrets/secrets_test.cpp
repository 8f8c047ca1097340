// Passwords and passphrases in the memory of a process that has logged in.

#include <crypt.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/secrets/memorysearch.h"
#include "tests/sftpserver/opensshserver.h"
#include "tests/support/scriptedserver.h"
#include "tests/support/tempdir.h"
#include "tests/tool/childprocess.h"
#include "tests/tool/environment.h"
#include "tests/tool/sftptool.h"

using namespace SecretsTest;
using namespace TestSupport;
using Arguments = ToolTest::Arguments;

namespace {

SStep On(const std::string& strCommand, const std::string& strReply) {
    return Sequence({Expect(strCommand), Say(strReply + "\r\n")});
}

SStep LogIn(const std::string& strPassword) {
    return Sequence({Limit(Millis(60000)), Say("220 ready\r\n"),
                     On("USER bob", "331 password, please"), On("PASS " + strPassword, "230 in"),
                     On("PWD", "257 \"/\" is current")});
}

// A secret and the file that another process gets it from.
class CSecret {
public:
    CSecret() : m_strText(RandomSecret()) {
        WriteFile(File(), m_strText);
        ::chmod(File().c_str(), 0600);
    }
    const std::string& Text() const { return m_strText; }
    std::string File() const { return m_temp.File("secret"); }

private:
    TempDir m_temp;
    std::string m_strText;
};

// The dynamic loader keeps the vector registers on the stack while it looks for a function that is
// called for the first time, with whatever bytes were copied through them last. Not if it looks for
// all functions at the start.
const std::pair<const std::string, std::string> kBindNow{"LD_BIND_NOW", "1"};

using Stages = std::map<std::string, std::vector<SFound>>;

// Runs the client to its end and looks into it each time it stops.
Stages LookInto(const CSecret& secret, const std::string& strHabit,
                const std::vector<std::string>& stages, Arguments how) {
    how.insert(how.begin(), {QEL_SECRETS_CLIENT, secret.File(), strHabit});
    ToolTest::ChildProcess client(
        how, {{{"QEL_SERVER_PATH", QEL_TEST_SERVER_PATH}, kBindNow}, "", "", ""});
    Stages found;
    for (const std::string& strStage : stages) {
        EXPECT_EQ(client.ReadLine(), strStage);
        AwaitStop(client.Pid());
        found[strStage] = FindInMemory(client.Pid(), secret.Text());
        ::kill(client.Pid(), SIGCONT);
    }
    const ToolTest::SRun run = client.Wait();
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    return found;
}

Stages LookIntoFtp(const std::string& strHabit) {
    const CSecret secret;
    ScriptedServer server{LogIn(secret.Text()), On("QUIT", "221 bye"), ExpectClose()};
    Stages found = LookInto(secret, strHabit, {"logged in", "released"},
                            {"ftp", std::to_string(server.Port())});
    server.ExpectFinished();
    return found;
}

Stages LookIntoSftp(const CSecret& secret, const std::string& strHow, const OpenSshServer& server,
                    const Arguments& more = {}) {
    Arguments how{strHow, std::to_string(server.Port()), server.User(), server.HostKey()};
    how.insert(how.end(), more.begin(), more.end());
    return LookInto(secret, "wipe", {"set up", "logged in", "released"}, how);
}

// A running program, stopped while it is looked into.
std::vector<SFound> LookIntoRunning(pid_t pid, const CSecret& secret) {
    ::kill(pid, SIGSTOP);
    AwaitStop(pid);
    std::vector<SFound> found = FindInMemory(pid, secret.Text());
    ::kill(pid, SIGCONT);
    return found;
}

void ExpectNothing(const std::vector<SFound>& found) {
    for (const SFound& one : found)
        ADD_FAILURE() << one;
}

// ---- The search itself: it can find something ----

TEST(MemorySearch, FindsACopyThatWasForgotten) {
    Stages found = LookIntoFtp("keep");
    EXPECT_GE(found["logged in"].size(), 3U);
    EXPECT_GE(found["released"].size(), 3U);
}

TEST(MemorySearch, FindsCopiesThatWereFreedAsTheyWere) {
    EXPECT_FALSE(LookIntoFtp("free")["logged in"].empty());
}

// ---- The library ----

TEST(Secrets, OfAnFtpSessionAreNowhere) {
    Stages found = LookIntoFtp("wipe");
    ExpectNothing(found["logged in"]);
    ExpectNothing(found["released"]);
}

// sshd takes the first of two variables of a name, and the server's own comes behind ours.
class CAcceptedPassword {
public:
    explicit CAcceptedPassword(const CSecret& secret)
        : m_variable("QEL_TEST_PASSWORD_HASH", Hash(secret.Text()).c_str()) {}

private:
    static std::string Hash(const std::string& strPassword) {
        crypt_data data = {};
        const char* pszHash = ::crypt_r(strPassword.c_str(), "$5$qeltest$", &data);
        return pszHash != nullptr ? pszHash : "";
    }

    ToolTest::EnvironmentVariable m_variable;
};

// Until the session has logged in, it needs the password itself.
TEST(Secrets, OfAnSftpSessionAreNowhereOnceItHasLoggedIn) {
    const CSecret secret;
    const CAcceptedPassword accepted(secret);
    const OpenSshServer server;
    Stages found = LookIntoSftp(secret, "sftp-password", server);
    EXPECT_EQ(found["set up"].size(), 3U) << testing::PrintToString(found["set up"]);
    ExpectNothing(found["logged in"]);
    ExpectNothing(found["released"]);
}

// OpenSSH's own form, and PEM, which other code reads.
class Passphrase : public testing::TestWithParam<const char*> {};

TEST_P(Passphrase, OfAnSftpSessionIsNowhereOnceItsKeyWasRead) {
    const CSecret secret;
    OpenSshServer server;
    const std::string strKey = server.AuthorizedKey("ecdsa", secret.Text(), GetParam());
    Stages found = LookIntoSftp(secret, "sftp-key", server, {strKey});
    ExpectNothing(found["set up"]);
    ExpectNothing(found["logged in"]);
    ExpectNothing(found["released"]);
}

INSTANTIATE_TEST_SUITE_P(Forms, Passphrase, testing::Values("", "PEM"),
                         [](const testing::TestParamInfo<const char*>& parameter) {
                             return std::string(*parameter.param != 0 ? parameter.param
                                                                      : "OpenSSH");
                         });

// ---- The program ----

TEST(ToolSecrets, OfAnFtpSessionAreNowhere) {
    const CSecret secret;
    ScriptedServer server{LogIn(secret.Text()), Expect("DELE /x"), Hold(),
                          Say("250 gone\r\n"),  Expect("QUIT"),    Hold(),
                          Say("221 bye\r\n"),   ExpectClose()};
    ToolTest::ChildProcess tool(
        ToolTest::ToolCommand({"rm", "--password-file", secret.File(),
                               "ftp://bob@127.0.0.1:" + std::to_string(server.Port()) + "/x"}),
        {{kBindNow}, "", "", ""});
    for (int nStage = 0; nStage < 2; ++nStage) {
        server.WaitUntilHeld();
        ExpectNothing(LookIntoRunning(tool.Pid(), secret));
        server.Release();
    }
    EXPECT_EQ(tool.Wait().nExit, 0);
    server.ExpectFinished();
}

// A retrieve that takes its time, from a server that knows the secret as password.
class SftpTool : public testing::Test {
protected:
    SftpTool() {
        m_tool.WriteKnownHosts(m_tool.HostLine());
        m_tool.Make("large", "");
        std::filesystem::resize_file(m_tool.File("large"), std::uintmax_t{1} << 33);
    }

    void ExpectNothingOnceLoggedIn(Arguments options, const ToolTest::SSurroundings& surroundings) {
        const std::string strTarget = m_target.File("large");
        options.insert(options.begin(), "get");
        options.insert(options.end(), {m_tool.Url("/large"), strTarget});
        ToolTest::ChildProcess tool(m_tool.Command(options), surroundings);
        const auto end = Clock::now() + Millis(20000);
        while (std::filesystem::is_empty(m_target.Path()) && Clock::now() < end)
            std::this_thread::sleep_for(Millis(1));
        ASSERT_FALSE(std::filesystem::is_empty(m_target.Path()))
            << tool.Wait().strErr << m_tool.Server().Log();
        ExpectNothing(LookIntoRunning(tool.Pid(), m_secret));
    }

    CSecret m_secret;
    CAcceptedPassword m_accepted{m_secret};
    ToolTest::SftpTool m_tool;
    TempDir m_target;
};

TEST_F(SftpTool, HasThePassphraseOfTheEnvironmentNowhere) {
    const std::string strKey = m_tool.Server().AuthorizedKey("ecdsa", m_secret.Text());
    ToolTest::SSurroundings surroundings = m_tool.Home();
    surroundings.environment["QELFTP_PASSPHRASE"] = m_secret.Text();
    ExpectNothingOnceLoggedIn({"--identity", strKey}, surroundings);
    EXPECT_EQ(m_tool.CountInLog("Accepted publickey"), 1);
}

TEST_F(SftpTool, HasThePasswordOfTheEnvironmentNowhere) {
    ToolTest::SSurroundings surroundings = m_tool.Home();
    surroundings.environment["QELFTP_PASSWORD"] = m_secret.Text();
    ExpectNothingOnceLoggedIn({}, surroundings);
    EXPECT_EQ(m_tool.CountInLog("Accepted password"), 1);
}

TEST_F(SftpTool, HasThePasswordOfAFileNowhere) {
    ExpectNothingOnceLoggedIn({"--password-file", m_secret.File()}, m_tool.Home());
    EXPECT_EQ(m_tool.CountInLog("Accepted password"), 1);
}

}  // namespace
