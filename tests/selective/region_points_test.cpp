#include "selective/region_points.h"

#include <gtest/gtest.h>

#include "support/images.h"

namespace zel::test {
namespace {

TEST(RegionPoints, GoByTheHueInsideTheImage) {
  struct {
    int red, green, blue;
    bool skin, foliage, sky;
  } const cases[] = {
      {200, 120, 90, true, false, false},    // 16 degrees
      {200, 150, 100, true, true, false},    // 30
      {10, 200, 10, true, true, false},      // 120
      {10, 200, 14, false, true, false},     // 121
      {0, 200, 100, false, true, true},      // 150
      {0, 200, 200, false, true, true},      // 180
      {200, 0, 199, true, false, true},      // 301, since quotients are cut towards zero
      {200, 0, 100, true, false, false},     // 330
      {77, 77, 77, false, false, false},     // grey
      {128, 127, 127, false, false, false},  // too pale to have a saturation
  };
  const ZelPoint outside[] = {{-1, -1}, {5, 2}, {3, 4}, {INT32_MAX, INT32_MAX}, {INT32_MIN, INT32_MIN}};
  for (const Shape& shape : {Shape{5, 4, 3, 8, true}, {5, 4, 4, 8, false, 3}, {5, 4, 3, 16, true}, {5, 4, 1, 8}}) {
    for (const auto& c : cases) {
      TestImage image(shape);
      const ZelPoint point{3, 2};
      if (shape.channels >= 3) {
        const int scale = shape.bits == 16 ? 257 : 1;
        image.SetColour(3, 2, c.red * scale, c.green * scale, c.blue * scale);
      }
      EXPECT_EQ(IsSkinPoint(image.desc(), &point), c.skin && shape.channels >= 3) << c.red << " " << c.green;
      EXPECT_EQ(IsFoliagePoint(image.desc(), &point), c.foliage && shape.channels >= 3) << c.red << " " << c.green;
      EXPECT_EQ(IsSkyPoint(image.desc(), &point), c.sky && shape.channels >= 3) << c.red << " " << c.green;
      for (const ZelPoint& p : outside) EXPECT_FALSE(IsSkinPoint(image.desc(), &p) || IsSkyPoint(image.desc(), &p));
      EXPECT_FALSE(IsFoliagePoint(image.desc(), nullptr) || IsFoliagePoint(nullptr, &point));
    }
  }
}

}  // namespace
}  // namespace zel::test
