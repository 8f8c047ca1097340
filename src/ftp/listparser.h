#ifndef QEL_FTP_LISTPARSER_H
#define QEL_FTP_LISTPARSER_H

#include <ctime>
#include <memory>
#include <string_view>
#include <vector>

#include "include/ftpclient.h"

namespace RVN_FTP_CLIENT {

// Which entries a listing is read for.
enum class ESelect : unsigned char {
    Readable = 0,  // those that somebody may read or write, by their permissions
    All = 1,
};

// Deletes its entries when it goes.
class CEntryList {
public:
    CEntryList() = default;
    ~CEntryList() {
        for (const TkFileInfo* pEntry : m_entries)
            delete pEntry;
    }
    CEntryList(const CEntryList&) = delete;
    CEntryList& operator=(const CEntryList&) = delete;

    std::vector<TkFileInfo*> m_entries;
};

// Appends one entry for each line of known form to files; the entries, made with new, are then the
// vector owner's. Lines of any other form are dropped, and so is what follows the last line feed.
// Unix style: permissions, links, owner, group, size, month, day, year or time, name.
// DOS style: date, time, "<DIR>" or size, name. Told apart by the number of columns.
void ParseListText(std::string_view strText, ESelect eSelect, std::vector<TkFileInfo*>& files);

// One line without its line end; null when it gives no entry. today: see BuildModifyTime.
std::unique_ptr<TkFileInfo> ParseListLine(std::string_view strLine, ESelect eSelect,
                                          const std::tm& today);

// Whether a permission column ("-rw-r--r--") lets nobody read or write.
bool IsUnreadable(std::string_view strPermissions);

}  // namespace RVN_FTP_CLIENT

#endif
