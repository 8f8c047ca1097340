// The local files of transfers, by themselves.

#include "src/ftp/localfile.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "tests/support/tempdir.h"

namespace {

using namespace RVN_FTP_CLIENT;

constexpr std::size_t kBlock = 1024;
constexpr std::size_t kBlocks = 1024;
constexpr long kBuffers = 4;  // that so many blocks fill
constexpr long kOthers = 4;   // calls that belong to opening, or to the counting itself

// This thread's system calls that read or write files so far, as the kernel counts them. Read with
// the C library: UndefinedBehaviorSanitizer writes to a pipe to look at the objects of a stream.
long Calls(const std::string& strCounter) {
    const std::unique_ptr<FILE, int (*)(FILE*)> counters(std::fopen("/proc/thread-self/io", "r"),
                                                         &std::fclose);
    std::array<char, 32> name = {};
    long nCount = -1;
    while (counters && std::fscanf(counters.get(), "%31s %ld", name.data(), &nCount) == 2) {
        if (name.data() == strCounter) return nCount;
    }
    ADD_FAILURE() << "the kernel does not count " << strCounter;
    return 0;
}

bool Write(CRetrievedFile& target, std::string_view strBytes) {
    return target.Take(strBytes.copy(target.Room(), strBytes.size()));
}

std::string Content(const std::string& strPath) {
    std::ifstream file(strPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(LocalFile, IsWrittenAndReadInLargeBlocks) {
    const TestSupport::TempDir directory;
    const std::string strPath = directory.File("f");
    std::string strBlock(kBlock, 'x');

    const long nBeforeWriting = Calls("syscw:");
    CRetrievedFile target(strPath, false, kBlock);
    for (std::size_t i = 0; i < kBlocks; ++i)
        ASSERT_TRUE(Write(target, strBlock));
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
        CRetrievedFile target(strPath, true, kBlock);
        ASSERT_TRUE(Write(target, "tea"));
        ASSERT_TRUE(target.Close());
        ASSERT_TRUE(std::filesystem::create_directory(strPath));
        EXPECT_FALSE(target.Keep());
    }
    EXPECT_TRUE(std::filesystem::is_directory(strPath));
    EXPECT_FALSE(std::filesystem::exists(strPath + ".part"));
}

TEST(LocalFile, HoldsItsBytesInOrderWhateverThePieces) {
    const TestSupport::TempDir directory;
    for (const std::size_t nPiece : {1U, 1023U, 1024U, 262143U, 262144U, 262145U, 1048576U}) {
        std::string strBytes(3 * kFileBuffer + 5, '\0');
        for (std::size_t i = 0; i < strBytes.size(); ++i)
            strBytes[i] = static_cast<char>(i % 251);
        const std::string strPath = directory.File(std::to_string(nPiece));
        CRetrievedFile target(strPath, false, nPiece);
        for (std::size_t nFrom = 0; nFrom < strBytes.size(); nFrom += nPiece)
            ASSERT_TRUE(Write(target, std::string_view(strBytes).substr(nFrom, nPiece)));
        ASSERT_TRUE(target.Close());
        EXPECT_TRUE(Content(strPath) == strBytes) << nPiece;
    }
}

// Whatever the pieces: one write takes 256 KiB or more.
TEST(LocalFile, IsNotWrittenMoreOftenForPiecesThatDoNotFillItsBuffer) {
    const TestSupport::TempDir directory;
    const std::string strPiece(1023, 'x');
    CRetrievedFile target(directory.File("f"), false, kBlock);
    const long nBefore = Calls("syscw:");
    for (std::size_t i = 0; i < 10 * kBlocks; ++i)
        ASSERT_TRUE(Write(target, strPiece));
    ASSERT_TRUE(target.Close());
    EXPECT_LE(Calls("syscw:") - nBefore, 10 * kBuffers);
}

TEST(LocalFile, KeepsWhatCameOfATransferThatIsGivenUp) {
    const TestSupport::TempDir directory;
    const std::string strPath = directory.File("f");
    {
        CRetrievedFile target(strPath, false, kBlock);
        ASSERT_TRUE(Write(target, "tea"));
    }
    EXPECT_EQ(Content(strPath), "tea");
}

TEST(LocalFile, TellsOfAFullDeviceOnceItWrites) {
    CRetrievedFile target("/dev/full", false, kBlock);
    ASSERT_TRUE(target.IsOpen());
    const std::string strBlock(kBlock, 'x');
    for (std::size_t n = 1; n < kFileBuffer / kBlock; ++n)
        ASSERT_TRUE(Write(target, strBlock)) << "held, not written";
    EXPECT_FALSE(Write(target, strBlock));
    EXPECT_TRUE(Write(target, strBlock));
    EXPECT_FALSE(target.Close());
}

TEST(LocalFile, TellsOfAFullDeviceWhenItCloses) {
    CRetrievedFile target("/dev/full", false, kBlock);
    ASSERT_TRUE(Write(target, "tea"));
    EXPECT_FALSE(target.Close());
    EXPECT_TRUE(target.Close()) << "of what is closed nothing is left to fail";
}

}  // namespace
