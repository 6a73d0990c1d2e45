#include "color/color_lattice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "simd/kernels.h"
#include "support/images.h"

namespace zel::test {
namespace {

// A lattice that is bent differently in every channel.
std::vector<uint8_t> RandomLattice(uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> lattice(kLatticeSamples);
  for (uint8_t& sample : lattice) sample = static_cast<uint8_t>(random() % 3 == 0 ? random() % 2 * 255 : random());
  return lattice;
}

// The walk through the tetrahedron step by step: earlier channels go first on equal fractions, no step beyond index 15.
std::vector<int> Walk(const std::vector<uint8_t>& lattice, const int colour[3]) {
  int index[3], fraction[3], axes[3] = {0, 1, 2};
  for (int k = 0; k < 3; ++k) {
    index[k] = colour[k] / 17;
    fraction[k] = colour[k] % 17;
  }
  std::stable_sort(axes, axes + 3, [&](int a, int b) { return fraction[a] > fraction[b]; });
  const auto node = [&](int c) { return lattice[3 * ((index[2] * 16 + index[1]) * 16 + index[0]) + c]; };
  std::vector<int> base, d(3), before(3);
  for (int c = 0; c < 3; ++c) base.push_back(node(c));
  before = base;
  for (int axis : axes) {
    if (index[axis] < 15) ++index[axis];
    for (int c = 0; c < 3; ++c) {
      d[c] += (node(c) - before[c]) * fraction[axis];
      before[c] = node(c);
    }
  }
  for (int c = 0; c < 3; ++c) base[c] = std::min(base[c] + ((d[c] - (d[c] >> 4)) >> 4), 255);
  return base;
}

TEST(ColorLattice, MapsAsTheWalkDoesAtEveryKernelLevel) {
  // All fractions, each in some cube, and the ends.
  std::vector<uint8_t> in;
  for (int i = 0; i < 17 * 17 * 17; ++i) {
    for (int v : {i % 17, i / 17 % 17, i / 289})
      in.push_back(static_cast<uint8_t>(i % 31 == 0 ? 255 : v + i % 15 * 17));
  }
  const size_t pixels = in.size() / 3;
  std::mt19937 random(1);
  std::vector<uint16_t> wideIn;
  for (uint8_t v : in) wideIn.push_back(static_cast<uint16_t>(v * 257 + (v == 255 ? 0 : random() % 257)));
  const std::vector<uint8_t> lattice = RandomLattice(2);
  for (bool blueFirst : {false, true}) {
    std::vector<uint8_t> expected(in.size()), out(in.size());
    std::vector<uint16_t> wideExpected(in.size()), wideOut(in.size());
    for (size_t i = 0; i < in.size(); i += 3) {
      const size_t red = i + (blueFirst ? 2 : 0), blue = i + (blueFirst ? 0 : 2);
      const int colour[3] = {in[red], in[i + 1], in[blue]};
      const std::vector<int> mapped = Walk(lattice, colour);
      expected[red] = static_cast<uint8_t>(mapped[0]);
      expected[i + 1] = static_cast<uint8_t>(mapped[1]);
      expected[blue] = static_cast<uint8_t>(mapped[2]);
      for (size_t k = i; k < i + 3; ++k) wideExpected[k] = static_cast<uint16_t>(expected[k] * 257);
    }
    for (size_t level = 0; level < KernelLevel::Count(); ++level) {
      const KernelLevel active(level);
      for (int64_t regionPixels : {int64_t{1}, int64_t{1} << 40}) {
        const LatticeMap map(lattice.data(), regionPixels);
        map.Map(in.data(), out.data(), pixels, blueFirst);
        map.Map(wideIn.data(), wideOut.data(), pixels, blueFirst);
        ASSERT_EQ(out, expected) << "level " << level;
        ASSERT_EQ(wideOut, wideExpected) << "level " << level;
        for (size_t count = 0; count <= 70; ++count) {
          std::vector<uint8_t> part(in.begin(), in.begin() + static_cast<ptrdiff_t>(3 * count + 1));
          map.Map(part.data(), part.data(), count, blueFirst);
          ASSERT_TRUE(std::equal(part.begin(), part.end() - 1, expected.begin())) << count << " pixels";
          ASSERT_EQ(part.back(), in[3 * count]);
        }
      }
    }
  }
}

TEST(ColorLattice, SixteenBitLatticesAndOtherImagesChangeNothing) {
  std::vector<uint16_t> wide(kLatticeSamples);
  MakeColorLattice(wide.data(), 16);
  EXPECT_EQ(wide[3 * (16 * 16 * 1 + 16 * 2 + 15)], 65535);
  EXPECT_EQ(wide[3 * (16 * 16 * 1 + 16 * 2 + 15) + 2], 4369);
  EXPECT_EQ(MakeColorLattice(wide.data(), 12), nullptr);
  const TestImage colour({}), grey({37, 23, 1}), before(colour), greyBefore(grey);
  EXPECT_TRUE(ApplyColorLatticeToImage(colour.desc(), colour.desc(), nullptr, wide.data(), 16));
  EXPECT_FALSE(ApplyColorLatticeToImage(colour.desc(), colour.desc(), nullptr, wide.data(), 12));
  EXPECT_FALSE(ApplyColorLatticeToImage(grey.desc(), grey.desc(), nullptr, wide.data(), 8));
  EXPECT_TRUE(colour == before && grey == greyBefore);
}

TEST(ColorLattice, ComposingMapsTheNodes) {
  std::vector<uint8_t> first = RandomLattice(4);
  const std::vector<uint8_t> before = first, second = RandomLattice(5);
  ComposeColorLattices(first.data(), second.data());
  for (size_t i = 0; i < kLatticeSamples; i += 3) {
    const int colour[3] = {before[i], before[i + 1], before[i + 2]};
    const std::vector<int> expected = Walk(second, colour);
    for (size_t k = 0; k < 3; ++k) ASSERT_EQ(first[i + k], expected[k]);
  }
}

}  // namespace
}  // namespace zel::test
