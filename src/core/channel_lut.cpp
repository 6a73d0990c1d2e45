#include "core/channel_lut.h"

#include <algorithm>
#include <cstring>

#include "core/formula_map.h"
#include "simd/kernels.h"

namespace zel {

namespace {

template <class T>
void FillIdentity(T* block, int32_t tables, size_t entries) {
  for (int32_t k = 0; k < tables; ++k) {
    for (size_t i = 0; i < entries; ++i) *block++ = static_cast<T>(i);
  }
}

// 256 entries to 65536, linearly between them but on the scale of the bytes, save the last.
void ExpandUnscaled(const uint8_t* table, uint16_t* out) {
  for (int32_t i = 0; i < 255; ++i) {
    const int32_t step = table[i + 1] - table[i];
    for (int32_t j = 0; j < 257; ++j) *out++ = static_cast<uint16_t>(std::min(std::max(table[i] + step * j, 0), 65535));
  }
  *out = static_cast<uint16_t>(257 * table[255]);
}

void Reduce(const uint16_t* table, uint8_t* out) {
  for (size_t i = 0; i < kLutEntries8; ++i) out[i] = static_cast<uint8_t>(table[257 * i] / 257);
}

bool SameCurves(const void* a, const void* b, const void* c, size_t bytes) {
  return (a == b || std::memcmp(a, b, bytes) == 0) && (a == c || std::memcmp(a, c, bytes) == 0);
}

// Runs `map(in, out, pixels)` over the rows of the region, over all at once where no sample lies between them.
template <class T, class Map>
void ForEachRow(const T* source, T* destination, const Geometry& geometry, const Region& region, const Map& map) {
  if (static_cast<int64_t>(region.Width()) * geometry.channels == geometry.stride) {
    const size_t offset = geometry.RowOffset(region.top);
    map(source + offset, destination + offset, static_cast<size_t>(region.Width()) * region.Height());
    return;
  }
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const size_t offset = geometry.RowOffset(y) + static_cast<size_t>(region.left) * geometry.channels;
    map(source + offset, destination + offset, static_cast<size_t>(region.Width()));
  }
}

// Tables in red, green, blue order at the image's depth.
void MapRegion(const uint8_t* source, uint8_t* destination, const Geometry& geometry, const Region& region,
               const uint8_t* const tables[3]) {
  const LutKernels& kernels = ActiveKernels().lut;
  const size_t channels = geometry.channels;
  if (channels == 1 || SameCurves(tables[0], tables[1], tables[2], kLutEntries8)) {
    ForEachRow(source, destination, geometry, region, [&](const uint8_t* in, uint8_t* out, size_t pixels) {
      kernels.MapBytes(in, out, pixels * channels, tables[0]);
    });
  } else {
    const uint8_t* const bySample[3] = {tables[geometry.blueFirst ? 2 : 0], tables[1],
                                        tables[geometry.blueFirst ? 0 : 2]};
    ForEachRow(source, destination, geometry, region,
               [&](const uint8_t* in, uint8_t* out, size_t pixels) { kernels.MapBytes3(in, out, pixels, bySample); });
  }
}

void MapRegion(const uint16_t* source, uint16_t* destination, const Geometry& geometry, const Region& region,
               const uint16_t* const tables[3]) {
  const LutKernels& kernels = ActiveKernels().lut;
  const size_t channels = geometry.channels;
  // One table stays in the cache where three do not, but finding out takes as long as mapping a small region.
  const bool worthComparing =
      static_cast<int64_t>(region.Width()) * region.Height() >= static_cast<int64_t>(kLutEntries16);
  const bool same = tables[0] == tables[1] && tables[0] == tables[2];
  if (channels == 1 || same ||
      (worthComparing && SameCurves(tables[0], tables[1], tables[2], kLutEntries16 * sizeof(uint16_t)))) {
    ForEachRow(source, destination, geometry, region, [&](const uint16_t* in, uint16_t* out, size_t pixels) {
      kernels.MapWords(in, out, pixels * channels, tables[0]);
    });
  } else {
    const uint16_t* const bySample[3] = {tables[geometry.blueFirst ? 2 : 0], tables[1],
                                         tables[geometry.blueFirst ? 0 : 2]};
    ForEachRow(source, destination, geometry, region,
               [&](const uint16_t* in, uint16_t* out, size_t pixels) { kernels.MapWords3(in, out, pixels, bySample); });
  }
}

}  // namespace

void* MakeIdentityLut(void* block, int32_t tables, int32_t bits) {
  if (bits != 8 && bits != 16) return block;
  const size_t entries = bits == 8 ? kLutEntries8 : kLutEntries16;
  if (block == nullptr) block = AllocateBytes(tables * entries * (bits / 8), false);
  if (block == nullptr) return nullptr;
  if (bits == 8) {
    FillIdentity(static_cast<uint8_t*>(block), tables, entries);
  } else {
    FillIdentity(static_cast<uint16_t*>(block), tables, entries);
  }
  return block;
}

bool ApplyChannelLutRaw(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                        const void* block, int32_t tables, int32_t blockBits) {
  if (source == nullptr || destination == nullptr || block == nullptr || !geometry.DescribesMemory()) return false;
  if (blockBits != 8 && blockBits != 16) return false;
  const Region region = ClampedRegion(rect, geometry.width, geometry.height);
  if (region.IsEmpty() || (geometry.channels != 1 && geometry.channels != 3)) return true;

  // Where the tables of red, green and blue stand in the block.
  const int32_t index[3] = {0, geometry.channels == 3 && tables >= 2 ? 1 : 0,
                            geometry.channels == 3 && tables >= 3 ? 2 : 0};
  const uint8_t* bytes[3] = {};
  const uint16_t* words[3] = {};
  for (int32_t k = 0; k < 3; ++k) {
    if (blockBits == 8) {
      bytes[k] = static_cast<const uint8_t*>(block) + index[k] * kLutEntries8;
    } else {
      words[k] = static_cast<const uint16_t*>(block) + index[k] * kLutEntries16;
    }
  }
  if (geometry.bits == 8) {
    uint8_t reduced[3][kLutEntries8];
    for (int32_t k = 0; k < 3 && blockBits == 16; ++k) {
      Reduce(words[k], reduced[k]);
      bytes[k] = reduced[k];
    }
    MapRegion(static_cast<const uint8_t*>(source), static_cast<uint8_t*>(destination), geometry, region, bytes);
    return true;
  }
  if (blockBits == 8) {
    const int32_t curves = SameCurves(bytes[0], bytes[1], bytes[2], kLutEntries8) ? 1 : 3;
    return MapWordsByFormula(source, destination, geometry, rect, curves,
                             [&bytes](int32_t k, int32_t i) { return Interpolated(bytes[k], i); });
  }
  MapRegion(static_cast<const uint16_t*>(source), static_cast<uint16_t*>(destination), geometry, region, words);
  return true;
}

bool ApplyChannelLut(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const void* block,
                     int32_t tables, int32_t blockBits) {
  if (source == nullptr || destination == nullptr || source->data == nullptr || destination->data == nullptr)
    return false;
  if (!SameImageGeometry(*source, *destination) || source->stride != destination->stride) return false;
  const int32_t bits = BitsOf(source->format);
  if (bits != 8 && bits != 16) {  // no table fits, so there is nothing to do
    return block != nullptr && (blockBits == 8 || blockBits == 16) && source->width > 0 && source->height > 0;
  }
  if (!IsUsable(source) || !IsUsable(destination)) return false;
  return ApplyChannelLutRaw(source->data, destination->data, GeometryOf(*source), rect, block, tables, blockBits);
}

bool ComposeChannelLut(void* target, int32_t tables, int32_t targetBits, const void* second, int32_t secondTables,
                       int32_t secondBits) {
  if (target == nullptr || second == nullptr) return false;
  const bool paired = secondTables == 3;
  if (targetBits == 8) {
    uint8_t* entry = static_cast<uint8_t*>(target);
    for (int32_t k = 0; k < tables; ++k) {
      const int32_t curve = paired ? k : 0;
      for (size_t i = 0; i < kLutEntries8; ++i, ++entry) {
        *entry = secondBits == 8
                     ? static_cast<const uint8_t*>(second)[curve * kLutEntries8 + *entry]
                     : static_cast<uint8_t>(static_cast<const uint16_t*>(second)[curve * kLutEntries16 + 257 * *entry] /
                                            257);
      }
    }
    return true;
  }
  Scratch<uint16_t> expanded;
  const uint16_t* curves = static_cast<const uint16_t*>(second);
  if (secondBits == 8) {
    if (!expanded.Allocate((paired ? 3 : 1) * kLutEntries16)) return false;
    for (int32_t k = 0; k < (paired ? 3 : 1); ++k) {
      ExpandUnscaled(static_cast<const uint8_t*>(second) + k * kLutEntries8, expanded.data() + k * kLutEntries16);
    }
    curves = expanded.data();
  }
  uint16_t* entry = static_cast<uint16_t*>(target);
  for (int32_t k = 0; k < tables; ++k) {
    const uint16_t* const curve = curves + (paired ? k * kLutEntries16 : 0);
    for (size_t i = 0; i < kLutEntries16; ++i, ++entry) *entry = curve[*entry];
  }
  return true;
}

}  // namespace zel
