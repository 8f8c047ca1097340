#include "tools/localcheck.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/tempdir.h"
#include "tools/failure.h"

using namespace qelftp;
using namespace TestSupport;

namespace {

using Texts = std::vector<std::string>;
using FCheck = void (*)(const std::vector<STransfer>&);

Texts Failures(FCheck pCheck, const Texts& paths) {
    std::vector<STransfer> batch;
    for (const std::string& strPath : paths)
        batch.push_back({"/remote", strPath});
    Texts texts;
    try {
        pCheck(batch);
    } catch (const COperationError& error) {
        for (const SFailure& failure : error.Failures())
            texts.push_back(FailureText(failure));
    }
    return texts;
}

// Rights mean nothing to root: for a while, this thread is nobody.
class WithoutRights {
public:
    WithoutRights() : m_uBefore(::geteuid()) {
        if (m_uBefore == 0) {
            EXPECT_EQ(::seteuid(65534), 0);
        }
    }
    ~WithoutRights() { EXPECT_EQ(::seteuid(m_uBefore), 0); }

private:
    uid_t m_uBefore;
};

class LocalCheck : public testing::Test {
protected:
    LocalCheck() {
        WriteFile(m_dir.File("file"), "x");
        std::filesystem::create_directory(m_dir.File("dir"));
        ::chmod(m_dir.Path().c_str(), 0755);
    }

    TempDir m_dir;
};

TEST_F(LocalCheck, PassesSourcesThatCanBeRead) {
    std::filesystem::create_symlink("file", m_dir.File("link"));
    EXPECT_EQ(Failures(CheckSources, {m_dir.File("file"), m_dir.File("link")}), Texts{});
}

TEST_F(LocalCheck, NamesEverySourceThatCannotBeSent) {
    ASSERT_EQ(::mkfifo(m_dir.File("fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", m_dir.File("broken"));
    const Texts bad = {m_dir.File("none"),   m_dir.File("dir"),    m_dir.File("fifo"),
                       m_dir.File("file/x"), m_dir.File("broken"), ""};
    EXPECT_EQ(
        Failures(CheckSources,
                 {bad[0], m_dir.File("file"), bad[1], bad[2], bad[3], bad[4], bad[5]}),
        (Texts{
            "put " + bad[0] + ": No such file or directory", "put " + bad[1] + ": Is a directory",
            "put " + bad[2] + ": Not a regular file", "put " + bad[3] + ": Not a directory",
            "put " + bad[4] + ": No such file or directory", "put : No such file or directory"}));
}

TEST_F(LocalCheck, NamesASourceWithoutTheRightToReadIt) {
    const std::string strSecret = m_dir.File("secret");
    WriteFile(strSecret, "x");
    ASSERT_EQ(::chmod(strSecret.c_str(), 0), 0);
    const WithoutRights nobody;
    EXPECT_EQ(Failures(CheckSources, {strSecret}),
              (Texts{"put " + strSecret + ": Permission denied"}));
}

TEST_F(LocalCheck, PassesTargetsThatCanBeWrittenOrMade) {
    std::filesystem::create_symlink("dir/new", m_dir.File("link"));
    EXPECT_EQ(Failures(CheckTargets, {m_dir.File("file"), m_dir.File("new"), m_dir.File("dir/new"),
                                      m_dir.File("link"), "/dev/null"}),
              Texts{});
    EXPECT_FALSE(std::filesystem::exists(m_dir.File("new")));
}

TEST_F(LocalCheck, NamesEveryTargetThatCannotBeWritten) {
    EXPECT_EQ(Failures(CheckTargets, {m_dir.File("none/x"), m_dir.File("dir"), m_dir.File("new"),
                                      m_dir.File("file/x")}),
              (Texts{"get " + m_dir.File("none/") + ": No such file or directory",
                     "get " + m_dir.File("dir") + ": Is a directory",
                     "get " + m_dir.File("file/x") + ": Not a directory"}));
}

TEST_F(LocalCheck, NamesATargetWithoutTheRightToWriteIt) {
    const std::string strFile = m_dir.File("file");
    ASSERT_EQ(::chmod(strFile.c_str(), 0444), 0);
    ASSERT_EQ(::chmod(m_dir.Path().c_str(), 0555), 0);
    {
        const WithoutRights nobody;
        EXPECT_EQ(Failures(CheckTargets, {strFile, m_dir.File("new")}),
                  (Texts{"get " + strFile + ": Permission denied",
                         "get " + m_dir.File("") + ": Permission denied"}));
    }
    ::chmod(m_dir.Path().c_str(), 0755);
}

TEST_F(LocalCheck, ToldDirectoriesFromTheRest) {
    EXPECT_EQ(DirectoryErrno(m_dir.File("dir")), 0);
    EXPECT_EQ(DirectoryErrno(m_dir.File("file")), ENOTDIR);
    EXPECT_EQ(DirectoryErrno(m_dir.File("none")), ENOENT);
}

}  // namespace
