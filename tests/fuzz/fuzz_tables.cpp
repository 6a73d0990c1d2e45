// Bytes become the text of a .cube file and of a CLF file. A table that is accepted has as many rows as it says,
// answers every colour with numbers, and comes back the same after being written down.
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "failure.h"
#include "table.h"

namespace {

void Expect(bool holds) {
  if (!holds) std::abort();
}

void ExpectSound(const tool::Table& table) {
  const size_t size = static_cast<size_t>(table.size);
  Expect(table.rows.size() == (table.cube ? size * size * size : size));
  for (const double v : {0.0, 0.3, 1.0}) {
    for (const double c : tool::Look(table, {v, 1.0 - v, 0.5})) Expect(std::isfinite(c));
  }
  const std::vector<uint8_t> bytes = tool::EncodeTable(table, "again.cube", "comment");
  const tool::Table again = tool::ParseCube(std::string(bytes.begin(), bytes.end()));
  Expect(again.cube == table.cube && again.size == table.size);
}

template <class Parse>
void Try(Parse parse, const std::string& text) {
  try {
    ExpectSound(parse(text));
  } catch (const tool::Failure&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(data, data + size);
  Try(tool::ParseCube, text);
  Try(tool::ParseClf, text);
  return 0;
}
