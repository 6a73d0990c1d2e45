// Hue, saturation and lightness by colour range: a master setting and one for each of six ranges of the hue circle.
#ifndef ZEL_COLOR_HUE_SATURATION_RANGES_H_
#define ZEL_COLOR_HUE_SATURATION_RANGES_H_

#include "core/view.h"

namespace zel {

// Seven settings each: master, red, yellow, green, cyan, blue, magenta. Any values; hue shifts in degrees, the others
// in per cent. A range rules 30 degrees around its hue and fades into its neighbours over the next 30.
struct RangeSettings {
  int32_t hue[7] = {};
  int32_t saturation[7] = {};
  int32_t lightness[7] = {};
};

// One 8-bit pixel, red first; `out` may be `in`. Range settings never touch greys, the master lightness does.
void AdjustRangesPixel(const uint8_t in[3], uint8_t out[3], const RangeSettings& settings);

// Every node of a colour lattice that is not grey.
void AdjustLatticeRanges(uint8_t* lattice, const RangeSettings& settings);

// The rectangle (reordered and cut), through a lattice (8 and 16 bits), as the exports do, or pixel by pixel (8 bits),
// for programs that want the exact colours and have the time. Three channels; in place works. False, with nothing
// written, on images that differ or cannot be processed.
bool ApplyHueSaturationRanges(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                              const RangeSettings& settings, bool throughLattice);
template <class T>
bool HueSaturationRangesSamples(const Source<T>& source, const View<T>& destination, const Region& region,
                                const RangeSettings& settings, bool throughLattice);

}  // namespace zel

#endif  // ZEL_COLOR_HUE_SATURATION_RANGES_H_
