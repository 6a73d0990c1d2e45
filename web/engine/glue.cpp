// The functions of zel_chain.h with plain arguments, for callers that know numbers and memory only.
#include <cstdint>
#include <cstdlib>

#include "zel_chain.h"

#define ZEL_GLUE(name) extern "C" __attribute__((export_name(#name), visibility("default")))

extern "C" __attribute__((import_module("zel"), import_name("progress"))) int32_t GlueProgress(double done);

namespace {

ZelReport report;
ZelBakeError bakeError;

int32_t OnProgress(void*, double done) {
  return GlueProgress(done);
}

ZelPixels Pixels(void* data, int32_t width, int32_t height, int32_t channels, int32_t bits) {
  return {data, 0, width, height, channels, bits, 0};
}

ZelApplyOptions Options(int32_t orientation) {
  ZelApplyOptions options{};
  options.size = sizeof options;
  options.orientation = orientation;
  options.progress = OnProgress;
  return options;
}

}  // namespace

// Where the reader finds the parts of a report.
static_assert(offsetof(ZelReport, position) == 8 && offsetof(ZelReport, grey) == 20, "numbers come first");
static_assert(offsetof(ZelReport, text) == 24 && offsetof(ZelReport, notes) == 536, "texts follow");

ZEL_GLUE(allocate) void* Allocate(size_t bytes) {
  return std::malloc(bytes);
}

ZEL_GLUE(release) void Release(void* memory) {
  std::free(memory);
}

ZEL_GLUE(report) const ZelReport* Report() {
  return &report;
}

ZEL_GLUE(table) const char* Table() {
  return ZelChain_Table();
}

ZEL_GLUE(parse) ZelChain* Parse(const char* text, size_t bytes, int32_t isRecipe) {
  return isRecipe ? ZelChain_ParseRecipe(text, bytes, &report) : ZelChain_ParseLine(text, bytes, &report);
}

ZEL_GLUE(automatic)
ZelChain* Automatic(void* data, int32_t width, int32_t height, int32_t channels, int32_t bits, int32_t strength,
                    int32_t orientation) {
  const ZelPixels photo = Pixels(data, width, height, channels, bits);
  const ZelApplyOptions options = Options(orientation);
  return ZelChain_Auto(&photo, strength, &options, &report);
}

ZEL_GLUE(words) const char* Words(const ZelChain* chain) {
  return ZelChain_Words(chain);
}

ZEL_GLUE(recipe) const char* Recipe(const ZelChain* chain) {
  return ZelChain_Recipe(chain);
}

ZEL_GLUE(describe) const char* Describe(const ZelChain* chain) {
  return ZelChain_Describe(chain);
}

ZEL_GLUE(free_chain) void FreeChain(ZelChain* chain) {
  ZelChain_Free(chain);
}

ZEL_GLUE(apply)
int32_t Apply(const ZelChain* chain, void* source, int32_t channels, void* destination, int32_t destinationChannels,
              int32_t width, int32_t height, int32_t bits, int32_t orientation) {
  const ZelPixels from = Pixels(source, width, height, channels, bits);
  const ZelPixels to = Pixels(destination, width, height, destinationChannels, bits);
  const ZelApplyOptions options = Options(orientation);
  return ZelChain_Apply(chain, &from, &to, &options, &report);
}

ZEL_GLUE(bake)
ZelTable* Bake(const ZelChain* chain, void* photo, int32_t width, int32_t height, int32_t channels, int32_t bits,
               int32_t orientation, int32_t nodes) {
  const ZelPixels pixels = Pixels(photo, width, height, channels, bits);
  const ZelApplyOptions options = Options(orientation);
  return ZelChain_Bake(chain, photo ? &pixels : nullptr, nodes, &options, &bakeError, &report);
}

ZEL_GLUE(bake_error) const ZelBakeError* BakeError() {
  return &bakeError;
}

ZEL_GLUE(table_size) int32_t TableSize(const ZelTable* table) {
  return ZelTable_Size(table);
}

ZEL_GLUE(table_is_lattice) int32_t TableIsLattice(const ZelTable* table) {
  return ZelTable_IsLattice(table);
}

ZEL_GLUE(write_table) char* WriteTable(const ZelTable* table, const char* comment, int32_t isClf) {
  return isClf ? ZelTable_WriteClf(table, comment, nullptr, &report)
               : ZelTable_WriteCube(table, comment, nullptr, &report);
}

ZEL_GLUE(free_text) void FreeText(char* text) {
  ZelText_Free(text);
}

ZEL_GLUE(hald_side) int32_t HaldSide(const ZelTable* table) {
  return ZelTable_HaldSide(table);
}

ZEL_GLUE(hald_bits) int32_t HaldBits(const ZelTable* table) {
  return ZelTable_HaldBits(table);
}

ZEL_GLUE(write_hald) int32_t WriteHald(const ZelTable* table, void* data, int32_t side, int32_t bits) {
  const ZelPixels picture = Pixels(data, side, side, 3, bits);
  return ZelTable_WriteHald(table, &picture, &report);
}

ZEL_GLUE(free_table) void FreeTable(ZelTable* table) {
  ZelTable_Free(table);
}
