// What a server calls its files, and what qelftp makes of it: nothing is written outside of the
// target, and nothing drives the terminal.

#include <gtest/gtest.h>

#include <clocale>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tests/hostile/hostileserver.h"
#include "tests/hostile/toolrun.h"
#include "tests/support/tempdir.h"

using namespace HostileTest;
using namespace TestSupport;
using namespace ToolTest;
namespace fs = std::filesystem;

namespace {

std::string FileLine(const std::string& strName) {
    return "-rw-r--r-- 1 u g 5 Mar 3 2019 " + strName + "\r\n";
}
std::string DirectoryLine(const std::string& strName) {
    return "drwxr-xr-x 1 u g 5 Mar 3 2019 " + strName + "\r\n";
}
std::string LinkLine(const std::string& strName, const std::string& strTarget) {
    return "lrwxrwxrwx 1 u g 5 Mar 3 2019 " + strName + " -> " + strTarget + "\r\n";
}

// Whatever it is called, it is there: a server that wants the file to be fetched.
SHostility Listing(const std::function<std::string(const std::string& strDirectory)>& listing) {
    SHostility hostility;
    hostility.listing = listing;
    hostility.file = [](const std::string&) { return "evil!"; };
    return hostility;
}

std::set<std::string> NamesIn(const std::string& strDirectory) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(strDirectory))
        names.insert(entry.path().filename().string());
    return names;
}

const std::string kOverride = "\xe2\x80\xae";  // U+202E
const std::string kIsolate = "\xe2\x81\xa6";   // U+2066
const std::string kEscape = "\x1b[2J\x1b]0;t\x07";

// Names that lead elsewhere, or are no names.
const std::vector<std::string> kRefused = {
    "..",
    "../escaped",
    "../../escaped",
    "../beside/escaped",
    "./escaped",
    "a/../../escaped",
    "/tmp/qelftp-hostile-escaped",
    "//tmp/qelftp-hostile-escaped",
    "a/",
    "a//b",
    "..\\escaped",
    "a\\b",
    "\\",
    kEscape,
    "a\rb",
    "a\x7f",
    "a\xc2\x9b"
    "b",
    "a\x01",
    std::string(256, 'n'),
    std::string(100'000, 'n'),
    std::string(300, 'n') + "/../../../escaped",
};

// Names that look strange and are names all the same.
const std::vector<std::string> kTaken = {
    "...",
    "~",
    "~root",
    "$(id)",
    "`id`",
    "-rf",
    "|cat",
    "a b",
    "*",
    "?",
    "[a]",
    "%2e%2e%2fx",
    "a" + kOverride + "gpj.exe",
    "b" + kIsolate + "c",
    "\xff\xfe",
    "x.part",
    "x",
    std::string(250, 'n'),
};

class HostileNames : public testing::Test {
protected:
    void ExpectInsideOnly(const SRun& run) const {
        m_sandbox.ExpectUntouched();
        EXPECT_FALSE(fs::exists("/tmp/qelftp-hostile-escaped"));
        EXPECT_EQ(run.strErr.find('\x1b'), std::string::npos) << run.strErr;
        EXPECT_EQ(run.strErr.find('\r'), std::string::npos) << run.strErr;
        EXPECT_EQ(run.strErr.find(kOverride), std::string::npos) << run.strErr;
        EXPECT_EQ(run.strErr.find(kIsolate), std::string::npos) << run.strErr;
    }

    CSandbox m_sandbox;
};

TEST_F(HostileNames, OfFilesLeadNowhereElse) {
    const CHostileServer server(Listing([](const std::string&) {
        std::string strAll;
        for (const auto& names : {kRefused, kTaken})
            for (const std::string& strName : names)
                strAll += FileLine(strName);
        return strAll;
    }));
    for (const Arguments& command :
         {Arguments{"get", "-r", UrlOf(server, "/"), m_sandbox.Target()},
          Arguments{"get", UrlOf(server, "/*"), m_sandbox.Target()},
          Arguments{"mirror", UrlOf(server, "/"), m_sandbox.Target()},
          Arguments{"mirror", "--delete", "--yes", UrlOf(server, "/"), m_sandbox.Target()}}) {
        SCOPED_TRACE(command[0] + " " + command[1]);
        fs::remove_all(m_sandbox.Target());
        fs::create_directory(m_sandbox.Target());
        const SRun run = RunHasty(command);
        EXPECT_EQ(run.nExit, 1);
        ExpectInsideOnly(run);
        std::set<std::string> taken(kTaken.begin(), kTaken.end());
        if (command[1] == UrlOf(server, "/*")) taken.erase("...");  // no pattern finds a first dot
        EXPECT_EQ(NamesIn(m_sandbox.Target()), taken);
        for (const char* pszReason : {"the name holds a slash", "the name holds a backslash",
                                      "the name holds a control character", "the name is too long"})
            EXPECT_NE(run.strErr.find(pszReason), std::string::npos) << pszReason;
    }
}

TEST_F(HostileNames, OfDirectoriesLeadNowhereElse) {
    const CHostileServer server(Listing([](const std::string& strDirectory) {
        std::string strAll = FileLine("escaped");
        if (strDirectory != "/") return strAll;
        for (const std::string& strName : kRefused)
            strAll += DirectoryLine(strName);
        return strAll + DirectoryLine("inside");
    }));
    for (const char* pszCommand : {"get", "mirror"}) {
        Arguments command{pszCommand, UrlOf(server, "/"), m_sandbox.Target()};
        if (command[0] == "get") command.emplace_back("-r");
        const SRun run = RunHasty(command);
        EXPECT_EQ(run.nExit, 1);
        ExpectInsideOnly(run);
        EXPECT_EQ(NamesIn(m_sandbox.Target()), (std::set<std::string>{"escaped", "inside"}));
        EXPECT_EQ(NamesIn(m_sandbox.InTarget("inside")), (std::set<std::string>{"escaped"}));
    }
}

// A name that goes on behind a NUL or a line end is another name, or none.
TEST_F(HostileNames, EndAtZerosAndLineEnds) {
    const CHostileServer server(Listing([](const std::string&) {
        return FileLine(std::string("cut\0/../../escaped", 18)) + FileLine("whole\n../escaped") +
               FileLine("last");
    }));
    const SRun run = RunHasty({"get", "-r", UrlOf(server, "/"), m_sandbox.Target()});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    ExpectInsideOnly(run);
    // The block that the zero cuts ends there, with all lines behind it.
    for (const std::string& strName : NamesIn(m_sandbox.Target()))
        EXPECT_TRUE(strName == "cut" || strName == "whole" || strName == "last") << strName;
}

TEST_F(HostileNames, OfLinksAreNeitherMadeNorFollowed) {
    const CHostileServer server(Listing([](const std::string& strDirectory) {
        if (strDirectory != "/") return FileLine("precious");
        return LinkLine("link", "../beside") + DirectoryLine("link") +  // one name, two kinds
               LinkLine("precious", "../precious") + LinkLine("root", "/");
    }));
    const SRun run = RunHasty({"get", "-r", UrlOf(server, "/"), m_sandbox.Target()});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    ExpectInsideOnly(run);
    EXPECT_TRUE(NamesIn(m_sandbox.Target()).empty());
}

// Links that are in the target already: of an earlier day, or of somebody else's making.
TEST_F(HostileNames, AreNotFollowedThroughLocalLinks) {
    fs::create_symlink("../beside", m_sandbox.InTarget("directory"));
    fs::create_symlink("../precious", m_sandbox.InTarget("file"));
    fs::create_symlink("../precious", m_sandbox.InTarget("grown.part"));
    const CHostileServer server(Listing([](const std::string& strDirectory) {
        if (strDirectory != "/") return FileLine("precious");
        return DirectoryLine("directory") + FileLine("file") + FileLine("grown");
    }));
    const SRun run = RunHasty({"get", "-r", "-f", UrlOf(server, "/"), m_sandbox.Target()});
    EXPECT_EQ(run.nExit, 1);
    ExpectInsideOnly(run);
    EXPECT_EQ(ReadFile(m_sandbox.InTarget("grown")), "evil!");
    EXPECT_TRUE(fs::is_symlink(m_sandbox.InTarget("directory")));
    EXPECT_TRUE(fs::is_symlink(m_sandbox.InTarget("file")));
}

// Who mirrors with --delete believes the server's listing, but only below the target.
TEST_F(HostileNames, OfNothingRemoveTheTargetsFilesAndNoOthers) {
    WriteFile(m_sandbox.InTarget("mine"), "mine");
    fs::create_symlink("../beside", m_sandbox.InTarget("link"));
    const CHostileServer server(Listing([](const std::string&) { return ""; }));
    const SRun run =
        RunHasty({"mirror", "--delete", "--yes", UrlOf(server, "/"), m_sandbox.Target()});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    ExpectInsideOnly(run);
    EXPECT_TRUE(NamesIn(m_sandbox.Target()).empty());
}

TEST_F(HostileNames, AListingThatBreaksOffRemovesNothing) {
    WriteFile(m_sandbox.InTarget("mine"), "mine");
    SHostility hostility;
    hostility.instead["LIST"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        talk.AcceptData();
        talk.Vanish();
    };
    const CHostileServer server(hostility);
    const SRun run =
        RunHasty({"mirror", "--delete", "--yes", UrlOf(server, "/"), m_sandbox.Target()});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(ReadFile(m_sandbox.InTarget("mine")), "mine");
}

// ---- Trees ----

TEST_F(HostileNames, ADirectoryBelowItselfEnds) {
    const CHostileServer server(
        Listing([](const std::string&) { return FileLine("x") + DirectoryLine("below"); }));
    const SRun run = RunHasty({"get", "-r", UrlOf(server, "/"), m_sandbox.Target()});
    EXPECT_EQ(run.nExit, 1);
    m_sandbox.ExpectUntouched();
    EXPECT_NE(run.strErr.find("remote paths are limited to 260 bytes"), std::string::npos)
        << run.strErr;
    std::size_t nFiles = 0;
    for (const auto& entry : fs::recursive_directory_iterator(m_sandbox.Target()))
        nFiles += entry.is_regular_file() ? 1 : 0;
    EXPECT_GT(nFiles, 10U);
    EXPECT_LT(nFiles, 260U / sizeof "below" + 2);
}

// ---- Names that leave no room for ".part" ----

TEST_F(HostileNames, OfMoreThan250BytesAreToldAndLeaveNothing) {
    const CHostileServer server(Listing([](const std::string&) {
        return FileLine(std::string(251, 'a')) + FileLine(std::string(255, 'b')) + FileLine("x");
    }));
    const SRun run = RunHasty({"get", "-r", UrlOf(server, "/"), m_sandbox.Target()});
    EXPECT_EQ(run.nExit, 1);
    ExpectInsideOnly(run);
    EXPECT_EQ(NamesIn(m_sandbox.Target()), (std::set<std::string>{"x"}));
    EXPECT_NE(run.strErr.find("local file could not be created (0x3bb00006)"), std::string::npos)
        << run.strErr;
}

// ---- What is shown ----

TEST_F(HostileNames, AreShownWithoutEffect) {
    const CHostileServer server(Listing([](const std::string&) {
        return FileLine("invoice" + kOverride + "fdp.exe") + FileLine(kIsolate + "x") +
               FileLine(kEscape) +
               FileLine(
                   "a\xe2\x80\x8b"
                   "b") +
               FileLine("\xd7\xa9\xd7\x9c\xd7\x95\xd7\x9d");  // a word written from right to left
    }));
    const SRun ls = RunHasty({"ls", UrlOf(server, "/")});
    EXPECT_EQ(ls.nExit, 0) << ls.strErr;
    for (const char* pszShown :
         {"invoice\\xe2\\x80\\xaefdp.exe\n", "\\xe2\\x81\\xa6x\n", "\\x1b[2J\\x1b]0;t\\x07\n",
          "a\\xe2\\x80\\x8bb\n", "\xd7\xa9\xd7\x9c\xd7\x95\xd7\x9d\n"})
        EXPECT_NE(ls.strOut.find(pszShown), std::string::npos) << pszShown << ls.strOut;
    EXPECT_EQ(ls.strOut.find(kOverride), std::string::npos);
    EXPECT_EQ(ls.strOut.find(kIsolate), std::string::npos);
    EXPECT_EQ(ls.strOut.find('\x1b'), std::string::npos);

    const SRun plan = RunHasty({"get", "-r", "--dry-run", UrlOf(server, "/"), m_sandbox.Target()});
    EXPECT_NE(plan.strOut.find("get /invoice\\xe2\\x80\\xaefdp.exe -> "), std::string::npos)
        << plan.strOut;
    EXPECT_EQ(plan.strOut.find(kOverride), std::string::npos);

    const SRun json = RunHasty({"ls", "--json", UrlOf(server, "/")});
    EXPECT_NE(json.strOut.find("\"invoice\\u202efdp.exe\""), std::string::npos) << json.strOut;
    for (const char c : json.strOut)
        EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << static_cast<int>(c);
}

TEST_F(HostileNames, InRepliesAreShownWithoutEffect) {
    SHostility hostility;
    const std::string strText = "550 " + kEscape + kOverride + "no\r\n";
    hostility.instead[""] = [&](CConversation& talk, const std::string&) {
        talk.Say("220 " + kEscape + kOverride + "\r\n");
    };
    hostility.instead["DELE"] = [&](CConversation& talk, const std::string&) { talk.Say(strText); };
    const CHostileServer server(hostility);
    for (const Arguments& command :
         {Arguments{"rm", "--verbose", UrlOf(server, "/x")}, Arguments{"check", UrlOf(server, "")},
          Arguments{"rm", UrlOf(server, "/x")}}) {
        const SRun run = RunHasty(command);
        for (const std::string& strShown : {run.strOut, run.strErr}) {
            EXPECT_EQ(strShown.find('\x1b'), std::string::npos) << strShown;
            EXPECT_EQ(strShown.find(kOverride), std::string::npos) << strShown;
        }
    }
}

}  // namespace
