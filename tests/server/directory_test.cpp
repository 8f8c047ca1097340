// Listings, existence tests, and the making and removing of directories and files.

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <chrono>
#include <ctime>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/server/servertest.h"
#include "tests/support/tempdir.h"

namespace ServerTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;
using TestSupport::Clock;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class Directory : public CServerTest {
protected:
    Lines LinesOf(CSession& session, const std::string& strDir) const {
        CListing listing;
        EXPECT_EQ(Code(session->ListFile(strDir, listing.m_entries)), FTP_OK) << strDir;
        return listing.Lines();
    }

    std::size_t CommandsSent(const std::string& strCommand) const {
        const std::string strLog = Server().Log();
        const std::string strLine = "FTP command: Client \"127.0.0.1\", \"" + strCommand;
        std::size_t nCount = 0;
        for (std::size_t n = strLog.find(strLine); n != std::string::npos;
             n = strLog.find(strLine, n + 1)) {
            ++nCount;
        }
        return nCount;
    }
};

void SetModified(const fs::path& file, std::time_t nTime) {
    const std::array<timespec, 2> times{timespec{nTime, 0}, timespec{nTime, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times.data(), AT_SYMLINK_NOFOLLOW), 0);
}

std::string InUtc(std::time_t nTime, const char* pszFormat) {
    std::tm parts{};
    ::gmtime_r(&nTime, &parts);
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), pszFormat, &parts);
    return text.data();
}

TEST_F(Directory, ListingsTellNameTypeAndSize) {
    Serve("dir/a file", 0);
    Serve("dir/b", 123456);
    ServeDirectory("dir/c dir");
    fs::create_symlink("b", Served("dir/d link"));
    fs::create_symlink("nowhere", Served("dir/e"));
    CSession session(Server());
    EXPECT_EQ(LinesOf(session, "dir"),
              (Lines{"- 0 a file", "- 123456 b", "d c dir", "l d link", "l e"}));
    EXPECT_EQ(LinesOf(session, "/dir/"), LinesOf(session, "dir"));
}

// A listing shows the year of old entries and the time of recent ones. vsftpd writes UTC.
TEST_F(Directory, ListingsTellWhenAnEntryWasChanged) {
    constexpr std::time_t kDay = 24 * 3600;
    constexpr std::time_t kMarch2019 = 1551616200;  // 2019-03-03 12:30 UTC
    const std::time_t nMidnight = (std::time(nullptr) / kDay - 10) * kDay;
    const std::time_t nAfternoon = nMidnight + 15 * 3600 + 4 * 60;
    Serve("old", 1);
    Serve("afternoon", 1);
    Serve("midnight", 1);
    SetModified(Served("old"), kMarch2019);
    SetModified(Served("afternoon"), nAfternoon);
    SetModified(Served("midnight"), nMidnight);

    CSession session(Server());
    CListing listing;
    ASSERT_EQ(Code(session->ListFile("/", listing.m_entries)), FTP_OK);
    ASSERT_EQ(listing.Names(), (Lines{"afternoon", "midnight", "old"}));
    EXPECT_EQ(listing.Find("old")->strModifyTime, "2019-03-03");
    EXPECT_EQ(listing.Find("afternoon")->strModifyTime, InUtc(nAfternoon, "%Y-%m-%d 15:04"));
    EXPECT_EQ(listing.Find("midnight")->strModifyTime, InUtc(nMidnight, "%Y-%m-%d"));
}

TEST_F(Directory, ListingsAreAppended) {
    Serve("one/a", 1);
    Serve("two/b", 2);
    CSession session(Server());
    CListing listing;
    EXPECT_EQ(Code(session->ListFile("one", listing.m_entries)), FTP_OK);
    EXPECT_EQ(Code(session->ListFile("two", listing.m_entries)), FTP_OK);
    EXPECT_EQ(listing.Lines(), (Lines{"- 1 a", "- 2 b"}));
}

TEST_F(Directory, AnEmptyOneHasNoEntries) {
    ServeDirectory("empty");
    CSession session(Server());
    EXPECT_EQ(LinesOf(session, "empty"), Lines{});
}

TEST_F(Directory, OnlyDirectoriesAreListed) {
    Serve("file", 5);
    ServeDirectory("locked");
    fs::permissions(Served("locked"), fs::perms::none);
    CSession session(Server());
    for (const char* pszDir : {"missing", "file", "locked", ""}) {
        CListing listing;
        EXPECT_EQ(Code(session->ListFile(pszDir, listing.m_entries)), FTP_CWD_REFUSED) << pszDir;
        EXPECT_EQ(listing.Lines(), Lines{}) << pszDir;
    }
}

// The server says so in its closing reply, which does not count.
TEST_F(Directory, OneThatMayBeEnteredButNotReadSeemsEmpty) {
    Serve("dark/file", 5);
    fs::permissions(Served("dark"), fs::perms::owner_exec);
    CSession session(Server());
    EXPECT_EQ(LinesOf(session, "dark"), Lines{});
}

TEST_F(Directory, EntriesThatNobodyMayReadOrWriteAreNotListed) {
    const std::vector<std::pair<const char*, fs::perms>> files = {
        {"executable", fs::perms::owner_exec | fs::perms::others_exec},
        {"none", fs::perms::none},
        {"others read", fs::perms::others_read},
        {"group writes", fs::perms::group_write},
        {"owner writes", fs::perms::owner_write},
    };
    for (const auto& [pszName, permissions] : files) {
        Serve(std::string("dir/") + pszName, 5);
        fs::permissions(Served("dir") / pszName, permissions);
    }
    ServeDirectory("dir/closed");
    fs::permissions(Served("dir/closed"), fs::perms::owner_exec);

    CSession session(Server());
    EXPECT_EQ(LinesOf(session, "dir"),
              (Lines{"- 5 group writes", "- 5 others read", "- 5 owner writes"}));
    EXPECT_EQ(Code(session->checkOneFileExist("dir", "none")), FTP_NO_SUCH_FILE);
    EXPECT_EQ(Code(session->checkOneFileExist("dir", "others read")), FTP_OK);
}

TEST_F(Directory, TenThousandEntriesAreListed) {
    constexpr std::size_t kEntries = 10000;
    ServeDirectory("many");
    std::set<std::string> expected;
    for (std::size_t i = 0; i < kEntries; ++i) {
        const std::string strName = "entry number " + std::to_string(i);
        TestSupport::WriteFile(Served("many") / strName, std::string(i % 7, 'x'));
        expected.insert("- " + std::to_string(i % 7) + " " + strName);
    }
    CSession session(Server());
    const Clock::time_point begin = Clock::now();
    const Lines lines = LinesOf(session, "many");
    EXPECT_LT(Clock::now() - begin, 10s);
    EXPECT_EQ(lines.size(), kEntries);
    EXPECT_TRUE(std::set<std::string>(lines.begin(), lines.end()) == expected);
    EXPECT_EQ(Code(session->checkOneFileExist("many", "entry number 9999")), FTP_OK);
    EXPECT_EQ(Code(session->checkOneFileExist("many", "entry number 10000")), FTP_NO_SUCH_FILE);
}

TEST_F(Directory, ExistenceIsWhatTheListingShows) {
    Serve("dir/File", 5);
    ServeDirectory("dir/sub");
    fs::create_symlink("File", Served("dir/link"));
    CSession session(Server());
    for (const char* pszName : {"File", "sub", "link"}) {
        EXPECT_EQ(Code(session->checkOneFileExist("dir", pszName)), FTP_OK) << pszName;
        EXPECT_EQ(Code(session->checkOneFileExist(std::string("dir/") + pszName)), FTP_OK);
        EXPECT_EQ(Code(session->checkOneFileExist(std::string("/dir\\") + pszName)), FTP_OK);
    }
    for (const char* pszName : {"file", "FILE", "Fil", "File2", "", "missing"}) {
        EXPECT_EQ(Code(session->checkOneFileExist("dir", pszName)), FTP_NO_SUCH_FILE) << pszName;
        EXPECT_EQ(Code(session->checkOneFileExist(std::string("dir/") + pszName)),
                  FTP_NO_SUCH_FILE);
    }
    EXPECT_EQ(Code(session->checkOneFileExist("missing", "File")), FTP_NO_SUCH_FILE);
}

// Without a separator the directory is the empty path, which is not the root and which this server
// refuses.
TEST_F(Directory, ExistenceInTheRootNeedsASeparator) {
    Serve("file", 5);
    CSession session(Server());
    EXPECT_EQ(Code(session->checkOneFileExist("/file")), FTP_OK);
    EXPECT_EQ(Code(session->checkOneFileExist("/", "file")), FTP_OK);
    EXPECT_EQ(Code(session->checkOneFileExist("file")), FTP_NO_SUCH_FILE);
    EXPECT_EQ(Code(session->checkOneFileExist("", "file")), FTP_NO_SUCH_FILE);
}

TEST_F(Directory, IsMadeWithTheLevelsAbove) {
    CSession session(Server());
    EXPECT_EQ(Code(session->MakeDir("one")), FTP_OK);
    EXPECT_EQ(Code(session->MakeDir("/a/b/c")), FTP_OK);
    EXPECT_EQ(Code(session->MakeDir("a//b/d/")), FTP_OK);
    for (const char* pszDir : {"one", "a/b/c", "a/b/d"}) {
        EXPECT_TRUE(fs::is_directory(Served(pszDir))) << pszDir;
    }
    EXPECT_EQ(CommandsSent("MKD "), 5U);  // one, a, b, c, d
}

TEST_F(Directory, ThatExistsIsLeftAsItIs) {
    Serve("a/b/file", 5);
    CSession session(Server());
    EXPECT_EQ(Code(session->MakeDir("a/b")), FTP_OK);
    EXPECT_EQ(CommandsSent("MKD "), 0U);
    EXPECT_EQ(LinesOf(session, "a/b"), Lines{"- 5 file"});
}

TEST_F(Directory, IsNotMadeInsideAFileOrWithoutPermission) {
    Serve("file", 5);
    ServeDirectory("readonly");
    fs::permissions(Served("readonly"), fs::perms::owner_read | fs::perms::owner_exec);
    CSession session(Server());
    EXPECT_EQ(Code(session->MakeDir("file")), FTP_MKD_REFUSED);
    EXPECT_EQ(Code(session->MakeDir("file/sub")), FTP_MKD_REFUSED);
    EXPECT_EQ(Code(session->MakeDir("readonly/sub/deeper")), FTP_MKD_REFUSED);
    EXPECT_FALSE(fs::exists(Served("readonly/sub")));
    EXPECT_EQ(fs::file_size(Served("file")), 5U);
}

TEST_F(Directory, LevelsMadeBeforeAFailureStay) {
    SServerOptions limited;
    limited.lines = {"deny_file={*/forbidden,forbidden}"};
    Restart(limited);
    CSession session(Server());
    EXPECT_EQ(Code(session->MakeDir("a/b/forbidden/c")), FTP_PERMISSION_DENIED);
    EXPECT_TRUE(fs::is_directory(Served("a/b")));
    EXPECT_EQ(LinesOf(session, "a/b"), Lines{});
}

TEST_F(Directory, ThatIsEmptyIsRemoved) {
    ServeDirectory("dir");
    CSession session(Server());
    EXPECT_EQ(Code(session->RemoveDir("dir")), FTP_OK);
    EXPECT_FALSE(fs::exists(Served("dir")));
    EXPECT_EQ(CommandsSent("DELE "), 0U);
}

TEST_F(Directory, IsRemovedWithItsFiles) {
    Serve("dir/a", 5);
    Serve("dir/b b", 0);
    Serve("dir/locked", 5);
    fs::permissions(Served("dir/locked"), fs::perms::none);
    Serve("kept/file", 5);
    fs::create_symlink(Served("kept/file"), Served("dir/link"));
    fs::create_symlink(Served("kept"), Served("dir/dirlink"));
    fs::create_symlink("nowhere", Served("dir/dangling"));
    CSession session(Server());
    EXPECT_EQ(Code(session->RemoveDir("dir")), FTP_OK);
    EXPECT_FALSE(fs::exists(Served("dir")));
    EXPECT_EQ(LinesOf(session, "kept"), Lines{"- 5 file"});
}

TEST_F(Directory, WithASubdirectoryLosesItsFilesAndStays) {
    Serve("dir/a", 5);
    Serve("dir/b", 5);
    Serve("dir/sub/file", 5);
    CSession session(Server());
    EXPECT_EQ(Code(session->RemoveDir("dir")), FTP_RMD_REFUSED);
    EXPECT_EQ(LinesOf(session, "dir"), Lines{"d sub"});
    EXPECT_TRUE(fs::exists(Served("dir/sub/file")));
    EXPECT_EQ(CommandsSent("DELE "), 3U);
    EXPECT_EQ(CommandsSent("RMD "), 1U);
}

TEST_F(Directory, ThatIsNoneIsNotRemoved) {
    Serve("file", 5);
    CSession session(Server());
    EXPECT_EQ(Code(session->RemoveDir("missing")), FTP_CWD_REFUSED);
    EXPECT_EQ(Code(session->RemoveDir("file")), FTP_CWD_REFUSED);
    EXPECT_EQ(CommandsSent("RMD "), 0U);
    EXPECT_TRUE(fs::exists(Served("file")));
}

TEST_F(Directory, WithoutPermissionKeepsItsFiles) {
    Serve("dir/file", 5);
    fs::permissions(Served("dir"), fs::perms::owner_read | fs::perms::owner_exec);
    CSession session(Server());
    EXPECT_EQ(Code(session->RemoveFile("dir/file")), FTP_DELE_REFUSED);
    EXPECT_EQ(Code(session->RemoveDir("dir")), FTP_RMD_REFUSED);
    EXPECT_TRUE(fs::exists(Served("dir/file")));
}

TEST_F(Directory, FilesAndLinksAreRemovedAloneDirectoriesAreNot) {
    Serve("dir/file", 5);
    fs::create_symlink("dir/file", Served("link"));
    fs::create_symlink("dir", Served("dirlink"));
    CSession session(Server());
    EXPECT_EQ(Code(session->RemoveFile("link")), FTP_OK);
    EXPECT_EQ(Code(session->RemoveFile("dirlink")), FTP_OK);
    EXPECT_EQ(LinesOf(session, "/"), Lines{"d dir"});
    EXPECT_EQ(Code(session->RemoveFile("dir")), FTP_DELE_REFUSED);
    EXPECT_EQ(Code(session->RemoveFile("dir/file")), FTP_OK);
    EXPECT_EQ(Code(session->RemoveFile("dir/file")), FTP_DELE_REFUSED);
    EXPECT_EQ(Code(session->RemoveFile("missing/file")), FTP_DELE_REFUSED);
    EXPECT_EQ(LinesOf(session, "dir"), Lines{});
}

}  // namespace
}  // namespace ServerTest
