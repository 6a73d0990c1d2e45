// The point-sampled reduction on which the automatic corrections look at a photograph.
#ifndef ZEL_CORE_REDUCE_H_
#define ZEL_CORE_REDUCE_H_

#include "core/scratch.h"
#include "core/view.h"

namespace zel {

// Columns and rows at which most corrections look.
constexpr int32_t kMeasuredExtent = 300;

// A packed copy of some of an image's pixels.
template <class T>
struct SampledCopy {
  Scratch<T> samples;
  View<T> view;
};

// Every n-th pixel of every n-th row of the region, from its own top left corner, with the smallest n that leaves at
// most `limit` columns and rows. No averaging. A copy of 8 bits may be taken of 16-bit samples too, for measurements
// that must not depend on the depth: each is rounded. False when the region is empty or memory ran out.
template <class T, class C>
bool PointSample(const View<const T>& source, const Region& region, int32_t limit, SampledCopy<C>* copy);

}  // namespace zel

#endif  // ZEL_CORE_REDUCE_H_
