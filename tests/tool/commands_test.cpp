// What each command does on a real server.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <string>

#include "tests/support/payload.h"
#include "tests/support/tempdir.h"
#include "tests/tool/ftpserver.h"

using namespace TestSupport;
using namespace ToolTest;
namespace fs = std::filesystem;

namespace {

constexpr std::size_t kSize = 100003;

class Command : public testing::Test {
protected:
    // Runs it and requires success without a word on standard error; returns standard output.
    static std::string Done(const Arguments& arguments, const SSurroundings& surroundings = {}) {
        const SRun run = RunWithPassword(arguments, surroundings);
        EXPECT_EQ(run.nExit, 0);
        EXPECT_EQ(run.strErr, "");
        return run.strOut;
    }

    FtpServer m_server;
    TempDir m_local;
};

TEST_F(Command, LsPrintsATable) {
    WriteFile(m_server.File("b c.txt"), Payload(123456));
    WriteFile(m_server.File("a"), "");
    fs::create_directory(m_server.File("sub"));
    // Long ago, so that the server gives a year: noon of 5 June 2019 is that day in every zone.
    const timespec noon{1559736000, 0};
    const std::array<timespec, 2> times{noon, noon};
    for (const char* pszName : {"a", "b c.txt", "sub"}) {
        ASSERT_EQ(::utimensat(AT_FDCWD, m_server.File(pszName).c_str(), times.data(), 0), 0);
    }
    struct stat directory {};
    ASSERT_EQ(::stat(m_server.File("sub").c_str(), &directory), 0);
    std::string strDirectorySize = std::to_string(directory.st_size);
    strDirectorySize.insert(0, 6 - strDirectorySize.size(), ' ');
    EXPECT_EQ(Done({"ls", m_server.Url("/")}),
              "file       0  2019-06-05  a\n"
              "file  123456  2019-06-05  b c.txt\n"
              "dir   " +
                  strDirectorySize + "  2019-06-05  sub\n");
}

TEST_F(Command, LsOfASubdirectoryWithOrWithoutASlash) {
    fs::create_directory(m_server.File("sub"));
    WriteFile(m_server.File("sub/x"), "x");
    const std::string strTable = Done({"ls", m_server.Url("/sub")});
    EXPECT_NE(strTable.find("  x\n"), std::string::npos) << strTable;
    EXPECT_EQ(Done({"ls", m_server.Url("/sub/")}), strTable);
}

TEST_F(Command, LsOfAnEmptyDirectoryPrintsNothing) {
    EXPECT_EQ(Done({"ls", m_server.Url("")}), "");
}

TEST_F(Command, LsResolvesAHostName) {
    WriteFile(m_server.File("x"), "");
    const std::string strUrl = "ftp://bob@localhost:" + std::to_string(m_server.Port()) + "/";
    EXPECT_NE(Done({"ls", strUrl}).find("  x\n"), std::string::npos);
}

TEST_F(Command, AnonymousNeedsNoPassword) {
    WriteFile(m_server.File("x"), "");
    const SRun run = RunTool({"ls", "ftp://" + m_server.HostAndPort() + "/"});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_NE(run.strOut.find("  x\n"), std::string::npos);
    EXPECT_EQ(m_server.Count("USER anonymous"), 1);
}

TEST_F(Command, GetToANamedFile) {
    WriteFile(m_server.File("x"), Payload(kSize));
    WriteFile(m_local.File("y"), Payload(2 * kSize, 9));
    EXPECT_EQ(Done({"get", m_server.Url("/x"), m_local.File("y")}), "");
    EXPECT_TRUE(SamePayload(Payload(kSize), ReadFile(m_local.File("y"))));
}

TEST_F(Command, GetIntoADirectory) {
    fs::create_directory(m_server.File("sub"));
    WriteFile(m_server.File("sub/x"), Payload(kSize));
    EXPECT_EQ(Done({"get", m_server.Url("/sub/x"), m_local.Path().string()}), "");
    EXPECT_TRUE(SamePayload(Payload(kSize), ReadFile(m_local.File("x"))));
}

TEST_F(Command, GetIntoTheCurrentDirectory) {
    WriteFile(m_server.File("x"), Payload(kSize));
    EXPECT_EQ(Done({"get", m_server.Url("/x")}, {{}, m_local.Path().string(), "", ""}), "");
    EXPECT_TRUE(SamePayload(Payload(kSize), ReadFile(m_local.File("x"))));
}

TEST_F(Command, PutToANamedFile) {
    WriteFile(m_local.File("x"), Payload(kSize));
    WriteFile(m_server.File("y"), Payload(2 * kSize, 9));
    EXPECT_EQ(Done({"put", m_local.File("x"), m_server.Url("/y")}), "");
    EXPECT_TRUE(SamePayload(Payload(kSize), ReadFile(m_server.File("y"))));
}

TEST_F(Command, PutIntoADirectory) {
    fs::create_directory(m_server.File("sub"));
    WriteFile(m_local.File("x"), Payload(kSize));
    EXPECT_EQ(Done({"put", m_local.File("x"), m_server.Url("/sub/")}), "");
    EXPECT_TRUE(SamePayload(Payload(kSize), ReadFile(m_server.File("sub/x"))));
}

TEST_F(Command, EmptyFilesGoBothWays) {
    WriteFile(m_local.File("x"), "");
    Done({"put", m_local.File("x"), m_server.Url("/")});
    EXPECT_EQ(ReadFile(m_server.File("x")), "");
    Done({"get", m_server.Url("/x"), m_local.File("y")});
    EXPECT_EQ(ReadFile(m_local.File("y")), "");
}

TEST_F(Command, BatchesGoBothWaysInOneSession) {
    constexpr int kFiles = 50;
    Arguments put{"put"};
    Arguments get{"get"};
    fs::create_directory(m_server.File("in"));
    fs::create_directory(m_local.File("out"));
    for (int n = 0; n < kFiles; ++n) {
        const std::string strName = "file" + std::to_string(n);
        WriteFile(m_local.File(strName),
                  Payload(static_cast<std::size_t>(n) * 100, static_cast<std::uint64_t>(n)));
        put.push_back(m_local.File(strName));
        get.push_back(m_server.Url("/in/" + strName));
    }
    put.push_back(m_server.Url("/in"));
    get.push_back(m_local.File("out"));

    for (const Arguments& batch : {put, get}) {
        const SRun run = RunWithPassword(batch);
        EXPECT_EQ(run.nExit, 0);
        EXPECT_EQ(run.strErr, "qelftp: 50 of 50 files\n");
    }
    EXPECT_EQ(m_server.Count("connected"), 2);
    for (int n = 0; n < kFiles; ++n) {
        const std::string strName = "file" + std::to_string(n);
        EXPECT_TRUE(
            SamePayload(ReadFile(m_local.File(strName)), ReadFile(m_server.File("in/" + strName))));
        EXPECT_TRUE(
            SamePayload(ReadFile(m_local.File(strName)), ReadFile(m_local.File("out/" + strName))));
    }
}

TEST_F(Command, RmRemovesAFile) {
    WriteFile(m_server.File("x"), "");
    WriteFile(m_server.File("y"), "");
    EXPECT_EQ(Done({"rm", m_server.Url("/x")}), "");
    EXPECT_FALSE(m_server.Has("x"));
    EXPECT_TRUE(m_server.Has("y"));
}

TEST_F(Command, MkdirMakesMissingLevelsAndAcceptsExistingOnes) {
    EXPECT_EQ(Done({"mkdir", m_server.Url("/a/b/c")}), "");
    EXPECT_TRUE(fs::is_directory(m_server.File("a/b/c")));
    EXPECT_EQ(Done({"mkdir", m_server.Url("/a/b/")}), "");
}

TEST_F(Command, RmdirRemovesADirectoryWithItsFiles) {
    fs::create_directory(m_server.File("sub"));
    WriteFile(m_server.File("sub/x"), "");
    WriteFile(m_server.File("sub/y"), "");
    EXPECT_EQ(Done({"rmdir", m_server.Url("/sub")}), "");
    EXPECT_FALSE(m_server.Has("sub"));
}

TEST_F(Command, ExistsTellsByItsExitCode) {
    fs::create_directory(m_server.File("sub"));
    WriteFile(m_server.File("sub/x"), "");
    for (const char* pszThere : {"/sub/x", "/sub", "/sub/", "/", "/sub/..", "/sub/../sub/x"}) {
        EXPECT_EQ(Done({"exists", m_server.Url(pszThere)}), "") << pszThere;
    }
    for (const char* pszNotThere : {"/x", "/sub/X", "/none/x"}) {
        const SRun run = RunWithPassword({"exists", m_server.Url(pszNotThere)});
        EXPECT_EQ(run.nExit, 1) << pszNotThere;
        EXPECT_EQ(run.strOut, "");
        EXPECT_EQ(run.strErr, std::string("qelftp: exists ") + pszNotThere +
                                  ": no such file or directory (0x3bb0000e)\n");
    }
}

TEST_F(Command, PathsStayBelowTheLoginDirectory) {
    WriteFile(m_local.File("x"), "x");
    Done({"put", m_local.File("x"), m_server.Url("/../a/%2e%2e/../y")});
    EXPECT_EQ(ReadFile(m_server.File("y")), "x");
    EXPECT_EQ(m_server.Log().find(".."), std::string::npos) << m_server.Log();
}

TEST_F(Command, EverySessionEndsWithQuit) {
    WriteFile(m_server.File("x"), "");
    Done({"ls", m_server.Url("/")});
    Done({"exists", m_server.Url("/x")});
    Done({"rm", m_server.Url("/x")});
    RunWithPassword({"rm", m_server.Url("/x")});
    RunWithPassword({"exists", m_server.Url("/x")});
    RunWithPassword({"ls", m_server.Url("/x")});
    EXPECT_EQ(m_server.Count("connected"), 6);
    EXPECT_EQ(m_server.Count("QUIT"), 6);
}

}  // namespace
