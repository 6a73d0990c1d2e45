// Bytes become the text of a settings file; what is found there must not depend on anything behind it.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/platform.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* const names[][2] = {{"TavoraDemo", "TimeCalculation"}, {"s", "k"}, {"", ""}, {"a b", "c=d"}};
  const std::vector<char> text(data, data + size);
  for (const auto& name : names) {
    const int32_t value = zel::ProfileIntFromText(text.data(), text.size(), name[0], name[1], 7);
    // Only a number that stands in the text may come out, and the first match alone counts.
    std::vector<char> longer(text);
    const char more[] = "\n[s]\nk=12345\n";
    longer.insert(longer.end(), more, more + sizeof more - 1);
    const int32_t again = zel::ProfileIntFromText(longer.data(), longer.size(), name[0], name[1], 7);
    if (value != 7 && again != value) std::abort();
  }
  return 0;
}
