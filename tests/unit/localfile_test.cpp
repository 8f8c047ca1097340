// The local files of transfers, by themselves.

#include "src/ftp/localfile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/tempdir.h"

namespace {

using namespace RVN_FTP_CLIENT;

constexpr std::size_t kBlock = 1024;
constexpr std::size_t kBlocks = 1024;
constexpr long kBuffers = 4;  // that so many blocks fill
constexpr long kOthers = 4;   // calls that belong to opening, or to the counting itself

// This thread's system calls that read or write files so far, as the kernel counts them.
long Calls(const std::string& strCounter) {
    std::ifstream counters("/proc/thread-self/io");
    std::string strName;
    long nCount = -1;
    while (counters >> strName >> nCount) {
        if (strName == strCounter) return nCount;
    }
    ADD_FAILURE() << "the kernel does not count " << strCounter;
    return 0;
}

TEST(LocalFile, IsWrittenAndReadInLargeBlocks) {
    const TestSupport::TempDir directory;
    const std::string strPath = directory.File("f");
    std::string strBlock(kBlock, 'x');

    const long nBeforeWriting = Calls("syscw:");
    CRetrievedFile target(strPath, false);
    for (std::size_t i = 0; i < kBlocks; ++i)
        ASSERT_TRUE(target.Write(strBlock.data(), kBlock));
    ASSERT_TRUE(target.Close());
    const long nWrites = Calls("syscw:") - nBeforeWriting;
    EXPECT_GE(nWrites, 1);
    EXPECT_LE(nWrites, kBuffers + kOthers);

    CStoredFile source;
    const long nBeforeReading = Calls("syscr:");
    ASSERT_TRUE(source.Open(strPath));
    for (std::size_t i = 0; i < kBlocks; ++i)
        ASSERT_EQ(source.Read(strBlock.data(), kBlock), kBlock);
    const long nReads = Calls("syscr:") - nBeforeReading;
    EXPECT_GE(nReads, 1);
    EXPECT_LE(nReads, kBuffers + kOthers);
}

TEST(LocalFile, IsNotKeptWhereADirectoryHasTakenItsPlace) {
    const TestSupport::TempDir directory;
    const std::string strPath = directory.File("f");
    {
        CRetrievedFile target(strPath, true);
        ASSERT_TRUE(target.Write("tea", 3));
        ASSERT_TRUE(target.Close());
        ASSERT_TRUE(std::filesystem::create_directory(strPath));
        EXPECT_FALSE(target.Keep());
    }
    EXPECT_TRUE(std::filesystem::is_directory(strPath));
    EXPECT_FALSE(std::filesystem::exists(strPath + ".part"));
}

}  // namespace
