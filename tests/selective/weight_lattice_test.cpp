#include "selective/weight_lattice.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "simd/kernels.h"

namespace zel::test {
namespace {

std::vector<uint8_t> RandomLattice(uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> lattice(kLatticeEntries);
  for (uint8_t& w : lattice) w = static_cast<uint8_t>(random() % 3 == 0 ? (random() % 2) * 255 : random());
  return lattice;
}

TEST(WeightLattice, GridColoursAreExactAndOthersInterpolate) {
  const std::vector<uint8_t> lattice = RandomLattice(1);
  EXPECT_EQ(SampleWeightLattice(lattice.data(), 17, 34, 51), lattice[1 + 16 * 2 + 256 * 3]);
  EXPECT_EQ(SampleWeightLattice(lattice.data(), 255, 255, 255), lattice[4095]);
  EXPECT_EQ(SampleWeightLattice(lattice.data(), 255, 0, 238), lattice[15 + 256 * 14]);
  // Red steps from 0 to 100 between its first levels: 100 * 8 / 17.
  std::vector<uint8_t> step(kLatticeEntries, 100);
  for (size_t i = 0; i < step.size(); i += 16) step[i] = 0;
  EXPECT_EQ(SampleWeightLattice(step.data(), 8, 90, 200), 47);
  EXPECT_EQ(SampleWeightLattice(step.data(), 16, 5, 0), 94);
}

// Every pair of red and green for some blues, in both sample orders, every level against one colour at a time.
TEST(WeightLattice, RowKernelsEqualSingleColours) {
  for (const bool blueFirst : {false, true}) {
    const std::vector<uint8_t> lattice = RandomLattice(blueFirst ? 2 : 3);
    std::vector<uint8_t> cells(kCellBytes), row(256 * 4), out(256);
    PackWeightCells(lattice.data(), blueFirst, cells.data());
    for (int blue : {0, 1, 16, 17, 130, 238, 250, 254, 255}) {
      for (int green = 0; green < 256; ++green) {
        for (size_t step : {3, 4}) {
          for (size_t red = 0; red < 256; ++red) {
            row[step * red + (blueFirst ? 2 : 0)] = static_cast<uint8_t>(red);
            row[step * red + 1] = static_cast<uint8_t>(green);
            row[step * red + (blueFirst ? 0 : 2)] = static_cast<uint8_t>(blue);
          }
          for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
            (*level)->weight.WeighPixels(row.data(), out.data(), 256, step, cells.data());
            for (int red = 0; red < 256; ++red) {
              ASSERT_EQ(out[red], SampleWeightLattice(lattice.data(), red, green, blue))
                  << (*level)->level << " " << red << " " << green << " " << blue;
            }
          }
        }
      }
    }
  }
}

TEST(WeightLattice, EveryLengthReadsAndWritesExactlyItsRow) {
  const std::vector<uint8_t> lattice = RandomLattice(4), colours = RandomLattice(5);
  std::vector<uint8_t> cells(kCellBytes);
  PackWeightCells(lattice.data(), false, cells.data());
  for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
    for (size_t pixels = 0; pixels <= 70; ++pixels) {
      for (size_t at : {0, 1, 5}) {
        // A copy that ends with the row, so that a read beyond it is caught by the address sanitiser.
        const std::vector<uint8_t> row(colours.begin(), colours.begin() + static_cast<long>(at + 3 * pixels));
        std::vector<uint8_t> out(90, 0x5A), want(90, 0x5A);
        (*level)->weight.WeighPixels(row.data() + at, out.data() + at, pixels, 3, cells.data());
        scalar::kKernels.weight.WeighPixels(row.data() + at, want.data() + at, pixels, 3, cells.data());
        ASSERT_EQ(out, want) << (*level)->level << " " << pixels << " at " << at;
      }
    }
  }
}

}  // namespace
}  // namespace zel::test
