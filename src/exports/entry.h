// What the exported functions share.
#ifndef ZEL_EXPORTS_ENTRY_H_
#define ZEL_EXPORTS_ENTRY_H_

#include "zel.h"

namespace zel {

inline int32_t ResultOf(bool success) {
  return success ? ZEL_OK : ZEL_REFUSED;
}

// Null for both ways in which a host says that there is no point.
inline const ZelPoint* Given(const ZelPoint* point) {
  return point != nullptr && point->x == -1 && point->y == -1 ? nullptr : point;
}

}  // namespace zel

#endif  // ZEL_EXPORTS_ENTRY_H_
