#include "selective/region_points.h"

#include <gtest/gtest.h>

#include "support/images.h"

namespace zel::test {
namespace {

TEST(RegionPoints, GoByTheHueInEveryLayout) {
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
      {60, 120, 220, false, false, true},    // 217
      {200, 0, 199, true, false, true},      // 301, since quotients are cut towards zero
      {200, 0, 100, true, false, false},     // 330
      {77, 77, 77, false, false, false},     // grey
      {128, 127, 127, false, false, false},  // too pale to have a saturation
  };
  for (const Shape& shape :
       {Shape{5, 4, 3, 8, true}, {5, 4, 3, 8, false, 3}, {5, 4, 4, 8, true}, {5, 4, 3, 16, true}}) {
    for (const auto& c : cases) {
      TestImage image(shape);
      const int scale = shape.bits == 16 ? 257 : 1;
      image.FillColour(0, 0, 0);
      image.SetColour(3, 2, c.red * scale, c.green * scale, c.blue * scale);
      const ZelPoint point{3, 2};
      SCOPED_TRACE(NameOf(shape) + " " + std::to_string(c.red) + " " + std::to_string(c.green));
      EXPECT_EQ(IsSkinPoint(image.desc(), &point), c.skin);
      EXPECT_EQ(IsFoliagePoint(image.desc(), &point), c.foliage);
      EXPECT_EQ(IsSkyPoint(image.desc(), &point), c.sky);
    }
  }
}

TEST(RegionPoints, AnswerNoOutsideTheImageAndWithoutColour) {
  TestImage image({5, 4, 3, 8, true}), grey({5, 4, 1, 8, false});
  image.FillColour(200, 150, 100);
  ImageDesc broken = *image.desc();
  broken.stride = 14;
  const ZelPoint inside{4, 3};
  EXPECT_TRUE(IsFoliagePoint(image.desc(), &inside));
  EXPECT_FALSE(IsFoliagePoint(&broken, &inside));
  EXPECT_FALSE(IsFoliagePoint(grey.desc(), &inside));
  EXPECT_FALSE(IsFoliagePoint(nullptr, &inside));
  EXPECT_FALSE(IsFoliagePoint(image.desc(), nullptr));
  for (const ZelPoint point : {ZelPoint{-1, -1}, {5, 0}, {0, 4}, {INT32_MAX, INT32_MAX}, {INT32_MIN, INT32_MIN}}) {
    EXPECT_FALSE(IsSkinPoint(image.desc(), &point));
    EXPECT_FALSE(IsFoliagePoint(image.desc(), &point));
    EXPECT_FALSE(IsSkyPoint(image.desc(), &point));
  }
}

}  // namespace
}  // namespace zel::test
