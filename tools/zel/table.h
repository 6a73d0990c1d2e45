// Table files by their suffix: .cube, .clf and .png (HaldCLUT).
#ifndef ZEL_TOOL_TABLE_H_
#define ZEL_TOOL_TABLE_H_

#include "chain.h"

namespace tool {

using Table = std::shared_ptr<const ZelTable>;

Table TakeTable(ZelTable* table, const ZelReport& report);

// Writes a file of the kind that the path's suffix names. Throws Failure, and UsageError for other suffixes.
void SaveTable(const Table& table, const std::string& path, const std::string& comment, bool overwrite);
// Throws Failure that names the line.
Table ReadTable(const std::string& path);

// The text of a CLF file with one table.
Table ParseClf(const std::string& text);

}  // namespace tool

#endif  // ZEL_TOOL_TABLE_H_
