#include "tools/localwatch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>

#include "platform/files.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

using namespace qelftp;
using namespace TestSupport;

namespace {

constexpr std::size_t kSize = 300001;  // more than one stdio buffer, and no multiple of one

FILE* Open(const std::string& strPath, const char* pszMode) {
    return ZELT_OS::fopen(strPath.c_str(), pszMode, "UTF-8");
}

// As the library does it: in blocks, through a buffer of its own.
void Write(FILE* pFile, const std::string& strBytes) {
    std::string strBuffer(256U * 1024U, '\0');
    std::setvbuf(pFile, strBuffer.data(), _IOFBF, strBuffer.size());
    for (std::size_t nAt = 0; nAt < strBytes.size(); nAt += 1024) {
        std::fwrite(strBytes.data() + nAt, 1, std::min<std::size_t>(1024, strBytes.size() - nAt),
                    pFile);
    }
    std::fclose(pFile);
}

std::string ReadAll(FILE* pFile) {
    std::string strAll;
    std::string strBlock(1024, '\0');
    std::size_t nRead = 0;
    while ((nRead = std::fread(strBlock.data(), 1, strBlock.size(), pFile)) > 0)
        strAll.append(strBlock, 0, nRead);
    std::fclose(pFile);
    return strAll;
}

class LocalFileWatch : public testing::Test {
protected:
    TempDir m_dir;
};

TEST_F(LocalFileWatch, PassesBytesOnUnchanged) {
    const std::string strPayload = Payload(kSize);
    const CLocalFileWatch watch;
    Write(Open(m_dir.File("x"), "wb"), strPayload);
    EXPECT_TRUE(SamePayload(strPayload, ReadFile(m_dir.File("x"))));
    EXPECT_TRUE(SamePayload(strPayload, ReadAll(Open(m_dir.File("x"), "rb"))));
    EXPECT_EQ(watch.Opened(), 2U);
    EXPECT_TRUE(watch.Broken().empty());
    EXPECT_EQ(watch.OpenErrno(), 0);
}

TEST_F(LocalFileWatch, StreamsWorkWithoutAWatch) {
    const std::string strPayload = Payload(kSize);
    Write(Open(m_dir.File("x"), "wb"), strPayload);
    EXPECT_TRUE(SamePayload(strPayload, ReadAll(Open(m_dir.File("x"), "rb"))));
    EXPECT_EQ(Open(m_dir.File("none"), "rb"), nullptr);
}

TEST_F(LocalFileWatch, OverwritesWhatWasThere) {
    WriteFile(m_dir.File("x"), "older and longer");
    const CLocalFileWatch watch;
    Write(Open(m_dir.File("x"), "wb"), "new");
    EXPECT_EQ(ReadFile(m_dir.File("x")), "new");
}

TEST_F(LocalFileWatch, CountsOnlyWhatOpened) {
    WriteFile(m_dir.File("x"), "x");
    const CLocalFileWatch watch;
    ReadAll(Open(m_dir.File("x"), "rb"));
    EXPECT_EQ(Open(m_dir.File("none"), "rb"), nullptr);
    EXPECT_EQ(watch.Opened(), 1U);
    EXPECT_EQ(watch.OpenErrno(), ENOENT);
}

TEST_F(LocalFileWatch, NotesAFailedWriteOncePerFile) {
    const CLocalFileWatch watch;
    Write(Open(m_dir.File("good"), "wb"), "x");
    Write(Open("/dev/full", "wb"), Payload(kSize));
    Write(Open("/dev/full", "wb"), "x");
    ASSERT_EQ(watch.Broken().size(), 2U);
    EXPECT_EQ(watch.Broken()[0].nFile, 1U);
    EXPECT_EQ(watch.Broken()[0].nErrno, ENOSPC);
    EXPECT_EQ(watch.Broken()[1].nFile, 2U);
    EXPECT_EQ(watch.Broken()[1].nErrno, ENOSPC);
}

TEST_F(LocalFileWatch, NotesAWriteThatEndedInTheMiddle) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit small = before;
    small.rlim_cur = 100000;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const CLocalFileWatch watch;
    Write(Open(m_dir.File("x"), "wb"), Payload(kSize));
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    ASSERT_EQ(watch.Broken().size(), 1U);
    EXPECT_EQ(watch.Broken()[0].nErrno, EFBIG);
}

TEST_F(LocalFileWatch, NotesAFailedRead) {
    const CLocalFileWatch watch;
    EXPECT_EQ(ReadAll(Open(m_dir.Path().string(), "rb")), "");
    ASSERT_EQ(watch.Broken().size(), 1U);
    EXPECT_EQ(watch.Broken()[0].nErrno, EISDIR);
}

TEST_F(LocalFileWatch, FilesAreClosedOnExec) {
    const CLocalFileWatch watch;
    FILE* const pFile = Open(m_dir.File("x"), "wb");
    // The stream has no descriptor of its own; its file has the next free one, found by its name.
    bool bFound = false;
    for (int fd = 3; fd < 256; ++fd) {
        struct stat opened {};
        struct stat named {};
        if (::fstat(fd, &opened) != 0 || ::stat(m_dir.File("x").c_str(), &named) != 0) continue;
        if (opened.st_ino != named.st_ino || opened.st_dev != named.st_dev) continue;
        bFound = true;
        EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_TRUE(bFound);
    std::fclose(pFile);
}

}  // namespace
