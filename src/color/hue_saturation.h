// Hue and saturation: all hues turned by the same angle, all saturations scaled by the same factor, lightness kept.
#ifndef ZEL_COLOR_HUE_SATURATION_H_
#define ZEL_COLOR_HUE_SATURATION_H_

#include "core/view.h"

namespace zel {

// Everywhere here: `hue` in degrees, any value, wrapped; positive from red towards green towards blue. `saturation`
// limited to -100 (grey) to 100 (doubled). Greys stay as they are, except in the 16-bit pixel form, where they become 0
// from 32768 up.

// One pixel, red first; `out` may be `in`.
void AdjustHueSaturationPixel(const uint8_t in[3], uint8_t out[3], int32_t hue, int32_t saturation);
void AdjustHueSaturationPixel16(const uint16_t in[3], uint16_t out[3], int32_t hue, int32_t saturation);

// Every node of a colour lattice.
void AdjustLatticeHueSaturation(uint8_t* lattice, int32_t hue, int32_t saturation);

// The rectangle (reordered and cut), through a lattice or pixel by pixel. The lattice serves 8 and 16 bits alike and is
// what the exports use; pixel by pixel is for programs that want the exact colours and have the time. The direct 16-bit
// form starts its rows at sample `left` instead of 3 x `left`, which is promised. Three channels; in place works.
// False, with nothing written, on images that differ or cannot be processed.
bool ApplyHueSaturation(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t hue,
                        int32_t saturation, bool throughLattice);
template <class T>
bool HueSaturationSamples(const Source<T>& source, const View<T>& destination, const Region& region, int32_t hue,
                          int32_t saturation, bool throughLattice);

}  // namespace zel

#endif  // ZEL_COLOR_HUE_SATURATION_H_
