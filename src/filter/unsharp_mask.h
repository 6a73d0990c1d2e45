// Unsharp mask: differences from the blurred picture, made larger.
#ifndef ZEL_FILTER_UNSHARP_MASK_H_
#define ZEL_FILTER_UNSHARP_MASK_H_

#include "core/view.h"

namespace zel {

// Moves every sample of the rectangle (corners in any order) that differs from its blurred value by more than the
// threshold further away from it, by what exceeds the threshold times the amount.
//   amount     per cent; 100 adds the excess once at 8 bits and 256 times at 16 bits. A negative one smooths.
//   radius     standard deviation of the blur, limited to 0.1..10 pixels
//   threshold  0 to 255 at any depth; at 16 bits it counts 257 levels
// 1 and 3 channels, 8 and 16 bits; the destination may be the source. False on images that differ (nothing is written)
// and on those that cannot be blurred: a separate destination then receives a copy of the source.
bool UnsharpMask(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t amount,
                 float radius, uint32_t threshold);
template <class T>
bool UnsharpMaskRaw(const Source<T>& source, const View<T>& destination, const ZelRect* rect, int32_t amount,
                    float radius, uint32_t threshold);

}  // namespace zel

#endif  // ZEL_FILTER_UNSHARP_MASK_H_
