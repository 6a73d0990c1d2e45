// The point-sampled reduction on which the automatic corrections look at a photograph.
#ifndef ZEL_CORE_REDUCE_H_
#define ZEL_CORE_REDUCE_H_

#include "core/image.h"
#include "core/scratch.h"

namespace zel {

// A packed copy of some of an image's pixels.
struct SampledCopy {
  Scratch<uint8_t> pixels;
  Geometry geometry;
};

// Every n-th pixel of every n-th row of the rectangle (reordered and cut to the image), from its own top left corner,
// with the smallest n that leaves at most `limit` columns and rows. No averaging. Any channel count, 8 and 16 bits.
// False when the geometry does not describe memory, the rectangle is empty or memory ran out.
bool PointSample(const void* source, const Geometry& geometry, const ZelRect* rect, int32_t limit, SampledCopy* copy);

// Rounds a 16-bit copy to 8 bits in place, for measurements that must not depend on the depth.
void BringTo8Bits(SampledCopy* copy);

}  // namespace zel

#endif  // ZEL_CORE_REDUCE_H_
