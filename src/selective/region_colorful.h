// Raises the colour of foliage, sky or skin.
#ifndef ZEL_SELECTIVE_REGION_COLORFUL_H_
#define ZEL_SELECTIVE_REGION_COLORFUL_H_

#include "selective/region_hue_mask.h"

namespace zel {

// Raises saturation and a little brightness where a mask finds the colour around `point`, or the hues that are typical
// of a region. The less saturated that area is, the more is added. `amount` is in per cent: above 50 a fixed part is
// added, above 85 the mask widens; 0 copies the source. The mask and the measurement look at the whole image, whatever
// the rectangle; the last softening also looks at the pixels that the destination holds around the rectangle. A
// reversed rectangle is empty.
//
// 8 bits, three channels. False, with nothing written, for anything else, when the records differ, for a point outside
// the image and without memory.
bool SeededColourfulEnhance(const ImageDesc* source, const ImageDesc* destination, const ZelPoint& point,
                            int32_t amount, const ZelRect* rect);
bool RegionColourfulEnhance(const ImageDesc* source, const ImageDesc* destination, ColourRegion region, int32_t amount,
                            const ZelRect* rect);

// The first around a point that looks like the region, the second without a point. A point that does not look like it
// leaves a copy of the source.
bool RegionColourful(const ImageDesc* source, const ImageDesc* destination, ColourRegion region, const ZelPoint* point,
                     int32_t amount, const ZelRect* rect);

// Looks at the pixels of a three-channel image whose weight in the mask reaches `threshold`:
// lowers the weight where the saturation is above 75 per cent already, and counts the saturations of those whose weight
// still reaches it.
void MeasureSaturation(const View<const uint8_t>& image, const View<uint8_t>& mask, int64_t threshold,
                       uint32_t histogram[101]);

// How much saturation to add, in per cent, for `amount` and the saturations of the area: counts of 0 to 100 per cent.
int64_t SaturationIncrease(const uint32_t histogram[101], int32_t amount);

}  // namespace zel

#endif  // ZEL_SELECTIVE_REGION_COLORFUL_H_
