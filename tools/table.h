#ifndef QEL_TOOLS_TABLE_H
#define QEL_TOOLS_TABLE_H

#include <string>
#include <vector>

#include "tools/session.h"

namespace qelftp {

// Equal names stay in their order.
void SortByName(std::vector<SEntry>& entries);

// One line per entry, sorted by name: type, size (right-aligned), time, name. Columns are separated
// by two blanks; the texts are as VisibleText makes them. No entries give an empty text.
std::string EntryTable(std::vector<SEntry> entries);

}  // namespace qelftp

#endif
