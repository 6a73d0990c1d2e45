#include "color/vivid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "filter/gaussian_blur.h"
#include "filter/sharpen.h"
#include "support/images.h"
#include "tone/highlight_shadow.h"
#include "tone/histogram.h"

namespace zel::test {
namespace {

const int kWeights[7][7] = {
    {0, 2, 8, 12, 8, 2, 0},    {2, 17, 39, 43, 39, 17, 2}, {8, 39, 0, -96, 0, 39, 8}, {12, 43, -96, -318, -96, 43, 12},
    {8, 39, 0, -96, 0, 39, 8}, {2, 17, 39, 43, 39, 17, 2}, {0, 2, 8, 12, 8, 2, 0}};

// The steps one after another on whole planes, for a rectangle with its corners in order.
TestImage Reference(const TestImage& source, const TestImage& before, const ZelRect& rect, int amount) {
  const int width = source.shape().width, height = source.shape().height;
  const ZelRect area{std::max(rect.left - 3, 0), std::max(rect.top - 3, 0), std::min(rect.right + 3, width),
                     std::min(rect.bottom + 3, height)};
  std::vector<uint8_t> luma(static_cast<size_t>(width * height)), mask(luma.size());
  for (int y = area.top; y < area.bottom; ++y) {
    for (int x = area.left; x < area.right; ++x) {
      luma[y * width + x] = static_cast<uint8_t>(
          (77 * source.Colour(x, y, 0) + 150 * source.Colour(x, y, 1) + 29 * source.Colour(x, y, 2)) >> 8);
    }
  }
  for (int y = std::max(3, area.top - 3); y < std::min(height - 3, area.bottom + 3); ++y) {
    for (int x = std::max(3, area.left - 3); x < std::min(width - 3, area.right + 3); ++x) {
      int sum = 0;
      for (int k = 0; k < 49; ++k) sum += kWeights[k / 7][k % 7] * luma[(y + k / 7 - 3) * width + x + k % 7 - 3];
      mask[y * width + x] = static_cast<uint8_t>(std::min(std::max(sum / 22, 0), 255));
    }
  }
  const View<uint8_t> plane = PackedView(mask.data(), width, height, 1);
  GaussianBlurRaw(plane, plane, ClampedRegion(&rect, plane.Whole()), amount < 100 ? 1.0 : amount * 0.01);
  float histogram[256];
  int32_t high[3], low[3];
  ComputeHistogram(View<const uint8_t>(plane), MeasuredRegion(&area, plane.Whole()), histogram, true,
                   {false, 500, 500});
  HistogramPercentiles(histogram, true, 0, 1, high, low, 0.99, 0.01);
  high[1] = high[2] = low[1] = low[2] = 0;
  HighlightShadowRaw(plane, plane, ClampedRegion(&area, plane.Whole()), high, low, 255);
  const float factor = static_cast<float>(amount * 0.01);

  TestImage result(before);
  EXPECT_TRUE(Sharpen(source.desc(), result.desc(), &area, 100));
  for (int y = rect.top; y < rect.bottom; ++y) {
    for (int x = rect.left; x < rect.right; ++x) {
      int m = mask[y * width + x];
      if (amount < 100) m = static_cast<int>(static_cast<double>(m) * static_cast<double>(factor) + 0.5);
      for (int k = 0; k < 3; ++k) result.Set(x, y, k, (result.Get(x, y, k) * m + source.Get(x, y, k) * (255 - m)) >> 8);
    }
  }
  return result;
}

TEST(Vivid, DetailBlendEqualsItsStepsOnWholePlanes) {
  for (const Shape& shape :
       {Shape{61, 47, 3, 8, true, 2}, {61, 47, 3, 8, false}, {9, 8, 3, 8, true}, {6, 30, 3, 8, true}}) {
    for (int amount : {0, 27, 80, 250}) {
      for (const ZelRect& rect : {ZelRect{0, 0, 61, 47}, {20, 11, 47, 30}, {0, 3, 8, 4}}) {
        SCOPED_TRACE(NameOf(shape) + " amount " + std::to_string(amount));
        if (rect.right > shape.width || rect.bottom > shape.height) continue;
        const TestImage source(shape), before(shape, 2);
        TestImage inPlace(source);
        const TestImage expected = Reference(source, before, rect, amount);
        EXPECT_EQ(After(VividDetailBlend, source, &rect, amount), expected);
        ASSERT_TRUE(VividDetailBlend(inPlace.desc(), inPlace.desc(), &rect, amount));
        TestImage onlyRect(source);
        for (int y = rect.top; y < rect.bottom; ++y) {
          for (int x = rect.left; x < rect.right; ++x) {
            for (int k = 0; k < 3; ++k) onlyRect.Set(x, y, k, expected.Get(x, y, k));
          }
        }
        EXPECT_EQ(inPlace, onlyRect);
      }
    }
  }
}

TEST(Vivid, ModesAndStrengthsChooseTheOperation) {
  const TestImage source({40, 30, 3, 8, true});
  const struct {
    int mode, strength;
    bool blends;
    int amount;
  } cases[] = {{0, 57, false, 45}, {1, 30, true, 80},  {1, 31, false, 20},      {1, 100, false, 75},
               {2, 40, true, 80},  {2, 41, false, 20}, {1, INT32_MIN, true, 0}, {2, INT32_MAX, false, INT32_MAX / 2}};
  for (const auto& c : cases) {
    EXPECT_EQ(After(ZelTavoraFunc_Vivid, source, c.mode, c.strength, nullptr),
              After(c.blends ? VividDetailBlend : Sharpen, source, nullptr, c.amount))
        << "mode " << c.mode << " strength " << c.strength;
  }
  // An unknown mode leaves a rectangle alone; a reversed rectangle blends nothing.
  const TestImage before(source.shape(), 2);
  const ZelRect rect{0, 0, 5, 5}, reversed{35, 25, 5, 5};
  EXPECT_EQ(After(ZelTavoraFunc_Vivid, source, 3, 50, &rect), before);
  TestImage inPlace(source);
  EXPECT_EQ(ZelTavoraFunc_Vivid(inPlace.desc(), inPlace.desc(), 1, 30, &reversed), ZEL_OK);
  EXPECT_EQ(inPlace, source);
}

}  // namespace
}  // namespace zel::test
