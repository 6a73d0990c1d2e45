#include "core/image.h"

#include <gtest/gtest.h>

#include <cstring>

#include "core/reduce.h"
#include "support/images.h"

namespace zel::test {
namespace {

TEST(ImageRecord, FormatWordsHoldOrderChannelsDepthAndClass) {
  EXPECT_EQ(MakeFormatCode(1, 1, 0), 0x00010110u);
  EXPECT_EQ(MakeFormatCode(1, 8, 0), ZEL_FORMAT_GREY8);
  EXPECT_EQ(MakeFormatCode(2, 8, 0), 0x00000820u);  // two channels have no class
  EXPECT_EQ(MakeFormatCode(3, 8, 7), ZEL_FORMAT_BGR24);
  EXPECT_EQ(MakeFormatCode(3, 16, 0), ZEL_FORMAT_RGB48);
  EXPECT_EQ(MakeFormatCode(4, 16, 1), ZEL_FORMAT_BGRX64);
  EXPECT_TRUE(IsBlueFirst(0x01000838u)) << "any of the four lowest bits means blue first";
}

TEST(ImageRecord, HeadersAreCopiedWithoutTheirMemory) {
  uint8_t bytes[2] = {};
  ImageDesc image, other;
  InitImageDesc(&image, 7, 5, 3, 8, 1, 24, bytes);
  InitImageDesc(&other, 1, 1, 1, 16, 0, 1, bytes + 1);
  CopyImageHeader(&other, image);
  EXPECT_TRUE(SameImageGeometry(image, other) && other.stride == 24 && other.data == bytes + 1);
}

TEST(ImageRecord, RecordsThatCannotDescribeMemoryAreNotUsable) {
  alignas(2) uint8_t bytes[4] = {};
  const ImageDesc good = {1, 1, ZEL_FORMAT_GREY8, 1, bytes};
  EXPECT_TRUE(IsUsable(&good));
  EXPECT_FALSE(IsUsable(nullptr));
  const ImageDesc bad[] = {
      {0, 1, ZEL_FORMAT_GREY8, 1, bytes},
      {1, -1, ZEL_FORMAT_GREY8, 1, bytes},
      {INT32_MIN, INT32_MIN, ZEL_FORMAT_GREY8, INT32_MIN, bytes},
      {2, 1, ZEL_FORMAT_GREY8, 1, bytes},
      {INT32_MAX, 1, ZEL_FORMAT_RGB24, INT32_MAX, bytes},  // a row would need three times the stride
      {1, 1, ZEL_FORMAT_GREY8, 1, nullptr},
      {1, 1, 0x00100C10u, 1, bytes},            // 12 bits
      {1, 1, 0x00000800u, 1, bytes},            // no channels
      {1, 1, ZEL_FORMAT_GREY16, 1, bytes + 1},  // a word at an odd address
  };
  for (const ImageDesc& image : bad) EXPECT_FALSE(IsUsable(&image)) << &image - bad;
}

TEST(ImageRecord, RegionsAreReorderedOrTakenAsGivenAndCut) {
  const ZelRect reversed = {9, 7, 2, -3};
  const Region cut = ClampedRegion(&reversed, {0, 0, 8, 6});
  EXPECT_TRUE(cut.left == 2 && cut.top == 0 && cut.right == 8 && cut.bottom == 6);
  EXPECT_TRUE(GivenRegion(&reversed, {0, 0, 8, 6}).IsEmpty());
  const ZelRect outside = {100, 0, 200, 6};
  EXPECT_TRUE(ClampedRegion(&outside, {0, 0, 8, 6}).IsEmpty());
}

TEST(CopyImageRect, AddressesBothSidesWithTheSourcesStride) {
  TestImage source({4, 3, 1, 8, false, 2});
  TestImage wide({4, 3, 1, 8, false, 5}, 2);
  CopyImageRect(*wide.desc(), *source.desc(), nullptr);
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 4; ++x) EXPECT_EQ(wide.desc()->data[y * 6 + x], source.Get(x, y, 0));
  }
  // A destination that is too small for the source's stride gets the rows that fit.
  TestImage narrow({4, 3, 1, 8, false, 0}, 2);
  CopyImageRect(*narrow.desc(), *source.desc(), nullptr);
  EXPECT_EQ(narrow.desc()->data[6], source.Get(0, 1, 0));
  EXPECT_TRUE(narrow.GuardsIntact());
  const TestImage other({5, 3, 1, 8, false, 0}, 2), before(other);
  CopyImageRect(*other.desc(), *source.desc(), nullptr);
  EXPECT_EQ(other, before) << "images of different geometry are not copied";
}

TEST(CopySource, StopsAtTheEndOfASmallerDestination) {
  const TestImage large({9, 6, 3});
  TestImage small({3, 2, 1, 8, false});
  EXPECT_TRUE(CopySource(large.desc(), small.desc(), nullptr));
  EXPECT_TRUE(small.GuardsIntact());
}

// Row ends that are too long to be copied are left out; what is left of the last row still fits.
TEST(CopySource, StopsAtTheEndBehindRowsFarApart) {
  const TestImage large({8, 2, 1, 8, false, 5 << 20});
  TestImage small({(5 << 20) + 12, 1, 1, 8, false}, 2);
  ASSERT_LT(small.Bytes(), large.Bytes());
  const int last = static_cast<int>(small.Bytes()) - large.desc()->stride;
  ASSERT_TRUE(last > 0 && last < 8);
  EXPECT_TRUE(CopySource(large.desc(), small.desc(), nullptr));
  EXPECT_TRUE(small.GuardsIntact());
  EXPECT_EQ(small.Get(large.desc()->stride + last - 1, 0, 0), large.Get(last - 1, 1, 0));
}

TEST(PointSample, TakesEveryNthPixelFromTheRectanglesOwnCorner) {
  for (int bits : {8, 16}) {
    const TestImage source({101, 40, 3, bits, true, 4});
    const ZelRect rect = {95, 35, 4, 3};  // reversed: 91 x 32 pixels from (4, 3)
    const Region outside{0, 0, 0, 40};
    SampledCopy<uint8_t> bytes;
    EXPECT_TRUE(WithView(source.desc(), [&](const auto& image) {
      SampledCopy<std::remove_const_t<std::remove_reference_t<decltype(*image.data)>>> copy;
      EXPECT_FALSE(PointSample(image, outside, 30, &copy));
      EXPECT_TRUE(PointSample(image, ClampedRegion(&rect, image.Whole()), 30, &copy));
      EXPECT_TRUE(PointSample(image, ClampedRegion(&rect, image.Whole()), 30, &bytes));
      EXPECT_TRUE(copy.view.width == 23 && copy.view.height == 8 && copy.view.stride == 69);
      for (int i = 0; i < 23 * 8 * 3; ++i) {
        const int sample = source.Get(4 + 4 * (i / 3 % 23), 3 + 4 * (i / 69), i % 3);
        EXPECT_EQ(copy.samples[i], sample);
        EXPECT_EQ(bytes.samples[i], bits == 8 ? sample : (sample + 128) / 257);
      }
      return true;
    }));
  }
}

}  // namespace
}  // namespace zel::test
