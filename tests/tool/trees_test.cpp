// Trees on a real server.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <map>
#include <string>

#include "tests/support/payload.h"
#include "tests/support/tempdir.h"
#include "tests/tool/ftpserver.h"
#include "tests/tool/terminal.h"

using namespace TestSupport;
using namespace ToolTest;
namespace fs = std::filesystem;

namespace {

using Tree = std::map<std::string, std::string>;  // contents by path; directories end in "/"

Tree TreeAt(const fs::path& root) {
    Tree tree;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const std::string strPath = fs::relative(entry.path(), root).string();
        if (entry.is_directory()) {
            tree[strPath + "/"] = "";
        } else {
            tree[strPath] = ReadFile(entry.path().string());
        }
    }
    return tree;
}

void SetTime(const std::string& strPath, std::time_t seconds) {
    const std::array<timespec, 2> times{timespec{seconds, 0}, timespec{seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, strPath.c_str(), times.data(), 0), 0);
}

std::time_t TimeOf(const std::string& strPath) {
    struct stat status {};
    EXPECT_EQ(::stat(strPath.c_str(), &status), 0) << strPath;
    return status.st_mtime;
}

constexpr std::time_t kLongAgo = 1559736000;  // noon of 5 June 2019

class Trees : public testing::Test {
protected:
    static void MakeTree(const std::string& strRoot) {
        fs::create_directories(strRoot + "/a/b");
        fs::create_directories(strRoot + "/empty");
        WriteFile(strRoot + "/one", Payload(1000, 1));
        WriteFile(strRoot + "/a/two words", Payload(2000, 2));
        WriteFile(strRoot + "/a/b/three", Payload(300000, 3));
        WriteFile(strRoot + "/a/b/nothing", "");
    }

    // The last line on standard error, of a run that ends as expected.
    static std::string Summary(const Arguments& arguments, int nExit = 0) {
        const SRun run = RunWithPassword(arguments);
        EXPECT_EQ(run.nExit, nExit) << run.strErr;
        if (run.strErr.size() < 2) return run.strErr;
        const std::size_t nLast = run.strErr.rfind('\n', run.strErr.size() - 2);
        return nLast == std::string::npos ? run.strErr : run.strErr.substr(nLast + 1);
    }

    FtpServer m_server;
    TempDir m_local;
};

TEST_F(Trees, GetBringsAllOfItAndTheSameAgainNothing) {
    MakeTree(m_server.File("tree"));
    const Arguments get{"get", "-r", m_server.Url("/tree"), m_local.File("out")};
    EXPECT_EQ(Summary(get), "qelftp: 4 of 4 files\n");
    EXPECT_EQ(TreeAt(m_local.File("out/tree")), TreeAt(m_server.File("tree")));
    EXPECT_EQ(Summary(get), "qelftp: 0 of 0 files, 4 there already\n");
    fs::remove(m_local.File("out/tree/a/b/three"));
    EXPECT_EQ(Summary(get), "qelftp: 1 of 1 files, 3 there already\n");
    EXPECT_EQ(TreeAt(m_local.File("out/tree")), TreeAt(m_server.File("tree")));
    EXPECT_EQ(Summary({"get", "-r", "--force", m_server.Url("/tree"), m_local.File("out")}),
              "qelftp: 4 of 4 files\n");
}

TEST_F(Trees, PutBringsAllOfItAndTheSameAgainNothing) {
    MakeTree(m_local.File("tree"));
    const Arguments put{"put", "-r", m_local.File("tree"), m_server.Url("/new/out")};
    EXPECT_EQ(Summary(put), "qelftp: 4 of 4 files\n");
    EXPECT_EQ(TreeAt(m_server.File("new/out/tree")), TreeAt(m_local.File("tree")));
    EXPECT_EQ(Summary(put), "qelftp: 0 of 0 files, 4 there already\n");
    fs::remove(m_server.File("new/out/tree/one"));
    EXPECT_EQ(Summary(put), "qelftp: 1 of 1 files, 3 there already\n");
    EXPECT_EQ(TreeAt(m_server.File("new/out/tree")), TreeAt(m_local.File("tree")));
}

TEST_F(Trees, ASlashAtTheEndMeansWhatIsInIt) {
    MakeTree(m_server.File("tree"));
    Summary({"get", "-r", m_server.Url("/tree/"), m_local.File("out")});
    EXPECT_EQ(TreeAt(m_local.File("out")), TreeAt(m_server.File("tree")));
    Summary({"put", "-r", m_local.File("out/"), m_server.Url("/again")});
    EXPECT_EQ(TreeAt(m_server.File("again")), TreeAt(m_server.File("tree")));
}

TEST_F(Trees, FourJobsBringTheSame) {
    for (int n = 0; n < 60; ++n) {
        const std::string strDir = m_server.File("tree/d" + std::to_string(n % 7));
        fs::create_directories(strDir);
        WriteFile(strDir + "/f" + std::to_string(n),
                  Payload(static_cast<std::size_t>(n) * 1000, static_cast<std::uint64_t>(n)));
    }
    EXPECT_EQ(Summary({"get", "-r", "--jobs", "4", m_server.Url("/tree/"), m_local.File("out")}),
              "qelftp: 60 of 60 files\n");
    EXPECT_EQ(TreeAt(m_local.File("out")), TreeAt(m_server.File("tree")));
    EXPECT_EQ(m_server.Count("connected"), 4);
    EXPECT_EQ(Summary({"put", "-r", "--jobs", "4", m_local.File("out/"), m_server.Url("/back")}),
              "qelftp: 60 of 60 files\n");
    EXPECT_EQ(TreeAt(m_server.File("back")), TreeAt(m_server.File("tree")));
}

TEST_F(Trees, GetGivesFilesTheListedTime) {
    MakeTree(m_server.File("tree"));
    SetTime(m_server.File("tree/one"), kLongAgo);
    Summary({"get", "-r", m_server.Url("/tree/"), m_local.File("out")});
    EXPECT_EQ(TimeOf(m_local.File("out/one")), kLongAgo - kLongAgo % 86400);
}

TEST_F(Trees, WhatIsNewerAtTheSourceIsMovedAgain) {
    MakeTree(m_server.File("tree"));
    for (const char* pszName : {"one", "a/two words", "a/b/three", "a/b/nothing"})
        SetTime(m_server.File(std::string("tree/") + pszName), kLongAgo);
    const Arguments get{"get", "-r", m_server.Url("/tree/"), m_local.File("out")};
    Summary(get);
    WriteFile(m_server.File("tree/one"), Payload(1000, 99));  // of the same size
    EXPECT_EQ(Summary(get), "qelftp: 1 of 1 files, 3 there already\n");
    EXPECT_TRUE(SamePayload(Payload(1000, 99), ReadFile(m_local.File("out/one"))));
}

TEST_F(Trees, DryRunPrintsAndDoesNothing) {
    MakeTree(m_server.File("tree"));
    fs::create_directory(m_local.File("out"));
    WriteFile(m_local.File("out/extra"), "x");
    const SRun run = RunWithPassword(
        {"mirror", "--dry-run", "--delete", m_server.Url("/tree"), m_local.File("out")});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    const std::string strOut = m_local.File("out");
    EXPECT_EQ(run.strOut, "mkdir " + strOut + "/a\nmkdir " + strOut + "/a/b\nmkdir " + strOut +
                              "/empty\nget /tree/a/b/nothing -> " + strOut +
                              "/a/b/nothing\nget /tree/a/b/three -> " + strOut +
                              "/a/b/three\nget /tree/a/two words -> " + strOut +
                              "/a/two words\nget /tree/one -> " + strOut + "/one\ndelete " +
                              strOut + "/extra\n");
    EXPECT_EQ(TreeAt(m_local.File("out")), (Tree{{"extra", "x"}}));
}

TEST_F(Trees, MirrorToHereWithDelete) {
    MakeTree(m_server.File("tree"));
    fs::create_directories(m_local.File("out/old/deep"));
    WriteFile(m_local.File("out/old/deep/x"), "x");
    WriteFile(m_local.File("out/one"), "another size");
    fs::create_directory(m_local.File("elsewhere"));
    WriteFile(m_local.File("elsewhere/kept"), "x");
    fs::create_directory_symlink(m_local.File("elsewhere"), m_local.File("out/link"));
    const Arguments mirror{"mirror", m_server.Url("/tree"), m_local.File("out")};
    EXPECT_EQ(Summary(mirror), "qelftp: 4 of 4 files\n");
    EXPECT_TRUE(fs::exists(m_local.File("out/old/deep/x")));
    EXPECT_EQ(Summary({"mirror", "--delete", "--yes", m_server.Url("/tree"), m_local.File("out")}),
              "qelftp: 0 of 0 files, 4 there already, 4 removed\n");
    EXPECT_EQ(TreeAt(m_local.File("out")), TreeAt(m_server.File("tree")));
    EXPECT_EQ(ReadFile(m_local.File("elsewhere/kept")), "x");
}

TEST_F(Trees, MirrorToThereWithDelete) {
    MakeTree(m_local.File("tree"));
    fs::create_directories(m_server.File("out/old/deep"));
    WriteFile(m_server.File("out/old/deep/x"), "x");
    WriteFile(m_server.File("out/one"), "another size");
    EXPECT_EQ(Summary({"mirror", "--delete", "--yes", m_local.File("tree"), m_server.Url("/out")}),
              "qelftp: 4 of 4 files, 3 removed\n");
    EXPECT_EQ(TreeAt(m_server.File("out")), TreeAt(m_local.File("tree")));
}

TEST_F(Trees, DeleteAsksOnTheTerminal) {
    MakeTree(m_server.File("tree"));
    fs::create_directory(m_local.File("out"));
    WriteFile(m_local.File("out/extra"), "x");
    const Arguments mirror{"mirror", "--delete", m_server.Url("/tree"), m_local.File("out")};
    for (const char* pszAnswer : {"n\n", "\n", "yes\n"}) {
        Terminal terminal;
        ChildProcess tool(ToolCommand(mirror),
                          {{{"QELFTP_PASSWORD", kPassword}}, "", terminal.Name(), ""});
        terminal.ReadUntil("Remove 1 files and 0 directories from " + m_local.File("out") +
                           ", which the source has not? [y/N] ");
        EXPECT_TRUE(fs::exists(m_local.File("out/extra")));
        terminal.Type(pszAnswer);
        EXPECT_EQ(tool.Wait().nExit, 0);
        EXPECT_EQ(fs::exists(m_local.File("out/extra")), pszAnswer != std::string("yes\n"));
    }
}

TEST_F(Trees, DeleteWithoutTerminalNeedsYes) {
    MakeTree(m_server.File("tree"));
    fs::create_directory(m_local.File("out"));
    WriteFile(m_local.File("out/extra"), "x");
    const SRun run =
        RunWithPassword({"mirror", "--delete", m_server.Url("/tree"), m_local.File("out")});
    EXPECT_EQ(run.nExit, 2);
    EXPECT_NE(run.strErr.find("--yes"), std::string::npos) << run.strErr;
    EXPECT_EQ(TreeAt(m_local.File("out")), (Tree{{"extra", "x"}}));
}

TEST_F(Trees, NothingIsDeletedWhenSomethingFailed) {
    MakeTree(m_server.File("tree"));
    fs::create_directory(m_local.File("out"));
    WriteFile(m_local.File("out/extra"), "x");
    fs::create_directory(m_local.File("out/one"));  // in the way
    EXPECT_EQ(
        Summary({"mirror", "--delete", "--yes", m_server.Url("/tree"), m_local.File("out")}, 1),
        "qelftp: 3 of 3 files\n");
    EXPECT_EQ(ReadFile(m_local.File("out/extra")), "x");
    EXPECT_EQ(
        Summary({"mirror", "--delete", "--yes", m_server.Url("/none"), m_local.File("out")}, 1),
        "qelftp: 0 of 0 files\n");
    EXPECT_EQ(ReadFile(m_local.File("out/extra")), "x");
}

TEST_F(Trees, LinksInTheTargetAreNotWrittenThrough) {
    MakeTree(m_server.File("tree"));
    fs::create_directory(m_local.File("outside"));
    WriteFile(m_local.File("outside/file"), "older");
    fs::create_directory(m_local.File("out"));
    fs::create_directory_symlink(m_local.File("outside"), m_local.File("out/a"));
    fs::create_symlink(m_local.File("outside/file"), m_local.File("out/one"));
    const SRun run = RunWithPassword({"get", "-r", m_server.Url("/tree/"), m_local.File("out")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("get /tree/a: a link is in the way"), std::string::npos)
        << run.strErr;
    EXPECT_NE(run.strErr.find("get /tree/one: a link is in the way"), std::string::npos)
        << run.strErr;
    EXPECT_EQ(TreeAt(m_local.File("outside")), (Tree{{"file", "older"}}));
}

TEST_F(Trees, PutFollowsLinksToFilesOnly) {
    MakeTree(m_local.File("tree"));
    fs::create_symlink("one", m_local.File("tree/link"));
    fs::create_directory_symlink("..", m_local.File("tree/a/up"));
    ASSERT_EQ(::mkfifo(m_local.File("tree/fifo").c_str(), 0600), 0);
    const SRun run = RunWithPassword({"put", "-r", m_local.File("tree/"), m_server.Url("/out")});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(run.strErr, "qelftp: skipped " + m_local.File("tree/a/up") +
                              ": a link to a directory\nqelftp: skipped " +
                              m_local.File("tree/fifo") +
                              ": a link, or no regular file\nqelftp: 5 of 5 files\n");
    EXPECT_TRUE(SamePayload(Payload(1000, 1), ReadFile(m_server.File("out/link"))));
    EXPECT_FALSE(m_server.Has("out/a/up"));
}

TEST_F(Trees, PatternsOfGetListAndRemove) {
    for (const char* pszName : {"a1.csv", "a2.csv", "b.csv", "a1.txt", "[a].csv"})
        WriteFile(m_server.File(pszName), pszName);
    fs::create_directory(m_server.File("adir.csv"));
    EXPECT_EQ(Summary({"get", m_server.Url("/a?.csv"), m_local.Path().string()}),
              "qelftp: 2 of 2 files\n");
    EXPECT_EQ(TreeAt(m_local.Path()), (Tree{{"a1.csv", "a1.csv"}, {"a2.csv", "a2.csv"}}));
    EXPECT_EQ(Summary({"get", m_server.Url("/%5Ba].csv"), m_local.Path().string()}), "");
    EXPECT_EQ(ReadFile(m_local.File("[a].csv")), "[a].csv");
    const SRun list = RunWithPassword({"ls", "--json", m_server.Url("/a1*")});
    EXPECT_EQ(list.nExit, 0) << list.strErr;
    EXPECT_EQ(list.strOut.find("{\"name\":\"a1.csv\",\"type\":\"file\",\"size\":6,"), 0U)
        << list.strOut;
    EXPECT_NE(list.strOut.find("}\n{\"name\":\"a1.txt\""), std::string::npos) << list.strOut;
    EXPECT_EQ(Summary({"rm", m_server.Url("/a*.csv")}), "");
    EXPECT_FALSE(m_server.Has("a1.csv"));
    EXPECT_FALSE(m_server.Has("a2.csv"));
    EXPECT_TRUE(m_server.Has("adir.csv"));
    EXPECT_TRUE(m_server.Has("a1.txt"));
    EXPECT_EQ(Summary({"rm", m_server.Url("/a*.csv")}, 1), "qelftp: rm /a*.csv: nothing matches\n");
    EXPECT_EQ(Summary({"ls", m_server.Url("/z*")}, 1), "qelftp: ls /z*: nothing matches\n");
}

TEST_F(Trees, WhatIsNotThereIsAFailure) {
    EXPECT_EQ(RunWithPassword({"get", "-r", m_server.Url("/none"), m_local.File("out")}).strErr,
              "qelftp: get /none: no such file or directory\nqelftp: 0 of 0 files\n");
    EXPECT_FALSE(fs::exists(m_local.File("out")));
    EXPECT_EQ(RunWithPassword({"put", "-r", m_local.File("none"), m_server.Url("/out")}).strErr,
              "qelftp: put " + m_local.File("none") + ": No such file or directory\n");
    EXPECT_EQ(m_server.Count("connected"), 1);
}

TEST_F(Trees, AFileCalledAsAnotherIsOnItsWayArrives) {
    WriteFile(m_server.File("x"), Payload(5000, 1));
    WriteFile(m_server.File("x.part"), Payload(6000, 2));
    WriteFile(m_server.File("x.part.part"), Payload(7000, 3));
    EXPECT_EQ(Summary({"get", "-r", "-j", "3", m_server.Url("/"), m_local.File("out")}),
              "qelftp: 3 of 3 files\n");
    EXPECT_EQ(TreeAt(m_local.File("out")), TreeAt(m_server.File("")));
}

TEST_F(Trees, JsonTellsEachFile) {
    MakeTree(m_server.File("tree"));
    const SRun run =
        RunWithPassword({"get", "-r", "--json", m_server.Url("/tree/"), m_local.File("out")});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_NE(run.strOut.find("\"remote\":\"/tree/one\""), std::string::npos) << run.strOut;
    int nLines = 0;
    for (const char c : run.strOut)
        nLines += c == '\n' ? 1 : 0;
    EXPECT_EQ(nLines, 4) << run.strOut;
}

}  // namespace
