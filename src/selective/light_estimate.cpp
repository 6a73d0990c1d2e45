#include "selective/light_estimate.h"

#include <algorithm>
#include <cmath>

#include "color/linear_light.h"
#include "core/scratch.h"

namespace zel {

namespace {

// Where a colour lies beside neutral, in logarithms against green. Light of another colour moves every surface by
// the same step.
struct Chroma {
  double red, blue;
};

// The same along the line on which glowing bodies and daylight lie, and across it.
struct Tint {
  double warm, magenta;
};

Tint TintOf(const Chroma& c) {
  return {0.53 * c.red - 0.848 * c.blue, 0.848 * c.red + 0.53 * c.blue};
}

double Bell(double x, double y) {
  return 1.0 / (1.0 + x * x + y * y);
}

// How much a surface that looks like this, once the light is taken out, speaks for the light: much if it is grey,
// something if it is of a common colour (skin, wood, soil, leaves: on the warm side), hardly if it is purple or cyan.
// Bright surfaces are expected nearer to grey.
double Plausibility(const Chroma& surface, double grey) {
  const double x = surface.red / grey, y = surface.blue / grey;
  const Tint tint = TintOf(surface);
  return 1.0 / (1.0 + x * x + y * y - x * y) + 0.5 * Bell((tint.warm - 0.4) / 0.6, (tint.magenta + 0.1) / 0.3);
}

// How likely a light is before looking: most photographs are near neutral already, the others along the line of glowing
// bodies, much further towards warm (candles) than towards cool (shade).
double Expected(const Chroma& light) {
  const Tint tint = TintOf(light);
  const double along = tint.warm / (tint.warm > 0.0 ? 2.0 : 0.4);
  return 8.0 * Bell(along, tint.magenta / 0.2) + 4.0 * Bell(tint.warm / 0.08, tint.magenta / 0.08);
}

// Chroma in steps of 1/16, from -3 to 3 on both axes.
constexpr int32_t kPerUnit = 16;
constexpr int32_t kAxis = 96;
constexpr int32_t kPlane = kAxis * kAxis;
constexpr int32_t kSpan = 2 * kAxis;  // of the difference between two

constexpr int32_t kBrightness[] = {5, 25, 125, 500};  // the brightest n in 2000 of the pixels begin a class each
constexpr int32_t kClasses = 5;                       // 0 is the brightest
constexpr int32_t kClipped = 252;                     // levels from here on may have been higher
constexpr int32_t kDark = 8;                          // below it noise and rounding make the colour
constexpr int32_t kFullWeight = 24;                   // levels above it from which a pixel counts fully

enum Clip : int32_t { kRed = 1, kGreen = 2, kBlue = 4, kAllClipped = 7 };

// What a call measures with.
struct Picture {
  View<const uint8_t> image;
  double high[3];              // light that one in 200 samples exceeds
  int32_t logarithm[256];      // of the light of a level, in 1/16 of a step
  int32_t brightness[3][256];  // against `high`
  uint8_t classOf[4096];

  double Count() const { return static_cast<double>(image.width) * image.height; }
  int32_t Brightness(const uint8_t* rgb) const {
    return std::min(brightness[0][rgb[0]] + brightness[1][rgb[1]] + brightness[2][rgb[2]], 4095);
  }

  template <class Visit>
  void ForEach(const Visit& visit) const {
    const int32_t red = image.PlaceOf(0);
    for (int32_t y = 0; y < image.height; ++y) {
      const uint8_t* sample = image.At(0, y);
      for (int32_t x = 0; x < image.width; ++x, sample += 3) {
        const uint8_t rgb[3] = {sample[red], sample[1], sample[2 - red]};
        visit(rgb);
      }
    }
  }
};

void Prepare(Picture* picture) {
  int32_t histogram[3][256] = {};
  picture->ForEach([&](const uint8_t* rgb) {
    for (int32_t k = 0; k < 3; ++k) ++histogram[k][rgb[k]];
  });
  for (int32_t i = 0; i < 256; ++i) {
    const double light = std::max(LightOfLevel(i / 255.0), 1e-4);
    picture->logarithm[i] = static_cast<int32_t>(std::floor(Logarithm(light) * (16 * kPerUnit) + 0.5));
  }
  for (int32_t k = 0; k < 3; ++k) {
    int32_t level = 255;
    for (int64_t sum = 0; level > 0; --level) {
      sum += histogram[k][level];
      if (static_cast<double>(sum) > picture->Count() / 200.0) break;
    }
    picture->high[k] = std::max(LightOfLevel(level / 255.0), 1e-3);
    for (int32_t i = 0; i < 256; ++i) {
      picture->brightness[k][i] =
          static_cast<int32_t>(std::min(LightOfLevel(i / 255.0) / picture->high[k] * 1024.0, 4095.0));
    }
  }
  int32_t ranks[4096] = {};
  picture->ForEach([&](const uint8_t* rgb) { ++ranks[picture->Brightness(rgb)]; });
  double sum = 0.0;
  for (int32_t i = 4095; i >= 0; --i) {
    const double share = (sum + ranks[i] / 2.0) / picture->Count() * 2000.0;
    int32_t c = 0;
    while (c < kClasses - 1 && share >= kBrightness[c]) ++c;
    picture->classOf[i] = static_cast<uint8_t>(c);
    sum += ranks[i];
  }
}

// One colour of the picture: what it weighs, and where it lies.
struct Vote {
  double weight;
  int32_t clip, red, blue;
  const double* table;
};

// What a clipped colour was is open upwards: it is taken as the most plausible that it can have been.
int32_t Seen(const Vote& vote, int32_t red, int32_t blue) {
  int32_t r = vote.red - red, b = vote.blue - blue;
  switch (vote.clip) {
    case kRed:
      r = std::max(r, 0);
      break;
    case kBlue:
      b = std::max(b, 0);
      break;
    case kRed | kBlue:
      r = std::max(r, 0), b = std::max(b, 0);
      break;
    case kGreen: {
      const int32_t both = std::max(std::min(r, b), 0);
      r -= both, b -= both;
      break;
    }
    case kRed | kGreen:
      r = 0, b = std::min(b, 0);
      break;
    case kGreen | kBlue:
      b = 0, r = std::min(r, 0);
      break;
    default:
      break;
  }
  return (r + kAxis) * kSpan + b + kAxis;
}

// Fills `votes`, one for each colour that a class of brightness holds, and returns how many. A colour counts by its
// being there and little by its area: a wall or the sky is one surface. Brighter classes weigh more, up to twice.
int32_t CollectVotes(const Picture& picture, int32_t* counts, const double* const tables[2], Vote* votes,
                     int32_t most) {
  picture.ForEach([&](const uint8_t* rgb) {
    const int32_t dark = std::min(rgb[0], std::min(rgb[1], rgb[2])) - kDark;
    if (dark < 0) return;
    const auto step = [&](int32_t k) {
      return (picture.logarithm[rgb[k]] - picture.logarithm[rgb[1]] + 8 + kAxis / 2 * 16) >> 4;
    };
    const int32_t red = step(0), blue = step(2);
    if (red < 0 || blue < 0 || red >= kAxis || blue >= kAxis) return;
    const int32_t clip =
        (rgb[0] >= kClipped ? kRed : 0) + (rgb[1] >= kClipped ? kGreen : 0) + (rgb[2] >= kClipped ? kBlue : 0);
    const int32_t c = picture.classOf[picture.Brightness(rgb)];
    counts[(c * 8 + clip) * kPlane + red * kAxis + blue] += std::min(dark + 1, kFullWeight);
  });

  int32_t votesHeld = 0;
  for (int32_t c = 0; c < kClasses; ++c) {
    int32_t* const counted = counts + c * 8 * kPlane;
    int64_t total = 0;
    for (int32_t i = 0; i < 8 * kPlane; ++i) total += counted[i];
    const int32_t first = votesHeld;
    double weights = 0.0;
    for (int32_t i = 0; i < 8 * kPlane && votesHeld < most; ++i) {
      if (counted[i] == 0) continue;
      const int32_t clip = i / kPlane;
      const double there = counted[i] / (counted[i] + 0.0015 * static_cast<double>(total));
      const double weight = there * (clip == 0 ? 1.0 : 0.15);
      if (weight < 0.05) continue;
      weights += weight;
      votes[votesHeld++] = {weight, clip, i % kPlane / kAxis, i % kAxis, tables[c == kClasses - 1 ? 1 : 0]};
    }
    static constexpr double kSay[kClasses] = {12.0, 10.1, 8.5, 7.1, 6.0};
    for (int32_t i = first; i < votesHeld; ++i) votes[i].weight *= kSay[c] / std::max(weights, 0.2);
  }
  return votesHeld;
}

// The mean of all lights, each counted by how well it explains the picture.
Chroma WeighLights(const Vote* votes, int32_t count) {
  struct Light {
    Chroma chroma;
    double score;
  };
  constexpr int32_t kStride = 2;
  Light lights[1024];
  int32_t held = 0;
  double best = 0.0;
  for (int32_t red = -24; red <= 24; red += kStride) {
    for (int32_t blue = -36; blue <= 20; blue += kStride) {
      const Chroma chroma = {static_cast<double>(red) / kPerUnit, static_cast<double>(blue) / kPerUnit};
      const Tint tint = TintOf(chroma);
      if (tint.warm < -1.0 || tint.warm > 2.4 || std::fabs(tint.magenta) > 0.8) continue;
      double score = Expected(chroma);
      for (int32_t i = 0; i < count; ++i) {
        score += votes[i].weight * votes[i].table[Seen(votes[i], red + kAxis / 2, blue + kAxis / 2)];
      }
      lights[held++] = {chroma, score};
      best = std::max(best, score);
    }
  }
  double weight = 0.0;
  Chroma sum = {0.0, 0.0};
  for (int32_t i = 0; i < held; ++i) {
    const double w = Exponential(lights[i].score - best);
    weight += w;
    sum.red += w * lights[i].chroma.red;
    sum.blue += w * lights[i].chroma.blue;
  }
  return {sum.red / weight, sum.blue / weight};
}

constexpr int32_t kMostVotes = 8192;
constexpr int32_t kFewestVotes = 6;  // colours; a wall, a sheet of paper say nothing about the light
constexpr double kUnseen = 0.04;     // steps of light that nobody sees are not taken

}  // namespace

LightColour EstimateLight(const View<const uint8_t>& image) {
  constexpr LightColour kNeutral = {1.0, 1.0, 1.0};
  Scratch<int32_t> counts;
  Scratch<double> plausible(2 * kSpan * kSpan);
  Scratch<Vote> votes(kMostVotes);
  if (!counts.AllocateZeroed(kClasses * 8 * kPlane) || !plausible || !votes) return kNeutral;
  double* const tables[2] = {plausible.data(), plausible.data() + kSpan * kSpan};
  for (int32_t red = 0; red < kSpan; ++red) {
    for (int32_t blue = 0; blue < kSpan; ++blue) {
      const Chroma surface = {static_cast<double>(red - kAxis) / kPerUnit,
                              static_cast<double>(blue - kAxis) / kPerUnit};
      tables[0][red * kSpan + blue] = Plausibility(surface, 0.08);
      tables[1][red * kSpan + blue] = Plausibility(surface, 0.12);
    }
  }
  Picture picture = {image, {}, {}, {}, {}};
  Prepare(&picture);
  const int32_t count = CollectVotes(picture, counts.data(), tables, votes.data(), kMostVotes);
  if (count < kFewestVotes) return kNeutral;
  const Chroma found = WeighLights(votes.data(), count);
  const double distance = found.red * found.red + found.blue * found.blue;
  if (distance <= kUnseen * kUnseen) return kNeutral;
  const double share = 1.0 - kUnseen * kUnseen / distance;

  LightColour light = {Exponential(found.red * share), 1.0, Exponential(found.blue * share)};
  // As bright as two of the channels can show a neutral surface.
  double fits[3] = {picture.high[0] / light.red, picture.high[1], picture.high[2] / light.blue};
  std::sort(fits, fits + 3);
  const double fit = std::min(fits[1], 1.0 / std::max(light.red, std::max(1.0, light.blue)));
  return {light.red * fit, fit, light.blue * fit};
}

}  // namespace zel
