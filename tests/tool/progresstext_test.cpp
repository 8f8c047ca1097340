#include "tools/progresstext.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/tool/inlocale.h"

using namespace qelftp;
using namespace ToolTest;
using namespace std::chrono_literals;

namespace {

constexpr const char* kName = "/some/long/directory/with/a/file name.bin";
const SProgress kHalf{kName, 1024 * 1024, 2 * 1024 * 1024, 512 * 1024};

TEST(SizeText, HasUnitsOf1024AndIsShort) {
    for (const auto& [ullBytes, pszText] : {
             std::pair{0ULL, "0B"},
             std::pair{1023ULL, "1023B"},
             std::pair{1024ULL, "1.0K"},
             std::pair{1536ULL, "1.5K"},
             std::pair{1024ULL * 1024 - 1, "1023.9K"},
             std::pair{1024ULL * 1024, "1.0M"},
             std::pair{5000000000ULL, "4.6G"},
             std::pair{1ULL << 40, "1.0T"},
             std::pair{1ULL << 50, "1.0P"},
             std::pair{~0ULL, "15.9E"},
         }) {
        EXPECT_EQ(SizeText(ullBytes), pszText) << ullBytes;
    }
}

TEST(DurationText, HasHoursWhenNeeded) {
    EXPECT_EQ(DurationText(0s), "0:00");
    EXPECT_EQ(DurationText(7s), "0:07");
    EXPECT_EQ(DurationText(3599s), "59:59");
    EXPECT_EQ(DurationText(3723s), "1:02:03");
    EXPECT_EQ(DurationText(359999s), "99:59:59");
    EXPECT_EQ(DurationText(std::nullopt), "--:--");
}

TEST(Percentage, IsRoundedDownAndNeedsATotal) {
    for (const auto& [ullDone, ullTotal, uExpected] :
         {std::tuple{0ULL, 3ULL, 0u}, std::tuple{1ULL, 3ULL, 33u}, std::tuple{999ULL, 1000ULL, 99u},
          std::tuple{3ULL, 3ULL, 100u}, std::tuple{4ULL, 3ULL, 100u},
          std::tuple{~0ULL - 1, ~0ULL, 99u}}) {
        EXPECT_EQ(Percentage({"", ullDone, ullTotal, 0}), uExpected) << ullDone;
    }
    EXPECT_EQ(Percentage({"", 5, 0, 0}), std::nullopt);
}

TEST(TimeLeft, NeedsATotalAndARate) {
    EXPECT_EQ(TimeLeft(kHalf), 2s);
    EXPECT_EQ(TimeLeft({"", 5, 0, 100}), std::nullopt);
    EXPECT_EQ(TimeLeft({"", 5, 10, 0}), std::nullopt);
    EXPECT_EQ(TimeLeft({"", 10, 10, 0}), 0s);
    EXPECT_EQ(TimeLeft({"", 11, 10, 5}), 0s);  // it has grown meanwhile
}

TEST(FittedText, HasTheColumnsItIsGiven) {
    const InLocale utf8("C.UTF-8");
    for (const auto& [pszText, nColumns, pszExpected] : {
             std::tuple{"abc", 5u, "abc  "},
             std::tuple{"abc", 3u, "abc"},
             std::tuple{"", 2u, "  "},
             std::tuple{"abcdefghij", 9u, "abc...hij"},
             std::tuple{"abcdefghij", 8u, "ab...hij"},
             std::tuple{"abcdefghij", 4u, "...j"},
             std::tuple{"abcdefghij", 3u, "..."},
             std::tuple{"abcdefghij", 2u, ".."},
             std::tuple{"abcdefghij", 0u, ""},
             // Two columns each.
             std::tuple{"漢字", 4u, "漢字"},
             std::tuple{"漢字", 5u, "漢字 "},
             std::tuple{"漢字漢字漢字", 11u, "漢字...漢字"},
             std::tuple{"漢字漢字漢字", 10u, "漢...漢字 "},
             std::tuple{"漢字漢字漢字", 4u, "... "},
             // Marks stay with their characters: o and U+0308.
             std::tuple{"ooo\u0308", 3u, "ooo\u0308"},
             std::tuple{"o\u0308o\u0308o\u0308o\u0308o\u0308o\u0308", 5u, "o\u0308...o\u0308"},
         }) {
        EXPECT_EQ(FittedText(pszText, nColumns), pszExpected);
        EXPECT_EQ(Columns(FittedText(pszText, nColumns)), nColumns) << pszText;
    }
}

TEST(ProgressLine, HasMoreOnAWiderLine) {
    const InLocale utf8("C.UTF-8");
    const std::string strName = kName;  // 41 columns
    EXPECT_EQ(ProgressLine(kHalf, 119, false), strName + std::string(14, ' ') +
                                                   "  [############............]" +
                                                   "   50%     1.0M   512.0K/s      0:02");
    EXPECT_EQ(ProgressLine(kHalf, 79, false),
              strName + "  " + "   50%     1.0M   512.0K/s      0:02");
    EXPECT_EQ(ProgressLine(kHalf, 59, false),
              "/some/long...e name.bin   50%     1.0M   512.0K/s      0:02");
    EXPECT_EQ(ProgressLine(kHalf, 39, false), "/some...me.bin   50%     1.0M      0:02");
    EXPECT_EQ(ProgressLine(kHalf, 30, false), "/some...me.bin   50%      0:02");
    EXPECT_EQ(ProgressLine(kHalf, 20, false), "/some...me.bin   50%");
    EXPECT_EQ(ProgressLine(kHalf, 5, false), " 50% ");
    EXPECT_EQ(ProgressLine(kHalf, 3, false), " 50");
}

TEST(ProgressLine, FillsExactlyTheColumnsItIsGiven) {
    const InLocale utf8("C.UTF-8");
    SProgress progress = kHalf;
    for (const char* const pszName : {"x", kName, "漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字"}) {
        progress.strName = pszName;
        for (std::size_t nColumns = 0; nColumns <= 250; ++nColumns)
            EXPECT_EQ(Columns(ProgressLine(progress, nColumns, false)), nColumns) << pszName;
    }
}

TEST(ProgressLine, LeavesOutWhatIsNotKnown) {
    EXPECT_EQ(ProgressLine({"x", 5, 0, 0}, 50, false),
              "x" + std::string(13, ' ') + "             5B       0B/s     --:--");
}

TEST(ProgressLine, IsColouredOnlyIfWanted) {
    EXPECT_NE(ProgressLine(kHalf, 79, true).find("\x1b[32m 50%\x1b[0m"), std::string::npos);
    EXPECT_EQ(ProgressLine(kHalf, 79, false).find('\x1b'), std::string::npos);
}

TEST(ProgressLine, OfAHostileNameDrivesNothing) {
    const InLocale utf8("C.UTF-8");
    const SProgress hostile{
        "\x1b[2J\x9b"
        "31m\xc2\x9b"
        "31m\r\n\b\x7f\x1b]0;t\x07",
        1, 2, 0};
    for (const std::size_t nColumns : {0u, 3u, 20u, 39u, 79u, 199u}) {
        for (const char c : ProgressLine(hostile, nColumns, false))
            EXPECT_TRUE(c >= 0x20 && c < 0x7f) << static_cast<int>(c);
    }
    EXPECT_EQ(ProgressLine(hostile, 100, false).find("\\x1b[2J\\x9b31m"), 0u);
}

TEST(ProgressSentence, IsForPeople) {
    EXPECT_EQ(ProgressSentence({"/a\x1b", 1024, 2048, 100}),
              "/a\\x1b: 50%, 1.0K, 100B/s, 0:11 left");
    EXPECT_EQ(ProgressSentence({"/a", 1024, 0, 0}), "/a: 1.0K, 0B/s, --:-- left");
}

}  // namespace
