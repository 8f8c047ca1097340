// What each command does over SFTP, on a real server.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <string>

#include "tests/support/payload.h"
#include "tests/tool/sftptool.h"

using namespace ToolTest;
using TestSupport::Payload;
using TestSupport::ReadFile;
using TestSupport::SamePayload;
using TestSupport::TempDir;
using TestSupport::WriteFile;
namespace fs = std::filesystem;

namespace {

constexpr std::size_t kSize = 1'000'003;

class SftpCommand : public testing::Test {
protected:
    SftpCommand() { m_tool.WriteKnownHosts(m_tool.HostLine()); }

    // Runs it and requires success without a word on standard error; returns standard output.
    std::string Done(const Arguments& arguments) {
        const SRun run = m_tool.RunWithPassword(arguments);
        EXPECT_EQ(run.nExit, 0);
        EXPECT_EQ(run.strErr, "");
        return run.strOut;
    }

    // Runs it, requires exit code 1, and returns what it said.
    std::string Told(const Arguments& arguments) {
        const SRun run = m_tool.RunWithPassword(arguments);
        EXPECT_EQ(run.nExit, 1);
        EXPECT_EQ(run.strOut, "");
        return run.strErr;
    }

    void SetTime(const std::string& strPath, std::time_t seconds) {
        const std::array<timespec, 2> times{timespec{seconds, 0}, timespec{seconds, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, m_tool.File(strPath).c_str(), times.data(), 0), 0);
    }

    unsigned int ModeOf(const std::string& strPath) {
        struct stat info = {};
        EXPECT_EQ(::stat(strPath.c_str(), &info), 0) << strPath;
        return info.st_mode & 07777U;
    }

    SftpTool m_tool;
    TempDir m_local;
};

TEST_F(SftpCommand, LsPrintsATable) {
    m_tool.Make("b c.txt", Payload(123456));
    m_tool.Make("a", "");
    m_tool.MakeDirectory("sub");
    fs::create_symlink("a", m_tool.File("link"));
    for (const char* pszName : {"a", "b c.txt", "sub"})
        SetTime(pszName, 1559736000);
    struct stat directory = {};
    ASSERT_EQ(::stat(m_tool.File("sub").c_str(), &directory), 0);
    SSurroundings surroundings = m_tool.WithPassword();
    surroundings.environment["TZ"] = "UTC";
    const SRun run = m_tool.Run({"ls", m_tool.Url("/")}, surroundings);
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    const auto right = [](std::string strNumber) {
        return strNumber.insert(0, 6 - strNumber.size(), ' ');
    };
    EXPECT_EQ(run.strOut.find("file       0  2019-06-05 12:00  a\n"), 0U) << run.strOut;
    EXPECT_NE(run.strOut.find("file  123456  2019-06-05 12:00  b c.txt\n"), std::string::npos)
        << run.strOut;
    EXPECT_NE(run.strOut.find("link       1  "), std::string::npos) << run.strOut;
    EXPECT_NE(run.strOut.find("dir   " + right(std::to_string(directory.st_size)) +
                              "  2019-06-05 12:00  sub\n"),
              std::string::npos)
        << run.strOut;
}

TEST_F(SftpCommand, LsOfASubdirectoryAndOfTheLoginDirectory) {
    m_tool.MakeDirectory("sub");
    m_tool.Make("sub/x", "x");
    EXPECT_NE(Done({"ls", m_tool.Url("/sub")}).find("  x\n"), std::string::npos);
    EXPECT_NE(Done({"ls", m_tool.Url("/sub/")}).find("  x\n"), std::string::npos);
    EXPECT_NE(Done({"ls", m_tool.Url("")}).find("  sub\n"), std::string::npos);
    EXPECT_NE(Done({"ls", m_tool.Url("/../..")}).find("  sub\n"), std::string::npos);
}

TEST_F(SftpCommand, GetAndPutAreByteIdentical) {
    for (const std::size_t uSize : {std::size_t{0}, std::size_t{1}, kSize}) {
        const std::string strBytes = Payload(uSize);
        WriteFile(m_local.File("x"), strBytes);
        EXPECT_EQ(Done({"put", m_local.File("x"), m_tool.Url("/y")}), "");
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(m_tool.File("y"))));
        EXPECT_EQ(Done({"get", m_tool.Url("/y"), m_local.File("z")}), "");
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(m_local.File("z"))));
        EXPECT_FALSE(fs::exists(m_tool.File("y.part")));
        EXPECT_FALSE(fs::exists(m_local.File("z.part")));
    }
}

TEST_F(SftpCommand, GetAndPutReplaceAndKeepPermissions) {
    WriteFile(m_local.File("new"), "new");
    m_tool.Make("x", "a longer old text");
    ASSERT_EQ(::chmod(m_tool.File("x").c_str(), 0640), 0);
    Done({"put", m_local.File("new"), m_tool.Url("/x")});
    EXPECT_EQ(ReadFile(m_tool.File("x")), "new");
    EXPECT_EQ(ModeOf(m_tool.File("x")), 0640U);

    WriteFile(m_local.File("x"), "a longer old text");
    ASSERT_EQ(::chmod(m_local.File("x").c_str(), 0600), 0);
    Done({"get", m_tool.Url("/x"), m_local.File("x")});
    EXPECT_EQ(ReadFile(m_local.File("x")), "new");
    EXPECT_EQ(ModeOf(m_local.File("x")), 0600U);
}

TEST_F(SftpCommand, PutGoesToWhereALinkLeads) {
    m_tool.MakeDirectory("sub");
    m_tool.Make("sub/real", "old");
    fs::create_symlink("sub/real", m_tool.File("link"));
    WriteFile(m_local.File("x"), "new");
    Done({"put", m_local.File("x"), m_tool.Url("/link")});
    EXPECT_TRUE(fs::is_symlink(m_tool.File("link")));
    EXPECT_EQ(ReadFile(m_tool.File("sub/real")), "new");
}

TEST_F(SftpCommand, GetWritesToWhatIsNoRegularFile) {
    m_tool.Make("x", "abc");
    EXPECT_EQ(Done({"get", m_tool.Url("/x"), "/dev/null"}), "");
    EXPECT_FALSE(fs::exists("/dev/null.part"));
    const std::string strPipe = m_local.File("pipe");
    ASSERT_EQ(::mkfifo(strPipe.c_str(), 0600), 0);
    ChildProcess reader({"/bin/cat", strPipe});
    EXPECT_EQ(Done({"get", m_tool.Url("/x"), strPipe}), "");
    EXPECT_EQ(reader.Wait().strOut, "abc");
}

TEST_F(SftpCommand, TwoHundredSmallFilesGoBothWays) {
    m_tool.MakeDirectory("in");
    Arguments put{"put"};
    Arguments get{"get"};
    for (unsigned int n = 0; n < 200; ++n) {
        const std::string strName = "file" + std::to_string(n);
        WriteFile(m_local.File(strName), Payload(n * 7, n));
        put.push_back(m_local.File(strName));
        get.push_back(m_tool.Url("/in/" + strName));
    }
    put.push_back(m_tool.Url("/in/"));
    const SRun stored = m_tool.RunWithPassword(put);
    EXPECT_EQ(stored.nExit, 0) << stored.strErr;
    fs::create_directory(m_local.File("out"));
    get.push_back(m_local.File("out"));
    const SRun retrieved = m_tool.RunWithPassword(get);
    EXPECT_EQ(retrieved.nExit, 0) << retrieved.strErr;
    for (unsigned int n = 0; n < 200; ++n) {
        const std::string strName = "file" + std::to_string(n);
        ASSERT_TRUE(SamePayload(Payload(n * 7, n), ReadFile(m_tool.File("in/" + strName))));
        ASSERT_TRUE(SamePayload(Payload(n * 7, n), ReadFile(m_local.File("out/" + strName))));
    }
    EXPECT_EQ(m_tool.CountInLog("Accepted password"), 2);
}

TEST_F(SftpCommand, RmRemovesAFileAndALinkItself) {
    m_tool.Make("x", "");
    m_tool.Make("y", "");
    fs::create_symlink("y", m_tool.File("link"));
    EXPECT_EQ(Done({"rm", m_tool.Url("/x")}), "");
    EXPECT_EQ(Done({"rm", m_tool.Url("/link")}), "");
    EXPECT_FALSE(fs::exists(m_tool.File("x")));
    EXPECT_FALSE(fs::is_symlink(m_tool.File("link")));
    EXPECT_TRUE(fs::exists(m_tool.File("y")));
}

TEST_F(SftpCommand, MkdirMakesMissingLevelsAndAcceptsExistingOnes) {
    EXPECT_EQ(Done({"mkdir", m_tool.Url("/a/b/c")}), "");
    EXPECT_TRUE(fs::is_directory(m_tool.File("a/b/c")));
    EXPECT_EQ(Done({"mkdir", m_tool.Url("/a/b/")}), "");
    EXPECT_EQ(Done({"mkdir", m_tool.Url("/a/b/c/d")}), "");
    EXPECT_TRUE(fs::is_directory(m_tool.File("a/b/c/d")));
    m_tool.Make("file", "");
    EXPECT_EQ(Told({"mkdir", m_tool.Url("/file")}),
              "qelftp: mkdir /file: it exists already (SFTP error 14)\n");
    EXPECT_NE(Told({"mkdir", m_tool.Url("/file/x")}).find("qelftp: mkdir /file/x: "),
              std::string::npos);
}

TEST_F(SftpCommand, RmdirRemovesADirectoryWithItsFiles) {
    m_tool.MakeDirectory("sub");
    m_tool.Make("sub/x", "");
    fs::create_symlink("x", m_tool.File("sub/link"));
    EXPECT_EQ(Done({"rmdir", m_tool.Url("/sub")}), "");
    EXPECT_FALSE(fs::exists(m_tool.File("sub")));

    m_tool.MakeDirectory("deep");
    m_tool.MakeDirectory("deep/inner");
    const std::string strTold = Told({"rmdir", m_tool.Url("/deep")});
    EXPECT_NE(strTold.find("check that it is a directory without directories in it"),
              std::string::npos)
        << strTold;
    EXPECT_TRUE(fs::is_directory(m_tool.File("deep/inner")));
}

TEST_F(SftpCommand, ExistsTellsByItsExitCode) {
    m_tool.MakeDirectory("sub");
    m_tool.Make("sub/x", "");
    fs::create_symlink("nowhere", m_tool.File("dangling"));
    for (const char* pszThere : {"/sub/x", "/sub", "/sub/", "/", "/sub/..", "/dangling"})
        EXPECT_EQ(Done({"exists", m_tool.Url(pszThere)}), "") << pszThere;
    for (const char* pszNotThere : {"/x", "/sub/X", "/none/x"}) {
        const std::string strTold = Told({"exists", m_tool.Url(pszNotThere)});
        EXPECT_NE(strTold.find(std::string("exists ") + pszNotThere +
                               ": no such file or directory (SFTP error 12)"),
                  std::string::npos)
            << strTold;
    }
}

TEST_F(SftpCommand, NamesOfUtf8ArriveAsTheyAre) {
    for (const std::string& strName :
         {std::string("r\xc3\xa9sum\xc3\xa9 \xe6\x96\x87.txt"), std::string("100%, \"q\" 'a'")}) {
        WriteFile(m_local.File(strName), strName);
        EXPECT_EQ(Done({"put", m_local.File(strName), m_tool.Url("/")}), "");
        EXPECT_EQ(ReadFile(m_tool.File(strName)), strName);
        EXPECT_NE(Done({"ls", m_tool.Url("/")}).find("  " + strName + "\n"), std::string::npos);
        fs::remove(m_local.File(strName));
    }
    EXPECT_EQ(Done({"get", m_tool.Url("/r%c3%a9sum\xc3\xa9%20\xe6\x96\x87.txt"),
                    m_local.Path().string()}),
              "");
    EXPECT_TRUE(fs::exists(m_local.File("r\xc3\xa9sum\xc3\xa9 \xe6\x96\x87.txt")));
}

TEST_F(SftpCommand, NamesTheOperationThePathAndTheReasonOfAFailure) {
    m_tool.Make("f", "");
    WriteFile(m_local.File("x"), "x");
    EXPECT_EQ(Told({"get", m_tool.Url("/none"), m_local.File("y")}),
              "qelftp: get /none: no such file or directory (SFTP error 12)\n");
    EXPECT_FALSE(fs::exists(m_local.File("y.part")));
    EXPECT_EQ(Told({"put", m_local.File("x"), m_tool.Url("/none/x")}),
              "qelftp: put /none/x: no such file or directory (SFTP error 12); check that the "
              "directory exists (qelftp mkdir makes it)\n");
    EXPECT_EQ(Told({"rm", m_tool.Url("/none")}),
              "qelftp: rm /none: no such file or directory (SFTP error 12)\n");
    EXPECT_EQ(Told({"ls", m_tool.Url("/none")}),
              "qelftp: ls /none: no such file or directory (SFTP error 12)\n");
    EXPECT_EQ(Told({"rmdir", m_tool.Url("/none")}),
              "qelftp: rmdir /none: no such file or directory (SFTP error 12)\n");
    const std::string strTold = Told({"rmdir", m_tool.Url("/f")});
    EXPECT_NE(strTold.find("qelftp: rmdir /f: "), std::string::npos) << strTold;
    EXPECT_TRUE(fs::exists(m_tool.File("f")));
}

TEST_F(SftpCommand, WithoutPermissionChangesNothing) {
    m_tool.MakeDirectory("closed");
    m_tool.Make("closed/f", "old");
    m_tool.Make("secret", "secret");
    ASSERT_EQ(::chmod(m_tool.File("secret").c_str(), 0), 0);
    ASSERT_EQ(::chmod(m_tool.File("closed").c_str(), 0500), 0);
    WriteFile(m_local.File("x"), "x");
    WriteFile(m_local.File("old"), "old");
    EXPECT_EQ(Told({"get", m_tool.Url("/secret"), m_local.File("old")}),
              "qelftp: get /secret: permission denied (SFTP error 13)\n");
    EXPECT_EQ(ReadFile(m_local.File("old")), "old");
    EXPECT_FALSE(fs::exists(m_local.File("old.part")));
    EXPECT_EQ(Told({"put", m_local.File("x"), m_tool.Url("/closed/f")}),
              "qelftp: put /closed/f: permission denied (SFTP error 13); the directory must allow "
              "new files: they replace the old ones when they are complete\n");
    EXPECT_EQ(ReadFile(m_tool.File("closed/f")), "old");
    EXPECT_EQ(Told({"rm", m_tool.Url("/closed/f")}),
              "qelftp: rm /closed/f: permission denied (SFTP error 13)\n");
    EXPECT_EQ(Told({"mkdir", m_tool.Url("/closed/d")}),
              "qelftp: mkdir /closed/d: permission denied (SFTP error 13)\n");
    ASSERT_EQ(::chmod(m_tool.File("closed").c_str(), 0700), 0);
}

TEST_F(SftpCommand, AFullLocalDiskLeavesTheTargetAlone) {
    m_tool.Make("x", Payload(kSize));
    const std::string strTold = Told({"get", m_tool.Url("/x"), "/dev/full"});
    EXPECT_NE(strTold.find("get /dev/full: No space left on device"), std::string::npos) << strTold;
}

TEST_F(SftpCommand, ContinuesAGetWhereItStopped) {
    const std::string strBytes = Payload(kSize);
    m_tool.Make("x", strBytes);
    // Marked, so that it shows whether the first bytes were fetched again.
    for (const std::size_t uLeft : {std::size_t{1}, std::size_t{500'000}, kSize - 1, kSize}) {
        WriteFile(m_local.File("x.part"), std::string(uLeft, '#'));
        EXPECT_EQ(Done({"get", "-c", m_tool.Url("/x"), m_local.File("x")}), "");
        EXPECT_TRUE(SamePayload(std::string(uLeft, '#') + strBytes.substr(uLeft),
                                ReadFile(m_local.File("x"))));
        EXPECT_FALSE(fs::exists(m_local.File("x.part")));
    }
    WriteFile(m_local.File("x.part"), std::string(kSize + 1, '#'));  // of another file
    EXPECT_EQ(Done({"get", "-c", m_tool.Url("/x"), m_local.File("x")}), "");
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(m_local.File("x"))));
    WriteFile(m_local.File("x.part"), "###");
    EXPECT_EQ(Done({"get", m_tool.Url("/x"), m_local.File("x")}), "");  // without -c: anew
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(m_local.File("x"))));
}

TEST_F(SftpCommand, ContinuesAPutWhereItStopped) {
    const std::string strBytes = Payload(kSize);
    WriteFile(m_local.File("x"), strBytes);
    for (const std::size_t uLeft : {std::size_t{1}, std::size_t{500'000}, kSize - 1, kSize}) {
        m_tool.Make("x.part", std::string(uLeft, '#'));
        EXPECT_EQ(Done({"put", "-c", m_local.File("x"), m_tool.Url("/x")}), "");
        EXPECT_TRUE(SamePayload(std::string(uLeft, '#') + strBytes.substr(uLeft),
                                ReadFile(m_tool.File("x"))));
        EXPECT_FALSE(fs::exists(m_tool.File("x.part")));
    }
    m_tool.Make("x.part", std::string(kSize + 1, '#'));
    EXPECT_EQ(Done({"put", "-c", m_local.File("x"), m_tool.Url("/x")}), "");
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(m_tool.File("x"))));
    m_tool.Make("x.part", "###");
    EXPECT_EQ(Done({"put", m_local.File("x"), m_tool.Url("/x")}), "");
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(m_tool.File("x"))));
}

}  // namespace
