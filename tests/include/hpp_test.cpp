#include "zel.hpp"

#include <gtest/gtest.h>

#include <cstring>

namespace zel::test {
namespace {

alignas(2) uint8_t memory[64];

TEST(ImageView, ExistsOnlyWhereTheMemoryHoldsIt) {
  EXPECT_TRUE(ImageView::Over(memory, 64, 4, 5, 12, ZEL_FORMAT_BGR24));
  EXPECT_FALSE(ImageView::Over(memory, 59, 4, 5, 12, ZEL_FORMAT_BGR24)) << "one byte short";
  EXPECT_FALSE(ImageView::Over(memory, 64, 4, 5, 11, ZEL_FORMAT_BGR24)) << "rows overlap";
  EXPECT_FALSE(ImageView::Over(memory, 64, 4, 5, 12, ZEL_FORMAT_BGR48)) << "16 bits need twice as much";
  EXPECT_TRUE(ImageView::Over(memory, 64, 2, 5, ZEL_FORMAT_BGR48));
  EXPECT_FALSE(ImageView::Over(memory + 1, 60, 2, 5, ZEL_FORMAT_BGR48)) << "misaligned words";
  EXPECT_FALSE(ImageView::Over(nullptr, 64, 4, 5, ZEL_FORMAT_BGR24));
  EXPECT_FALSE(ImageView::Over(memory, 64, 0, 5, ZEL_FORMAT_BGR24));
  EXPECT_FALSE(ImageView::Over(memory, SIZE_MAX, INT32_MAX, INT32_MAX, ZEL_FORMAT_BGR24));
  EXPECT_FALSE(ImageView::Over(memory, 64, 4, 5, 0x00100C10u)) << "12 bits";
}

TEST(Result, SaysWhyACallRefused) {
  const auto small = *ImageView::Over(memory, 64, 2, 2, ZEL_FORMAT_BGR24);
  const auto wide = *ImageView::Over(memory, 64, 4, 2, ZEL_FORMAT_BGR24);
  const auto rgb = *ImageView::Over(memory, 64, 2, 2, ZEL_FORMAT_RGB24);
  const auto padded = *ImageView::Over(memory, 64, 2, 2, 7, ZEL_FORMAT_BGR24);
  const auto four = *ImageView::Over(memory, 64, 2, 2, ZEL_FORMAT_BGRX32);
  const auto reason = [&](const ImageView& source, const ImageView& destination) {
    return Call(ZelBasicToolFunc_ContrastBrightness, source, destination, 10, 0, nullptr).reason;
  };
  EXPECT_EQ(reason(small, small), Reason::kNone);
  EXPECT_EQ(reason(small, wide), Reason::kSizesDiffer);
  EXPECT_EQ(reason(small, rgb), Reason::kFormatsDiffer);
  EXPECT_EQ(reason(small, padded), Reason::kStridesDiffer);
  EXPECT_EQ(reason(four, four), Reason::kChannels);
  EXPECT_EQ(Call(ZelTavoraFunc_SkinFlash, small, small, 7, nullptr, 50, nullptr, 0u).reason, Reason::kNullOrMode);
  uint8_t block[ZEL_LUT1D_BYTES];
  EXPECT_TRUE(Measure(ZelTavoraFunc_SmartContrast_Get1DLut, small, 0, 50, nullptr, block));
  const Result refused = Call(ZelBasicToolFunc_ContrastBrightness, small, wide, 10, 0, nullptr);
  EXPECT_FALSE(refused);
  EXPECT_NE(std::strstr(explain(refused), "width or height"), nullptr);
}

}  // namespace
}  // namespace zel::test
