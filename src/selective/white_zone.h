// The white zone: the brightest pixels of a picture, where the colour of a cast shows best.
#ifndef ZEL_SELECTIVE_WHITE_ZONE_H_
#define ZEL_SELECTIVE_WHITE_ZONE_H_

#include "core/view.h"

namespace zel {

constexpr uint8_t kInWhiteZone = 255;

// Marks the white zone with 255 and the rest with 0 in `mask`, one byte a pixel, rows next to each other. How bright a
// zone starts, and whether pixels too dark, too light or too colourful leave it again, is read from the settings file
// "Zel_ColorCast.ini" on every call.
//
// Three channels. An image stored red first has no white zone: the mask stays as it came, with success. False, with
// nothing written, for other images and without a mask.
bool BuildWhiteZoneMask(const View<const uint8_t>& image, uint8_t* mask);

}  // namespace zel

#endif  // ZEL_SELECTIVE_WHITE_ZONE_H_
