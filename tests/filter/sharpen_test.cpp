#include "filter/sharpen.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/images.h"

namespace zel::test {
namespace {

std::vector<Shape> ByteShapes() {
  return {
      {37, 23, 1, 8, false, 0}, {37, 23, 3, 8, false, 5}, {37, 23, 3, 8, true, 0}, {1, 9, 3, 8, true}, {11, 1, 1, 8}};
}

TEST(Sharpen, RoundsFlatAreasAsTheirAmountDoes) {
  TestImage flat({9, 9, 1, 8});
  flat.Fill(100);
  for (const auto& [amount, expected] : {std::pair{50, 100}, {51, 101}, {INT32_MAX, 100}, {INT32_MIN, 100}}) {
    const TestImage out = After(ZelBasicToolFunc_Sharpen, flat, amount, nullptr);
    EXPECT_TRUE(out.Get(4, 4, 0) == expected && out.Get(0, 8, 0) == expected) << amount;
  }
}

int Expected(const TestImage& source, int x, int y, int k, const int32_t kernel[9], int64_t divisor) {
  int64_t sum = 0;
  for (int j = 0; j < 9; ++j) {
    const int sx = std::min(std::max(x + j % 3 - 1, 0), source.shape().width - 1);
    const int sy = std::min(std::max(y + j / 3 - 1, 0), source.shape().height - 1);
    sum += (divisor <= 256 ? kernel[j] * int64_t{1024} / divisor : kernel[j]) * source.Get(sx, sy, k);
  }
  sum = divisor <= 256 ? sum >> 10 : sum / divisor;
  return static_cast<int>(std::min<int64_t>(std::max<int64_t>(sum, 0), 255));
}

TEST(Convolve3x3, EqualsADirectSumOverEveryPixel) {
  struct Case {
    int32_t kernel[9], divisor;
  };
  const Case cases[] = {{{1, 2, 3, 4, 5, 6, 7, 8, 9}, 45},
                        {{0, -25, 0, -25, 202, -25, 0, -25, 0}, 100},
                        {{0, -9000, 0, -9000, 36100, -9000, 0, -9000, 0}, 100},
                        {{-1, 0, 1, -2, 3, 2, -1, 0, 1}, 256},
                        {{-100, 7, 100, -200, 300, 200, -100, 9, 99}, 257},
                        {{1000, 1000, 1000, 1000, 1000, 1000, 1000, 1000, 1000}, 1},
                        {{INT32_MAX, INT32_MIN, 1, 1, 1, 1, 1, 1, 1}, 1}};
  for (const Shape& shape : ByteShapes()) {
    for (const Case& c : cases) {
      for (const ZelRect& rect : {ZelRect{0, 0, 40, 40}, ZelRect{12, 3, 5, 9}}) {
        if (rect.left > shape.width) continue;
        const TestImage source(shape);
        TestImage result(source);  // in place, so that rows must be kept
        ASSERT_TRUE(Convolve3x3(result.desc(), result.desc(), &rect, c.kernel, c.divisor));
        const Region region =
            Grown(ClampedRegion(&rect, {0, 0, shape.width, shape.height}), 1, {0, 0, shape.width, shape.height});
        for (int y = 0; y < shape.height; ++y) {
          for (int x = 0; x < shape.width; ++x) {
            const bool inside = x >= region.left && x < region.right && y >= region.top && y < region.bottom;
            for (int k = 0; k < shape.channels; ++k) {
              const int expected = inside ? Expected(source, x, y, k, c.kernel, c.divisor) : source.Get(x, y, k);
              ASSERT_EQ(result.Get(x, y, k), expected)
                  << NameOf(shape) << ": " << x << ", " << y << " by " << c.divisor;
            }
          }
        }
      }
    }
  }
}

TEST(Convolve3x3, RefusesWhatItCannotFilter) {
  const int32_t kernel[9] = {0, 0, 0, 0, 1, 0, 0, 0, 0};
  TestImage image({8, 8, 3, 8, true}), deep({8, 8, 3, 16, true}), four({8, 8, 4, 8, true});
  for (int64_t divisor : {0, -100}) EXPECT_FALSE(Convolve3x3(image.desc(), image.desc(), nullptr, kernel, divisor));
  for (TestImage* i : {&deep, &four}) EXPECT_FALSE(Convolve3x3(i->desc(), i->desc(), nullptr, kernel, 1));
  // Rows of different lengths do fit.
  TestImage padded({8, 8, 3, 8, true, 7}, 2);
  EXPECT_TRUE(Convolve3x3(image.desc(), padded.desc(), nullptr, kernel, 1));
  EXPECT_EQ(padded.Get(7, 7, 2), image.Get(7, 7, 2));
}

}  // namespace
}  // namespace zel::test
