// Input: "0" for readable entries or anything else for all; then the text of a listing.
//
// The rules are read here a second time, without a look at the parser: byte by byte where that
// cuts, with its own calendar.

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <tuple>
#include <vector>

#include "fuzz/require.h"
#include "src/ftp/listparser.h"

namespace QelFuzz {
namespace {

using namespace RVN_FTP_CLIENT;
using Columns = std::vector<std::string>;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// A column begins after each run of blanks. The ninth goes on to the end of the line, and so does
// the fourth when the first begins with a digit.
Columns Cut(std::string_view strLine) {
    Columns columns{""};
    bool bBetween = false;
    bool bRest = false;
    for (const char c : strLine) {
        if (!bRest && (c == ' ' || c == '\t')) {
            bBetween = true;
            continue;
        }
        if (bBetween) {
            columns.emplace_back();
            bBetween = false;
            bRest = columns.size() == 9 ||
                    (columns.size() == 4 && !columns[0].empty() && IsDigit(columns[0][0]));
        }
        columns.back() += c;
    }
    if (bBetween) columns.emplace_back();
    return columns;
}

// Text that some readers of numbers take in another way than others.
bool IsPlainNumber(const std::string& strText) {
    return strText.size() <= 9 && strText.find_first_of("+-\v\f\r") == std::string::npos;
}

int Number(const std::string& strText) {
    int nValue = 0;
    for (const char c : strText.substr(0, 9)) {
        if (!IsDigit(c)) break;
        nValue = nValue * 10 + (c - '0');
    }
    return nValue;
}

int MonthByName(const std::string& strText) {
    const std::string strNames = "janfebmaraprmayjunjulaugsepoctnovdec";
    if (strText.size() < 3) return 0;
    std::string strShort = strText.substr(0, 3);
    for (char& c : strShort)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    for (std::size_t n = 0; n < strNames.size(); n += 3)
        if (strNames.compare(n, 3, strShort) == 0) return static_cast<int>(n / 3) + 1;
    return 0;
}

struct SWhen {
    int nYear = 0;
    int nMonth = 0;
    int nDay = 0;
    int nHour = 0;
    int nMinute = 0;
};

std::string Written(SWhen when) {
    if (when.nYear == 0) {
        const std::time_t now = std::time(nullptr);
        const std::tm today = *std::localtime(&now);
        const bool bToCome = std::make_pair(today.tm_mon + 1, today.tm_mday) <
                             std::make_pair(when.nMonth, when.nDay);
        when.nYear = today.tm_year + (bToCome ? 1899 : 1900);
    }
    char text[80];
    std::snprintf(text, sizeof(text), "%d-%02d-%02d", when.nYear, when.nMonth, when.nDay);
    std::string strText = text;
    if (when.nHour != 0 || when.nMinute != 0) {
        std::snprintf(text, sizeof(text), " %02d:%02d", when.nHour, when.nMinute);
        strText += text;
    }
    return strText;
}

std::string ModifyTime(const std::string& s1, const std::string& s2, const std::string& s3) {
    SWhen when;
    const int nNamed = MonthByName(s1);
    const std::size_t nColon = s3.find(':');
    if (nColon != std::string::npos) {
        when.nMonth = nNamed != 0 ? nNamed : Number(s1);
        when.nDay = Number(s2);
        when.nHour = Number(s3.substr(0, nColon));
        when.nMinute = Number(s3.substr(nColon + 1));
    } else if (nNamed != 0) {
        when.nYear = Number(s3);
        when.nMonth = nNamed;
        when.nDay = Number(s2);
    } else {
        when.nYear = Number(s1);
        when.nMonth = Number(s2);
        when.nDay = Number(s3);
    }
    return Written(when);
}

struct SExpected {
    TkFileInfo entry;
    bool bTimeSure = true;
};

bool IsDots(const std::string& strName) {
    return strName == "." || strName == "..";
}

bool ReadDos(const Columns& columns, SExpected& expected) {
    if (IsDots(columns[3])) return false;
    const bool bDir = columns[2].find("DIR") != std::string::npos;
    expected.entry.strFileName = columns[3];
    expected.entry.strModifyTime = columns[0] + " " + columns[1];
    expected.entry.strFileSize = bDir ? "0" : columns[2];
    expected.entry.ucFileType = bDir ? 1 : 0;
    return true;
}

bool ReadUnix(const Columns& columns, bool bReadableOnly, SExpected& expected) {
    const std::string& strPermissions = columns[0];
    if (IsDots(columns[8]) || strPermissions.empty()) return false;
    if (bReadableOnly && strPermissions.find_first_of("rw", 1) == std::string::npos) return false;
    const char* const pszKinds = "-dl";
    const char* const pKind = std::strchr(pszKinds, strPermissions[0]);
    if (pKind == nullptr) return false;
    expected.entry.ucFileType = static_cast<unsigned char>(pKind - pszKinds);
    expected.entry.strFileName = columns[8];
    if (*pKind == 'l') {
        const std::size_t nArrow = columns[8].find(" -> ");
        expected.entry.strFileName = columns[8].substr(0, nArrow);
    }
    expected.entry.strFileSize = columns[4];
    expected.entry.strModifyTime = ModifyTime(columns[5], columns[6], columns[7]);
    for (int i = 5; i < 8; ++i)
        expected.bTimeSure =
            expected.bTimeSure && IsPlainNumber(columns[static_cast<std::size_t>(i)]);
    return true;
}

std::vector<SExpected> Expected(std::string_view strText, bool bReadableOnly) {
    std::vector<SExpected> all;
    while (strText.find('\n') != std::string_view::npos) {
        std::string_view strLine = TakeUntil(strText, '\n');
        if (!strLine.empty() && strLine.back() == '\r') strLine.remove_suffix(1);
        strLine = strLine.substr(0, strLine.find('\0'));
        if (strLine.empty()) continue;
        const Columns columns = Cut(strLine);
        SExpected expected;
        if (columns.size() == 4 && ReadDos(columns, expected)) all.push_back(expected);
        if (columns.size() == 9 && ReadUnix(columns, bReadableOnly, expected))
            all.push_back(expected);
    }
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    if (nSize == 0) return 0;
    const bool bReadableOnly = pData[0] == '0';
    const std::string strText(TextOf(pData + 1, nSize - 1));
    CEntryList list;
    ParseListText(strText, bReadableOnly ? ESelect::Readable : ESelect::All, list.m_entries);

    const std::vector<SExpected> expected = Expected(strText, bReadableOnly);
    RequireEqual(expected.size(), list.m_entries.size(), "number of entries");
    for (std::size_t n = 0; n < expected.size(); ++n) {
        const TkFileInfo& actual = *list.m_entries[n];
        RequireEqual(expected[n].entry.strFileName, actual.strFileName, "name");
        RequireEqual(expected[n].entry.strFileSize, actual.strFileSize, "size");
        RequireEqual(expected[n].entry.ucFileType, actual.ucFileType, "type");
        if (!expected[n].bTimeSure) continue;
        RequireEqual(expected[n].entry.strModifyTime, actual.strModifyTime, "time");
    }
    return 0;
}

}  // namespace QelFuzz
