#include "src/ftp/listparser.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>

#include "src/ftp/listtime.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr std::size_t kDosColumns = 4;
constexpr std::size_t kUnixColumns = 9;
constexpr const char* kLinkArrow = " -> ";

constexpr unsigned char kTypeFile = 0;
constexpr unsigned char kTypeDirectory = 1;
constexpr unsigned char kTypeLink = 2;

struct SColumns {
    std::array<std::string, kUnixColumns> text;
    std::size_t nCount = 0;

    bool NextIsRest() const {
        if (nCount == kUnixColumns - 1) return true;
        return nCount == kDosColumns - 1 && !text[0].empty() &&
               std::isdigit(static_cast<unsigned char>(text[0].front())) != 0;
    }
};

bool IsSeparator(char c) {
    return c == ' ' || c == '\t';
}

// The last column a style can have is the rest of the line, so that blanks in names survive.
SColumns SplitColumns(const std::string& strLine) {
    SColumns columns;
    const char* pStart = strLine.data();
    const char* const pEnd = pStart + strLine.size();
    while (!columns.NextIsRest()) {
        const char* const pColumnEnd = std::find_if(pStart, pEnd, IsSeparator);
        if (pColumnEnd == pEnd) break;
        columns.text[columns.nCount++].assign(pStart, pColumnEnd);
        pStart = std::find_if_not(pColumnEnd, pEnd, IsSeparator);
    }
    columns.text[columns.nCount++].assign(pStart, pEnd);
    return columns;
}

bool IsDotName(const std::string& strName) {
    return strName == "." || strName == "..";
}

std::unique_ptr<TkFileInfo> ParseDosLine(SColumns& columns) {
    const std::string& strSizeOrMark = columns.text[2];
    std::string& strName = columns.text[3];
    if (IsDotName(strName)) return nullptr;
    const bool bDirectory = strSizeOrMark.find("DIR") != std::string::npos;
    auto entry = std::make_unique<TkFileInfo>();
    entry->strFileName = std::move(strName);
    entry->strModifyTime = columns.text[0] + " " + columns.text[1];
    entry->strFileSize = bDirectory ? "0" : strSizeOrMark;
    entry->ucFileType = bDirectory ? kTypeDirectory : kTypeFile;
    return entry;
}

// Returns false for anything but a directory, a file or a link.
bool TypeOf(const std::string& strPermissions, unsigned char& ucType) {
    switch (strPermissions.empty() ? '\0' : strPermissions.front()) {
        case 'd':
            ucType = kTypeDirectory;
            return true;
        case '-':
            ucType = kTypeFile;
            return true;
        case 'l':
            ucType = kTypeLink;
            return true;
        default:
            return false;
    }
}

std::unique_ptr<TkFileInfo> ParseUnixLine(SColumns& columns, ESelect eSelect,
                                          const std::tm& today) {
    const std::string& strPermissions = columns.text[0];
    std::string& strName = columns.text[8];
    unsigned char ucType = kTypeFile;
    if (IsDotName(strName)) return nullptr;
    if (eSelect == ESelect::Readable && IsUnreadable(strPermissions)) return nullptr;
    if (!TypeOf(strPermissions, ucType)) return nullptr;
    if (ucType == kTypeLink) strName.erase(std::min(strName.find(kLinkArrow), strName.size()));

    auto entry = std::make_unique<TkFileInfo>();
    entry->strFileName = std::move(strName);
    entry->strModifyTime =
        BuildModifyTime(columns.text[5], columns.text[6], columns.text[7], today);
    entry->strFileSize = std::move(columns.text[4]);
    entry->ucFileType = ucType;
    return entry;
}

}  // namespace

bool IsUnreadable(const std::string& strPermissions) {
    return strPermissions.find_first_of("rw", 1) == std::string::npos;
}

std::unique_ptr<TkFileInfo> ParseListLine(const std::string& strLine, ESelect eSelect,
                                          const std::tm& today) {
    if (strLine.empty()) return nullptr;
    SColumns columns = SplitColumns(strLine);
    if (columns.nCount == kDosColumns) return ParseDosLine(columns);
    if (columns.nCount == kUnixColumns) return ParseUnixLine(columns, eSelect, today);
    return nullptr;
}

void ParseListText(const std::string& strText, ESelect eSelect, std::vector<TkFileInfo*>& files) {
    const std::tm today = LocalToday();
    std::string strLine;
    std::size_t nStart = 0;
    for (std::size_t nEnd = strText.find('\n'); nEnd != std::string::npos;
         nStart = nEnd + 1, nEnd = strText.find('\n', nStart)) {
        std::size_t nLength = nEnd - nStart;
        if (nLength > 0 && strText[nEnd - 1] == '\r') --nLength;
        // As text: a zero byte ends the line.
        strLine.assign(strText, nStart, ::strnlen(strText.data() + nStart, nLength));
        std::unique_ptr<TkFileInfo> entry = ParseListLine(strLine, eSelect, today);
        if (entry == nullptr) continue;
        files.push_back(entry.get());
        (void)entry.release();  // the list has it now
    }
}

}  // namespace RVN_FTP_CLIENT
