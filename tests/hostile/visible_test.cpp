// Characters that are not seen, or turn the direction of what stands around them.

#include "tools/visible.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/tool/inlocale.h"
#include "tools/failure.h"

using namespace qelftp;

namespace {

std::string Utf8(unsigned int uCode) {
    const auto byte = [](unsigned int uBits) { return static_cast<char>(uBits); };
    if (uCode < 0x80) return {byte(uCode)};
    if (uCode < 0x800) return {byte(0xc0 | uCode >> 6), byte(0x80 | (uCode & 0x3f))};
    if (uCode < 0x10000) {
        return {byte(0xe0 | uCode >> 12), byte(0x80 | (uCode >> 6 & 0x3f)),
                byte(0x80 | (uCode & 0x3f))};
    }
    return {byte(0xf0 | uCode >> 18), byte(0x80 | (uCode >> 12 & 0x3f)),
            byte(0x80 | (uCode >> 6 & 0x3f)), byte(0x80 | (uCode & 0x3f))};
}

TEST(UnseenCharacters, AreShownByTheirBytes) {
    const ToolTest::InLocale utf8("C.UTF-8");
    for (const unsigned int uCode :
         {0x00adU, 0x061cU, 0x200bU, 0x200eU, 0x200fU, 0x2028U, 0x2029U, 0x202aU, 0x202bU, 0x202cU,
          0x202dU, 0x202eU, 0x2060U, 0x2066U, 0x2067U, 0x2068U, 0x2069U, 0xfeffU, 0xe0041U}) {
        const std::string strShown = VisibleText("a" + Utf8(uCode) + "b");
        EXPECT_EQ(strShown.rfind("a\\x", 0), 0U) << std::hex << uCode;
        for (const char c : strShown)
            EXPECT_TRUE(c >= ' ' && c <= '~') << std::hex << uCode;
    }
    EXPECT_EQ(VisibleText("a\xe2\x80\xae"
                          "b"),
              "a\\xe2\\x80\\xaeb");
}

TEST(UnseenCharacters, ThatWordsNeedStay) {
    const ToolTest::InLocale utf8("C.UTF-8");
    const std::string strFamily = "\xf0\x9f\x91\xa9\xe2\x80\x8d\xf0\x9f\x91\xa7";  // U+200D
    const std::string strHebrew = "\xd7\xa9\xd7\x9c\xd7\x95\xd7\x9d";
    for (const std::string& strText : {strFamily, strHebrew})
        EXPECT_EQ(VisibleText(strText), strText);
}

TEST(UnseenCharacters, OfAServersWordsAreShownByTheirBytesInFailures) {
    const ToolTest::InLocale utf8("C.UTF-8");
    SFailure failure;
    failure.strOperation = "rm";
    failure.strSubject = "/x\x1b";
    failure.strMeaning = "the server says \"\x1b[2J\xe2\x80\xae\"";
    EXPECT_EQ(FailureText(failure), "rm /x\\x1b: the server says \"\\x1b[2J\\xe2\\x80\\xae\"");
}

}  // namespace
