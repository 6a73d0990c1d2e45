// Brightens foliage, sky or skin around a clicked colour.
#ifndef ZEL_SELECTIVE_REGION_TONE_H_
#define ZEL_SELECTIVE_REGION_TONE_H_

#include "core/view.h"
#include "selective/region_hue_mask.h"

namespace zel {

// Screens the image with itself, which lifts shadows and mid-tones, and mixes that in where a softened mask finds the
// colour around `point`. `amount` is in per cent: 100 mixes by 192 of 256, 133 and more by 255; negative ones, like 0,
// copy the source. A reversed rectangle is empty. False, with nothing written, when the records differ, the point lies
// outside the image, the image has one channel or memory ran out. A 16-bit image succeeds and is not written, except
// that amount 0 copies it.
bool SeededToneEnhance(const ImageDesc* source, const ImageDesc* destination, const ZelPoint& point, int32_t amount,
                       const ZelRect* rect);

// The same where the pixel at `point` looks like the region, else a copy of the source. False without a point.
bool RegionTone(const ImageDesc* source, const ImageDesc* destination, ColourRegion region, const ZelPoint* point,
                int32_t amount, const ZelRect* rect);

// The same on samples and without the copy: every pixel of the region goes through the mask, which is blurred by
// `sigma` pixels, or not at all for 0.
template <class T>
bool ToneEnhanceInRegion(const Source<T>& source, const View<T>& destination, const Region& region,
                         const ZelPoint& point, int32_t amount, double sigma);

// Weight of full effect in a mask for a strength in per cent: 192 at 100, at most 255.
int32_t MaskCeiling(int32_t strength);

}  // namespace zel

#endif  // ZEL_SELECTIVE_REGION_TONE_H_
