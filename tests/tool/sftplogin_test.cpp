// Who the server is, and who the user is.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/sftpserver/recordingserver.h"
#include "tests/tool/sftptool.h"
#include "tests/tool/terminal.h"

using namespace ToolTest;
using TestSupport::ReadFile;
using TestSupport::RecordingServer;
using TestSupport::RunProgram;
using TestSupport::SServerScript;
using TestSupport::TempDir;
using TestSupport::WriteFile;
namespace fs = std::filesystem;

namespace {

const std::string kSecret = "an egg, boiled";

// "SHA256:..." as ssh-keygen prints it for a line of known_hosts without its host.
std::string Fingerprint(const std::string& strKey) {
    const TempDir temp;
    WriteFile(temp.File("key.pub"), strKey + "\n");
    RunProgram({"/usr/bin/ssh-keygen", "-lf", temp.File("key.pub")},
               {{}, temp.File("printed"), false});
    std::ifstream printed(temp.File("printed"));
    std::string strBits;
    std::string strPrint;
    printed >> strBits >> strPrint;
    EXPECT_EQ(strPrint.find("SHA256:"), 0U) << ReadFile(temp.File("printed"));
    return strPrint;
}

class SftpLogin : public testing::Test {
protected:
    SftpLogin() { m_tool.WriteKnownHosts(m_tool.HostLine()); }

    Arguments Ls() const { return {"ls", m_tool.Url("/")}; }
    Arguments LsWith(const std::string& strKeyFile) const {
        return {"ls", "--identity", strKeyFile, m_tool.Url("/")};
    }
    SSurroundings WithPassphrase(const std::string& strPassphrase) const {
        SSurroundings surroundings = m_tool.Home();
        surroundings.environment["QELFTP_PASSPHRASE"] = strPassphrase;
        return surroundings;
    }
    SSurroundings AtTerminal() const {
        SSurroundings surroundings = m_tool.Home();
        surroundings.strTerminal = m_terminal.Name();
        return surroundings;
    }

    SftpTool m_tool;
    Terminal m_terminal;
};

TEST_F(SftpLogin, ByPassword) {
    const SRun run = m_tool.RunWithPassword(Ls());
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(m_tool.CountInLog("Accepted password"), 1);
}

TEST_F(SftpLogin, ByPasswordOfTheTerminal) {
    ChildProcess tool(m_tool.Command(Ls()), AtTerminal());
    m_terminal.ReadUntil("Password of " + m_tool.Server().User() + " at 127.0.0.1: ");
    EXPECT_FALSE(m_terminal.Echoes());
    m_terminal.Type(std::string(TestSupport::OpenSshServer::Password()) + "\n");
    const SRun run = tool.Wait();
    EXPECT_EQ(run.nExit, 0) << run.strErr;
}

TEST_F(SftpLogin, WithAWrongPasswordIsRefused) {
    SSurroundings surroundings = m_tool.Home();
    surroundings.environment["QELFTP_PASSWORD"] = kSecret;
    const SRun run = m_tool.Run(Ls(), surroundings);
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr, "qelftp: login " + m_tool.HostAndPort() +
                              ": login refused (SFTP error 7); check the user name and "
                              "QELFTP_PASSWORD, or the key of --identity\n");
}

TEST_F(SftpLogin, ByKeyAsksForNothing) {
    for (const char* pszType : {"ed25519", "rsa", "ecdsa"}) {
        const std::string strKey = m_tool.Server().AuthorizedKey(pszType);
        const SRun run = m_tool.Run(LsWith(strKey), AtTerminal());
        EXPECT_EQ(run.nExit, 0) << pszType << ": " << run.strErr;
    }
    EXPECT_EQ(m_tool.CountInLog("Accepted publickey"), 3);
    m_terminal.Type("x");
    EXPECT_EQ(m_terminal.ReadUntil("x"), "x");  // nothing was shown before
}

TEST_F(SftpLogin, ByEncryptedKeyWithThePassphraseOfTheEnvironment) {
    for (const char* pszFormat : {"", "PEM", "PKCS8"}) {
        const std::string strKey = m_tool.Server().AuthorizedKey("rsa", kSecret, pszFormat);
        const SRun run = m_tool.Run(LsWith(strKey), WithPassphrase(kSecret));
        EXPECT_EQ(run.nExit, 0) << pszFormat << ": " << run.strErr;
    }
}

TEST_F(SftpLogin, ByEncryptedKeyWithThePassphraseOfTheTerminal) {
    const std::string strKey = m_tool.Server().AuthorizedKey("ed25519", kSecret);
    ChildProcess tool(m_tool.Command(LsWith(strKey)), AtTerminal());
    m_terminal.ReadUntil("Passphrase of " + strKey + ": ");
    EXPECT_FALSE(m_terminal.Echoes());
    m_terminal.Type(kSecret + "\n");
    const SRun run = tool.Wait();
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(m_tool.CountInLog("Accepted publickey"), 1);
    EXPECT_EQ(m_terminal.ReadUntil("\n"), "\r\n");
}

TEST_F(SftpLogin, WithAWrongPassphraseDoesNotConnect) {
    const std::string strKey = m_tool.Server().AuthorizedKey("ed25519", kSecret);
    const SRun run = m_tool.Run(LsWith(strKey), WithPassphrase("no-" + kSecret));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr,
              "qelftp: login " + m_tool.HostAndPort() +
                  ": the private key cannot be used: private key " + strKey +
                  ": unknown form or wrong passphrase (SFTP error 8); check the file of --identity "
                  "and QELFTP_PASSPHRASE\n");
    EXPECT_EQ(m_tool.CountInLog("Connection from 127.0.0.1"), 1);  // the test's own
}

TEST_F(SftpLogin, ByEncryptedKeyWithoutPassphraseAndTerminalIsAUsageError) {
    const std::string strKey = m_tool.Server().AuthorizedKey("ed25519", kSecret);
    const SRun run = m_tool.Run(LsWith(strKey), m_tool.Home());
    EXPECT_EQ(run.nExit, 2);
    EXPECT_NE(run.strErr.find("a passphrase is needed, and there is no terminal to ask on: set "
                              "QELFTP_PASSPHRASE"),
              std::string::npos)
        << run.strErr;
}

TEST_F(SftpLogin, ByMissingKeyFileIsToldAtOnce) {
    const SRun run = m_tool.Run(LsWith("/none/key"), m_tool.Home());
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr, "qelftp: identity /none/key: No such file or directory\n");
}

TEST_F(SftpLogin, ByKeyThatIsRefusedFallsBackToThePasswordOfTheEnvironment) {
    const std::string strKey = m_tool.Server().AuthorizedKey("ed25519");
    const SftpTool other;
    other.WriteKnownHosts(other.HostLine());
    const Arguments ls = {"ls", "--identity", strKey, other.Url("/")};
    const SRun refused = other.Run(ls, other.Home());
    EXPECT_EQ(refused.nExit, 1);
    EXPECT_NE(refused.strErr.find("login refused (SFTP error 7)"), std::string::npos)
        << refused.strErr;
    const SRun run = other.RunWithPassword(ls);
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(other.CountInLog("Accepted password"), 1);
}

TEST_F(SftpLogin, ShowsNoSecretInTheLog) {
    const std::string strKey = m_tool.Server().AuthorizedKey("ed25519", kSecret);
    const TempDir temp;
    SSurroundings surroundings = WithPassphrase(kSecret);
    surroundings.environment["QELFTP_PASSWORD"] = "pass-" + kSecret;
    surroundings.environment["QEL_LOG_LEVEL"] = "trace";
    surroundings.environment["QEL_LOG_FILE"] = temp.File("log");
    const SRun run = m_tool.Run(LsWith(strKey), surroundings);
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    const std::string strLog = ReadFile(temp.File("log"));
    EXPECT_NE(strLog, "");
    EXPECT_EQ(strLog.find(kSecret), std::string::npos) << strLog;
}

class SftpHostKey : public testing::Test {
protected:
    Arguments Ls() const { return {"ls", m_tool.Url("/")}; }
    Arguments LsAccepting() const { return {"ls", "--accept-new-host-key", m_tool.Url("/")}; }

    // Fails before anything of the user is sent.
    std::string Refused(const Arguments& arguments) {
        const SRun run = m_tool.RunWithPassword(arguments);
        EXPECT_EQ(run.nExit, 1);
        EXPECT_EQ(run.strOut, "");
        EXPECT_EQ(m_tool.CountInLog("Accepted"), 0);
        return run.strErr;
    }

    SftpTool m_tool;
};

TEST_F(SftpHostKey, ThatIsUnknownIsShownAndNotRecorded) {
    EXPECT_EQ(Refused(Ls()),
              "qelftp: login " + m_tool.HostAndPort() +
                  ": the host is not known; it shows the key ED25519 " +
                  Fingerprint(m_tool.Server().HostKey()) +
                  " (SFTP error 6); ask its administrator for the fingerprint (ssh-keygen -lf of "
                  "the host's public key prints it); if it is this one, --accept-new-host-key "
                  "records it in " +
                  m_tool.KnownHosts() + "\n");
    EXPECT_FALSE(fs::exists(m_tool.KnownHosts()));
}

TEST_F(SftpHostKey, ThatIsUnknownIsRecordedOnceWhereThatIsWanted) {
    EXPECT_EQ(m_tool.RunWithPassword(LsAccepting()).nExit, 0);
    EXPECT_EQ(ReadFile(m_tool.KnownHosts()), m_tool.HostLine());
    struct stat info = {};
    ASSERT_EQ(::stat(m_tool.KnownHosts().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777U, 0600U);
    EXPECT_EQ(m_tool.RunWithPassword(Ls()).nExit, 0);
    EXPECT_EQ(m_tool.RunWithPassword(LsAccepting()).nExit, 0);
    EXPECT_EQ(ReadFile(m_tool.KnownHosts()), m_tool.HostLine());
}

TEST_F(SftpHostKey, IsNotTrustedWhenItCannotBeRecorded) {
    Arguments arguments = LsAccepting();
    arguments.insert(arguments.end(), {"--known-hosts", "/proc/none/known_hosts"});
    const SRun run = m_tool.RunWithPassword(arguments);
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr.find("qelftp: known hosts /proc/none/known_hosts: "), 0U) << run.strErr;
    EXPECT_EQ(m_tool.CountInLog("Accepted"), 0);
}

TEST_F(SftpHostKey, ThatHasChangedIsShownBesideTheKnownOneAndNoFlagHelps) {
    const SftpTool former;
    const std::string strKnown = "# hosts\n[127.0.0.1]:" + std::to_string(m_tool.Server().Port()) +
                                 " " + former.HostLine().substr(former.HostLine().find(' ') + 1);
    m_tool.WriteKnownHosts(strKnown);
    for (const Arguments& arguments : {Ls(), LsAccepting()}) {
        const std::string strTold = Refused(arguments);
        EXPECT_EQ(strTold.find("qelftp: login " + m_tool.HostAndPort() +
                               ": THE HOST KEY HAS CHANGED: known is ED25519 "),
                  0U)
            << strTold;
        const std::string strLine = former.HostLine();
        EXPECT_NE(strTold.find(Fingerprint(strLine.substr(strLine.find(' ') + 1)) + " (" +
                               m_tool.KnownHosts() + ", line 2), shown is ED25519 " +
                               Fingerprint(m_tool.Server().HostKey()) + " (SFTP error 6)"),
                  std::string::npos)
            << strTold;
        EXPECT_NE(strTold.find("remove line 2 (ssh-keygen -R '[127.0.0.1]:"), std::string::npos)
            << strTold;
        EXPECT_EQ(ReadFile(m_tool.KnownHosts()), strKnown);
    }
}

TEST_F(SftpHostKey, OfAHashedLineIsKnown) {
    m_tool.WriteKnownHosts(m_tool.HostLine());
    ASSERT_EQ(RunProgram({"/usr/bin/ssh-keygen", "-q", "-H", "-f", m_tool.KnownHosts()},
                         {{}, "/dev/null", false}),
              0);
    EXPECT_EQ(ReadFile(m_tool.KnownHosts()).find("|1|"), 0U);
    const SRun run = m_tool.RunWithPassword(Ls());
    EXPECT_EQ(run.nExit, 0) << run.strErr;
}

TEST_F(SftpHostKey, OfAnotherFileIsKnown) {
    const TempDir temp;
    WriteFile(temp.File("hosts"), m_tool.HostLine());
    const SRun run =
        m_tool.RunWithPassword({"ls", "--known-hosts", temp.File("hosts"), m_tool.Url("/")});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
}

TEST_F(SftpHostKey, OfAnotherPortIsUnknown) {
    m_tool.WriteKnownHosts("[127.0.0.1]:1 " + m_tool.Server().HostKey() + "\n");
    EXPECT_NE(Refused(Ls()).find("the host is not known"), std::string::npos);
}

TEST_F(SftpHostKey, OfTheNameAsTheUserWroteIt) {
    m_tool.WriteKnownHosts("[localhost]:" + std::to_string(m_tool.Server().Port()) + " " +
                           m_tool.Server().HostKey() + "\n");
    EXPECT_NE(Refused(Ls()).find("the host is not known"), std::string::npos);
    const SRun run =
        m_tool.RunWithPassword({"ls", "sftp://" + m_tool.Server().User() +
                                          "@LocalHost:" + std::to_string(m_tool.Server().Port())});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
}

TEST_F(SftpHostKey, ThatIsRevokedIsRefused) {
    m_tool.WriteKnownHosts(m_tool.HostLine() + "@revoked * " + m_tool.Server().HostKey() + "\n");
    for (const Arguments& arguments : {Ls(), LsAccepting()}) {
        const std::string strTold = Refused(arguments);
        EXPECT_NE(strTold.find("is marked as revoked (" + m_tool.KnownHosts() + ", line 2)"),
                  std::string::npos)
            << strTold;
    }
}

TEST(SftpHostKeyTypes, ThatAreKnownAreAskedForFirst) {
    SftpTool tool({"rsa", "ed25519"});
    tool.WriteKnownHosts(tool.HostLine("rsa"));
    const SRun rsa = tool.RunWithPassword({"ls", tool.Url("/")});
    EXPECT_EQ(rsa.nExit, 0) << rsa.strErr;
    tool.WriteKnownHosts(tool.HostLine("ed25519"));
    const SRun ed25519 = tool.RunWithPassword({"ls", tool.Url("/")});
    EXPECT_EQ(ed25519.nExit, 0) << ed25519.strErr;
}

TEST(SftpHostKeyChange, IsNoticedBeforeThePasswordIsSent) {
    const std::string strFormerKey = RecordingServer(SServerScript{}).HostKey();
    RecordingServer server(SServerScript{});
    const TempDir temp;
    const std::string strKnown =
        "[127.0.0.1]:" + std::to_string(server.Port()) + " " + strFormerKey + "\n";
    WriteFile(temp.File("hosts"), strKnown);
    for (const char* pszFlag : {"--quiet", "--accept-new-host-key"}) {
        const SRun run = RunTool({"ls", pszFlag, "--known-hosts", temp.File("hosts"),
                                  "sftp://bob@127.0.0.1:" + std::to_string(server.Port())},
                                 {{{"QELFTP_PASSWORD", "tea"}}, "", "", ""});
        EXPECT_EQ(run.nExit, 1);
        EXPECT_NE(run.strErr.find("THE HOST KEY HAS CHANGED"), std::string::npos) << run.strErr;
    }
    EXPECT_EQ(ReadFile(temp.File("hosts")), strKnown);
    // Not even the question which ways to log in there are.
    for (const std::string& strEvent : server.Events())
        EXPECT_EQ(strEvent.find("auth"), std::string::npos) << strEvent;

    WriteFile(temp.File("hosts"), "");
    const SRun accepted =
        RunTool({"ls", "--accept-new-host-key", "--known-hosts", temp.File("hosts"),
                 "sftp://bob@127.0.0.1:" + std::to_string(server.Port())},
                {{{"QELFTP_PASSWORD", "tea"}}, "", "", ""});
    EXPECT_NE(accepted.nExit, 0);  // it has no SFTP
    const std::vector<std::string> events = server.Events();
    EXPECT_NE(std::find(events.begin(), events.end(), "auth password tea"), events.end());
}

}  // namespace
