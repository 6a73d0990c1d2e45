// Weights of colours on a coarse grid, interpolated between its nodes.
#ifndef ZEL_SELECTIVE_WEIGHT_LATTICE_H_
#define ZEL_SELECTIVE_WEIGHT_LATTICE_H_

#include <cstddef>
#include <cstdint>

namespace zel {

// 16 x 16 x 16 byte weights for the colours whose red, green and blue are 0, 17, 34 .. 255. The weight of the levels
// r, g, b (0 to 15) is entry r + 16 * g + 256 * b.
constexpr int32_t kLatticeLevels = 16;
constexpr int32_t kLatticeStep = 17;
constexpr size_t kLatticeEntries = 4096;

// The weight of an 8-bit colour: trilinear, exact, the final quotient truncated. A grid colour gets its entry. No
// export comes here, rows are weighed by their kernel, of which this is the judge.
int32_t SampleWeightLattice(const uint8_t* lattice, int32_t red, int32_t green, int32_t blue);

}  // namespace zel

#endif  // ZEL_SELECTIVE_WEIGHT_LATTICE_H_
