#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/sftpserver/hostsession.h"
#include "tests/sftpserver/opensshserver.h"
#include "tests/support/payload.h"

namespace {

using namespace TestSupport;
namespace fs = std::filesystem;

SFTP_String Text(const std::string& strText) {
    return SFTP_String(strText.c_str());
}

class Collector : public SFTP_DirVisitor {
public:
    bool entry(const SFTP_FileInfo& info) override {
        m_entries[info.pszName] = info;
        return m_entries.size() < m_uMost;
    }
    std::map<std::string, SFTP_FileInfo> m_entries;
    std::size_t m_uMost = SIZE_MAX;
};

// A connected session; the files are the server's user's.
class RemoteFiles : public testing::Test {
protected:
    RemoteFiles() : m_session(PasswordAccount(m_server)) {}

    void SetUp() override { ASSERT_EQ(m_session->connect(), SFTP_OK) << m_session.Error(); }

    std::string Remote(const std::string& strName) const { return m_server.File(strName); }

    void Make(const std::string& strName, const std::string& strBytes) {
        WriteFile(Remote(strName), strBytes);
        GiveToUnprivileged(Remote(strName));
    }

    OpenSshServer m_server;
    HostSession m_session;
};

TEST_F(RemoteFiles, AreDescribed) {
    Make("f", "12345");
    ::chmod(Remote("f").c_str(), 0640);
    fs::create_symlink("f", Remote("link"));
    SFTP_FileInfo info = {};
    ASSERT_EQ(m_session->stat(Text(Remote("link")), info), SFTP_OK) << m_session.Error();
    struct stat expected = {};
    ASSERT_EQ(::stat(Remote("f").c_str(), &expected), 0);
    EXPECT_EQ(info.pszName, nullptr);
    EXPECT_EQ(info.ullSize, 5U);
    EXPECT_EQ(info.llModified, expected.st_mtime);
    EXPECT_EQ(info.uPermission, 0640U);
    EXPECT_EQ(info.ucType, SFTP_TYPE_FILE);
}

TEST_F(RemoteFiles, AreListedWithTheirAttributes) {
    Make("file", "123");
    fs::create_directory(Remote("dir"));
    fs::create_symlink("file", Remote("link"));
    ASSERT_EQ(::mkfifo(Remote("pipe").c_str(), 0600), 0);
    Collector found;
    ASSERT_EQ(m_session->readDir(Text(m_server.Directory()), found), SFTP_OK) << m_session.Error();
    ASSERT_EQ(found.m_entries.size(), 4U);
    EXPECT_EQ(found.m_entries["file"].ullSize, 3U);
    EXPECT_EQ(found.m_entries["file"].ucType, SFTP_TYPE_FILE);
    EXPECT_EQ(found.m_entries["dir"].ucType, SFTP_TYPE_DIRECTORY);
    EXPECT_EQ(found.m_entries["link"].ucType, SFTP_TYPE_LINK);
    EXPECT_EQ(found.m_entries["pipe"].ucType, SFTP_TYPE_OTHER);
}

TEST_F(RemoteFiles, AreListedByTheThousand) {
    for (int i = 0; i < 1000; ++i)
        WriteFile(Remote("file-" + std::to_string(i)), "");
    Collector found;
    ASSERT_EQ(m_session->readDir(Text(m_server.Directory()), found), SFTP_OK) << m_session.Error();
    EXPECT_EQ(found.m_entries.size(), 1000U);
    EXPECT_EQ(found.m_entries.count("file-999"), 1U);
}

TEST_F(RemoteFiles, AreListedUntilTheVisitorHasEnough) {
    for (const char* pszName : {"a", "b", "c"})
        WriteFile(Remote(pszName), "");
    Collector found;
    found.m_uMost = 2;
    EXPECT_EQ(m_session->readDir(Text(m_server.Directory()), found), SFTP_ERR_CANCELLED);
    EXPECT_EQ(found.m_entries.size(), 2U);
    SFTP_FileInfo info = {};
    EXPECT_EQ(m_session->stat(Text(Remote("a")), info), SFTP_OK) << m_session.Error();
}

// The same letters in both forms are two names: bytes are not rewritten on their way.
class RemoteName : public RemoteFiles, public testing::WithParamInterface<const char*> {};

TEST_P(RemoteName, IsTheSameThroughEveryOperation) {
    const std::string strName = GetParam();
    const std::string strBytes = "in " + strName;
    const TempDir temp;
    const std::string strLocal = temp.File(strName);
    const std::string strDirectory = Remote(strName);
    const std::string strFile = strDirectory + "/" + strName;
    WriteFile(strLocal, strBytes);
    ASSERT_EQ(m_session->makeDir(Text(strDirectory)), SFTP_OK) << m_session.Error();
    ASSERT_EQ(m_session->putFile(Text(strLocal), Text(strFile), nullptr), SFTP_OK)
        << m_session.Error();
    EXPECT_EQ(ReadFile(strFile), strBytes);
    Collector found;
    ASSERT_EQ(m_session->readDir(Text(strDirectory), found), SFTP_OK) << m_session.Error();
    ASSERT_EQ(found.m_entries.size(), 1U);
    EXPECT_EQ(found.m_entries.begin()->first, strName);
    SFTP_FileInfo info = {};
    ASSERT_EQ(m_session->stat(Text(strFile), info), SFTP_OK) << m_session.Error();
    EXPECT_EQ(info.ullSize, strBytes.size());
    SFTP_String absolute;
    ASSERT_EQ(m_session->realPath(Text(strFile), absolute), SFTP_OK) << m_session.Error();
    EXPECT_EQ(absolute.c_str(), strFile);
    fs::remove(strLocal);
    ASSERT_EQ(m_session->getFile(Text(strFile), Text(strLocal), nullptr), SFTP_OK)
        << m_session.Error();
    EXPECT_EQ(ReadFile(strLocal), strBytes);
    ASSERT_EQ(m_session->rename(Text(strFile), Text(strFile + strName)), SFTP_OK)
        << m_session.Error();
    EXPECT_TRUE(fs::exists(strFile + strName));
    EXPECT_EQ(m_session->remove(Text(strFile + strName)), SFTP_OK) << m_session.Error();
    EXPECT_EQ(m_session->removeDir(Text(strDirectory)), SFTP_OK) << m_session.Error();
    EXPECT_TRUE(fs::is_empty(m_server.Directory()));
}

INSTANTIATE_TEST_SUITE_P(
    Names, RemoteName,
    testing::Values("Übergröße", "r\u00e9sum\u00e9", "re\u0301sume\u0301", "文件 文書", "файл",
                    "ملف", "🫖 tea", "it's \"quoted\" $HOME *?[a]", "-rf", "two\nlines", "ÿ\xff"),
    [](const auto& parameter) { return "Number" + std::to_string(parameter.index); });

TEST_F(RemoteFiles, ThatDoNotExistAreSaidNotTo) {
    const SFTP_String path = Text(Remote("nothing"));
    const TempDir temp;
    SFTP_FileInfo info = {};
    SFTP_File* pFile = nullptr;
    Collector found;
    EXPECT_EQ(m_session->stat(path, info), SFTP_ERR_NO_SUCH_PATH);
    EXPECT_EQ(m_session.Error(), "12 stat " + Remote("nothing") + ": no such file or directory");
    EXPECT_EQ(m_session->readDir(path, found), SFTP_ERR_NO_SUCH_PATH);
    EXPECT_EQ(m_session->remove(path), SFTP_ERR_NO_SUCH_PATH);
    EXPECT_EQ(m_session->removeDir(path), SFTP_ERR_NO_SUCH_PATH);
    EXPECT_EQ(m_session->rename(path, Text(Remote("other"))), SFTP_ERR_NO_SUCH_PATH);
    EXPECT_EQ(m_session->openFile(path, SFTP_OPEN_READ, &pFile), SFTP_ERR_NO_SUCH_PATH);
    EXPECT_EQ(pFile, nullptr);
    EXPECT_EQ(m_session->makeDir(Text(Remote("nothing/below"))), SFTP_ERR_NO_SUCH_PATH);
    EXPECT_EQ(m_session->getFile(path, Text(temp.File("f")), nullptr), SFTP_ERR_NO_SUCH_PATH);
    EXPECT_FALSE(fs::exists(temp.File("f.part")));
}

TEST_F(RemoteFiles, OfOthersAreOutOfReach) {
    fs::create_directory(Remote("locked"));
    GiveToUnprivileged(Remote("locked"));
    ::chmod(Remote("locked").c_str(), 0);
    const TempDir temp;
    WriteFile(temp.File("f"), "tea");
    Collector found;
    SFTP_FileInfo info = {};
    EXPECT_EQ(m_session->readDir(Text(Remote("locked")), found), SFTP_ERR_PERMISSION);
    EXPECT_EQ(m_session.Error(), "13 list " + Remote("locked") + ": permission denied");
    EXPECT_EQ(m_session->stat(Text(Remote("locked/f")), info), SFTP_ERR_PERMISSION);
    EXPECT_EQ(m_session->makeDir(Text(Remote("locked/d"))), SFTP_ERR_PERMISSION);
    EXPECT_EQ(m_session->putFile(Text(temp.File("f")), Text(Remote("locked/f")), nullptr),
              SFTP_ERR_PERMISSION);
    ::chmod(Remote("locked").c_str(), 0700);
}

TEST_F(RemoteFiles, ThatExistAreNotOverwrittenByMakingOrRenaming) {
    Make("a", "A");
    Make("b", "B");
    SFTP_File* pFile = nullptr;
    const int nExclusive = SFTP_OPEN_WRITE | SFTP_OPEN_CREATE | SFTP_OPEN_EXCLUSIVE;
    EXPECT_EQ(m_session->makeDir(Text(Remote("a"))), SFTP_ERR_EXISTS);
    EXPECT_EQ(m_session->rename(Text(Remote("a")), Text(Remote("b"))), SFTP_ERR_EXISTS);
    EXPECT_EQ(m_session->openFile(Text(Remote("a")), nExclusive, &pFile), SFTP_ERR_EXISTS);
    EXPECT_EQ(ReadFile(Remote("b")), "B");
}

TEST_F(RemoteFiles, AreMovedAndRemoved) {
    ASSERT_EQ(m_session->makeDir(Text(Remote("d"))), SFTP_OK) << m_session.Error();
    Make("f", "tea");
    ASSERT_EQ(m_session->rename(Text(Remote("f")), Text(Remote("d/g"))), SFTP_OK)
        << m_session.Error();
    EXPECT_EQ(ReadFile(Remote("d/g")), "tea");
    EXPECT_EQ(m_session->removeDir(Text(Remote("d"))), SFTP_ERR_REMOTE);
    EXPECT_EQ(m_session->remove(Text(Remote("d/g"))), SFTP_OK) << m_session.Error();
    EXPECT_EQ(m_session->removeDir(Text(Remote("d"))), SFTP_OK) << m_session.Error();
    EXPECT_FALSE(fs::exists(Remote("d")));
}

TEST_F(RemoteFiles, HaveAbsolutePaths) {
    SFTP_String absolute;
    ASSERT_EQ(m_session->realPath(Text(m_server.Directory() + "/../remote/./x"), absolute), SFTP_OK)
        << m_session.Error();
    EXPECT_STREQ(absolute.c_str(), Remote("x").c_str());
}

TEST_F(RemoteFiles, AreReadAndWrittenAtOffsets) {
    const std::string strBytes = Payload(1'000'000);
    SFTP_File* pFile = nullptr;
    const int nOpen = SFTP_OPEN_READ | SFTP_OPEN_WRITE | SFTP_OPEN_CREATE | SFTP_OPEN_TRUNCATE;
    ASSERT_EQ(m_session->openFile(Text(Remote("f")), nOpen, &pFile), SFTP_OK) << m_session.Error();
    ASSERT_EQ(m_session->writeFile(pFile, 500'000, strBytes.data() + 500'000, 500'000), SFTP_OK);
    ASSERT_EQ(m_session->writeFile(pFile, 0, strBytes.data(), 500'000), SFTP_OK);
    std::string strRead(strBytes.size(), '\0');
    std::size_t uRead = 0;
    ASSERT_EQ(m_session->readFile(pFile, 0, strRead.data(), strRead.size(), &uRead), SFTP_OK);
    EXPECT_EQ(uRead, strBytes.size());
    EXPECT_TRUE(SamePayload(strBytes, strRead));
    ASSERT_EQ(m_session->readFile(pFile, 999'990, strRead.data(), 100, &uRead), SFTP_OK);
    EXPECT_EQ(uRead, 10U);
    EXPECT_EQ(strRead.substr(0, 10), strBytes.substr(999'990));
    ASSERT_EQ(m_session->readFile(pFile, 2'000'000, strRead.data(), 100, &uRead), SFTP_OK);
    EXPECT_EQ(uRead, 0U);
    EXPECT_EQ(m_session->closeFile(pFile), SFTP_OK) << m_session.Error();
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Remote("f"))));
}

TEST_F(RemoteFiles, AreNotUsedOnceTheyAreClosed) {
    Make("f", "tea");
    SFTP_File* pFile = nullptr;
    char byte = 0;
    std::size_t uRead = 7;
    ASSERT_EQ(m_session->openFile(Text(Remote("f")), SFTP_OPEN_READ, &pFile), SFTP_OK);
    ASSERT_EQ(m_session->closeFile(pFile), SFTP_OK);
    EXPECT_EQ(m_session->readFile(pFile, 0, &byte, 1, &uRead), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(uRead, 0U);
    EXPECT_EQ(m_session->writeFile(pFile, 0, &byte, 1), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(m_session->closeFile(pFile), SFTP_ERR_ARGUMENT);
}

TEST_F(RemoteFiles, AreNotToBeHadWithoutAConnection) {
    SFTP_FileInfo info = {};
    EXPECT_EQ(m_session->connect(), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(m_session->stat(Text(""), info), SFTP_ERR_ARGUMENT);
    ASSERT_EQ(m_session->disconnect(), SFTP_OK);
    EXPECT_EQ(m_session->disconnect(), SFTP_ERR_NOT_CONNECTED);
    EXPECT_EQ(m_session->stat(Text(m_server.Directory()), info), SFTP_ERR_NOT_CONNECTED);
    EXPECT_EQ(m_session->closeSession(), SFTP_OK);
    EXPECT_EQ(m_session->connect(), SFTP_ERR_ARGUMENT);
}

}  // namespace
