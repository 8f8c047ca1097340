#include "tools/listedtime.h"

#include <gtest/gtest.h>

using namespace qelftp;

namespace {

struct STimeRow {
    const char* pszText;
    std::int64_t llSeconds;
    unsigned int uPrecision;
};

TEST(ListedTime, IsUnderstood) {
    constexpr STimeRow kRows[] = {
        {"1970-01-01", 0, 86400},
        {"2019-03-03", 1551571200, 86400},
        {"2019-03-03 12:30", 1551616200, 60},
        {"2024-02-29 00:01", 1709164860, 60},
        {"03-23-19 12:30PM", 1553344200, 60},
        {"03-23-19 12:30AM", 1553301000, 60},
        {"03-23-2019 01:30pm", 1553347800, 60},
        {"03-23-99 13:30", 922195800, 60},
    };
    for (const STimeRow& row : kRows) {
        const auto listed = ParseListedTime(row.pszText);
        ASSERT_TRUE(listed) << row.pszText;
        EXPECT_EQ(listed->llSeconds, row.llSeconds) << row.pszText;
        EXPECT_EQ(listed->uPrecision, row.uPrecision) << row.pszText;
    }
}

TEST(ListedTime, OtherTextsAreNoTime) {
    for (const char* pszText :
         {"", "x", "2019", "2019-03", "2019-13-01", "2019-04-31", "2019-03-03 ", "2019-03-03 12",
          "2019-03-03 24:00", "2019-03-03 12:60", "2019-03-03 12:30 ", "0-00-00", "2019-00-00",
          "13-01-19 12:30PM", "03-23-19", "03-23-19 13:30PM", "03-23-19 12:30XM",
          "03-03\x1b[1m-19 10:00AM", "99999999999-01-01"}) {
        EXPECT_FALSE(ParseListedTime(pszText)) << pszText;
    }
}

}  // namespace
