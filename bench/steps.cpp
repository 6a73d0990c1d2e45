// The limits of the memory, and the mask tools step by step: step/<tool>/sum/24MP/8 does what the tool does by one
// operation after the other over the whole picture, so that the tool shows what its strips are worth.
#include <cstring>

#include "color/hue_saturation.h"
#include "color/hue_weight_mask.h"
#include "core/blend.h"
#include "driver/kernel_choice.h"
#include "filter/gaussian_blur.h"
#include "photo.h"
#include "registration.h"
#include "selective/picked_colour_mask.h"
#include "selective/region_colorful.h"
#include "selective/region_hue_mask.h"
#include "tone/contrast_brightness.h"
#include "tone/gamma.h"

namespace zel::bench {

namespace {

// What the steps work on.
struct Canvas {
  const ImageDesc* source;
  const ImageDesc* destination;
  ImageDesc* mask;
  ImageDesc* spare;
};

Canvas CanvasOf(const Size& size) {
  static Photo spare(size, 3, 8);
  return {Source(size, 3, 8).desc(), Destination(size, 3, 8).desc(), Destination(size, 1, 8).desc(), spare.desc()};
}

// With the kernels of one level, or the best ones.
template <class Steps>
void RegisterSteps(const std::string& name, Steps steps, const Kernels* kernels = nullptr) {
  const std::string level = kernels != nullptr ? std::string("/") + kernels->level : "";
  RegisterTimed("step/" + name + "/24MP/8" + level, [steps, kernels](benchmark::State& state) {
    const Canvas canvas = CanvasOf(kLarge);
    test::UseKernels(kernels);
    steps(canvas);
    for (auto _ : state) steps(canvas);
    test::UseKernels(nullptr);
  });
}

void RegisterCopies(const Size& size) {
  for (int bits : {8, 16}) {
    RegisterTimed(std::string("step/memcpy/") + size.name + "/" + std::to_string(bits),
                  [size, bits](benchmark::State& state) {
                    Photo& source = Source(size, 3, bits);
                    Photo& destination = Destination(size, 3, bits);
                    for (auto _ : state) {
                      std::memcpy(destination.data(), source.data(), source.Bytes());
                      benchmark::ClobberMemory();
                    }
                  });
  }
}

void BlurMask(const Canvas& c, double sigma) {
  GaussianBlur(c.mask, c.mask, nullptr, sigma);
}

void PickedTone(const Canvas& c, const ZelPoint& point) {
  BuildPickedColourMaskFixed(c.source, c.mask, nullptr, point, 115);
  BlurMask(c, 3.0);
  MaskBlend(c.source, c.source, c.destination, c.mask, kScreen, nullptr);
}

void RaisedRegion(const Canvas& c, ColourRegion region, int32_t tolerance) {
  const float gamma[3] = {1.1f, 1.1f, 1.1f};
  BuildRegionHueMask(c.source, c.mask, nullptr, region, tolerance, 192);
  uint32_t histogram[101];
  MeasureSaturation(ViewOf<const uint8_t>(*c.source), ViewOf<uint8_t>(*c.mask), 96, histogram);
  ApplyHueSaturation(c.source, c.destination, nullptr, 0, 80, true);
  GammaCorrect(c.destination, c.destination, nullptr, gamma);
  GaussianBlur(c.destination, c.destination, nullptr, 0.5);
  MaskBlend(c.destination, c.source, c.destination, c.mask, kMix, nullptr);
}

}  // namespace

void RegisterSteps() {
  RegisterCopies(kLarge);
  RegisterCopies(kSmall);
  RegisterSteps("mask-blend",
                [](const Canvas& c) { MaskBlend(c.spare, c.source, c.destination, c.mask, kMix, nullptr); });
  for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
    RegisterSteps(
        "region-hue-mask",
        [](const Canvas& c) { BuildRegionHueMask(c.source, c.mask, nullptr, ColourRegion::kSky, 60, 192); }, *level);
    RegisterSteps(
        "hue-weight-mask", [](const Canvas& c) { BuildHueWeightMask(c.source, c.mask, nullptr, 255); }, *level);
  }
  RegisterSteps("skin-flash/sum", [](const Canvas& c) {
    BuildHueWeightMask(c.source, c.mask, nullptr, 115);
    BlurMask(c, 3.0);
    MaskBlend(c.source, c.source, c.destination, c.mask, kScreen, nullptr);
  });
  RegisterSteps("skin-tone/sum", [](const Canvas& c) {
    const float curves[3] = {1.1f, 1.2f, 1.3f};  // any three tables cost the same
    BuildHueWeightMask(c.source, c.mask, nullptr, 192);
    BlurMask(c, 3.0);
    GammaCorrect(c.source, c.destination, nullptr, curves);
    MaskBlend(c.destination, c.source, c.destination, c.mask, kMix, nullptr);
  });
  RegisterSteps("skin-clear/sum", [](const Canvas& c) {
    const int32_t contrast[3] = {10, 10, 10}, brightness[3] = {0, 0, 0};
    BuildHueWeightMask(c.source, c.mask, nullptr, 255);
    BlurMask(c, 1.5);
    ContrastBrightness(c.source, c.spare, nullptr, contrast, brightness);
    GaussianBlur(c.spare, c.destination, nullptr, 6.0);
    StrengthBlend(c.destination, c.spare, c.destination, kMix, 50, nullptr);
    MaskBlend(c.destination, c.source, c.destination, c.mask, kMix, nullptr);
  });
  RegisterSteps("foliage-tone/sum", [](const Canvas& c) {
    PickedTone(c, {c.source->width * 3 / 8, c.source->height / 8});
  });
  RegisterSteps("sky-tone/sum", [](const Canvas& c) { PickedTone(c, {c.source->width / 8, c.source->height / 8}); });
  RegisterSteps("foliage-colorful/sum", [](const Canvas& c) { RaisedRegion(c, ColourRegion::kFoliage, 50); });
  RegisterSteps("sky-colorful/sum", [](const Canvas& c) { RaisedRegion(c, ColourRegion::kSky, 60); });
  RegisterSteps("skin-colorful/sum", [](const Canvas& c) { RaisedRegion(c, ColourRegion::kSkin, 20); });
}

}  // namespace zel::bench
