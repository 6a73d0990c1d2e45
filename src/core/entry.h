// What the exported functions share.
#ifndef ZEL_CORE_ENTRY_H_
#define ZEL_CORE_ENTRY_H_

#include "core/image.h"

namespace zel {

inline int32_t ResultOf(bool success) {
  return success ? ZEL_OK : ZEL_REFUSED;
}

// What a host gets that asks for strength 0: the source, copied. Without a rectangle that is height x stride bytes at
// any depth (the upper half of a 16-bit image), cut to what both records hold; with one its pixels. ZEL_REFUSED when a
// record cannot be used.
int32_t ZeroStrengthCopy(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect);

// What a separate destination gets from some functions that refuse: the source, its rectangle or all height x stride
// samples. Nothing when the records do not agree.
void CopyOfRefused(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect);

inline bool HasPoint(const ZelPoint* point) {
  return point != nullptr && !(point->x == -1 && point->y == -1);
}

// Shows the time since `startTick` when the developer's switch in "zel_ip.ini" asks for it.
void ReportTime(uint32_t startTick);

}  // namespace zel

#endif  // ZEL_CORE_ENTRY_H_
