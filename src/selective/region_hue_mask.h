// Masks of the pixels whose hue is typical of skin, foliage or sky.
#ifndef ZEL_SELECTIVE_REGION_HUE_MASK_H_
#define ZEL_SELECTIVE_REGION_HUE_MASK_H_

#include "core/view.h"

namespace zel {

enum ColourRegion : int32_t { kSkin = 0, kFoliage = 1, kSky = 2 };

// Writes a weight from 0 to `maximum` into every channel of the mask's pixels inside the rectangle (reordered and cut).
// With T = max(10, tolerance) the weight is full within T / 2 degrees of the region's typical hue (skin 10, foliage
// 105, sky 240) and falls to nothing over T more. Greys weigh nothing. `maximum` is limited to what a mask sample
// holds, negative ones to 0.
//
// Source of three channels, mask of one or three, 8 and 16 bits each, in any combination. False, with nothing written,
// for another region, when the images differ in size or cannot be processed.
// No export comes here, the tools build their masks from views: for programs that keep masks in records.
bool BuildRegionHueMask(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect, ColourRegion region,
                        int32_t tolerance, int32_t maximum);
template <class T, class M>
bool BuildRegionHueMaskRaw(const View<const T>& image, const View<M>& mask, const Region& region, ColourRegion hues,
                           int32_t tolerance, int32_t maximum);

}  // namespace zel

#endif  // ZEL_SELECTIVE_REGION_HUE_MASK_H_
