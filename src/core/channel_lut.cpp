#include "core/channel_lut.h"

#include <algorithm>
#include <cstring>

#include "core/scratch.h"
#include "simd/kernels.h"

namespace zel {

namespace {

template <class T>
void FillIdentity(T* block, int32_t tables, size_t entries) {
  for (int32_t k = 0; k < tables; ++k) {
    for (size_t i = 0; i < entries; ++i) *block++ = static_cast<T>(i);
  }
}

// 256 entries to 65536, linearly between them: steps of `scale` for one level. At most 257 * 255 + 255 * 256 in
// between.
void Expand(const uint8_t* table, int32_t scale, uint16_t* out) {
  for (int32_t i = 0; i < 255; ++i) {
    const int32_t step = table[i + 1] - table[i];
    for (int32_t j = 0; j < 257; ++j) {
      const int32_t value = scale * table[i] + step * j;
      *out++ = static_cast<uint16_t>(std::min(std::max(value, 0), 65535));
    }
  }
  *out = static_cast<uint16_t>(257 * table[255]);
}

void Reduce(const uint16_t* table, uint8_t* out) {
  for (size_t i = 0; i < kLutEntries8; ++i) out[i] = static_cast<uint8_t>(table[257 * i] / 257);
}

bool SameCurves(const void* a, const void* b, const void* c, size_t bytes) {
  return (a == b || std::memcmp(a, b, bytes) == 0) && (a == c || std::memcmp(a, c, bytes) == 0);
}

// Tables in red, green, blue order at the image's depth, over every row of the region.
template <class T>
void MapRegion(const T* source, T* destination, const Geometry& geometry, const Region& region,
               const T* const tables[3]) {
  const LutKernels& kernels = ActiveKernels().lut;
  const T* const bySample[3] = {tables[geometry.blueFirst ? 2 : 0], tables[1], tables[geometry.blueFirst ? 0 : 2]};
  const bool oneCurve =
      geometry.channels == 1 ||
      SameCurves(tables[0], tables[1], tables[2], (sizeof(T) == 1 ? kLutEntries8 : kLutEntries16) * sizeof(T));
  const size_t pixels = region.Width();
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const size_t offset = geometry.RowOffset(y) + static_cast<size_t>(region.left) * geometry.channels;
    if constexpr (sizeof(T) == 1) {
      if (oneCurve) {
        kernels.MapBytes(source + offset, destination + offset, pixels * geometry.channels, tables[0]);
      } else {
        kernels.MapBytes3(source + offset, destination + offset, pixels, bySample);
      }
    } else {
      if (oneCurve) {
        kernels.MapWords(source + offset, destination + offset, pixels * geometry.channels, tables[0]);
      } else {
        kernels.MapWords3(source + offset, destination + offset, pixels, bySample);
      }
    }
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

  // Table of red, green and blue, counted in tables of the block.
  const int32_t used = geometry.channels;
  const int32_t index[3] = {0, tables >= 2 ? 1 : 0, tables >= 3 ? 2 : 0};
  if (geometry.bits == 8) {
    uint8_t reduced[3 * kLutEntries8];
    const uint8_t* curves[3];
    for (int32_t k = 0; k < 3; ++k) {
      if (blockBits == 8) {
        curves[k] = static_cast<const uint8_t*>(block) + index[k] * kLutEntries8;
      } else {
        curves[k] = reduced + index[k] * kLutEntries8;
        if (k < used && index[k] == k) {
          Reduce(static_cast<const uint16_t*>(block) + k * kLutEntries16, reduced + k * kLutEntries8);
        }
      }
    }
    MapRegion(static_cast<const uint8_t*>(source), static_cast<uint8_t*>(destination), geometry, region, curves);
    return true;
  }
  Scratch<uint16_t> expanded;
  const uint16_t* curves[3];
  if (blockBits == 16) {
    for (int32_t k = 0; k < 3; ++k) curves[k] = static_cast<const uint16_t*>(block) + index[k] * kLutEntries16;
  } else {
    const uint8_t* const bytes = static_cast<const uint8_t*>(block);
    const bool oneCurve =
        used == 1 || SameCurves(bytes, bytes + index[1] * kLutEntries8, bytes + index[2] * kLutEntries8, kLutEntries8);
    if (!expanded.Allocate((oneCurve ? 1 : 3) * kLutEntries16)) return false;
    for (int32_t k = 0; k < 3; ++k) {
      curves[k] = expanded.data() + (oneCurve ? 0 : index[k] * kLutEntries16);
      if (k == 0 || (!oneCurve && index[k] == k)) {
        Expand(bytes + k * kLutEntries8, 257, expanded.data() + k * kLutEntries16);
      }
    }
  }
  MapRegion(static_cast<const uint16_t*>(source), static_cast<uint16_t*>(destination), geometry, region, curves);
  return true;
}

bool ApplyChannelLut(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const void* block,
                     int32_t tables, int32_t blockBits) {
  if (!SameImageLayout(source, destination)) return false;
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
      Expand(static_cast<const uint8_t*>(second) + k * kLutEntries8, 1, expanded.data() + k * kLutEntries16);
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
