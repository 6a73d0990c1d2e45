#include "selective/weight_lattice.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "simd/prepare.h"

namespace zel::test {
namespace {

std::vector<uint8_t> RandomLattice() {
  std::mt19937 random(1);
  std::vector<uint8_t> lattice(kLatticeEntries);
  for (uint8_t& w : lattice) w = static_cast<uint8_t>(random() % 3 == 0 ? (random() % 2) * 255 : random());
  return lattice;
}

TEST(WeightLattice, GridColoursAreExactAndOthersInterpolate) {
  const std::vector<uint8_t> lattice = RandomLattice();
  EXPECT_EQ(SampleWeightLattice(lattice.data(), 17, 34, 51), lattice[1 + 16 * 2 + 256 * 3]);
  EXPECT_EQ(SampleWeightLattice(lattice.data(), 255, 0, 238), lattice[15 + 256 * 14]);
  // Red steps from 0 to 100 between its first levels: 100 * 8 / 17.
  std::vector<uint8_t> step(kLatticeEntries, 100);
  for (size_t i = 0; i < step.size(); i += 16) step[i] = 0;
  EXPECT_EQ(SampleWeightLattice(step.data(), 8, 90, 200), 47);
  EXPECT_EQ(SampleWeightLattice(step.data(), 16, 5, 0), 94);
}

// Rows of all reds for every green and some blues, in both sample orders; rows of all lengths end with their memory, so
// that a read beyond is caught by the address sanitiser.
TEST(WeightLattice, RowKernelsEqualSingleColours) {
  const std::vector<uint8_t> lattice = RandomLattice();
  std::vector<uint8_t> cells(kWeightCellBytes);
  for (const bool blueFirst : {false, true}) {
    PackWeightCells(lattice.data(), blueFirst, cells.data());
    for (const int blue : {0, 1, 16, 17, 130, 250, 254, 255}) {
      for (int green = 0; green < 256; ++green) {
        const size_t step = green % 4 == 0 ? 4 : 3, pixels = green < 72 ? green : 256;
        std::vector<uint8_t> row(step * pixels), out(pixels + 1);
        for (size_t red = 0; red < pixels; ++red) {
          row[step * red + (blueFirst ? 2 : 0)] = static_cast<uint8_t>(red);
          row[step * red + 1] = static_cast<uint8_t>(green);
          row[step * red + (blueFirst ? 0 : 2)] = static_cast<uint8_t>(blue);
        }
        for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
          out[pixels] = 0x5A;
          (*level)->weight.WeighPixels(row.data(), out.data(), pixels, step, cells.data());
          for (size_t red = 0; red < pixels; ++red) {
            ASSERT_EQ(out[red], SampleWeightLattice(lattice.data(), static_cast<int32_t>(red), green, blue))
                << (*level)->level << " " << red << " " << green << " " << blue;
          }
          ASSERT_EQ(out[pixels], 0x5A);
        }
      }
    }
  }
}

}  // namespace
}  // namespace zel::test
