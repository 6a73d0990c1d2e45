// Bytes become the text of a CLF file. A table that is accepted is sound, and comes back the same after being written
// down; what is not must be refused with a reason.
#include <cstdint>
#include <cstdlib>

#include "failure.h"
#include "table.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  try {
    const tool::Table table = tool::ParseClf(std::string(data, data + size));
    char* text = ZelTable_WriteClf(table.get(), "comment", nullptr, nullptr);
    if (!text) std::abort();
    const std::string written = text;
    ZelText_Free(text);
    const tool::Table again = tool::ParseClf(written);
    if (ZelTable_Size(again.get()) != ZelTable_Size(table.get())) std::abort();
  } catch (const tool::Failure& failure) {
    if (failure.what()[0] == '\0') std::abort();
  }
  return 0;
}
