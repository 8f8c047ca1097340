// Names of files and directories as they occur.

#include <clocale>
#include <string>
#include <vector>

#include "tests/server/servertest.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace ServerTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;
using TestSupport::ReadFile;
using TestSupport::SamePayload;

constexpr const char* kNames[] = {
    "two words.txt",
    "three  blanks   in a row.txt",
    "blank before the suffix .txt",
    "Überprüfung größer.txt",
    "日本語の名前.txt",
    "смешанное имя.txt",
    "smile \xf0\x9f\x99\x82.txt",
    "e\xcc\x81 combined.txt",
    "100%s%n%d.txt",
    "quote\"d 'name'.txt",
    "semi;colon & $HOME `id`.txt",
    "star* [what]?.txt",
    "-rf",
    "backup~",
    "227 (127,0,0,1,1,1)",
    "226 done",
    "name with -> arrow",
    "a",
};

class CLocale {
public:
    explicit CLocale(const char* pszName) : m_strBefore(std::setlocale(LC_ALL, nullptr)) {
        EXPECT_NE(std::setlocale(LC_ALL, pszName), nullptr) << pszName;
    }
    ~CLocale() { std::setlocale(LC_ALL, m_strBefore.c_str()); }
    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;

private:
    std::string m_strBefore;
};

// Both the locale that knows UTF-8 and the one that programs start with, to which UTF-8 names are
// foreign bytes that must pass unchanged.
class Names : public CServerTest, public testing::WithParamInterface<const char*> {
protected:
    CLocale m_locale{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Locale, Names, testing::Values("C", "C.UTF-8"),
                         [](const testing::TestParamInfo<const char*>& locale) {
                             return std::string(locale.param) == "C" ? "C" : "Utf8";
                         });

TEST_P(Names, OfFilesGoThereAndBack) {
    CSession session(Server());
    for (const char* pszName : kNames) {
        SCOPED_TRACE(pszName);
        const std::string strBytes = Keep(pszName, 1300);
        ASSERT_EQ(Code(session->MakeDir("files")), FTP_OK);
        EXPECT_EQ(Code(session->PutOneFileToPath(Local(pszName), "files")), FTP_OK);
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(Served("files") / pszName)));
        CListing listing;
        EXPECT_EQ(Code(session->ListFile("files", listing.m_entries)), FTP_OK);
        EXPECT_EQ(listing.Lines(), std::vector<std::string>{std::string("- 1300 ") + pszName});
        EXPECT_EQ(Code(session->checkOneFileExist("files", pszName)), FTP_OK);
        EXPECT_EQ(Code(session->checkOneFileExist(std::string("files/") + pszName)), FTP_OK);

        const std::string strRemote = std::string("files/") + pszName;
        const fs::path back = Local("back") / pszName;
        fs::create_directories(Local("back"));
        EXPECT_EQ(Code(session->GetOneFile(strRemote, back, false)), FTP_OK);
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(back)));
        EXPECT_EQ(Code(session->RemoveFile(strRemote)), FTP_OK);
        EXPECT_FALSE(fs::exists(Served(strRemote)));
    }
}

TEST_P(Names, OfDirectoriesGoThereAndBack) {
    CSession session(Server());
    for (const char* pszName : kNames) {
        SCOPED_TRACE(pszName);
        const std::string strInner = std::string("dirs/") + pszName + "/inner " + pszName;
        ASSERT_EQ(Code(session->MakeDir(strInner)), FTP_OK);
        EXPECT_TRUE(fs::is_directory(Served(strInner)));
        EXPECT_EQ(Code(session->ChangeDir(strInner)), FTP_OK);
        CListing listing;
        EXPECT_EQ(Code(session->ListFile("dirs", listing.m_entries)), FTP_OK);
        EXPECT_EQ(listing.Lines(), std::vector<std::string>{std::string("d ") + pszName});
        const std::string strBytes = Serve(strInner + "/file", 1200);
        EXPECT_EQ(Code(session->GetOneFile(strInner + "/file", Local("file"), false)), FTP_OK);
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("file"))));
        EXPECT_EQ(Code(session->RemoveDir(strInner)), FTP_OK);
        EXPECT_EQ(Code(session->RemoveDir(std::string("dirs/") + pszName)), FTP_OK);
        EXPECT_FALSE(fs::exists(Served("dirs") / pszName));
    }
}

TEST_P(Names, OfEveryKindAreRemovedWithTheirDirectory) {
    for (const char* pszName : kNames)
        Serve(std::string("all/") + pszName, 10);
    CSession session(Server());
    CListing listing;
    EXPECT_EQ(Code(session->ListFile("all", listing.m_entries)), FTP_OK);
    EXPECT_EQ(listing.m_entries.size(), std::size(kNames));
    EXPECT_EQ(Code(session->RemoveDir("all")), FTP_OK);
    EXPECT_FALSE(fs::exists(Served("all")));
}

TEST_P(Names, OfLinksThatHoldTheArrowAreCutAtIt) {
    fs::create_symlink("target", Served("one -> two"));
    CSession session(Server());
    CListing listing;
    EXPECT_EQ(Code(session->ListFile("/", listing.m_entries)), FTP_OK);
    EXPECT_EQ(listing.Lines(), std::vector<std::string>{"l one"});
}

// Blanks separate the columns of a listing, so those at the start of a name are not to be told from
// the separator. Transfers know such names all the same.
TEST_P(Names, LoseLeadingBlanksInListingsOnly) {
    const std::string strBytes = Serve("dir/  file", 1100);
    CSession session(Server());
    CListing listing;
    EXPECT_EQ(Code(session->ListFile("dir", listing.m_entries)), FTP_OK);
    EXPECT_EQ(listing.Lines(), std::vector<std::string>{"- 1100 file"});
    EXPECT_EQ(Code(session->GetOneFile("dir/  file", Local("file"), false)), FTP_OK);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("file"))));
    EXPECT_EQ(Code(session->RemoveDir("dir")), FTP_RMD_REFUSED);
    EXPECT_TRUE(fs::exists(Served("dir/  file")));
    EXPECT_EQ(Code(session->RemoveFile("dir/  file")), FTP_OK);
    EXPECT_EQ(Code(session->RemoveDir("dir")), FTP_OK);
}

TEST_P(Names, BeginningWithADotAreNotListedByThisServer) {
    const std::string strBytes = Keep(".hidden", 1400);
    CSession session(Server());
    ASSERT_EQ(Code(session->MakeDir(".dir")), FTP_OK);
    EXPECT_EQ(Code(session->PutOneFileToPath(Local(".hidden"), ".dir")), FTP_OK);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Served(".dir/.hidden"))));
    EXPECT_EQ(Code(session->GetOneFile(".dir/.hidden", Local("back"), false)), FTP_OK);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("back"))));

    EXPECT_EQ(Code(session->checkOneFileExist(".dir/.hidden")), FTP_NO_SUCH_FILE);
    EXPECT_EQ(Code(session->RemoveDir(".dir")), FTP_RMD_REFUSED);  // what is not listed stays
    EXPECT_TRUE(fs::exists(Served(".dir/.hidden")));
    EXPECT_EQ(Code(session->RemoveFile(".dir/.hidden")), FTP_OK);
    EXPECT_EQ(Code(session->RemoveDir(".dir")), FTP_OK);
}

TEST_P(Names, OfOneAndTwoDotsAreNoEntries) {
    SServerOptions dots;
    dots.lines = {"force_dot_files=YES"};
    Restart(dots);
    Serve("dir/.hidden", 14);
    Serve("dir/...", 3);
    CSession session(Server());
    CListing listing;
    EXPECT_EQ(Code(session->ListFile("dir", listing.m_entries)), FTP_OK);
    EXPECT_EQ(listing.Lines(), (std::vector<std::string>{"- 14 .hidden", "- 3 ..."}));
    EXPECT_EQ(Code(session->checkOneFileExist("dir", ".")), FTP_NO_SUCH_FILE);
    EXPECT_EQ(Code(session->checkOneFileExist("dir", "..")), FTP_NO_SUCH_FILE);
    EXPECT_EQ(Code(session->RemoveDir("dir")), FTP_OK);
    EXPECT_FALSE(fs::exists(Served("dir")));
}

}  // namespace
}  // namespace ServerTest
