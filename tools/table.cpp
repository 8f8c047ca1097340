#include "tools/table.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/visible.h"

namespace qelftp {
namespace {

const char* TypeName(EEntryType eType) {
    switch (eType) {
        case EEntryType::Directory:
            return "dir";
        case EEntryType::Link:
            return "link";
        case EEntryType::File:
            break;
    }
    return "file";
}

}  // namespace

void SortByName(std::vector<SEntry>& entries) {
    std::stable_sort(entries.begin(), entries.end(), [](const SEntry& left, const SEntry& right) {
        return left.strName < right.strName;
    });
}

std::string EntryTable(std::vector<SEntry> entries) {
    SortByName(entries);
    std::size_t nSizeWidth = 0;
    std::size_t nTimeWidth = 0;
    for (SEntry& entry : entries) {
        entry.strSize = VisibleText(entry.strSize);
        entry.strTime = VisibleText(entry.strTime);
        nSizeWidth = std::max(nSizeWidth, entry.strSize.size());
        nTimeWidth = std::max(nTimeWidth, entry.strTime.size());
    }
    std::string strTable;
    for (const SEntry& entry : entries) {
        strTable += fmt::format("{:<4}  {:>{}}  {:<{}}  {}\n", TypeName(entry.eType), entry.strSize,
                                nSizeWidth, entry.strTime, nTimeWidth, VisibleText(entry.strName));
    }
    return strTable;
}

}  // namespace qelftp
