#include "selective/mask.h"

#include "color/hue_weight_mask.h"
#include "filter/gaussian_blur.h"

namespace zel {

bool Mask::Allocate(const Region& whole, const Region& region) {
  if (!memory_.AllocateZeroed(static_cast<size_t>(whole.Width()) * static_cast<size_t>(whole.Height()))) return false;
  weights_ = PackedView(memory_.data(), whole.Width(), whole.Height(), 1);
  region_ = region;
  return true;
}

bool Mask::BuildFromHues(const View<const uint8_t>& image, const Region& region, ColourRegion hues, int32_t tolerance,
                         int32_t maximum) {
  return Allocate(image.Whole(), region) && BuildRegionHueMaskRaw(image, weights_, region_, hues, tolerance, maximum);
}

bool Mask::BuildSkin(const View<const uint8_t>& image, const Region& region, const ZelPoint* point, int32_t maximum,
                     double sigma) {
  if (image.channels != 3) return false;
  if (point != nullptr) {
    if (!BuildFromPoint(image, region, *point, maximum, kFixedPickTolerance)) return false;
  } else {
    uint16_t byHue[360];
    MakeHueWeights<uint8_t>(maximum, byHue);
    if (!Allocate(image.Whole(), region) || !FillHueMask(image, weights_, region_, byHue)) return false;
  }
  return Blur(sigma);
}

bool Mask::Blur(double sigma) {
  return sigma == 0.0 || GaussianBlurRaw(weights_, weights_, region_, sigma);
}

void Mask::Screen(const View<const uint8_t>& image, const View<uint8_t>& output) const {
  BlendThroughMask(image, image, output, weights_, kScreen, region_);
}

}  // namespace zel
