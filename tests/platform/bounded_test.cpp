#include "platform/bounded.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

constexpr char kUntouched = '#';
constexpr std::size_t kHuge = SIZE_MAX;

// Memory of which the tested function is told only a part: what lies behind must stay untouched.
class CDestination {
public:
    explicit CDestination(std::size_t nSize) : m_nSize(nSize), m_strBytes(nSize + 8, kUntouched) {}

    char* Data() { return m_strBytes.data(); }
    std::size_t Size() const { return m_nSize; }
    std::string Bytes() const { return m_strBytes.substr(0, m_nSize); }
    bool RestUntouched() const { return m_strBytes.substr(m_nSize) == std::string(8, kUntouched); }

private:
    std::size_t m_nSize;
    std::string m_strBytes;
};

std::string Zeroes(std::size_t nCount) {
    return std::string(nCount, '\0');
}

// ---- memcpy_s ----

struct SCopyCase {
    const char* pszName;
    std::size_t nDest;
    std::size_t nCount;
    bool bSucceeds;
    std::string strLeft;  // all nDest bytes afterwards
};

const SCopyCase kCopies[] = {
    {"shorter", 4, 3, true, "abc#"},
    {"exact fit", 3, 3, true, "abc"},
    {"one over", 3, 4, false, Zeroes(3)},
    {"nothing", 3, 0, true, "###"},
    {"nothing into nothing", 0, 0, true, ""},
    {"one into nothing", 0, 1, false, ""},
    {"negative count", 3, kHuge, false, Zeroes(3)},
};

TEST(MemcpyS, CopiesWhatFitsAndZeroesOtherwise) {
    for (const SCopyCase& row : kCopies) {
        SCOPED_TRACE(row.pszName);
        CDestination dest(row.nDest);
        EXPECT_EQ(memcpy_s(dest.Data(), dest.Size(), "abcdef", row.nCount) == 0, row.bSucceeds);
        EXPECT_EQ(dest.Bytes(), row.strLeft);
        EXPECT_TRUE(dest.RestUntouched());
    }
}

TEST(MemcpyS, CopiesZeroBytes) {
    CDestination dest(4);
    EXPECT_EQ(memcpy_s(dest.Data(), 4, "a\0b", 4), 0);
    EXPECT_EQ(dest.Bytes(), std::string("a\0b\0", 4));
}

TEST(MemcpyS, FailsOnNullPointers) {
    CDestination dest(3);
    EXPECT_NE(memcpy_s(nullptr, 3, "abc", 3), 0);
    EXPECT_NE(memcpy_s(dest.Data(), 3, nullptr, 3), 0);
    EXPECT_EQ(dest.Bytes(), Zeroes(3));
    EXPECT_TRUE(dest.RestUntouched());
}

TEST(MemcpyS, WritesNothingIntoAnImpossibleSize) {
    CDestination dest(3);
    EXPECT_NE(memcpy_s(dest.Data(), kHuge, "abc", 3), 0);
    EXPECT_EQ(dest.Bytes(), "###");
}

struct SOverlapCase {
    std::size_t nDest;  // offsets into the same 8 bytes
    std::size_t nSrc;
    bool bSucceeds;
};

// Three bytes each time.
const SOverlapCase kOverlaps[] = {
    {0, 2, false}, {2, 0, false}, {1, 1, false}, {0, 3, true}, {3, 0, true},
};

TEST(MemcpyS, FailsOnOverlap) {
    for (const SOverlapCase& row : kOverlaps) {
        SCOPED_TRACE(testing::Message() << row.nSrc << " to " << row.nDest);
        std::string strBytes = "abcdefgh";
        const std::string strSource = strBytes.substr(row.nSrc, 3);
        const int nResult = memcpy_s(&strBytes[row.nDest], 3, &strBytes[row.nSrc], 3);
        EXPECT_EQ(nResult == 0, row.bSucceeds);
        EXPECT_EQ(strBytes.substr(row.nDest, 3), row.bSucceeds ? strSource : Zeroes(3));
    }
}

// ---- memset_s ----

struct SSetCase {
    const char* pszName;
    std::size_t nDest;
    std::size_t nCount;
    bool bSucceeds;
    std::string strLeft;
};

const SSetCase kSets[] = {
    {"part", 4, 2, true, "**##"},
    {"exact fit", 4, 4, true, "****"},
    {"one over", 4, 5, false, Zeroes(4)},
    {"nothing", 4, 0, true, "####"},
    {"nothing into nothing", 0, 0, true, ""},
    {"one into nothing", 0, 1, false, ""},
    {"negative count", 4, kHuge, false, Zeroes(4)},
};

TEST(MemsetS, SetsWhatFitsAndZeroesOtherwise) {
    for (const SSetCase& row : kSets) {
        SCOPED_TRACE(row.pszName);
        CDestination dest(row.nDest);
        EXPECT_EQ(memset_s(dest.Data(), dest.Size(), '*', row.nCount) == 0, row.bSucceeds);
        EXPECT_EQ(dest.Bytes(), row.strLeft);
        EXPECT_TRUE(dest.RestUntouched());
    }
}

TEST(MemsetS, FailsOnNullAndWritesNothingIntoAnImpossibleSize) {
    EXPECT_NE(memset_s(nullptr, 4, 0, 4), 0);
    CDestination dest(4);
    EXPECT_NE(memset_s(dest.Data(), kHuge, 0, 4), 0);
    EXPECT_EQ(dest.Bytes(), "####");
}

// ---- strncpy_s ----

struct STextCase {
    const char* pszName;
    std::size_t nDest;
    const char* pszSource;
    std::size_t nCount;
    bool bSucceeds;
    const char* pszLeft;
};

const STextCase kTexts[] = {
    {"shorter than all", 8, "abc", 7, true, "abc"},
    {"count limits", 8, "abcdef", 3, true, "abc"},
    {"exact fit by its length", 4, "abc", 9, true, "abc"},
    {"exact fit by the count", 4, "abcdef", 3, true, "abc"},
    {"terminator does not fit", 3, "abc", 9, false, ""},
    {"one over by the count", 4, "abcdef", 4, false, ""},
    {"count zero", 4, "abc", 0, true, ""},
    {"empty text", 4, "", 3, true, ""},
    {"empty text into one byte", 1, "", 3, true, ""},
    {"text into one byte", 1, "a", 1, false, ""},
    {"negative count", 4, "abc", kHuge, false, ""},
};

TEST(StrncpyS, CopiesWhatFitsAndEmptiesOtherwise) {
    for (const STextCase& row : kTexts) {
        SCOPED_TRACE(row.pszName);
        CDestination dest(row.nDest);
        const int nResult = strncpy_s(dest.Data(), dest.Size(), row.pszSource, row.nCount);
        EXPECT_EQ(nResult == 0, row.bSucceeds);
        EXPECT_STREQ(dest.Data(), row.pszLeft);
        EXPECT_TRUE(dest.RestUntouched());
    }
}

TEST(StrncpyS, FailsOnNullAndZeroSize) {
    CDestination dest(4);
    EXPECT_NE(strncpy_s(nullptr, 4, "abc", 3), 0);
    EXPECT_NE(strncpy_s(dest.Data(), 0, "abc", 3), 0);
    EXPECT_NE(strncpy_s(dest.Data(), kHuge, "abc", 3), 0);
    EXPECT_EQ(dest.Bytes(), "####");
    EXPECT_NE(strncpy_s(dest.Data(), 4, nullptr, 3), 0);
    EXPECT_STREQ(dest.Data(), "");
}

TEST(StrncpyS, ReadsNoFurtherThanCount) {
    const char unterminated[3] = {'a', 'b', 'c'};
    CDestination dest(8);
    EXPECT_EQ(strncpy_s(dest.Data(), dest.Size(), unterminated, 3), 0);
    EXPECT_STREQ(dest.Data(), "abc");
}

TEST(StrncpyS, FailsOnOverlap) {
    std::string strBytes = "abcdefgh";
    EXPECT_NE(strncpy_s(strBytes.data(), 4, &strBytes[2], 3), 0);
    EXPECT_STREQ(strBytes.c_str(), "");
    strBytes = "abcdefgh";
    EXPECT_NE(strncpy_s(&strBytes[2], 4, strBytes.data(), 3), 0);
    EXPECT_STREQ(&strBytes[2], "");
}

// ---- snprintf_s ----

struct SFormatCase {
    const char* pszName;
    std::size_t nDest;
    std::size_t nCount;
    const char* pszArgument;
    int nResult;
    const char* pszLeft;
};

const SFormatCase kFormats[] = {
    {"shorter", 8, 7, "abc", 3, "abc"},
    {"exact fit", 4, 3, "abc", 3, "abc"},
    {"terminator does not fit", 3, 3, "abc", -1, ""},
    {"longer than the count", 8, 2, "abc", -1, ""},
    {"count larger than the room", 4, 100, "abc", 3, "abc"},
    {"count larger, text too long", 4, 100, "abcd", -1, ""},
    {"negative count", 4, kHuge, "abc", 3, "abc"},
    {"empty text", 4, 3, "", 0, ""},
    {"empty text, count zero", 4, 0, "", 0, ""},
    {"text, count zero", 4, 0, "a", -1, ""},
    {"empty text into one byte", 1, 0, "", 0, ""},
    {"text into one byte", 1, 1, "a", -1, ""},
};

TEST(SnprintfS, FormatsWhatFitsAndEmptiesOtherwise) {
    for (const SFormatCase& row : kFormats) {
        SCOPED_TRACE(row.pszName);
        CDestination dest(row.nDest);
        EXPECT_EQ(snprintf_s(dest.Data(), dest.Size(), row.nCount, "%s", row.pszArgument),
                  row.nResult);
        EXPECT_STREQ(dest.Data(), row.pszLeft);
        EXPECT_TRUE(dest.RestUntouched());
    }
}

TEST(SnprintfS, FormatsEveryArgument) {
    CDestination dest(64);
    EXPECT_EQ(snprintf_s(dest.Data(), 64, 63, "PORT %d,%d,%u %s\r\n", 127, 0, 4021U, "x"), 19);
    EXPECT_STREQ(dest.Data(), "PORT 127,0,4021 x\r\n");
}

TEST(SnprintfS, FailsOnNullZeroAndImpossibleSizes) {
    CDestination dest(4);
    const char* const pszNone = nullptr;
    EXPECT_EQ(snprintf_s(nullptr, 4, 3, "%d", 1), -1);
    EXPECT_EQ(snprintf_s(dest.Data(), 0, 3, "%d", 1), -1);
    EXPECT_EQ(snprintf_s(dest.Data(), kHuge, 3, "%d", 1), -1);
    EXPECT_EQ(dest.Bytes(), "####");
    EXPECT_EQ(snprintf_s(dest.Data(), 4, 3, pszNone), -1);
    EXPECT_STREQ(dest.Data(), "");
}

TEST(SnprintfS, FailsWhenAnArgumentCannotBeWritten) {
    CDestination dest(8);
    // Not a character of the "C" locale, under which this program runs.
    EXPECT_EQ(snprintf_s(dest.Data(), 8, 7, "ab%ls", L"\x4E2D"), -1);
    EXPECT_STREQ(dest.Data(), "");
    EXPECT_TRUE(dest.RestUntouched());
}

}  // namespace
