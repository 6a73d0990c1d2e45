// Highlight and shadow: levels set by hand, one pair of points per channel.
#ifndef ZEL_TONE_HIGHLIGHT_SHADOW_H_
#define ZEL_TONE_HIGHLIGHT_SHADOW_H_

#include "core/view.h"

namespace zel {

// Stretches each channel between its shadow point (becomes black) and its highlight point (becomes white), both on the
// scale 0 to `max`, which is at least 1; points beyond it count as its ends. Both arrays hold three values, red first,
// even for one channel. 1 and 3 channels, 8 and 16 bits. False, with nothing written, on images that differ or cannot
// be processed, a null array, or when memory ran out.
bool HighlightShadow(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                     const int32_t* highlight, const int32_t* shadow, int32_t max);
template <class T>
bool HighlightShadowRaw(const Source<T>& source, const View<T>& destination, const Region& region,
                        const int32_t* highlight, const int32_t* shadow, int32_t max);

}  // namespace zel

#endif  // ZEL_TONE_HIGHLIGHT_SHADOW_H_
