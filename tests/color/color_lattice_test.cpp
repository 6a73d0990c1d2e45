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
  std::mt19937 random(1);
  const std::vector<uint8_t> lattice = RandomLattice(2);
  for (size_t level = 0; level < KernelLevel::Count(); ++level) {
    const KernelLevel active(level);
    for (int64_t regionPixels : {int64_t{1}, int64_t{1} << 40}) {
      const LatticeMap map(lattice.data(), regionPixels);
      for (size_t count = 0; count <= 70; ++count) {
        for (bool blueFirst : {false, true}) {
          const size_t start = count % 7, samples = 3 * count;
          std::vector<uint8_t> in(start + samples), out(start + samples + 1, 77);
          std::vector<uint16_t> wideIn(in.size()), wideOut(out.size(), 777);
          for (size_t i = 0; i < in.size(); ++i) {
            in[i] = static_cast<uint8_t>(random() % 4 == 0 ? random() % 2 * 255 : random());
            wideIn[i] = static_cast<uint16_t>(in[i] * 257 + (in[i] == 255 ? 0 : random() % 257));
          }
          map.MapBytes(in.data() + start, out.data() + start, count, blueFirst);
          map.MapWords(wideIn.data() + start, wideOut.data() + start, count, blueFirst);
          for (size_t p = 0; p < count; ++p) {
            const uint8_t* pixel = &in[start + 3 * p];
            const int colour[3] = {pixel[blueFirst ? 2 : 0], pixel[1], pixel[blueFirst ? 0 : 2]};
            const std::vector<int> expected = Walk(lattice, colour);
            for (size_t k = 0; k < 3; ++k) {
              const size_t i = start + 3 * p + (blueFirst ? 2 - k : k);
              ASSERT_EQ(out[i], expected[k]) << count << " pixels at level " << level;
              ASSERT_EQ(wideOut[i], expected[k] * 257);
            }
          }
          ASSERT_EQ(out[start + samples], 77);
          ASSERT_EQ(wideOut[start + samples], 777);
        }
      }
    }
  }
}

// All fractions in one cube, all indices, and the division of words, which the walks above only sample.
TEST(LatticeKernels, AgreeOnEveryFraction) {
  const std::vector<uint8_t> lattice = RandomLattice(6);
  std::vector<uint8_t> in, plain, fast;
  for (int i = 0; i < 17 * 17 * 17; ++i) {
    const int shift = i % 15 * 17;
    for (int v : {i % 17, i / 17 % 17, i / 289}) in.push_back(static_cast<uint8_t>(v + shift));
  }
  plain.resize(in.size());
  fast.resize(in.size());
  const LatticeMap few(lattice.data(), 1), many(lattice.data(), 1 << 30);
  few.MapBytes(in.data(), plain.data(), in.size() / 3, false);
  for (size_t level = 0; level < KernelLevel::Count(); ++level) {
    const KernelLevel active(level);
    many.MapBytes(in.data(), fast.data(), in.size() / 3, false);
    EXPECT_EQ(plain, fast) << "level " << level;
    std::vector<uint16_t> words(65536), back(65536);
    std::vector<uint8_t> bytes(65536);
    for (size_t v = 0; v < 65536; ++v) words[v] = static_cast<uint16_t>(v);
    ActiveKernels().lattice.DivideBy257(words.data(), bytes.data(), 65536);
    ActiveKernels().lattice.MultiplyBy257(bytes.data(), back.data(), 65536);
    for (size_t v = 0; v < 65536; ++v) {
      ASSERT_EQ(bytes[v], v / 257);
      ASSERT_EQ(back[v], v / 257 * 257);
    }
  }
}

TEST(ColorLattice, IdentityLowersTheLastOfEverySeventeen) {
  uint8_t lattice[kLatticeSamples];
  ASSERT_EQ(MakeColorLattice(lattice, 8), lattice);
  const TestImage source({256, 3, 3, 8, true, 0}), wide({64, 9, 3, 16, false, 2});
  TestImage out(source), wideOut(wide);
  ASSERT_TRUE(ApplyColorLatticeToImage(source.desc(), out.desc(), nullptr, lattice, 8));
  ASSERT_TRUE(ApplyColorLatticeToImage(wide.desc(), wideOut.desc(), nullptr, lattice, 8));
  const auto mapped = [](int v) { return v % 17 == 16 ? v - 1 : v; };
  for (int x = 0; x < 256; ++x) EXPECT_EQ(out.Get(x, 1, 1), mapped(source.Get(x, 1, 1)));
  for (int x = 0; x < 64; ++x) EXPECT_EQ(wideOut.Get(x, 5, 2), mapped(wide.Get(x, 5, 2) / 257) * 257);
}

TEST(ColorLattice, SixteenBitLatticesAndOtherImagesChangeNothing) {
  std::vector<uint16_t> wideLattice(kLatticeSamples);
  MakeColorLattice(wideLattice.data(), 16);
  EXPECT_EQ(wideLattice[3 * (16 * 16 * 1 + 16 * 2 + 15)], 65535);
  EXPECT_EQ(wideLattice[3 * (16 * 16 * 1 + 16 * 2 + 15) + 2], 4369);
  EXPECT_EQ(MakeColorLattice(wideLattice.data(), 12), nullptr);
  const std::vector<uint8_t> lattice = RandomLattice(3);
  const TestImage colour({}), grey({37, 23, 1});
  TestImage out(colour), greyOut(grey);
  EXPECT_TRUE(ApplyColorLatticeToImage(colour.desc(), out.desc(), nullptr, wideLattice.data(), 16));
  EXPECT_FALSE(ApplyColorLatticeToImage(colour.desc(), out.desc(), nullptr, wideLattice.data(), 12));
  EXPECT_FALSE(ApplyColorLatticeToImage(colour.desc(), out.desc(), nullptr, nullptr, 8));
  EXPECT_FALSE(ApplyColorLatticeToImage(grey.desc(), greyOut.desc(), nullptr, lattice.data(), 8));
  EXPECT_TRUE(out.SameBytes(colour) && greyOut.SameBytes(grey));
}

TEST(ColorLattice, ComposingMapsTheNodes) {
  std::vector<uint8_t> first = RandomLattice(4);
  const std::vector<uint8_t> before = first, second = RandomLattice(5);
  EXPECT_FALSE(ComposeColorLattices(first.data(), 16, second.data(), 8));
  EXPECT_TRUE(ComposeColorLattices(first.data(), 8, second.data(), 16));
  EXPECT_EQ(first, before);
  ASSERT_TRUE(ComposeColorLattices(first.data(), 8, second.data(), 8));
  for (size_t i = 0; i < kLatticeSamples; i += 3) {
    const int colour[3] = {before[i], before[i + 1], before[i + 2]};
    const std::vector<int> expected = Walk(second, colour);
    for (size_t k = 0; k < 3; ++k) ASSERT_EQ(first[i + k], expected[k]);
  }
}

}  // namespace
}  // namespace zel::test
