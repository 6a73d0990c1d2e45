// Curves for 16-bit images that are given by a formula.
#ifndef ZEL_CORE_FORMULA_MAP_H_
#define ZEL_CORE_FORMULA_MAP_H_

#include "core/channel_lut.h"
#include "core/scratch.h"

namespace zel {

// Maps the words of the rectangle (reordered and cut) through `curves` curves: one for all channels, or three in the
// order red, green, blue. entry(k, v) is the value of curve k at v. A region with fewer pixels than a table has entries
// asks the formula for each sample; a larger one fills tables first. The geometry describes a 16-bit image of 1 or 3
// channels. False when memory ran out.
template <class Entry>
bool MapWordsByFormula(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                       int32_t curves, const Entry& entry) {
  const Region region = ClampedRegion(rect, geometry.width, geometry.height);
  if (region.IsEmpty()) return true;
  if (static_cast<int64_t>(region.Width()) * region.Height() >= static_cast<int64_t>(kLutEntries16)) {
    const Scratch<uint16_t> block(curves * kLutEntries16);
    if (!block) return false;
    for (int32_t k = 0; k < curves; ++k) {
      uint16_t* const table = block.data() + k * kLutEntries16;
      for (int32_t i = 0; i < static_cast<int32_t>(kLutEntries16); ++i) table[i] = entry(k, i);
    }
    return ApplyChannelLutRaw(source, destination, geometry, rect, block.data(), curves, 16);
  }
  const int32_t channels = geometry.channels;
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const size_t row = geometry.RowOffset(y);
    const uint16_t* const in = static_cast<const uint16_t*>(source) + row;
    uint16_t* const out = static_cast<uint16_t*>(destination) + row;
    for (size_t x = region.left; x < static_cast<size_t>(region.right); ++x) {
      for (int32_t k = 0; k < channels; ++k) {
        const int32_t curve = curves == 1 ? 0 : geometry.blueFirst ? 2 - k : k;
        out[x * channels + k] = entry(curve, in[x * channels + k]);
      }
    }
  }
  return true;
}

}  // namespace zel

#endif  // ZEL_CORE_FORMULA_MAP_H_
