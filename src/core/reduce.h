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

// Calls visit(a, b) for every two pixels beside or above each other, the first in one of every `everyRow` rows; an
// image of three channels.
template <class Visit>
void ForEachNeighbours(const View<const uint8_t>& image, const Visit& visit, int32_t everyRow = 1) {
  for (int32_t y = 0; y < image.height; y += everyRow) {
    const uint8_t* const row = image.At(0, y);
    const uint8_t* const below = y + 1 < image.height ? image.At(0, y + 1) : nullptr;
    for (int32_t x = 0; x < image.width; ++x) {
      if (x + 1 < image.width) visit(row + 3 * x, row + 3 * x + 3);
      if (below != nullptr) visit(row + 3 * x, below + 3 * x);
    }
  }
}

}  // namespace zel

#endif  // ZEL_CORE_REDUCE_H_
