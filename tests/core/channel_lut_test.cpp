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
struct Block : std::vector<T> {
  explicit Block(int tables) : std::vector<T>(static_cast<size_t>(tables) * Curves<T>::kEntries) {
    for (size_t i = 0; i < this->size(); ++i) {
      (*this)[i] = static_cast<T>((i * 40503 + i / Curves<T>::kEntries * 77) >> (sizeof(T) == 1 ? 3 : 2));
    }
  }
  Curves<T> Tables(int tables) { return {this->data(), tables}; }
};

TEST(ChannelLut, KeepsTheImageLawsAtEveryDepthOfBlock) {
  Block<uint8_t> bytes(3);
  Block<uint16_t> words(3);
  const auto keepLaws = [](const auto& curves) {
    ExpectImageLaws(
        [&](const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
          return ApplyChannelLut(source, destination, rect, curves) ? ZEL_OK : ZEL_REFUSED;
        },
        CommonShapes());
  };
  for (int tables : {1, 2, 3}) {
    keepLaws(bytes.Tables(tables));
    keepLaws(words.Tables(tables));
  }
}

TEST(ChannelLut, IdentityOfEitherDepthChangesNothing) {
  for (const Shape& shape : CommonShapes()) {
    for (int bits : {8, 16}) {
      void* const identity = MakeIdentityLut(nullptr, 3, bits);
      ASSERT_NE(identity, nullptr);
      const TestImage source(shape);
      TestImage mapped(source);
      const ImageDesc *const from = source.desc(), *const to = mapped.desc();
      EXPECT_TRUE(bits == 8
                      ? ApplyChannelLut(from, to, nullptr, Curves<uint8_t>{static_cast<uint8_t*>(identity), 3})
                      : ApplyChannelLut(from, to, nullptr, Curves<uint16_t>{static_cast<uint16_t*>(identity), 3}));
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
    Block<uint8_t> block(3);
    for (int i = 0; i < 768; ++i) block[i] = static_cast<uint8_t>(10 * (i / 256 + 1));
    for (int bits : {8, 16}) {
      TestImage image({5, 3, 3, bits, true});
      ASSERT_TRUE(ApplyChannelLut(image.desc(), image.desc(), nullptr, block.Tables(tables)));
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
  Block<uint8_t> curves(3);
  const TestImage source({300, 220, 3, 16});
  TestImage whole(source), tiles(source);
  ASSERT_TRUE(ApplyChannelLut(source.desc(), whole.desc(), nullptr, curves.Tables(3)));
  for (int y = 0; y < 220; y += 110) {
    const ZelRect rect{0, y, 300, y + 110};
    ASSERT_TRUE(ApplyChannelLut(source.desc(), tiles.desc(), &rect, curves.Tables(3)));
  }
  EXPECT_TRUE(whole.SameBytes(tiles));
  EXPECT_EQ(whole.Colour(150, 110, 1), Interpolated(curves.data() + 256, source.Colour(150, 110, 1)));

  Block<uint16_t> words(1);
  words[257 * 7] = 257 * 200 + 256;
  TestImage image({2, 1, 1, 8});
  image.Fill(7);
  ASSERT_TRUE(ApplyChannelLut(image.desc(), image.desc(), nullptr, words.Tables(1)));
  EXPECT_EQ(image.Get(0, 0, 0), 200);
}

TEST(ChannelLut, RefusesBeforeItLooksAtTheRegion) {
  Block<uint8_t> block(3);
  TestImage image({6, 4, 3}), padded({6, 4, 3, 8, true, 2}), four({6, 4, 4});
  const ZelRect empty{3, 3, 3, 3};
  const auto apply = [&](const TestImage& destination, const Curves<uint8_t>& curves) {
    return ApplyChannelLut(image.desc(), destination.desc(), &empty, curves);
  };
  EXPECT_TRUE(apply(image, block.Tables(3)));
  EXPECT_FALSE(apply(padded, block.Tables(3)) || apply(image, {nullptr, 3}));
  const TestImage before(four);
  EXPECT_TRUE(ApplyChannelLut(four.desc(), four.desc(), nullptr, block.Tables(3)));
  EXPECT_EQ(four, before);
}

TEST(ComposeChannelLut, ChainsTargetThenSecond) {
  Block<uint8_t> target(3), second(3);
  const Block<uint8_t> first(target);
  // Three tables are paired, of any other number the first serves all.
  for (int i = 0; i < 768; ++i) second[i] = i / 256 == 1 ? 0 : static_cast<uint8_t>(255 - i);
  ASSERT_TRUE(ComposeChannelLut(target.Tables(3), second.Tables(3)));
  for (int i = 0; i < 768; ++i) ASSERT_EQ(target[i], i / 256 == 1 ? 0 : 255 - first[i]);
  target = first;
  ASSERT_TRUE(ComposeChannelLut(target.Tables(3), second.Tables(2)));
  for (int i = 0; i < 768; ++i) ASSERT_EQ(target[i], 255 - first[i]);
  // A 16-bit second table is read at 257 times the byte.
  Block<uint16_t> wide(1);
  target = first;
  ASSERT_TRUE(ComposeChannelLut(target.Tables(3), wide.Tables(1)));
  for (int i = 0; i < 768; ++i) ASSERT_EQ(target[i], wide[257 * first[i]] / 257);
  EXPECT_FALSE(ComposeChannelLut(Curves<uint8_t>{nullptr, 3}, wide.Tables(1)));
  EXPECT_FALSE(ComposeChannelLut(target.Tables(3), Curves<uint16_t>{nullptr, 1}));
}

TEST(ComposeChannelLut, DoesNotScaleBytesForA16BitTarget) {
  Block<uint16_t> target(1);
  Block<uint8_t> identity(1);
  FillIdentity(target.Tables(1));
  FillIdentity(identity.Tables(1));
  identity[3] = 0;
  ASSERT_TRUE(ComposeChannelLut(target.Tables(1), identity.Tables(1)));
  EXPECT_EQ(target[257 * 100 + 40], 100 + 40);
  EXPECT_EQ(target[257 * 2 + 10], 0);  // 2 - 2 * 10, cut
  EXPECT_EQ(target[65534], 254 + 256);
  EXPECT_EQ(target[65535], 65535);
}

}  // namespace
}  // namespace zel::test
