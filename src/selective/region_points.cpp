#include "selective/region_points.h"

#include "color/rgb_to_hsl.h"
#include "core/pixel.h"

namespace zel {

namespace {

bool HueSatAt(const ImageDesc* source, const ZelPoint* point, HueSat* result) {
  return point != nullptr && WithView(source, [&](const auto& image) {
           if (image.channels < 3 || !IsInside(*point, image)) return false;
           const Rgb c = ColourAt(image, point->x, point->y);
           *result =
               sizeof(*image.data) == 1 ? PixelHueSat(c.red, c.green, c.blue) : PixelHueSat16(c.red, c.green, c.blue);
           return true;
         });
}

}  // namespace

bool IsSkinPoint(const ImageDesc* source, const ZelPoint* point) {
  HueSat pixel;
  return HueSatAt(source, point, &pixel) && pixel.saturation != 0 && (pixel.hue >= 300 || pixel.hue <= 120);
}

bool IsFoliagePoint(const ImageDesc* source, const ZelPoint* point) {
  HueSat pixel;
  return HueSatAt(source, point, &pixel) && pixel.hue >= 30 && pixel.hue <= 180;
}

bool IsSkyPoint(const ImageDesc* source, const ZelPoint* point) {
  HueSat pixel;
  return HueSatAt(source, point, &pixel) && pixel.hue >= 150 && pixel.hue < 330;
}

bool IsPointOf(ColourRegion region, const ImageDesc* source, const ZelPoint* point) {
  return region == kSkin      ? IsSkinPoint(source, point)
         : region == kFoliage ? IsFoliagePoint(source, point)
                              : IsSkyPoint(source, point);
}

}  // namespace zel
