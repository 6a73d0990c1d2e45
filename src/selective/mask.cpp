#include "selective/mask.h"

#include "color/hue_weight_mask.h"
#include "filter/gaussian_blur.h"

namespace zel {

bool Mask::Allocate(int32_t width, int32_t height) {
  if (!memory_.AllocateZeroed(static_cast<size_t>(width) * static_cast<size_t>(height))) return false;
  weights_ = PackedView(memory_.data(), width, height, 1);
  return true;
}

bool Mask::BuildFromHues(const View<const uint8_t>& image, const Region& region, ColourRegion hues, int32_t tolerance,
                         int32_t maximum) {
  return Allocate(image.width, image.height) &&
         BuildRegionHueMaskRaw(image, weights_, region, hues, tolerance, maximum);
}

bool Mask::BuildSkin(const View<const uint8_t>& image, const Region& region, const ZelPoint* point, int32_t maximum,
                     double sigma) {
  if (image.channels != 3) return false;
  if (point != nullptr) {
    if (!BuildFromPoint(image, region, *point, maximum, kFixedPickTolerance)) return false;
  } else {
    uint16_t byHue[360];
    MakeHueWeights<uint8_t>(maximum, byHue);
    if (!Allocate(image.width, image.height) || !FillHueMask(image, weights_, region, byHue)) return false;
  }
  return Blur(region, sigma);
}

bool Mask::Blur(const Region& region, double sigma) {
  return sigma == 0.0 || GaussianBlurRaw(weights_, weights_, region, sigma);
}

void Mask::Screen(const View<const uint8_t>& image, const View<uint8_t>& output, const Region& region) const {
  BlendThroughMask(image, image, output, weights_, kScreen, region);
}

}  // namespace zel
