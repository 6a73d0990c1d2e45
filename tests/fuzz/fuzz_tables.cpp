// Bytes become the text of a CLF file. A table that is accepted is sound, and comes back the same after being written
// down; what is not must be refused with a reason.
#include <cstdint>
#include <cstdlib>

#include "failure.h"
#include "table.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  try {
    const tool::Table table = tool::ParseClf(std::string(data, data + size));
    const std::vector<uint8_t> bytes = tool::EncodeTable(table, "again.clf", "comment");
    const tool::Table again = tool::ParseClf(std::string(bytes.begin(), bytes.end()));
    if (ZelTable_Size(again.get()) != ZelTable_Size(table.get())) std::abort();
  } catch (const tool::Failure& failure) {
    if (failure.what()[0] == '\0') std::abort();
  }
  return 0;
}
