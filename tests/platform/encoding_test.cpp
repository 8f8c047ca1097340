#include "platform/encoding.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "platform/files.h"
#include "tests/platform/scratchdirectory.h"
#include "tests/platform/testlocale.h"

namespace PlatformTest {
namespace {

using ZeltGlobalUtils::LOCTOUTF8;
using ZeltGlobalUtils::UTF8TOLOC;

struct SPair {
    std::string strUtf8;
    std::string strLocal;
};

void ExpectBothWays(const std::vector<SPair>& rows) {
    for (const SPair& row : rows) {
        EXPECT_EQ(UTF8TOLOC(row.strUtf8.c_str()), row.strLocal);
        EXPECT_EQ(LOCTOUTF8(row.strLocal.c_str()), row.strUtf8);
    }
}

using Conversion = std::string (*)(const char*);

void ExpectUnchanged(Conversion convert, const std::vector<std::string>& texts) {
    for (const std::string& strText : texts)
        EXPECT_EQ(convert(strText.c_str()), strText);
}

const std::vector<std::string> kAscii = {"", "a", "/dir with blanks/~file\\x\t\x01\x7F"};

const std::vector<std::string> kInvalidUtf8 = {
    "\xFF\xFE",          // never part of UTF-8
    "\x80",              // continuation alone
    "a\xC3",             // cut off
    "\xE4\xB8",          //
    "\xC3\xBC\xFF",      // good text before the bad
    "\xFF\xC3\xBC",      //
    "\xC0\xAF",          // overlong
    "\xED\xA0\x80",      // surrogate
    "\xF4\x90\x80\x80",  // above U+10FFFF
    "Gr\xFC\xDF"
    "e",  // ISO-8859-1
};

TEST(Encoding, NullCountsAsEmpty) {
    for (const char* pszLocale : {"C", "en_US.UTF-8", "en_US.ISO-8859-1", "zh_CN.GB18030"}) {
        ASSERT_TRUE(UseLocale(pszLocale));
        EXPECT_EQ(UTF8TOLOC(nullptr), "");
        EXPECT_EQ(LOCTOUTF8(nullptr), "");
    }
}

TEST(Encoding, AsciiIsTheSameEverywhere) {
    for (const char* pszLocale : {"C", "en_US.UTF-8", "en_US.ISO-8859-1", "zh_CN.GB18030"}) {
        ASSERT_TRUE(UseLocale(pszLocale));
        ExpectUnchanged(UTF8TOLOC, kAscii);
        ExpectUnchanged(LOCTOUTF8, kAscii);
    }
}

TEST(Encoding, InvalidUtf8ComesBackUnchangedEverywhere) {
    for (const char* pszLocale : {"C", "en_US.UTF-8", "en_US.ISO-8859-1", "zh_CN.GB18030"}) {
        SCOPED_TRACE(pszLocale);
        ASSERT_TRUE(UseLocale(pszLocale));
        ExpectUnchanged(UTF8TOLOC, kInvalidUtf8);
    }
}

TEST(Encoding, Utf8LocaleChangesNothing) {
    ASSERT_TRUE(UseLocale("en_US.UTF-8"));
    const std::vector<std::string> texts = {
        "Gr\xC3\xBC\xC3\x9F"
        "e",
        "\xF0\x9F\x98\x80"};
    ExpectUnchanged(UTF8TOLOC, texts);
    ExpectUnchanged(LOCTOUTF8, texts);
    ExpectUnchanged(LOCTOUTF8, kInvalidUtf8);
}

TEST(Encoding, WithoutALocaleOnlyAsciiIsKnown) {
    ASSERT_TRUE(UseLocale("C"));
    ExpectUnchanged(UTF8TOLOC, {"Gr\xC3\xBC\xC3\x9F"
                                "e"});
    ExpectUnchanged(LOCTOUTF8, {"Gr\xC3\xBC\xC3\x9F"
                                "e",
                                "Gr\xFC\xDF"
                                "e"});
}

TEST(Encoding, Latin1Converts) {
    ASSERT_TRUE(UseLocale("en_US.ISO-8859-1"));
    ExpectBothWays({
        {"Gr\xC3\xBC\xC3\x9F"
         "e",
         "Gr\xFC\xDF"
         "e"},
        {"\xC3\xA9t\xC3\xA9/\xC3\xBF", "\xE9t\xE9/\xFF"},
        {"\xC2\xA0", "\xA0"},
    });
}

TEST(Encoding, EveryByteIsALatin1Text) {
    ASSERT_TRUE(UseLocale("en_US.ISO-8859-1"));
    for (int nByte = 0x80; nByte < 0x100; ++nByte) {
        const std::string strLocal(1, static_cast<char>(nByte));
        const std::string strUtf8 = {static_cast<char>(0xC0 | nByte >> 6),
                                     static_cast<char>(0x80 | (nByte & 0x3F))};
        ExpectBothWays({{strUtf8, strLocal}});
    }
}

TEST(Encoding, WhatLatin1CannotWriteComesBackUnchanged) {
    ASSERT_TRUE(UseLocale("en_US.ISO-8859-1"));
    ExpectUnchanged(UTF8TOLOC,
                    {
                        "\xE2\x82\xAC",                    // euro sign
                        "\xC4\x80",                        // U+0100, the first that is too large
                        "\xC3\xBC \xE4\xB8\xAD",           // part of it could be written
                        "\xE2\x80\x9Cquoted\xE2\x80\x9D",  // not even by a similar character
                        "\xF0\x9F\x98\x80",
                    });
}

TEST(Encoding, Gb18030Converts) {
    ASSERT_TRUE(UseLocale("zh_CN.GB18030"));
    ExpectBothWays({
        {"\xE4\xB8\xAD\xE6\x96\x87", "\xD6\xD0\xCE\xC4"},
        {"a/\xE4\xB8\xAD.txt", "a/\xD6\xD0.txt"},
        {"\xC3\xBC", "\xA8\xB9"},
        {"\xC3\x9F", "\x81\x30\x89\x38"},  // four bytes, two of them digits
        {"\xF0\x9F\x98\x80", "\x94\x39\xFC\x36"},
        {"\xE4\xB8\x82", "\x81\x40"},
        {"\xE4\xB9\x97", "\x81\x5C"},  // the second byte looks like a backslash
    });
}

TEST(Encoding, InvalidGb18030ComesBackUnchanged) {
    ASSERT_TRUE(UseLocale("zh_CN.GB18030"));
    ExpectUnchanged(LOCTOUTF8, {
                                   "\xD6",           // cut off
                                   "\xD6\xD0\xCE",   //
                                   "\x81\x30\x89",   //
                                   "\xFF\xFF",       // never a first byte
                                   "\xD6\x20",       // not a second byte
                                   "\xD6\xD0 \xFF",  // good text before the bad
                               });
}

TEST(Encoding, FollowsTheLocaleOfTheMoment) {
    ASSERT_TRUE(UseLocale("en_US.ISO-8859-1"));
    EXPECT_EQ(UTF8TOLOC("\xC3\xBC"), "\xFC");
    ASSERT_TRUE(UseLocale("zh_CN.GB18030"));
    EXPECT_EQ(UTF8TOLOC("\xC3\xBC"), "\xA8\xB9");
    ASSERT_TRUE(UseLocale("C"));
    EXPECT_EQ(UTF8TOLOC("\xC3\xBC"), "\xC3\xBC");
}

// ---- Large texts ----

std::string Repeated(const std::string& strPart, std::size_t nCount) {
    std::string strText;
    while (nCount-- > 0)
        strText += strPart;
    return strText;
}

TEST(Encoding, LargeTextsConvertWhole) {
    // Lengths that do not divide those of any buffer: every character falls across some edge.
    ASSERT_TRUE(UseLocale("zh_CN.GB18030"));
    const std::size_t nCount = 10 * 1024 * 1024 / 9;
    const std::string strUtf8 = Repeated("a\xE4\xB8\xAD\xC3\x9F\xE6\x96\x87", nCount);
    const std::string strLocal = Repeated("a\xD6\xD0\x81\x30\x89\x38\xCE\xC4", nCount);
    EXPECT_TRUE(UTF8TOLOC(strUtf8.c_str()) == strLocal);
    EXPECT_TRUE(LOCTOUTF8(strLocal.c_str()) == strUtf8);
    EXPECT_TRUE(UTF8TOLOC((strUtf8 + '\xFF').c_str()) == strUtf8 + '\xFF');
    EXPECT_TRUE(LOCTOUTF8((strLocal + '\xFF').c_str()) == strLocal + '\xFF');
}

// Of the processor, so that a busy machine does not count.
double SecondsOfWork() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double BestSeconds(Conversion convert, const std::string& strText) {
    double dBest = 1e9;
    for (int i = 0; i < 5; ++i) {
        const double dStart = SecondsOfWork();
        convert(strText.c_str());
        dBest = std::min(dBest, SecondsOfWork() - dStart);
    }
    return dBest;
}

TEST(Encoding, LargeTextsTakeLinearTime) {
    ASSERT_TRUE(UseLocale("en_US.ISO-8859-1"));
    constexpr std::size_t kTimes = 80;
    constexpr std::size_t kCharacters = 128 * 1024;
    const std::string strSmall = Repeated("\xC3\xBC", kCharacters);
    const std::string strLarge = Repeated("\xC3\xBC", kTimes * kCharacters);
    const double dSmall = BestSeconds(UTF8TOLOC, strSmall);
    const double dLarge = BestSeconds(UTF8TOLOC, strLarge);
    EXPECT_LT(dLarge, 4 * kTimes * dSmall) << dSmall << " s and " << dLarge << " s";
}

// ---- Paths ----

const char kUtf8Name[] =
    "Gr\xC3\xBC\xC3\x9F"
    "e";
const char kLatin1Name[] =
    "Gr\xFC\xDF"
    "e";

void ExpectCreates(const char* pszName, const char* pszEncoding, const char* pszOnDisk) {
    SCOPED_TRACE(testing::Message() << pszName << " in " << pszEncoding);
    const CScratchDirectory directory;
    const std::string strPath = directory.Path(pszName);
    errno = 0;
    EXPECT_EQ(ZELT_OS::access(strPath.c_str(), 0, pszEncoding), -1);
    EXPECT_EQ(errno, ENOENT);
    errno = EXDEV;
    FILE* const pFile = ZELT_OS::fopen(strPath.c_str(), "wb", pszEncoding);
    ASSERT_NE(pFile, nullptr);
    EXPECT_EQ(errno, EXDEV);
    std::fclose(pFile);
    EXPECT_TRUE(std::filesystem::exists(directory.Path(pszOnDisk)));
    EXPECT_EQ(ZELT_OS::access(strPath.c_str(), 0, pszEncoding), 0);
}

TEST(PathEncoding, IsTurnedIntoTheLocales) {
    ASSERT_TRUE(UseLocale("en_US.ISO-8859-1"));
    ExpectCreates(kUtf8Name, "UTF-8", kLatin1Name);
    ExpectCreates(kUtf8Name, "utf-8", kLatin1Name);
    ExpectCreates(kLatin1Name, "ISO-8859-1", kLatin1Name);
    ASSERT_TRUE(UseLocale("zh_CN.GB18030"));
    ExpectCreates("\xE4\xB8\xAD\xE6\x96\x87", "UTF-8", "\xD6\xD0\xCE\xC4");
    ASSERT_TRUE(UseLocale("en_US.UTF-8"));
    ExpectCreates(kUtf8Name, "UTF-8", kUtf8Name);
    ExpectCreates(kLatin1Name, "ISO-8859-1", kUtf8Name);
    ExpectCreates("\xD6\xD0\xCE\xC4", "GB18030", "\xE4\xB8\xAD\xE6\x96\x87");
}

TEST(PathEncoding, WhatCannotBeTurnedIsTakenByteForByte) {
    ASSERT_TRUE(UseLocale("en_US.ISO-8859-1"));
    ExpectCreates(kLatin1Name, "UTF-8", kLatin1Name);
    ExpectCreates("\xE4\xB8\xAD", "UTF-8", "\xE4\xB8\xAD");
    ExpectCreates(kUtf8Name, "no such encoding", kUtf8Name);
    ASSERT_TRUE(UseLocale("C"));
    ExpectCreates(kUtf8Name, "UTF-8", kUtf8Name);
}

}  // namespace
}  // namespace PlatformTest
