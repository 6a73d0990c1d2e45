#include "selective/white_zone.h"

#include <algorithm>

#include "core/platform.h"

namespace zel {

namespace {

constexpr int32_t kLevels = 256;

int32_t Setting(const char* key, int32_t fallback) {
  return ProfileInt("Zel_ColorCast.ini", "AWB", key, fallback);
}

// Overlay: multiplies dark levels and screens light ones. Inside 0..255 for levels of 0..255.
int32_t OverlayBlend(int32_t a, int32_t b) {
  return a >= 128 ? 255 - ((255 - a) * (255 - b) >> 7) : a * b >> 7;
}

// By position in the pixel. Only images stored blue first come here.
int32_t Brightness(const uint8_t* pixel) {
  return OverlayBlend(OverlayBlend(pixel[2], pixel[1]), pixel[0]);
}

// The level at which the pixels from white downwards first outnumber their share; the middle, when they never do.
int32_t ZoneThreshold(const int32_t* histogram, int64_t pixels) {
  const int64_t share = 100 - static_cast<int64_t>(Setting("WhiteZoneThdPercent", 85));
  const int64_t need = share * pixels / 100;
  int64_t sum = 0;
  for (int32_t level = kLevels - 1; level >= 0; --level) {
    sum += histogram[level];
    if (sum > need) return level;
  }
  return kLevels / 2;
}

// Which pixels the user's settings let stay in the zone.
struct Limits {
  int32_t largestBelow, largestFrom, smallestFrom;
  int64_t ratio;  // of largest to smallest, times 256

  bool Hold(const uint8_t* pixel) const {
    const int32_t largest = std::max(pixel[0], std::max(pixel[1], pixel[2]));
    const int32_t smallest = std::min(pixel[0], std::min(pixel[1], pixel[2]));
    return largest < largestBelow && largest >= largestFrom && smallest >= smallestFrom && smallest > 0 &&
           largest * 256 / smallest <= ratio;
  }
};

void Prune(const View<const uint8_t>& image, uint8_t* mask) {
  const Limits limits = {Setting("MaxValue", 230), Setting("MinValue1", 84), Setting("MinValue2", 24),
                         static_cast<int64_t>(Setting("MaxScale", 3)) * 256};
  for (int32_t y = 0; y < image.height; ++y) {
    const uint8_t* pixel = image.At(0, y);
    for (int32_t x = 0; x < image.width; ++x, pixel += 3, ++mask) {
      if (*mask == kInWhiteZone && !limits.Hold(pixel)) *mask = 0;
    }
  }
}

}  // namespace

bool BuildWhiteZoneMask(const View<const uint8_t>& image, uint8_t* mask) {
  if (mask == nullptr || image.channels != 3) return false;
  if (!image.blueFirst) return true;

  int32_t histogram[kLevels] = {};
  uint8_t* brightness = mask;
  for (int32_t y = 0; y < image.height; ++y) {
    const uint8_t* pixel = image.At(0, y);
    for (int32_t x = 0; x < image.width; ++x, pixel += 3) {
      *brightness = static_cast<uint8_t>(Brightness(pixel));
      ++histogram[*brightness++];
    }
  }
  const int64_t count = static_cast<int64_t>(image.width) * image.height;
  const int32_t threshold = ZoneThreshold(histogram, count);
  for (int64_t i = 0; i < count; ++i) mask[i] = mask[i] >= threshold ? kInWhiteZone : 0;

  if (Setting("UseCWMask", 0) != 0) Prune(image, mask);
  return true;
}

}  // namespace zel
