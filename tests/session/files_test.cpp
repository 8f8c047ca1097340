// The file operations of the exported client.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/session/fixture.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace SessionTest {
namespace {

using RVN_FTP_CLIENT::Ftp_File_Pair;
using RVN_FTP_CLIENT::TkFileInfo;

class Files : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(Files);

// A session that is logged in, plays the steps given and ends in order.
class CSession {
public:
    explicit CSession(std::vector<SStep> script) : m_server(Whole(script)), m_client(m_server) {
        EXPECT_EQ(m_client.Login(), 0U);
    }
    ~CSession() {
        m_client.CloseInOrder();
        m_server.ExpectFinished();
    }
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    CClient* operator->() { return &m_client; }
    std::vector<std::string> Uploads() { return m_server.Uploads(); }

private:
    static std::vector<SStep> Whole(std::vector<SStep> script) {
        script.insert(script.begin(), LogIn());
        script.push_back(Quit());
        return script;
    }
    ScriptedServer m_server;
    CClient m_client;
};

struct SReply {
    const char* pszReply;
    unsigned int uResult;
};

TEST_P(Files, ChangeDirGivesTheResultOfCwd) {
    for (const SReply& reply :
         {SReply{"250 there", 0}, SReply{"200 there", 0}, SReply{"550 no", 0x3bb00009},
          SReply{"550 No such file or directory", 0x3bb0000e}, SReply{"501 what?", 0x3bb00015},
          SReply{"530 no", 0x3bb0001a}}) {
        SCOPED_TRACE(reply.pszReply);
        CSession session({On("CWD /srv/data/a b", reply.pszReply)});
        EXPECT_EQ(session->ChangeDir("a b"), reply.uResult);
    }
}

TEST_P(Files, RemoveFileGivesTheResultOfDele) {
    for (const SReply& reply :
         {SReply{"250 gone", 0}, SReply{"550 no", 0x3bb0000c},
          SReply{"550 No such file or directory", 0x3bb0000e},
          SReply{"550 Permission denied", 0x3bb0000d}, SReply{"450 busy", 0x3bb00012}}) {
        SCOPED_TRACE(reply.pszReply);
        CSession session({On("DELE /srv/data/a/b.txt", reply.pszReply)});
        EXPECT_EQ(session->RemoveFile("a/b.txt"), reply.uResult);
    }
}

// ---- Listings ----

constexpr const char* kListing =
    "total 5\r\n"
    "drwxr-xr-x 2 u g 4096 Mar 3 2019 .\r\n"
    "-rw-r--r-- 1 u g 7 Mar 3 2019 Read Me.txt\r\n"
    "---------- 1 u g 7 Mar 3 2019 secret\r\n"
    "drwxr-xr-x 2 u g 4096 Mar 3 2019 sub\r\n"
    "lrwxrwxrwx 1 u g 7 Mar 3 2019 cur -> sub/x\r\n"
    "?rw-r--r-- 1 u g 7 Mar 3 2019 odd\r\n"
    "-rw-r--r-- 1 u g 7 Mar 3 2019 cut off";

std::vector<std::string> Taken(std::vector<TkFileInfo*>& files) {
    std::vector<std::string> shown;
    for (TkFileInfo* pFile : files) {
        shown.push_back(std::to_string(pFile->ucFileType) + '|' + pFile->strFileSize + '|' +
                        pFile->strModifyTime + '|' + pFile->strFileName);
        delete pFile;
    }
    files.clear();
    return shown;
}

TEST_P(Files, ListFileGivesTheReadableEntries) {
    CSession session({Cwd("/srv/data/a"), ServeList(kListing)});
    std::vector<TkFileInfo*> files;
    EXPECT_EQ(session->ListFile("a", files), 0U);
    EXPECT_EQ(Taken(files),
              (std::vector<std::string>{"0|7|2019-03-03|Read Me.txt", "1|4096|2019-03-03|sub",
                                        "2|7|2019-03-03|cur"}));
}

TEST_P(Files, ListFileAppends) {
    CSession session({Cwd("/srv/data/a"), ServeList("12-31-19 11:59PM 1 x\r\n"), Cwd("/srv/data/b"),
                      ServeList("12-31-19 11:59PM <DIR> y\r\n")});
    std::vector<TkFileInfo*> files;
    EXPECT_EQ(session->ListFile("a", files), 0U);
    EXPECT_EQ(session->ListFile("b", files), 0U);
    EXPECT_EQ(Taken(files),
              (std::vector<std::string>{"0|1|12-31-19 11:59PM|x", "1|0|12-31-19 11:59PM|y"}));
}

TEST_P(Files, ListFileOfAnEmptyDirectoryGivesNothing) {
    CSession session({Cwd("/srv/data/a"), ServeList("")});
    std::vector<TkFileInfo*> files;
    EXPECT_EQ(session->ListFile("a", files), 0U);
    EXPECT_TRUE(files.empty());
}

TEST_P(Files, ListFileGivesTheResultOfTheListing) {
    std::vector<TkFileInfo*> files;
    {
        CSession session({On("CWD /srv/data/a", "550 no")});
        EXPECT_EQ(session->ListFile("a", files), 0x3bb00009U);
    }
    {
        CSession session({Cwd("/srv/data/a"), On("PASV", "500 what?")});
        EXPECT_EQ(session->ListFile("a", files), 0x4007001aU);
    }
    {
        CSession session({Cwd("/srv/data/a"), Passive(), On("LIST", "550 no"), ExpectDataClosed()});
        EXPECT_EQ(session->ListFile("a", files), 0x3bb00019U);
    }
    EXPECT_TRUE(files.empty());
}

TEST_P(Files, CheckOneFileExistFindsTheExactName) {
    const struct {
        const char* pszName;
        unsigned int uResult;
    } names[] = {
        {"Read Me.txt", 0},
        {"sub", 0},
        {"cur", 0},
        {"read me.txt", 0x3bb0000e},
        {"READ ME.TXT", 0x3bb0000e},
        {"Read", 0x3bb0000e},
        {"Read Me.txt ", 0x3bb0000e},
        {"", 0x3bb0000e},
        {".", 0x3bb0000e},
        {"secret", 0x3bb0000e},
        {"odd", 0x3bb0000e},
        {"cut off", 0x3bb0000e},
        {"cur -> sub/x", 0x3bb0000e},
    };
    std::vector<SStep> script;
    for (std::size_t i = 0; i < sizeof names / sizeof names[0]; ++i) {
        script.push_back(Cwd("/srv/data/a"));
        script.push_back(ServeList(kListing));
    }
    CSession session(script);
    for (const auto& name : names)
        EXPECT_EQ(session->checkOneFileExist("a", name.pszName), name.uResult) << name.pszName;
}

TEST_P(Files, CheckOneFileExistSplitsAPath) {
    const struct {
        const char* pszPath;
        const char* pszListed;
    } paths[] = {
        {"a/b/sub", "/srv/data/a/b"},
        {"a\\b\\sub", "/srv/data/a/b"},
        {"/sub", "/srv/data/"},
        {"/a/sub", "/srv/data/a"},
        {"sub", ""},
    };
    for (const auto& path : paths) {
        SCOPED_TRACE(path.pszPath);
        CSession session({Cwd(path.pszListed), ServeList(kListing)});
        EXPECT_EQ(session->checkOneFileExist(path.pszPath), 0U);
    }
    CSession session({Cwd("/srv/data/a"), ServeList(kListing)});
    EXPECT_EQ(session->checkOneFileExist("a/none"), 0x3bb0000eU);
}

TEST_P(Files, CheckOneFileExistHidesWhyAListingFailed) {
    for (const char* pszReply : {"550 no", "530 log in first", "421 busy", "999 odd"}) {
        SCOPED_TRACE(pszReply);
        CSession session({On("CWD /srv/data/a", pszReply), On("CWD /srv/data/a", pszReply)});
        EXPECT_EQ(session->checkOneFileExist("a", "b"), 0x3bb0000eU);
        EXPECT_EQ(session->checkOneFileExist("a/b"), 0x3bb0000eU);
    }
    CSession empty({Cwd("/srv/data/a"), ServeList("")});
    EXPECT_EQ(empty->checkOneFileExist("a", "b"), 0x3bb0000eU);
}

// ---- Single transfers ----

TEST_P(Files, GetOneFileSetsTheTypeAndRetrieves) {
    const TempDir local;
    const std::string strBytes = Payload(5000);
    for (const bool bFlag : {false, true}) {  // which has no effect
        CSession session({TypeImage(), Cwd("/srv/data/a"), Serve("f.bin", strBytes)});
        EXPECT_EQ(session->GetOneFile("a/f.bin", local.File("f"), bFlag), 0U);
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(local.File("f"))));
    }
}

TEST_P(Files, PutOneFileToFileSetsTheTypeAndStores) {
    const TempDir local;
    const std::string strBytes = Payload(5000);
    WriteFile(local.File("f"), strBytes);
    CSession session({TypeImage(), Cwd("/srv/data/a"), Take("g.bin")});
    EXPECT_EQ(session->PutOneFileToFile(local.File("f"), "a/g.bin"), 0U);
    EXPECT_TRUE(SamePayload(strBytes, session.Uploads().at(0)));
}

TEST_P(Files, ATypeThatIsRefusedIsTheResult) {
    const TempDir local;
    WriteFile(local.File("f"), "x");
    std::vector<Ftp_File_Pair> pairs{{local.File("f"), local.File("f")}};
    std::vector<Ftp_File_Pair> none;
    const SStep refused = On("TYPE I", "504 not that");
    CSession session({refused, refused, refused, refused, refused, refused, refused});
    EXPECT_EQ(session->GetOneFile("a", local.File("g"), false), 0x4007001aU);
    EXPECT_EQ(session->PutOneFileToFile(local.File("f"), "a"), 0x4007001aU);
    EXPECT_EQ(session->PutOneFileToPath(local.File("f"), "a"), 0x4007001aU);
    EXPECT_EQ(session->GetFile(pairs, false), 0x4007001aU);
    EXPECT_EQ(session->PutFile(pairs), 0x4007001aU);
    EXPECT_EQ(session->GetFile(none, false), 0x4007001aU);
    EXPECT_EQ(session->PutFile(none), 0x4007001aU);
}

TEST_P(Files, SingleTransfersGiveTheirResult) {
    const TempDir local;
    WriteFile(local.File("f"), "x");
    CSession session({TypeImage(), On("CWD /srv/data/a", "550 no"), TypeImage(),
                      On("CWD /srv/data/a", "550 no"), TypeImage(),
                      On("CWD /srv/data/a", "550 no")});
    EXPECT_EQ(session->GetOneFile("a/b", local.File("g"), false), 0x3bb00009U);
    EXPECT_EQ(session->PutOneFileToFile(local.File("f"), "a/b"), 0x3bb00009U);
    EXPECT_EQ(session->PutOneFileToPath(local.File("f"), "a"), 0x3bb00009U);
}

TEST_P(Files, PutOneFileToPathKeepsTheLocalName) {
    const TempDir local;
    WriteFile(local.File("my file"), "tea");
    const struct {
        const char* pszRemoteDir;
        const char* pszCwd;
    } directories[] = {
        {"up", "/srv/data/up"},
        {"/up", "/srv/data/up"},
        {"up/", "/srv/data/up/"},  // the separator is added all the same
        {"up/sub", "/srv/data/up/sub"},
        {"", "/srv/data"},
        {"/", "/srv/data/"},
        {"\\up", "/srv/data/up"},  // the transfer's own split turns it
    };
    for (const auto& directory : directories) {
        SCOPED_TRACE(directory.pszRemoteDir);
        CSession session({TypeImage(), Cwd(directory.pszCwd), Take("my file")});
        EXPECT_EQ(session->PutOneFileToPath(local.File("my file"), directory.pszRemoteDir), 0U);
        EXPECT_EQ(session.Uploads(), (std::vector<std::string>{"tea"}));
    }
}

TEST_P(Files, PutOneFileToPathSplitsTheLocalPathAtBackslashesToo) {
    for (const char* pszLocal : {"nowhere\\else\\name.txt", "nowhere/else\\name.txt", "\\name.txt",
                                 "C:\\name.txt", "name.txt", "./name.txt"}) {
        SCOPED_TRACE(pszLocal);
        // There is no such file, but its name has been sent before that shows.
        CSession session({TypeImage(), Cwd("/srv/data/up"), Take("name.txt")});
        EXPECT_EQ(session->PutOneFileToPath(pszLocal, "up"), 0x3bb00005U);
        EXPECT_EQ(session.Uploads(), (std::vector<std::string>{""}));
    }
}

// ---- Batches ----

TEST_P(Files, GetFileRetrievesInOrder) {
    const TempDir local;
    CSession session({TypeImage(), Cwd("/srv/data/a"), Serve("x", Payload(1500, 1)),
                      Cwd("/srv/data/b"), Serve("y", Payload(0)), Cwd("/srv/data"),
                      Serve("z", Payload(3000, 3))});
    std::vector<Ftp_File_Pair> pairs{
        {"a/x", local.File("1")}, {"/b/y", local.File("2")}, {"z", local.File("3")}};
    EXPECT_EQ(session->GetFile(pairs, true), 0U);
    EXPECT_TRUE(SamePayload(Payload(1500, 1), ReadFile(local.File("1"))));
    EXPECT_TRUE(SamePayload("", ReadFile(local.File("2"))));
    EXPECT_TRUE(SamePayload(Payload(3000, 3), ReadFile(local.File("3"))));
}

TEST_P(Files, PutFileStoresInOrder) {
    const TempDir local;
    WriteFile(local.File("1"), Payload(1500, 1));
    WriteFile(local.File("2"), "");
    WriteFile(local.File("3"), Payload(3000, 3));
    CSession session({TypeImage(), Cwd("/srv/data/a"), Take("x"), Cwd("/srv/data/b"), Take("y"),
                      Cwd("/srv/data"), Take("z")});
    std::vector<Ftp_File_Pair> pairs{
        {local.File("1"), "a/x"}, {local.File("2"), "/b/y"}, {local.File("3"), "z"}};
    EXPECT_EQ(session->PutFile(pairs), 0U);
    const std::vector<std::string> uploads = session.Uploads();
    ASSERT_EQ(uploads.size(), 3U);
    EXPECT_TRUE(SamePayload(Payload(1500, 1), uploads[0]));
    EXPECT_TRUE(SamePayload("", uploads[1]));
    EXPECT_TRUE(SamePayload(Payload(3000, 3), uploads[2]));
}

TEST_P(Files, AnEmptyBatchStillSetsTheType) {
    CSession session({TypeImage(), TypeImage()});
    std::vector<Ftp_File_Pair> none;
    EXPECT_EQ(session->GetFile(none, false), 0U);
    EXPECT_EQ(session->PutFile(none), 0U);
}

TEST_P(Files, ABatchEndsAtTheFirstFailure) {
    const TempDir local;
    WriteFile(local.File("1"), "tea");
    std::vector<Ftp_File_Pair> gets{
        {"x", local.File("g1")}, {"n/y", local.File("g2")}, {"z", local.File("g3")}};
    {
        CSession session(
            {TypeImage(), Cwd("/srv/data"), Serve("x", "tea"), On("CWD /srv/data/n", "550 no")});
        EXPECT_EQ(session->GetFile(gets, false), 0x3bb00009U);
    }
    EXPECT_EQ(ReadFile(local.File("g1")), "tea") << "what was moved stays";
    EXPECT_FALSE(std::filesystem::exists(local.File("g2")));
    EXPECT_FALSE(std::filesystem::exists(local.File("g3")));

    std::vector<Ftp_File_Pair> puts{
        {local.File("1"), "x"}, {local.File("none"), "y"}, {local.File("1"), "z"}};
    CSession session({TypeImage(), Cwd("/srv/data"), Take("x"), Cwd("/srv/data"), Take("y")});
    EXPECT_EQ(session->PutFile(puts), 0x3bb00005U);
    EXPECT_EQ(session.Uploads(), (std::vector<std::string>{"tea", ""}));
}

// ---- The limit of 260 bytes ----

// A path whose last part is a single letter, so that the directory is known.
std::string PathOf(std::size_t nSize) {
    return std::string(nSize - 2, 'p') + "/f";
}

std::string DirOf(std::size_t nSize) {
    return "/srv/data/" + PathOf(nSize).substr(0, nSize - 2);
}

constexpr std::size_t kLongestBelowRoot = 260 - 10;  // without "/srv/data/"

TEST_P(Files, JoinedPathsMayHave260Bytes) {
    const TempDir local;
    WriteFile(local.File("f"), "tea");
    const std::string strPath = PathOf(kLongestBelowRoot);
    const std::string strJoined = "/srv/data/" + strPath;
    ASSERT_EQ(strJoined.size(), 260U);
    std::vector<Ftp_File_Pair> gets{{strPath, local.File("g")}};
    std::vector<Ftp_File_Pair> puts{{local.File("f"), strPath}};
    const SStep cwd = Cwd(DirOf(kLongestBelowRoot));
    CSession session({On("DELE " + strJoined, "250 gone"), TypeImage(), cwd, Serve("f", "tea"),
                      TypeImage(), cwd, Take("f"), TypeImage(), cwd, Take("f"), TypeImage(), cwd,
                      Serve("f", "tea"), TypeImage(), cwd, Take("f"), On("CWD /", "550 no"),
                      On("CWD " + strJoined, "550 no")});
    EXPECT_EQ(session->RemoveFile(strPath), 0U);
    EXPECT_EQ(session->GetOneFile(strPath, local.File("g"), false), 0U);
    EXPECT_EQ(session->PutOneFileToFile(local.File("f"), strPath), 0U);
    EXPECT_EQ(session->PutOneFileToPath(local.File("f"), strPath.substr(0, strPath.size() - 2)),
              0U);
    EXPECT_EQ(session->GetFile(gets, false), 0U);
    EXPECT_EQ(session->PutFile(puts), 0U);
    EXPECT_EQ(session->MakeDir(strPath), 0x3bb00009U);
    EXPECT_EQ(session->RemoveDir(strPath), 0x3bb00009U);
}

TEST_P(Files, LongerJoinedPathsAreNotSent) {
    const TempDir local;
    WriteFile(local.File("f"), "tea");
    const std::string strPath = PathOf(kLongestBelowRoot + 1);
    std::vector<Ftp_File_Pair> gets{{strPath, local.File("g")}};
    std::vector<Ftp_File_Pair> puts{{local.File("f"), strPath}};
    CSession session({TypeImage(), TypeImage()});  // of the batches
    EXPECT_EQ(session->RemoveFile(strPath), 0x3bb0000eU);
    EXPECT_EQ(session->GetOneFile(strPath, local.File("g"), false), 0x3bb0000eU);
    EXPECT_EQ(session->PutOneFileToFile(local.File("f"), strPath), 0x3bb0000eU);
    EXPECT_EQ(session->PutOneFileToPath(local.File("f"), strPath.substr(0, strPath.size() - 2)),
              0x3bb0000eU);
    EXPECT_EQ(session->MakeDir(strPath), 0x3bb0000eU);
    EXPECT_EQ(session->RemoveDir(strPath), 0x3bb0000eU);
    EXPECT_EQ(session->GetFile(gets, false), 0x3bb0000eU);
    EXPECT_EQ(session->PutFile(puts), 0x3bb0000eU);
    EXPECT_FALSE(std::filesystem::exists(local.File("g")));
    EXPECT_EQ(ErrorLog(), "");
}

TEST_P(Files, ChangeDirAndListFileMeasureTheArgumentAsGiven) {
    const std::string strLongest(260, 'p');
    const std::string strTooLong(261, 'p');
    std::vector<TkFileInfo*> files;
    CSession session(
        {On("CWD /srv/data/" + strLongest, "550 no"), On("CWD /srv/data/" + strLongest, "550 no"),
         On("CWD /srv/data/" + strLongest, "550 no"), On("CWD /srv/data/" + strLongest, "550 no")});
    EXPECT_EQ(session->ChangeDir(strLongest), 0x3bb00009U);
    EXPECT_EQ(session->ListFile(strLongest, files), 0x3bb00009U);
    EXPECT_EQ(session->checkOneFileExist(strLongest, "f"), 0x3bb0000eU);
    EXPECT_EQ(session->checkOneFileExist(strLongest + "/f"), 0x3bb0000eU);
    EXPECT_EQ(session->ChangeDir(strTooLong), 0x3bb0000eU);
    EXPECT_EQ(session->ListFile(strTooLong, files), 0x3bb0000eU);
    EXPECT_EQ(session->checkOneFileExist(strTooLong, "f"), 0x3bb0000eU);
    EXPECT_EQ(session->checkOneFileExist(strTooLong + "/f"), 0x3bb0000eU);
    EXPECT_TRUE(files.empty());
}

TEST_P(Files, ABatchEndsAtAPathThatIsTooLong) {
    const TempDir local;
    WriteFile(local.File("1"), "tea");
    const std::string strTooLong = PathOf(kLongestBelowRoot + 1);
    std::vector<Ftp_File_Pair> gets{{"x", local.File("g1")},
                                    {"y", local.File("g2")},
                                    {strTooLong, local.File("g3")},
                                    {"z", local.File("g4")}};
    std::vector<Ftp_File_Pair> puts{{local.File("1"), "x"},
                                    {local.File("1"), "y"},
                                    {local.File("1"), strTooLong},
                                    {local.File("1"), "z"}};
    CSession session({TypeImage(), Cwd("/srv/data"), Serve("x", "one"), Cwd("/srv/data"),
                      Serve("y", "two"), TypeImage(), Cwd("/srv/data"), Take("x"), Cwd("/srv/data"),
                      Take("y")});
    EXPECT_EQ(session->GetFile(gets, false), 0x3bb0000eU);
    EXPECT_EQ(ReadFile(local.File("g1")), "one");
    EXPECT_EQ(ReadFile(local.File("g2")), "two");
    EXPECT_FALSE(std::filesystem::exists(local.File("g3")));
    EXPECT_FALSE(std::filesystem::exists(local.File("g4")));
    EXPECT_EQ(session->PutFile(puts), 0x3bb0000eU);
    EXPECT_EQ(session.Uploads(), (std::vector<std::string>{"tea", "tea"}));
}

TEST_P(Files, LocalPathsHaveNoLimitOfTheLibrary) {
    const TempDir local;
    const std::string strLocal = local.File(std::string(200, 'l'));
    const std::string strDotted = local.Path().string() + std::string(300, '/') +
                                  std::filesystem::path(strLocal).filename().string();
    WriteFile(strLocal, "tea");
    CSession session({TypeImage(), Cwd("/srv/data"), Take("f"), TypeImage(), Cwd("/srv/data"),
                      Serve("f", "coffee")});
    EXPECT_EQ(session->PutOneFileToFile(strDotted, "f"), 0U);
    EXPECT_EQ(session.Uploads(), (std::vector<std::string>{"tea"}));
    EXPECT_EQ(session->GetOneFile("f", strDotted, false), 0U);
    EXPECT_EQ(ReadFile(strLocal), "coffee");
}

// ---- Names ----

TEST_P(Files, BlanksAndUtf8ReachTheServerAsGiven) {
    const TempDir local;
    const std::string strName = "gr\xc3\xbc\xc3\x9f e \xe6\x97\xa5";
    WriteFile(local.File(strName), "tea");
    CSession session({Cwd("/srv/data/" + strName), TypeImage(), Cwd("/srv/data/d e"), Take(strName),
                      TypeImage(), Cwd("/srv/data"), Serve(strName, "coffee")});
    EXPECT_EQ(session->ChangeDir(strName), 0U);
    EXPECT_EQ(session->PutOneFileToPath(local.File(strName), "d e"), 0U);
    EXPECT_EQ(session->GetOneFile(strName, local.File(strName), false), 0U);
    EXPECT_EQ(ReadFile(local.File(strName)), "coffee");
}

TEST_P(Files, NamesThatWouldMakeASecondCommandAreNotSent) {
    const TempDir local;
    WriteFile(local.File("f"), "tea");
    using namespace std::string_literals;
    for (const std::string& strName : {"a\r\nDELE b"s, "a\nb"s, "a\rb"s, "a\0b"s}) {
        SCOPED_TRACE(strName);
        CSession session({});
        EXPECT_EQ(session->ChangeDir(strName), 0x3bb00002U);
        EXPECT_EQ(session->RemoveFile(strName), 0x3bb00002U);
    }
}

}  // namespace
}  // namespace SessionTest
