#include "core/channel_lut.h"

#include <algorithm>
#include <cstring>

#include "core/formula_map.h"
#include "simd/kernels.h"

namespace zel {

namespace {

// 256 entries to 65536, linearly between them but on the scale of the bytes, save the last.
void ExpandUnscaled(const uint8_t* table, uint16_t* out) {
  for (int32_t i = 0; i < 255; ++i) {
    const int32_t step = table[i + 1] - table[i];
    for (int32_t j = 0; j < 257; ++j) *out++ = static_cast<uint16_t>(std::min(std::max(table[i] + step * j, 0), 65535));
  }
  *out = static_cast<uint16_t>(257 * table[255]);
}

uint8_t Reduced(const uint16_t* table, size_t entry) {
  return static_cast<uint8_t>(table[257 * entry] / 257);
}

template <class T>
bool SameTables(const T* const tables[3]) {
  const size_t bytes = Curves<T>::kEntries * sizeof(T);
  const auto same = [&](const T* a, const T* b) { return a == b || std::memcmp(a, b, bytes) == 0; };
  return same(tables[0], tables[1]) && same(tables[0], tables[2]);
}

// Runs `map(in, out, pixels)` over the rows of the region, over all at once where no sample lies between them.
template <class T, class Map>
void ForEachRow(const Source<T>& source, const View<T>& destination, const Region& region, const Map& map) {
  const size_t width = static_cast<size_t>(region.Width());
  if (static_cast<int64_t>(region.Width()) * source.channels == source.stride) {
    map(source.At(0, region.top), destination.At(0, region.top), width * static_cast<size_t>(region.Height()));
    return;
  }
  for (int32_t y = region.top; y < region.bottom; ++y) {
    map(source.At(region.left, y), destination.At(region.left, y), width);
  }
}

struct LutRows {
  const LutKernels& kernels = ActiveKernels().lut;
  void Map(const uint8_t* in, uint8_t* out, size_t count, const uint8_t* table) const {
    kernels.MapBytes(in, out, count, table);
  }
  void Map(const uint16_t* in, uint16_t* out, size_t count, const uint16_t* table) const {
    kernels.MapWords(in, out, count, table);
  }
  void Map3(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* const tables[3]) const {
    kernels.MapBytes3(in, out, pixels, tables);
  }
  void Map3(const uint16_t* in, uint16_t* out, size_t pixels, const uint16_t* const tables[3]) const {
    kernels.MapWords3(in, out, pixels, tables);
  }
};

// Tables in red, green, blue order at the image's depth.
template <class T>
void MapRegion(const Source<T>& source, const View<T>& destination, const Region& region, const T* const tables[3]) {
  const LutRows rows;
  const size_t channels = source.channels;
  // One table stays in the cache where three do not, but finding out that large ones are equal takes as long as mapping
  // a small region.
  const bool worthComparing =
      sizeof(T) == 1 || static_cast<int64_t>(region.Width()) * region.Height() >= static_cast<int64_t>(kLutEntries16);
  const bool same = tables[0] == tables[1] && tables[0] == tables[2];
  if (channels == 1 || same || (worthComparing && SameTables(tables))) {
    ForEachRow(source, destination, region,
               [&](const T* in, T* out, size_t pixels) { rows.Map(in, out, pixels * channels, tables[0]); });
  } else {
    const T* const bySample[3] = {tables[source.PlaceOf(0)], tables[1], tables[source.PlaceOf(2)]};
    ForEachRow(source, destination, region,
               [&](const T* in, T* out, size_t pixels) { rows.Map3(in, out, pixels, bySample); });
  }
}

}  // namespace

void* MakeIdentityLut(void* block, int32_t tables, int32_t bits) {
  if (bits != 8 && bits != 16) return block;
  const size_t bytes = bits == 8 ? kLutEntries8 : 2 * kLutEntries16;
  if (block == nullptr) block = AllocateBytes(tables * bytes, false);
  if (block == nullptr) return nullptr;
  if (bits == 8) {
    FillIdentity(Curves<uint8_t>{static_cast<uint8_t*>(block), tables});
  } else {
    FillIdentity(Curves<uint16_t>{static_cast<uint16_t*>(block), tables});
  }
  return block;
}

template <class T, class B>
bool ApplyChannelLutRaw(const Source<T>& source, const View<T>& destination, const Region& region,
                        const Curves<B>& curves) {
  if (region.IsEmpty() || (source.channels != 1 && source.channels != 3)) return true;
  const int32_t colours = source.channels;
  const B* const tables[3] = {curves.Of(0), curves.Of(colours == 3 ? 1 : 0), curves.Of(colours == 3 ? 2 : 0)};
  if constexpr (sizeof(T) == sizeof(B)) {
    MapRegion(source, destination, region, tables);
  } else if constexpr (sizeof(T) == 1) {
    uint8_t reduced[3][kLutEntries8];
    for (int32_t k = 0; k < 3; ++k) {
      for (size_t i = 0; i < kLutEntries8; ++i) reduced[k][i] = Reduced(tables[k], i);
    }
    const uint8_t* const bytes[3] = {reduced[0], reduced[1], reduced[2]};
    MapRegion(source, destination, region, bytes);
  } else {
    return MapWordsByFormula(source, destination, region, SameTables(tables) ? 1 : 3,
                             [&tables](int32_t k, int32_t i) { return Interpolated(tables[k], i); });
  }
  return true;
}

template <class B>
bool ApplyChannelLut(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                     const Curves<B>& curves) {
  if (source == nullptr || destination == nullptr || source->data == nullptr || destination->data == nullptr)
    return false;
  if (curves.block == nullptr || !SameImageGeometry(*source, *destination) || source->stride != destination->stride) {
    return false;
  }
  const int32_t bits = BitsOf(source->format);
  if (bits != 8 && bits != 16) return source->width > 0 && source->height > 0;  // no table fits: nothing to do
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    return ApplyChannelLutRaw(in, out, ClampedRegion(rect, in.Whole()), curves);
  });
}

template <class T, class B>
bool ComposeChannelLut(Curves<T> target, const Curves<B>& second) {
  if (target.block == nullptr || second.block == nullptr) return false;
  const bool paired = second.tables == 3;
  const auto chain = [&](const auto& entryOf) {
    for (int32_t k = 0; k < target.tables; ++k) {
      T* const table = target.Table(k);
      for (size_t i = 0; i < target.kEntries; ++i) table[i] = entryOf(paired ? k : 0, table[i]);
    }
  };
  if constexpr (sizeof(T) == sizeof(B)) {
    chain([&](int32_t k, size_t i) { return second.Table(k)[i]; });
  } else if constexpr (sizeof(T) == 1) {
    chain([&](int32_t k, size_t i) { return Reduced(second.Table(k), i); });
  } else {
    const int32_t tables = paired ? 3 : 1;
    const Scratch<uint16_t> block(tables * kLutEntries16);
    if (!block) return false;
    Curves<uint16_t> expanded{block.data(), tables};
    for (int32_t k = 0; k < tables; ++k) ExpandUnscaled(second.Table(k), expanded.Table(k));
    chain([&](int32_t k, size_t i) { return expanded.Table(k)[i]; });
  }
  return true;
}

template bool ApplyChannelLutRaw(const Source<uint8_t>&, const View<uint8_t>&, const Region&, const Curves<uint8_t>&);
template bool ApplyChannelLutRaw(const Source<uint8_t>&, const View<uint8_t>&, const Region&, const Curves<uint16_t>&);
template bool ApplyChannelLutRaw(const Source<uint16_t>&, const View<uint16_t>&, const Region&, const Curves<uint8_t>&);
template bool ApplyChannelLutRaw(const Source<uint16_t>&, const View<uint16_t>&, const Region&,
                                 const Curves<uint16_t>&);
template bool ApplyChannelLut(const ImageDesc*, const ImageDesc*, const ZelRect*, const Curves<uint8_t>&);
template bool ApplyChannelLut(const ImageDesc*, const ImageDesc*, const ZelRect*, const Curves<uint16_t>&);
template bool ComposeChannelLut(Curves<uint8_t>, const Curves<uint8_t>&);
template bool ComposeChannelLut(Curves<uint8_t>, const Curves<uint16_t>&);
template bool ComposeChannelLut(Curves<uint16_t>, const Curves<uint8_t>&);
template bool ComposeChannelLut(Curves<uint16_t>, const Curves<uint16_t>&);

}  // namespace zel
