#include "selective/cast_estimate.h"

#include <algorithm>

#include "color/rgb_to_hsl.h"
#include "selective/white_zone.h"

namespace zel {

namespace {

constexpr int32_t kHues = 360;
constexpr int64_t kFewestPixels = 100;  // that a zone must keep to be believed
constexpr int64_t kSmallestShare = 10;  // per cent of the zone that the filter must leave
constexpr int64_t kFewestFamilyPixels = 25;

// Hues first to last - 1, looked through in windows of `step` degrees; the step is also the half-width of the band
// whose pixels are averaged. Rows overlap and leave hues out on purpose; of equals the earlier row wins.
struct CastHueFamily {
  int32_t first, last, step;
};
constexpr CastHueFamily kFamilies[kCastFamilies] = {
    {10, 30, 5},     // reddish
    {140, 170, 5},   // green
    {170, 250, 25},  // blue
    {170, 220, 25},  // cyan
    {240, 270, 25},  // magenta
    {30, 70, 5},     // yellow
};

// Calls visit(pixel, mask byte) for every pixel that the mask marks.
template <class Visit>
void ForEachMarked(const View<const uint8_t>& image, uint8_t* mask, const Visit& visit) {
  for (int32_t y = 0; y < image.height; ++y) {
    for (int32_t x = 0; x < image.width; ++x, ++mask) {
      if (*mask == kInWhiteZone) visit(ColourAt(image, x, y), mask);
    }
  }
}

struct Peak {
  int64_t score = 0;  // pixels
  int32_t centre = 0;
  int32_t reach = 0;  // degrees to either side
};

// The fullest window of a family; its centre is the window's mean hue.
Peak FullestWindow(const int64_t* histogram, const CastHueFamily& family) {
  Peak peak;
  peak.reach = family.step;
  for (int32_t start = family.first; start < family.last; start += family.step) {
    int64_t count = 0, sum = 0;
    for (int32_t hue = start; hue < std::min(start + family.step, family.last); ++hue) {
      count += histogram[hue];
      sum += hue * histogram[hue];
    }
    if (count > peak.score) {
      peak.score = count;
      peak.centre = static_cast<int32_t>(sum / count);
    }
  }
  return peak;
}

// The fullest single hue of a family that the user named.
Peak FullestHue(const int64_t* histogram, const CastHueFamily& family) {
  Peak peak;
  peak.reach = family.step;
  for (int32_t hue = family.first; hue < family.last; ++hue) {
    if (histogram[hue] > peak.score) {
      peak.score = histogram[hue];
      peak.centre = hue;
    }
  }
  return peak;
}

Peak FindPeak(const int64_t* histogram, int32_t family) {
  if (family != 0) return FullestHue(histogram, kFamilies[family - 1]);
  Peak best;
  for (const CastHueFamily& row : kFamilies) {
    const Peak peak = FullestWindow(histogram, row);
    if (peak.score > best.score) best = peak;
  }
  return best;
}

// Counts the hues of the zone, takes the pixels out of it that the filter drops, and says whether enough is left.
bool CountHues(const View<const uint8_t>& image, int32_t filter, uint8_t* mask, int64_t* histogram) {
  int64_t total = 0, counted = 0;
  ForEachMarked(image, mask, [&](const Rgb& pixel, uint8_t* mark) {
    int32_t hue, saturation, lightness;
    RgbToHsl(pixel.red, pixel.green, pixel.blue, &hue, &saturation, &lightness);
    ++total;
    if (WhitePixelFilter(filter, pixel.blue, pixel.green, pixel.red, hue, saturation, lightness)) {
      ++histogram[hue];
      ++counted;
    } else {
      *mark = 0;
    }
  });
  return total > 0 && counted * 100 / total >= kSmallestShare && counted >= kFewestPixels;
}

// The mean colour of the marked pixels inside the band; the others leave the mask.
Rgb MeanOfBand(const View<const uint8_t>& image, const Peak& peak, uint8_t* mask) {
  const int32_t low = std::max(peak.centre - peak.reach, 0);
  const int32_t high = std::min(peak.centre + peak.reach, kHues - 1);
  int64_t red = 0, green = 0, blue = 0, count = 0;
  ForEachMarked(image, mask, [&](const Rgb& pixel, uint8_t* mark) {
    const int32_t hue = PixelHue(pixel.red, pixel.green, pixel.blue);
    if (hue < low || hue > high) {
      *mark = 0;
      return;
    }
    red += pixel.red;
    green += pixel.green;
    blue += pixel.blue;
    ++count;
  });
  if (count == 0) return kNoCast;
  return {static_cast<int32_t>(red / count), static_cast<int32_t>(green / count), static_cast<int32_t>(blue / count)};
}

}  // namespace

bool IsWarmBright(int32_t red, int32_t green, int32_t blue, int32_t saturation, int32_t lightness) {
  const int32_t percent = lightness * 100 / 255;
  return (saturation >= 50 || (saturation >= 41 && percent >= 70) || percent >= 86) && red > green && red > blue;
}

bool IsGreenish(int32_t red, int32_t green, int32_t blue, int32_t saturation) {
  return saturation >= 30 && green > red && green > blue;
}

bool IsRedHue(int32_t hue) {
  return hue >= 330 || hue <= 35;
}

bool WhitePixelFilter(int32_t flags, int32_t blue, int32_t green, int32_t red, int32_t hue, int32_t saturation,
                      int32_t lightness) {
  if (flags == kKeepAll || saturation == 0) return true;
  if ((flags & kDropWarmBright) != 0 && IsWarmBright(red, green, blue, saturation, lightness)) return false;
  if ((flags & kDropGreenish) != 0 && IsGreenish(red, green, blue, saturation)) return false;
  return (flags & kDropRedHues) == 0 || !IsRedHue(hue);
}

bool EstimateCastColour(const View<const uint8_t>& image, int32_t family, int32_t filter, Rgb* colour, uint8_t* mask) {
  *colour = kNoCast;
  if (family < 0 || family > kCastFamilies || !BuildWhiteZoneMask(image, mask)) return false;
  int64_t histogram[kHues] = {};
  if (!CountHues(image, filter, mask, histogram)) return true;
  const Peak peak = FindPeak(histogram, family);
  if (peak.score >= kFewestFamilyPixels) *colour = MeanOfBand(image, peak, mask);
  return true;
}

}  // namespace zel
