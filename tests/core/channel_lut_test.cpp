#include "core/channel_lut.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <vector>

#include "core/scratch.h"
#include "support/images.h"

namespace zel::test {
namespace {

// Tables of either depth, with jumps up and down, each different.
template <class T>
std::vector<T> Curves(int tables) {
  const size_t entries = sizeof(T) == 1 ? kLutEntries8 : kLutEntries16;
  std::vector<T> block(tables * entries);
  for (size_t i = 0; i < block.size(); ++i)
    block[i] = static_cast<T>((i * 40503 + i / entries * 77) >> (sizeof(T) == 1 ? 3 : 2));
  return block;
}

TEST(ChannelLut, KeepsTheImageLawsAtEveryDepthOfBlock) {
  const std::vector<uint8_t> bytes = Curves<uint8_t>(3);
  const std::vector<uint16_t> words = Curves<uint16_t>(3);
  for (int bits : {8, 16}) {
    for (int tables : {1, 2, 3}) {
      const void* block = bits == 8 ? static_cast<const void*>(bytes.data()) : words.data();
      ExpectImageLaws(
          [=](const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
            return ApplyChannelLut(source, destination, rect, block, tables, bits) ? ZEL_OK : ZEL_REFUSED;
          },
          CommonShapes());
    }
  }
}

TEST(ChannelLut, IdentityOfEitherDepthChangesNothing) {
  for (const Shape& shape : CommonShapes()) {
    for (int bits : {8, 16}) {
      void* const identity = MakeIdentityLut(nullptr, 3, bits);
      ASSERT_NE(identity, nullptr);
      const TestImage source(shape);
      TestImage mapped(source);
      EXPECT_TRUE(ApplyChannelLut(source.desc(), mapped.desc(), nullptr, identity, 3, bits));
      EXPECT_EQ(mapped, source) << "block of " << bits << " bits";
      ReleaseBytes(identity);
    }
  }
  int anything;
  EXPECT_EQ(MakeIdentityLut(&anything, 3, 12), &anything);
  EXPECT_EQ(MakeIdentityLut(nullptr, 3, 12), nullptr);
}

// Missing tables fall back to the first, the blue one also when there are two.
TEST(ChannelLut, TablesBelongToColours) {
  for (int tables : {1, 2, 3}) {
    std::vector<uint8_t> block(3 * 256);
    for (int i = 0; i < 768; ++i) block[i] = static_cast<uint8_t>(10 * (i / 256 + 1));
    for (int bits : {8, 16}) {
      TestImage image({5, 3, 3, bits, true});
      ASSERT_TRUE(ApplyChannelLut(image.desc(), image.desc(), nullptr, block.data(), tables, 8));
      const int unit = bits == 8 ? 1 : 257;
      EXPECT_EQ(image.Colour(2, 1, 0), 10 * unit);
      EXPECT_EQ(image.Colour(2, 1, 1), (tables >= 2 ? 20 : 10) * unit);
      EXPECT_EQ(image.Colour(2, 1, 2), (tables >= 3 ? 30 : 10) * unit);
    }
  }
}

TEST(ChannelLut, BlocksAreBroughtToTheImagesDepth) {
  std::vector<uint8_t> bytes(256);
  std::iota(bytes.begin(), bytes.end(), static_cast<uint8_t>(0));
  bytes[101] = 50;  // falls from 100, rises to 102
  EXPECT_EQ(Interpolated(bytes.data(), 257 * 100), 257 * 100);
  EXPECT_EQ(Interpolated(bytes.data(), 257 * 100 + 3), 257 * 100 - 3 * 50);
  EXPECT_EQ(Interpolated(bytes.data(), 257 * 101 + 256), 257 * 50 + 256 * 52);
  EXPECT_EQ(Interpolated(bytes.data(), 65535), 65535);
  // A region smaller than a table is interpolated sample by sample, a larger one through tables.
  const std::vector<uint8_t> curves = Curves<uint8_t>(3);
  const TestImage source({300, 220, 3, 16});
  TestImage whole(source), tiles(source);
  ASSERT_TRUE(ApplyChannelLut(source.desc(), whole.desc(), nullptr, curves.data(), 3, 8));
  for (int y = 0; y < 220; y += 110) {
    const ZelRect rect{0, y, 300, y + 110};
    ASSERT_TRUE(ApplyChannelLut(source.desc(), tiles.desc(), &rect, curves.data(), 3, 8));
  }
  EXPECT_TRUE(whole.SameBytes(tiles));
  EXPECT_EQ(whole.Colour(150, 110, 1), Interpolated(curves.data() + 256, source.Colour(150, 110, 1)));

  std::vector<uint16_t> words(65536, 9);
  words[257 * 7] = 257 * 200 + 256;
  TestImage image({2, 1, 1, 8});
  image.Fill(7);
  ASSERT_TRUE(ApplyChannelLut(image.desc(), image.desc(), nullptr, words.data(), 1, 16));
  EXPECT_EQ(image.Get(0, 0, 0), 200);
}

TEST(ChannelLut, RefusesBeforeItLooksAtTheRegion) {
  const std::vector<uint8_t> block = Curves<uint8_t>(3);
  TestImage image({6, 4, 3}), padded({6, 4, 3, 8, true, 2}), four({6, 4, 4});
  const ZelRect empty{3, 3, 3, 3};
  const auto apply = [&](const TestImage& destination, const void* curves, int bits) {
    return ApplyChannelLut(image.desc(), destination.desc(), &empty, curves, 3, bits);
  };
  EXPECT_TRUE(apply(image, block.data(), 8));
  EXPECT_FALSE(apply(padded, block.data(), 8) || apply(image, nullptr, 8) || apply(image, block.data(), 12));
  const TestImage before(four);
  EXPECT_TRUE(ApplyChannelLut(four.desc(), four.desc(), nullptr, block.data(), 3, 8));
  EXPECT_EQ(four, before);
}

TEST(ComposeChannelLut, ChainsTargetThenSecond) {
  std::vector<uint8_t> target = Curves<uint8_t>(3);
  const std::vector<uint8_t> first(target);
  // Three tables are paired, of any other number the first serves all.
  std::vector<uint8_t> second(768);
  for (int i = 0; i < 768; ++i) second[i] = i / 256 == 1 ? 0 : static_cast<uint8_t>(255 - i);
  ASSERT_TRUE(ComposeChannelLut(target.data(), 3, 8, second.data(), 3, 8));
  for (int i = 0; i < 768; ++i) ASSERT_EQ(target[i], i / 256 == 1 ? 0 : 255 - first[i]);
  target = first;
  ASSERT_TRUE(ComposeChannelLut(target.data(), 3, 8, second.data(), 2, 8));
  for (int i = 0; i < 768; ++i) ASSERT_EQ(target[i], 255 - first[i]);
  // A 16-bit second table is read at 257 times the byte.
  const std::vector<uint16_t> wide = Curves<uint16_t>(1);
  target = first;
  ASSERT_TRUE(ComposeChannelLut(target.data(), 3, 8, wide.data(), 1, 16));
  for (int i = 0; i < 768; ++i) ASSERT_EQ(target[i], wide[257 * first[i]] / 257);
  EXPECT_FALSE(ComposeChannelLut(nullptr, 3, 8, wide.data(), 1, 16));
  EXPECT_FALSE(ComposeChannelLut(target.data(), 3, 8, nullptr, 1, 16));
}

TEST(ComposeChannelLut, DoesNotScaleBytesForA16BitTarget) {
  std::vector<uint16_t> target(65536);
  std::iota(target.begin(), target.end(), static_cast<uint16_t>(0));
  std::vector<uint8_t> identity(256);
  std::iota(identity.begin(), identity.end(), static_cast<uint8_t>(0));
  identity[3] = 0;
  ASSERT_TRUE(ComposeChannelLut(target.data(), 1, 16, identity.data(), 1, 8));
  EXPECT_EQ(target[257 * 100 + 40], 100 + 40);
  EXPECT_EQ(target[257 * 2 + 10], 0);  // 2 - 2 * 10, cut
  EXPECT_EQ(target[65534], 254 + 256);
  EXPECT_EQ(target[65535], 65535);
}

}  // namespace
}  // namespace zel::test
