#include "selective/weight_lattice.h"

#include <algorithm>

namespace zel {

namespace {

size_t EntryOf(int32_t r, int32_t g, int32_t b) {
  return static_cast<size_t>(r) + 16 * static_cast<size_t>(g) + 256 * static_cast<size_t>(b);
}

// Past the last level there is no neighbour; the fraction is 0 there.
int32_t Above(int32_t level) {
  return std::min(level + 1, kLatticeLevels - 1);
}

}  // namespace

int32_t SampleWeightLattice(const uint8_t* lattice, int32_t red, int32_t green, int32_t blue) {
  const int32_t r = red / kLatticeStep, g = green / kLatticeStep, b = blue / kLatticeStep;
  const int32_t fr = red % kLatticeStep, fg = green % kLatticeStep, fb = blue % kLatticeStep;
  int32_t sum = 0;
  for (int32_t corner = 0; corner < 8; ++corner) {
    const bool upR = (corner & 1) != 0, upG = (corner & 2) != 0, upB = (corner & 4) != 0;
    const int32_t weight =
        (upR ? fr : kLatticeStep - fr) * (upG ? fg : kLatticeStep - fg) * (upB ? fb : kLatticeStep - fb);
    sum += weight * lattice[EntryOf(upR ? Above(r) : r, upG ? Above(g) : g, upB ? Above(b) : b)];
  }
  return sum / (kLatticeStep * kLatticeStep * kLatticeStep);
}

}  // namespace zel
