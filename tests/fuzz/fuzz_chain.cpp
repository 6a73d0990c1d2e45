// Bytes become words, a recipe and a .cube file. What is accepted must survive being written down and read again, and
// run on pixels of any description without touching a byte outside them; what is not must be refused with a reason.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "zel_chain.h"

namespace {

void Expect(bool holds) {
  if (!holds) std::abort();
}

void ExpectReason(const ZelReport& report) {
  Expect(report.code != ZEL_OK && report.text[0] != '\0' && std::strlen(report.text) < sizeof report.text);
}

// Pixels as the bytes say, in memory that ends with the last of them.
struct Picture {
  std::unique_ptr<uint8_t[]> memory;
  ZelPixels pixels{};

  Picture(const uint8_t* bytes, const ZelPixels* like) {
    pixels.width = like ? like->width : bytes[0] % 24 + 1;
    pixels.height = like ? like->height : bytes[1] % 16 + 1;
    pixels.channels = bytes[2] % 4 + 1;
    pixels.bits = like ? like->bits : bytes[2] & 64 ? 16 : 8;
    pixels.blueFirst = bytes[2] >> 7;
    const ptrdiff_t row = ptrdiff_t{pixels.width} * pixels.channels * pixels.bits / 8;
    const ptrdiff_t pitch = row + bytes[3] % 8;
    const size_t size = static_cast<size_t>(pitch * (pixels.height - 1) + row);
    memory.reset(new uint8_t[size]);
    for (size_t i = 0; i < size; ++i) memory[i] = static_cast<uint8_t>(i * 37 + bytes[i % 4]);
    const bool upwards = bytes[3] & 128;
    pixels.data = memory.get() + (upwards ? pitch * (pixels.height - 1) : 0);
    pixels.rowBytes = upwards ? -pitch : pitch;
  }
};

int32_t ZEL_CALL StopAt(void* user, double done) {
  return done >= *static_cast<double*>(user);
}

void Try(ZelChain* chain, const ZelReport& parsed, const uint8_t* bytes) {
  if (chain == nullptr) return ExpectReason(parsed);
  ZelReport report;
  const std::string recipe = ZelChain_Recipe(chain), words = ZelChain_Words(chain);
  for (ZelChain* again : {ZelChain_ParseRecipe(recipe.data(), recipe.size(), &report),
                          ZelChain_ParseLine(words.data(), words.size(), &report)}) {
    Expect(again != nullptr && recipe == ZelChain_Recipe(again));
    ZelChain_Free(again);
  }
  if (ZelChain_Steps(chain) <= 4) {
    const Picture source(bytes, nullptr), destination(bytes + 4, &source.pixels);
    double stop = bytes[6] / 128.0;
    ZelApplyOptions options{};
    options.size = sizeof options;
    options.orientation = bytes[5] % 9;
    if (bytes[6] & 1) {
      options.progress = StopAt;
      options.user = &stop;
    }
    if (bytes[7] & 1) {
      options.wholeWidth = source.pixels.width + bytes[7] % 16;
      options.wholeHeight = source.pixels.height + bytes[6] % 16;
      options.left = bytes[7] >> 4;
      options.top = bytes[6] >> 4;
    }
    const ZelPixels& to = bytes[7] & 2 ? source.pixels : destination.pixels;
    if (ZelMeasured* measured = ZelChain_Measure(chain, &source.pixels, nullptr, &report)) {
      if (ZelMeasured_Apply(measured, &source.pixels, &to, &options, &report) != ZEL_OK) ExpectReason(report);
      ZelMeasured_Free(measured);
    } else {
      ExpectReason(report);
    }
    if (ZelChain_Apply(chain, &source.pixels, &to, &options, &report) != ZEL_OK) ExpectReason(report);
    ZelBakeError error;
    ZelTable* const table = ZelChain_Bake(chain, &source.pixels, 2 + bytes[5] % 8, nullptr, &error, &report);
    if (table == nullptr) ExpectReason(report);
    ZelTable_Free(table);
    ZelChain_Free(ZelChain_Auto(&source.pixels, bytes[5] % 101, nullptr, &report));
  }
  ZelChain_Free(chain);
}

void TryTable(const std::string& text, const uint8_t* bytes) {
  ZelReport report;
  ZelTable* const table = ZelTable_ReadCube(text.data(), text.size(), &report);
  if (table == nullptr) return ExpectReason(report);
  size_t size = 0;
  char* const written = ZelTable_WriteCube(table, "comment", &size, &report);
  ZelTable* const again = ZelTable_ReadCube(written, size, &report);
  Expect(again == nullptr ||
         (ZelTable_Size(again) == ZelTable_Size(table) && ZelTable_IsLattice(again) == ZelTable_IsLattice(table)));
  const Picture source(bytes, nullptr);
  if (ZelTable_Apply(table, &source.pixels, &source.pixels, nullptr, &report) != ZEL_OK) ExpectReason(report);
  if (ZelTable* const other = ZelTable_Resample(table, 3, &report)) {
    for (size_t i = 0; i < 81; ++i) Expect(std::isfinite(ZelTable_Rows(other)[i]));
    ZelTable_Free(other);
  }
  ZelText_Free(written);
  ZelTable_Free(again);
  ZelTable_Free(table);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 8) return 0;
  const std::string text(data + 8, data + size);
  ZelReport report;
  ZelChain* chain = ZelChain_ParseLine(text.data(), text.size(), &report);
  Try(chain, report, data);
  chain = ZelChain_ParseRecipe(text.data(), text.size(), &report);
  Try(chain, report, data);
  TryTable(text, data);
  return 0;
}
