// Curves for 16-bit images that are given by a formula.
#ifndef ZEL_CORE_FORMULA_MAP_H_
#define ZEL_CORE_FORMULA_MAP_H_

#include "core/channel_lut.h"
#include "core/scratch.h"

namespace zel {

// Maps the words of the region through `curves` curves: one for all channels, or three in the order red, green, blue.
// entry(k, v) is the value of curve k at v. A region with fewer pixels than a table has entries asks the formula for
// each sample; a larger one fills tables first. 1 or 3 channels. False when memory ran out.
template <class Entry>
bool MapWordsByFormula(const View<const uint16_t>& source, const View<uint16_t>& destination, const Region& region,
                       int32_t curves, const Entry& entry) {
  if (region.IsEmpty()) return true;
  if (static_cast<int64_t>(region.Width()) * region.Height() >= static_cast<int64_t>(kLutEntries16)) {
    const Scratch<uint16_t> block(curves * kLutEntries16);
    if (!block) return false;
    Curves<uint16_t> tables{block.data(), curves};
    for (int32_t k = 0; k < curves; ++k) {
      uint16_t* const table = tables.Table(k);
      for (int32_t i = 0; i <= kLast<uint16_t>; ++i) table[i] = entry(k, i);
    }
    ApplyChannelLutRaw(source, destination, region, tables);
    return true;
  }
  const int32_t channels = source.channels;
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const uint16_t* in = source.At(region.left, y);
    uint16_t* out = destination.At(region.left, y);
    for (int32_t x = region.left; x < region.right; ++x) {
      for (int32_t k = 0; k < channels; ++k) *out++ = entry(curves == 1 ? 0 : source.PlaceOf(k), *in++);
    }
  }
  return true;
}

}  // namespace zel

#endif  // ZEL_CORE_FORMULA_MAP_H_
