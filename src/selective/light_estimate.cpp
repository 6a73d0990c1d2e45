#include <algorithm>
#include <cmath>

#include "color/linear_light.h"
#include "color/rgb_to_hsl.h"
#include "core/scratch.h"
#include "selective/cast_estimate.h"
#include "selective/light_correct.h"

namespace zel {

namespace {

// Where a light lies beside neutral: (r - g) / (r + g) doubled is near the logarithm of r / g, without being one.
struct Tint {
  double red, blue;  // against green
};

double Ratio(double a, double b) {
  const double sum = a + b;
  return sum > 0.0 ? std::min(std::max(2.0 * (a - b) / sum, -1.9), 1.9) : 0.0;
}

Tint TintOf(const LightColour& light) {
  return {Ratio(light.red, light.green), Ratio(light.blue, light.green)};
}

LightColour LightOf(const Tint& tint) {
  return {(2.0 + tint.red) / (2.0 - tint.red), 1.0, (2.0 + tint.blue) / (2.0 - tint.blue)};
}

double SquaredDistance(const Tint& a, const Tint& b) {
  const double x = a.red - b.red, y = a.blue - b.blue;
  return x * x + y * y - x * y;
}

// 1 at no distance, a quarter at `reach`, falling with the fourth power: what is far away does not count.
double Trust(double squaredDistance, double reach) {
  const double t = 1.0 / (1.0 + squaredDistance / (reach * reach));
  return t * t;
}

// Colours summed by brightness, so that the mean of any share of the brightest is at hand.
class BrightnessSums {
 public:
  bool Allocate() { return bins_.AllocateZeroed(kBins); }

  // `brightness` 0 to 1.
  void Add(double brightness, const LightColour& light, double weight) {
    Bin& bin = bins_[static_cast<size_t>(std::min(std::max(brightness, 0.0), 1.0) * (kBins - 1))];
    bin.weight += weight;
    bin.red += weight * light.red;
    bin.green += weight * light.green;
    bin.blue += weight * light.blue;
  }

  // Mean of the brightest bins that together hold `weight`. Returns the weight found, which may be less.
  double Top(double weight, LightColour* mean) const {
    Bin sum = {};
    for (size_t i = kBins; i-- > 0 && sum.weight < weight;) {
      sum.weight += bins_[i].weight;
      sum.red += bins_[i].red;
      sum.green += bins_[i].green;
      sum.blue += bins_[i].blue;
    }
    if (sum.weight > 0.0) *mean = {sum.red / sum.weight, sum.green / sum.weight, sum.blue / sum.weight};
    return sum.weight;
  }

 private:
  static constexpr size_t kBins = 4096;
  struct Bin {
    double weight, red, green, blue;
  };
  Scratch<Bin> bins_;
};

struct Sample {
  int32_t red, green, blue;
};

// What a call measures with: the pixels, and their levels as light.
struct Picture {
  const uint8_t* pixels;
  const Geometry& geometry;
  double light[256];

  double Count() const { return static_cast<double>(geometry.width) * geometry.height; }
  LightColour Of(const Sample& s) const { return {light[s.red], light[s.green], light[s.blue]}; }

  template <class Visit>
  void ForEach(const Visit& visit) const {
    const int32_t red = geometry.blueFirst ? 2 : 0;
    for (int32_t y = 0; y < geometry.height; ++y) {
      const uint8_t* sample = pixels + geometry.RowOffset(y);
      for (int32_t x = 0; x < geometry.width; ++x, sample += 3) visit(Sample{sample[red], sample[1], sample[2 - red]});
    }
  }
};

// The level that all but a share of the channel's samples stay below.
int32_t HighLevel(const int32_t* histogram, double share) {
  double sum = 0.0;
  for (int32_t level = 255; level > 0; --level) {
    sum += histogram[level];
    if (sum > share) return level;
  }
  return 0;
}

double SixteenthPower(double v) {
  const double v2 = v * v, v4 = v2 * v2, v8 = v4 * v4;
  return v8 * v8;
}

double SixteenthRoot(double v) {
  return std::sqrt(std::sqrt(std::sqrt(std::sqrt(v))));
}

constexpr double kShares[] = {0.0005, 0.001, 0.003, 0.01};  // of the pixels, the brightest first
constexpr int32_t kMeasures = 6;

// The light as six simple measures see it, all of them led by the brightest pixels. False when memory ran out.
bool Measure(const Picture& picture, LightColour* found) {
  BrightnessSums sums;
  if (!sums.Allocate()) return false;
  int32_t histogram[3][256] = {};
  picture.ForEach([&](const Sample& s) {
    const LightColour light = picture.Of(s);
    sums.Add((light.red + light.green + light.blue) / 3.0, light, 1.0);
    ++histogram[0][s.red];
    ++histogram[1][s.green];
    ++histogram[2][s.blue];
  });
  const double count = picture.Count();
  for (double share : kShares) sums.Top(std::max(count * share, 1.0), found++);

  double channel[2][3];
  for (int32_t k = 0; k < 3; ++k) {
    double power = 0.0;
    for (int32_t i = 0; i < 256; ++i) power += histogram[k][i] * SixteenthPower(picture.light[i]);
    channel[0][k] = SixteenthRoot(power / count);
    channel[1][k] = picture.light[HighLevel(histogram[k], count * 0.002)];
  }
  *found++ = {channel[0][0], channel[0][1], channel[0][2]};
  *found++ = {channel[1][0], channel[1][1], channel[1][2]};
  return true;
}

// The measures disagree where coloured surfaces are the brightest. The one nearest to neutral is most likely the light;
// the others count by their nearness to it.
Tint Consensus(const LightColour* found) {
  Tint nearest = TintOf(found[0]);
  for (int32_t i = 1; i < kMeasures; ++i) {
    const Tint tint = TintOf(found[i]);
    if (SquaredDistance(tint, {0.0, 0.0}) < SquaredDistance(nearest, {0.0, 0.0})) nearest = tint;
  }
  double weight = 0.0, red = 0.0, blue = 0.0;
  for (int32_t i = 0; i < kMeasures; ++i) {
    const Tint tint = TintOf(found[i]);
    const double trust = Trust(SquaredDistance(tint, nearest), 0.15);
    weight += trust;
    red += trust * tint.red;
    blue += trust * tint.blue;
  }
  return {red / weight, blue / weight};
}

// A surface of its own colour, as seen under neutral light. Pixels this near to grey may have any hue.
constexpr double kNearlyGrey = 0.08;

bool IsColouredSurface(const Sample& s) {
  int32_t hue, saturation, lightness;
  RgbToHsl(s.red, s.green, s.blue, &hue, &saturation, &lightness);
  return IsWarmBright(s.red, s.green, s.blue, saturation, lightness) ||
         IsGreenish(s.red, s.green, s.blue, saturation) || IsRedHue(hue);
}

// Asks the pixels that look neutral under the given light, the brightest of them. Returns the weight of those that
// answered, of `asked`.
double Refine(const Picture& picture, const Tint& tint, double asked, LightColour* answer) {
  BrightnessSums sums;
  if (!sums.Allocate()) return 0.0;
  const LightColour light = LightOf(tint);
  // Gains that make it neutral and leave room above.
  const double least = std::min(light.red, std::min(light.green, light.blue));
  const LightColour gain = {least / light.red, least / light.green, least / light.blue};
  const double gains[3] = {gain.red, gain.green, gain.blue};
  uint8_t balanced[3][256];
  for (int32_t k = 0; k < 3; ++k) {
    for (int32_t i = 0; i < 256; ++i) {
      balanced[k][i] = static_cast<uint8_t>(LevelOfLight(picture.light[i] * gains[k]) * 255.0 + 0.5);
    }
  }
  picture.ForEach([&](const Sample& s) {
    const LightColour seen = picture.Of(s);
    const double r = seen.red * gain.red, g = seen.green * gain.green, b = seen.blue * gain.blue;
    const double high = std::max(r, std::max(g, b)), low = std::min(r, std::min(g, b));
    if (high <= 0.0) return;
    const double colourfulness = (high - low) / high;
    if (colourfulness > 0.5) return;
    if (colourfulness > kNearlyGrey &&
        IsColouredSurface({balanced[0][s.red], balanced[1][s.green], balanced[2][s.blue]})) {
      return;
    }
    sums.Add((r + g + b) / 3.0, seen, Trust(colourfulness * colourfulness, 0.1));
  });
  return sums.Top(asked, answer);
}

double Luminance(const LightColour& light) {
  return 0.2126 * light.red + 0.7152 * light.green + 0.0722 * light.blue;
}

// Light comes in colours near daylight, lamps and shade; a tint far off them is a surface after all. Full trust up to
// the ellipse (wider along warm and cool than along green and magenta), none from 2.2 times its size.
Tint Plausible(const Tint& tint) {
  const double warm = (tint.red - tint.blue) / 2.0, magenta = (tint.red + tint.blue) / 2.0;
  const double size = std::sqrt(warm * warm / (0.5 * 0.5) + magenta * magenta / (0.42 * 0.42));
  if (size <= 1.0) return tint;
  const double trust = std::max((2.2 - size) / 1.2, 0.0);
  return {tint.red * trust, tint.blue * trust};
}

}  // namespace

LightColour EstimateLight(const uint8_t* pixels, const Geometry& geometry) {
  constexpr LightColour kNeutral = {1.0, 1.0, 1.0};
  Picture picture = {pixels, geometry, {}};
  for (int32_t i = 0; i < 256; ++i) picture.light[i] = LightOfLevel(i / 255.0);
  LightColour measures[kMeasures] = {};
  if (!Measure(picture, measures)) return kNeutral;

  const double asked = std::max(picture.Count() * 0.001, 16.0);
  LightColour light;
  if (Refine(picture, Consensus(measures), asked, &light) < asked / 2.0) return kNeutral;
  constexpr double kDarkest = 0.02;  // level 39: below it noise and rounding make the colours
  const double luminance = Luminance(light);
  if (luminance < kDarkest) return kNeutral;

  LightColour plausible = LightOf(Plausible(TintOf(light)));
  const double scale = luminance / Luminance(plausible);
  const double most = std::max(plausible.red, std::max(plausible.green, plausible.blue));
  const double fit = std::min(scale, 1.0 / most);
  return {plausible.red * fit, plausible.green * fit, plausible.blue * fit};
}

}  // namespace zel
