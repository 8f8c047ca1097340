#include <gtest/gtest.h>

#include <string>

#include "platform/logging.h"

namespace {

std::string Filter(const std::string& strText) {
    return TQ_UTIL::CWBLogFilter::getInstance()->filter(strText);
}

struct SFilterCase {
    std::string strText;
    std::string strWritten;
};

void ExpectAll(const SFilterCase* pFirst, std::size_t nCount) {
    for (const SFilterCase* pRow = pFirst; pRow != pFirst + nCount; ++pRow)
        EXPECT_EQ(Filter(pRow->strText), pRow->strWritten);
}

template <std::size_t nCount>
void ExpectAll(const SFilterCase (&rows)[nCount]) {
    ExpectAll(rows, nCount);
}

TEST(LogFilter, IsOneAndTheSame) {
    ASSERT_NE(TQ_UTIL::CWBLogFilter::getInstance(), nullptr);
    EXPECT_EQ(TQ_UTIL::CWBLogFilter::getInstance(), TQ_UTIL::CWBLogFilter::getInstance());
}

TEST(LogFilter, LeavesHarmlessTextAlone) {
    const SFilterCase rows[] = {
        {"", ""},
        {"[FTPCLIENT]Login succeeded: 230 in.", "[FTPCLIENT]Login succeeded: 230 in."},
        {" ~", " ~"},
        {"100% {} %s \\ \\x1b", "100% {} %s \\ \\x1b"},
        {"Gr\xC3\xBC\xC3\x9F"
         "e \xE4\xB8\xAD\xE6\x96\x87 \xF0\x9F\x98\x80",
         "Gr\xC3\xBC\xC3\x9F"
         "e \xE4\xB8\xAD\xE6\x96\x87 \xF0\x9F\x98\x80"},
        // The first and last character of each length, U+0080 apart.
        {"\xC2\xA0\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
         "\xC2\xA0\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
    };
    ExpectAll(rows);
}

TEST(LogFilter, DropsOneLineEndAtTheEnd) {
    const SFilterCase rows[] = {
        {"230 in\r\n", "230 in"},
        {"\r\n", ""},
        {"230 in\r\n\r\n", "230 in\\r\\n"},
        {"230 in\n", "230 in\\n"},
        {"230 in\r", "230 in\\r"},
        {"230 in\n\r", "230 in\\n\\r"},
        {"a\r\nb", "a\\r\\nb"},
    };
    ExpectAll(rows);
}

TEST(LogFilter, KeepsServerTextFromForgingALine) {
    const SFilterCase rows[] = {
        {"550 no\r\n2030-01-01 00:00:00.000 1/1 error 0x00000000 all is well\r\n",
         "550 no\\r\\n2030-01-01 00:00:00.000 1/1 error 0x00000000 all is well"},
        {"550 no\n[FTPCLIENT]forged", "550 no\\n[FTPCLIENT]forged"},
        {"550 no\rforged", "550 no\\rforged"},
        {"550 no\x0B"
         "forged\x0C"
         "forged",
         "550 no\\x0bforged\\x0cforged"},
        {"550 no\xC2\x85"
         "forged",
         "550 no\\xc2\\x85"
         "forged"},  // next line, C1
        {"550 no\xE2\x80\xA8"
         "forged",
         "550 no\\xe2\\x80\\xa8"
         "forged"},  // line separator
        {"550 no\xE2\x80\xA9"
         "forged",
         "550 no\\xe2\\x80\\xa9"
         "forged"},  // paragraph separator
    };
    ExpectAll(rows);
}

TEST(LogFilter, KeepsServerTextFromDrivingATerminal) {
    const SFilterCase rows[] = {
        {"\x1B[2J\x1B[1;31mred", "\\x1b[2J\\x1b[1;31mred"},
        {"\x1B]0;title\x07", "\\x1b]0;title\\x07"},
        {"\x1BP+q\x1B\\", "\\x1bP+q\\x1b\\"},
        {"secret\x08\x08\x08", "secret\\x08\\x08\\x08"},
        {"\x7F", "\\x7f"},
        {"\xC2\x9B"
         "31m",
         "\\xc2\\x9b"
         "31m"},  // control sequence introducer, C1
        {"\x9B"
         "31m",
         "\\x9b"
         "31m"},  // the same as a raw byte
        {"\xE2\x80\xAE"
         "gpj.exe",
         "\\xe2\\x80\\xae"
         "gpj.exe"},  // right-to-left override
        {"\xE2\x81\xA6"
         "a\xE2\x81\xA9",
         "\\xe2\\x81\\xa6"
         "a\\xe2\\x81\\xa9"},  // isolates
        {std::string("a\0b", 3), "a\\x00b"},
        {"a\tb", "a\\tb"},
    };
    ExpectAll(rows);
}

TEST(LogFilter, MakesEveryControlByteVisible) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (int nByte = 0; nByte < 0x20; ++nByte) {
        const char cByte = static_cast<char>(nByte);
        std::string strExpected = {'\\', 'x', kDigits[nByte / 16], kDigits[nByte % 16]};
        if (cByte == '\t') strExpected = "\\t";
        if (cByte == '\n') strExpected = "\\n";
        if (cByte == '\r') strExpected = "\\r";
        EXPECT_EQ(Filter(std::string("a") + cByte + "b"), "a" + strExpected + "b");
    }
}

TEST(LogFilter, MakesEveryC1ControlVisible) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (int nByte = 0x80; nByte <= 0x9F; ++nByte) {
        const std::string strVisible = {'\\', 'x', kDigits[nByte / 16], kDigits[nByte % 16]};
        EXPECT_EQ(Filter({'\xC2', static_cast<char>(nByte)}), "\\xc2" + strVisible);
    }
}

TEST(LogFilter, MakesInvalidUtf8Visible) {
    const SFilterCase rows[] = {
        {"\xFF\xFE", "\\xff\\xfe"},
        {"Gr\xFC\xDF"
         "e",
         "Gr\\xfc\\xdf"
         "e"},                // ISO-8859-1
        {"\x80", "\\x80"},    // continuation alone
        {"a\xC3", "a\\xc3"},  // cut off
        {"\xE4\xB8", "\\xe4\\xb8"},
        {"\xF0\x9F\x98", "\\xf0\\x9f\\x98"},
        {"\xC3(", "\\xc3("},  // broken off by other text
        {"\xE4\xB8\xC3\xBC", "\\xe4\\xb8\xC3\xBC"},
        {"\xC0\xAF", "\\xc0\\xaf"},  // overlong "/"
        {"\xC0\x8A", "\\xc0\\x8a"},  // overlong line feed
        {"\xC1\xBF", "\\xc1\\xbf"},
        {"\xE0\x9F\xBF", "\\xe0\\x9f\\xbf"},
        {"\xE0\x80\x8A", "\\xe0\\x80\\x8a"},
        {"\xF0\x8F\xBF\xBF", "\\xf0\\x8f\\xbf\\xbf"},
        {"\xED\xA0\x80", "\\xed\\xa0\\x80"},  // surrogates
        {"\xED\xBF\xBF", "\\xed\\xbf\\xbf"},
        {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // above U+10FFFF
        {"\xF8\x88\x80\x80\x80", "\\xf8\\x88\\x80\\x80\\x80"},
    };
    ExpectAll(rows);
}

TEST(LogFilter, MasksTheValueOfPass) {
    const SFilterCase rows[] = {
        {"PASS tea", "PASS ****"},
        {"PASS tea\r\n", "PASS ****"},
        {"[FTPCLIENT]send PASS two words\r\n", "[FTPCLIENT]send PASS ****"},
        {"pass tea", "pass ****"},
        {"Pass tea", "Pass ****"},
        {"pAsS tea", "pAsS ****"},
        {"PASS ", "PASS ****"},
        {"PASS \r\n", "PASS ****"},
        {"PASS  tea", "PASS ****"},
        {"PASS \x1B\xFFtea\xC3\xBC", "PASS ****"},
        {"PASS a\rb\r\nnext", "PASS ****\\r\\nnext"},
        {"PASS tea\nnext", "PASS ****\\nnext"},
        {"USER bob\r\nPASS tea\r\nTYPE I\r\n", "USER bob\\r\\nPASS ****\\r\\nTYPE I"},
        {"PASS a\r\nPASS b\r\n", "PASS ****\\r\\nPASS ****"},
        {"PASS a PASS b", "PASS ****"},
        {"\"PASS tea\"", "\"PASS ****"},
        {"\tPASS tea", "\\tPASS ****"},
        {std::string("PASS t\0ea", 9), "PASS ****"},
        {"\xC3\xBCPASS tea", "\xC3\xBCPASS ****"},
    };
    ExpectAll(rows);
}

TEST(LogFilter, MasksOnlyTheCommandPass) {
    const SFilterCase rows[] = {
        {"PASS", "PASS"},
        {"PASSWORD is needed", "PASSWORD is needed"},
        {"PASV is fine", "PASV is fine"},
        {"BYPASS it", "BYPASS it"},
        {"Ftp_pass failed", "Ftp_pass failed"},
        {"3PASS it", "3PASS it"},
        {"PAS S", "PAS S"},
        {"PASS\r\ntea", "PASS\\r\\ntea"},
    };
    ExpectAll(rows);
}

// A whole reply of a hostile server may pass through here.
TEST(LogFilter, TakesLongTexts) {
    const std::string strLong(1 << 20, 'x');
    EXPECT_EQ(Filter(strLong), strLong);
    std::string strVisible;
    for (int i = 0; i < 1 << 20; ++i)
        strVisible += "\\x1b";
    EXPECT_EQ(Filter(std::string(1 << 20, '\x1B')), strVisible);
}

}  // namespace
