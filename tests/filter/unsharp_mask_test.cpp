#include "filter/unsharp_mask.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "filter/gaussian_blur.h"
#include "support/images.h"

namespace zel::test {
namespace {

struct Setting {
  int32_t amount;
  float radius;
  uint32_t threshold;
};

const Setting kSettings[] = {{100, 2.0f, 0}, {150, 0.5f, 5}, {-60, 1.0f, 1}, {7000, 10.0f, 30}, {0, 3.0f, 0}};

int64_t Pushed(int64_t o, int64_t b, const Setting& s, int bits) {
  const int64_t gain = static_cast<int64_t>(s.amount * (bits == 8 ? 1.28 : 327.68) + 0.5);
  const int64_t t = static_cast<int64_t>(s.threshold) * (bits == 8 ? 1 : 257), d = o - b;
  int64_t out = o;
  if (d > t) out = o + (((d - t) * gain) >> 7);
  if (d < -t) out = o - ((-(d + t) * gain) >> 7);
  return std::min<int64_t>(std::max<int64_t>(out, 0), bits == 8 ? 255 : 65535);
}

TEST(UnsharpMask, PushesEverySampleAwayFromItsBlur) {
  std::vector<Setting> settings(std::begin(kSettings), std::end(kSettings));
  for (const Setting& s : {Setting{INT32_MAX, 1.0f, 0},
                           {INT32_MIN, 1.0f, 3},
                           {100, 1e30f, 0},
                           {100, 1.0f, UINT32_MAX},
                           {100, std::nanf(""), 0},
                           {100, -1.0f, 0}}) {
    settings.push_back(s);
  }
  for (int bits : {8, 16}) {
    // Wider than the strips that are summed at a time.
    const TestImage source({700, 40, 3, bits, true, 5});
    for (const Setting& s : settings) {
      const double sigma = std::min(std::max(static_cast<double>(s.radius), 0.1), 10.0);
      const TestImage blurred = After(GaussianBlur, source, nullptr, sigma);
      const TestImage result = After(ZelBasicToolFunc_UnsharpMask, source, s.amount, s.radius, s.threshold, nullptr);
      for (int y = 0; y < 40; ++y) {
        for (int i = 0; i < 2100; ++i) {
          ASSERT_EQ(result.Get(0, y, i), Pushed(source.Get(0, y, i), blurred.Get(0, y, i), s, bits))
              << bits << " bits, amount " << s.amount << " at " << i << ", " << y;
        }
      }
    }
  }
}

TEST(UnsharpMask, CopiesTheWholeMemoryWhenNothingIsBlurred) {
  const TestImage source({37, 23, 3, 16, true, 5});
  EXPECT_EQ(After(ZelBasicToolFunc_UnsharpMask, source, 100, 0.1f, 0, nullptr), source);
}

}  // namespace
}  // namespace zel::test
