#include "src/ftp/listparser.h"

#include <algorithm>
#include <array>
#include <cctype>

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
    std::array<std::string_view, kUnixColumns> text;  // of the line
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
SColumns SplitColumns(std::string_view strLine) {
    SColumns columns;
    const auto end = strLine.end();
    auto start = strLine.begin();
    const auto columnUpTo = [&start](auto columnEnd) {
        return std::string_view(start, static_cast<std::size_t>(columnEnd - start));
    };
    while (!columns.NextIsRest()) {
        const auto columnEnd = std::find_if(start, end, IsSeparator);
        if (columnEnd == end) break;
        columns.text[columns.nCount++] = columnUpTo(columnEnd);
        start = std::find_if_not(columnEnd, end, IsSeparator);
    }
    columns.text[columns.nCount++] = columnUpTo(end);
    return columns;
}

bool IsDotName(std::string_view strName) {
    return strName == "." || strName == "..";
}

std::unique_ptr<TkFileInfo> ParseDosLine(const SColumns& columns) {
    const std::string_view strSizeOrMark = columns.text[2];
    const std::string_view strName = columns.text[3];
    if (IsDotName(strName)) return nullptr;
    const bool bDirectory = strSizeOrMark.find("DIR") != std::string_view::npos;
    auto entry = std::make_unique<TkFileInfo>();
    entry->strFileName = strName;
    entry->strModifyTime = columns.text[0];
    entry->strModifyTime.append(1, ' ').append(columns.text[1]);
    entry->strFileSize = bDirectory ? "0" : strSizeOrMark;
    entry->ucFileType = bDirectory ? kTypeDirectory : kTypeFile;
    return entry;
}

// Returns false for anything but a directory, a file or a link.
bool TypeOf(std::string_view strPermissions, unsigned char& ucType) {
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

std::unique_ptr<TkFileInfo> ParseUnixLine(const SColumns& columns, ESelect eSelect,
                                          const std::tm& today) {
    const std::string_view strPermissions = columns.text[0];
    std::string_view strName = columns.text[8];
    unsigned char ucType = kTypeFile;
    if (IsDotName(strName)) return nullptr;
    if (eSelect == ESelect::Readable && IsUnreadable(strPermissions)) return nullptr;
    if (!TypeOf(strPermissions, ucType)) return nullptr;
    if (ucType == kTypeLink) strName = strName.substr(0, strName.find(kLinkArrow));

    auto entry = std::make_unique<TkFileInfo>();
    entry->strFileName = strName;
    entry->strModifyTime =
        BuildModifyTime(columns.text[5], columns.text[6], columns.text[7], today);
    entry->strFileSize = columns.text[4];
    entry->ucFileType = ucType;
    return entry;
}

}  // namespace

bool IsUnreadable(std::string_view strPermissions) {
    return strPermissions.find_first_of("rw", 1) == std::string_view::npos;
}

std::unique_ptr<TkFileInfo> ParseListLine(std::string_view strLine, ESelect eSelect,
                                          const std::tm& today) {
    if (strLine.empty()) return nullptr;
    const SColumns columns = SplitColumns(strLine);
    if (columns.nCount == kDosColumns) return ParseDosLine(columns);
    if (columns.nCount == kUnixColumns) return ParseUnixLine(columns, eSelect, today);
    return nullptr;
}

void ParseListText(std::string_view strText, ESelect eSelect, std::vector<TkFileInfo*>& files) {
    const std::tm today = LocalToday();
    std::size_t nStart = 0;
    for (std::size_t nEnd = strText.find('\n'); nEnd != std::string_view::npos;
         nEnd = strText.find('\n', nStart)) {
        std::string_view strLine = strText.substr(nStart, nEnd - nStart);
        nStart = nEnd + 1;
        if (!strLine.empty() && strLine.back() == '\r') strLine.remove_suffix(1);
        strLine = strLine.substr(0, strLine.find('\0'));  // as text: a zero byte ends the line
        std::unique_ptr<TkFileInfo> entry = ParseListLine(strLine, eSelect, today);
        if (entry == nullptr) continue;
        files.push_back(entry.get());
        (void)entry.release();  // the list has it now
    }
}

}  // namespace RVN_FTP_CLIENT
