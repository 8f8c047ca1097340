// How failures are told, on a real server: exit code 1, nothing on standard output, one line for
// each failure on standard error.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "tests/support/payload.h"
#include "tests/support/sockets.h"
#include "tests/support/tempdir.h"
#include "tests/tool/ftpserver.h"

using namespace TestSupport;
using namespace ToolTest;
namespace fs = std::filesystem;

namespace {

class Failure : public testing::Test {
protected:
    // Runs it and requires the failure; returns standard error.
    static std::string Told(const Arguments& arguments, const SSurroundings& surroundings = {}) {
        const SRun run = RunWithPassword(arguments, surroundings);
        EXPECT_EQ(run.nExit, 1);
        EXPECT_EQ(run.strOut, "");
        return run.strErr;
    }

    FtpServer m_server;
    TempDir m_local;
};

TEST_F(Failure, MissingRemotePathsAreNamed) {
    const std::string strMeaning = ": no such file or directory (0x3bb0000e)\n";
    EXPECT_EQ(Told({"get", m_server.Url("/a%20b.txt"), m_local.Path().string()}),
              "qelftp: get /a b.txt" + strMeaning);
    EXPECT_FALSE(fs::exists(m_local.File("a b.txt")));
    EXPECT_EQ(Told({"get", m_server.Url("/none/b.txt"), m_local.Path().string()}),
              "qelftp: get /none/b.txt" + strMeaning);
    EXPECT_EQ(Told({"ls", m_server.Url("/none")}), "qelftp: ls /none" + strMeaning);
    EXPECT_EQ(Told({"rm", m_server.Url("/none")}), "qelftp: rm /none" + strMeaning);
    EXPECT_EQ(Told({"rmdir", m_server.Url("/none")}), "qelftp: rmdir /none" + strMeaning);
    WriteFile(m_local.File("x"), "x");
    EXPECT_EQ(Told({"put", m_local.File("x"), m_server.Url("/none/")}),
              "qelftp: put /none/x" + strMeaning);
}

TEST_F(Failure, RefusedRemovalsAdvise) {
    fs::create_directories(m_server.File("a/b"));
    EXPECT_EQ(Told({"rm", m_server.Url("/a")}),
              "qelftp: rm /a: file removal refused (0x3bb0000c); check that it is a file; qelftp "
              "rmdir removes directories\n");
    EXPECT_EQ(Told({"rmdir", m_server.Url("/a")}),
              "qelftp: rmdir /a: directory removal refused (0x3bb0000b); check that it is a "
              "directory without directories in it\n");
    EXPECT_TRUE(m_server.Has("a/b"));
}

TEST_F(Failure, OfAFileOfSeveralGetsTheOthersAllTheSame) {
    for (const char* pszName : {"a", "c", "d"})
        WriteFile(m_server.File(pszName), Payload(5000));
    // Files that were there before must not be taken for ones that arrived.
    WriteFile(m_local.File("b"), "older");
    WriteFile(m_local.File("c"), "older");
    EXPECT_EQ(Told({"get", m_server.Url("/a"), m_server.Url("/b"), m_server.Url("/c"),
                    m_server.Url("/d"), m_local.Path().string()}),
              "qelftp: get /b: no such file or directory (0x3bb0000e)\n"
              "qelftp: 3 of 4 files, 1 failed\n");
    EXPECT_TRUE(SamePayload(Payload(5000), ReadFile(m_local.File("a"))));
    EXPECT_EQ(ReadFile(m_local.File("b")), "older");
    EXPECT_TRUE(SamePayload(Payload(5000), ReadFile(m_local.File("c"))));
    EXPECT_TRUE(SamePayload(Payload(5000), ReadFile(m_local.File("d"))));
}

TEST_F(Failure, OfAFileOfSeveralPutsTheOthersAllTheSame) {
    for (const char* pszName : {"a", "b", "c", "d"})
        WriteFile(m_local.File(pszName), Payload(5000));
    fs::create_directory(m_server.File("c"));  // in the way
    WriteFile(m_server.File("d"), "older");
    const std::string strTold = Told({"put", m_local.File("a"), m_local.File("b"),
                                      m_local.File("c"), m_local.File("d"), m_server.Url("/")});
    EXPECT_EQ(strTold.find("qelftp: put /c: "), 0U) << strTold;
    EXPECT_NE(strTold.find("qelftp: 3 of 4 files, 1 failed\n"), std::string::npos) << strTold;
    EXPECT_TRUE(SamePayload(Payload(5000), ReadFile(m_server.File("a"))));
    EXPECT_TRUE(SamePayload(Payload(5000), ReadFile(m_server.File("b"))));
    EXPECT_TRUE(SamePayload(Payload(5000), ReadFile(m_server.File("d"))));
    EXPECT_TRUE(fs::is_directory(m_server.File("c")));
}

TEST_F(Failure, OfLocalWritingIsToldForEachFileAndTheOthersGoOn) {
    for (const char* pszName : {"a", "b", "c"})
        WriteFile(m_server.File(pszName), Payload(5000));
    fs::create_symlink("/dev/full", m_local.File("a"));
    fs::create_symlink("/dev/full", m_local.File("c"));
    EXPECT_EQ(Told({"get", m_server.Url("/a"), m_server.Url("/b"), m_server.Url("/c"),
                    m_local.Path().string()}),
              "qelftp: get " + m_local.File("a") +
                  ": local file could not be read or written (0x3bb00021)\n" + "qelftp: get " +
                  m_local.File("c") + ": local file could not be read or written (0x3bb00021)\n" +
                  "qelftp: 1 of 3 files, 2 failed\n");
    EXPECT_TRUE(SamePayload(Payload(5000), ReadFile(m_local.File("b"))));
}

TEST_F(Failure, OfStandardOutputIsTold) {
    WriteFile(m_server.File("x"), "");
    EXPECT_EQ(Told({"ls", m_server.Url("/")}, {{}, "", "", "/dev/full"}),
              "qelftp: write standard output: No space left on device\n");
    EXPECT_EQ(m_server.Count("QUIT"), 1);
}

TEST_F(Failure, OfLoginAdvises) {
    EXPECT_EQ(Told({"ls", m_server.Url("/")}, {{{"QELFTP_PASSWORD", "wrong"}}, "", "", ""}),
              "qelftp: login " + m_server.HostAndPort() +
                  ": login refused (0x3bb00007); check the user name and QELFTP_PASSWORD\n");
    EXPECT_EQ(m_server.Count("PWD"), 0);
}

TEST_F(Failure, OfConnectingIsQuickWhenAskedTo) {
    const DeadPort dead;
    const std::string strServer = "127.0.0.1:" + std::to_string(dead.Port());
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(Told({"ls", "ftp://bob@" + strServer + "/"}),
              "qelftp: login " + strServer +
                  ": connection could not be made (0x3bb00001); check host and port, that a server "
                  "runs there, and firewalls between\n");
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(4));
}

TEST_F(Failure, OfResolvingNamesTheHost) {
    // No label of a name is longer than 63 bytes: no resolver needs to be asked.
    const std::string strHost = std::string(64, 'x') + ".invalid";
    const std::string strTold = Told({"ls", "ftp://bob@" + strHost + "/"});
    EXPECT_EQ(strTold.find("qelftp: resolve " + strHost + ": "), 0U) << strTold;
    EXPECT_NE(strTold.find("check the host name"), std::string::npos) << strTold;
}

TEST_F(Failure, OfLocalSourcesIsToldBeforeThereIsAConnection) {
    fs::create_directory(m_local.File("dir"));
    ASSERT_EQ(::mkfifo(m_local.File("fifo").c_str(), 0600), 0);
    WriteFile(m_local.File("x"), "x");
    EXPECT_EQ(Told({"put", m_local.File("x"), m_local.File("none"), m_local.File("dir"),
                    m_local.File("fifo"), m_server.Url("/")}),
              "qelftp: put " + m_local.File("none") + ": No such file or directory\n" +
                  "qelftp: put " + m_local.File("dir") + ": Is a directory\n" + "qelftp: put " +
                  m_local.File("fifo") + ": Not a regular file\n");
    EXPECT_EQ(m_server.Log(), "");
    EXPECT_FALSE(m_server.Has("x"));
    EXPECT_FALSE(m_server.Has("none"));
}

TEST_F(Failure, OfLocalTargetsIsToldBeforeThereIsAConnection) {
    fs::create_directories(m_local.File("dir/x"));
    WriteFile(m_local.File("file"), "older");
    const std::string strX = m_server.Url("/x");
    const std::string strY = m_server.Url("/y");
    EXPECT_EQ(Told({"get", strX, m_local.File("none/x")}),
              "qelftp: get " + m_local.File("none/") + ": No such file or directory\n");
    EXPECT_EQ(Told({"get", strX, m_local.File("none/")}),
              "qelftp: get " + m_local.File("none/") + ": No such file or directory\n");
    EXPECT_EQ(Told({"get", strX, strY, m_local.File("none")}),
              "qelftp: get " + m_local.File("none") + ": No such file or directory\n");
    EXPECT_EQ(Told({"get", strX, strY, m_local.File("file")}),
              "qelftp: get " + m_local.File("file") + ": Not a directory\n");
    EXPECT_EQ(Told({"get", strX, m_local.File("dir")}),
              "qelftp: get " + m_local.File("dir/x") + ": Is a directory\n");
    EXPECT_EQ(m_server.Log(), "");
    EXPECT_EQ(ReadFile(m_local.File("file")), "older");
}

TEST_F(Failure, OfALocalCheckNeedsNoPassword) {
    const SRun run = RunTool({"put", m_local.File("none"), m_server.Url("/")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr, "qelftp: put " + m_local.File("none") + ": No such file or directory\n");
}

TEST_F(Failure, LeavesTheLibrarysLogOutUnlessAskedForIt) {
    SSurroundings surroundings{{{"QELFTP_PASSWORD", "wrong"}}, "", "", ""};
    const std::string strLine =
        "qelftp: login " + m_server.HostAndPort() +
        ": login refused (0x3bb00007); check the user name and QELFTP_PASSWORD\n";
    EXPECT_EQ(Told({"ls", m_server.Url("/")}, surroundings), strLine);
    for (const char* pszLevel : {"error", "trace"}) {
        surroundings.environment["QEL_LOG_LEVEL"] = pszLevel;
        const std::string strLogged = Told({"ls", m_server.Url("/")}, surroundings);
        EXPECT_NE(strLogged.find("[FTPCLIENT]"), std::string::npos) << strLogged;
        EXPECT_NE(strLogged.find(strLine), std::string::npos) << strLogged;
        EXPECT_EQ(strLogged.find("wrong"), std::string::npos) << strLogged;
    }
}

TEST_F(Failure, OfAPathThatIsTooLongSaysSo) {
    const std::string strPath = "/" + std::string(260, 'x');
    EXPECT_EQ(Told({"rm", m_server.Url(strPath)}),
              "qelftp: rm " + strPath +
                  ": no such file or directory (0x3bb0000e); remote paths are limited to 260 "
                  "bytes\n");
}

}  // namespace
