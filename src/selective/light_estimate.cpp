#include "selective/light_estimate.h"

#include <algorithm>
#include <cmath>

#include "color/linear_light.h"
#include "core/scratch.h"
#include "selective/light_votes.h"

namespace zel {

namespace {

// A chroma along the line on which glowing bodies and daylight lie, and across it.
struct Tint {
  double warm, magenta;
};

Tint TintOf(const Chroma& c) {
  return {0.53 * c.red - 0.848 * c.blue, 0.848 * c.red + 0.53 * c.blue};
}

double Bell(double x, double y) {
  return 1.0 / (1.0 + x * x + y * y);
}

double Bell(const Chroma& c, const Chroma& middle, double width) {
  return Bell((c.red - middle.red) / width, (c.blue - middle.blue) / width);
}

// How likely a light is before looking: most photographs are near neutral already, the others along the line of glowing
// bodies, much further towards warm (candles) than towards cool (shade).
double Expected(const Chroma& light) {
  const Tint tint = TintOf(light);
  const double along = tint.warm / (tint.warm > 0.0 ? 2.0 : 0.6);
  return 10.0 * Bell(along, (tint.magenta - 0.08) / 0.6) + 1.5 * Bell(tint.warm / 0.08, tint.magenta / 0.08);
}

// What speaks for a light, for every chroma that a colour can have once the light is taken out; in thousandths, so that
// sums do not hang on their order.
struct Plausible {
  Scratch<uint16_t> bright, other, grey;
};
constexpr float kPlausible = 1000.0f;

// Much if it is grey, something if it is of a common colour (skin, wood, soil, leaves: on the warm side), hardly if it
// is purple or cyan, and least of all if it is deep blue. Bright surfaces are expected nearer to grey.
bool FillPlausible(Plausible* plausible) {
  constexpr size_t kPlaces = kSpan * kSpan;
  if (!plausible->bright.Allocate(kPlaces) || !plausible->other.Allocate(kPlaces) ||
      !plausible->grey.Allocate(kPlaces)) {
    return false;
  }
  for (int32_t red = -kAxis; red < kAxis; ++red) {
    const auto row = static_cast<size_t>(PlaceOfDifference(red, -kAxis));
    uint16_t *bright = plausible->bright.data() + row, *other = plausible->other.data() + row,
             *grey = plausible->grey.data() + row;
    const float r = static_cast<float>(red) / kPerUnit;
    for (int32_t blue = 0; blue < kSpan; ++blue) {
      const float b = static_cast<float>(blue - kAxis) / kPerUnit;
      const float warm = 0.53f * r - 0.848f * b, magenta = 0.848f * r + 0.53f * b;
      const float square = r * r + b * b - r * b, x = (warm - 0.4f) * (1.0f / 0.6f),
                  y = (magenta + 0.1f) * (1.0f / 0.3f);
      const float nearGrey = 1.0f + square * (1.0f / (0.08f * 0.08f)),
                  wideGrey = 1.0f + square * (1.0f / (0.12f * 0.12f));
      const float deepBlue = std::min(std::max((-0.8f - warm) * (1.0f / 0.6f), 0.0f), 1.0f);
      const float coloured = kPlausible * (0.6f / (1.0f + x * x + y * y) + 0.4f * (1.0f - deepBlue)) + 0.5f;
      const float near = kPlausible / nearGrey, wide = kPlausible / wideGrey;
      bright[blue] = static_cast<uint16_t>(static_cast<int32_t>(near + coloured));
      other[blue] = static_cast<uint16_t>(static_cast<int32_t>(wide + coloured));
      grey[blue] = static_cast<uint16_t>(static_cast<int32_t>(wide + 0.5f));
    }
  }
  return true;
}

// What a clipped colour was is open upwards: it is taken as the most plausible that it can have been.
int32_t Open(int32_t place, int32_t clip) {
  int32_t r = place / kSpan - kAxis, b = place % kSpan - kAxis;
  switch (clip) {
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
  return PlaceOfDifference(r, b);
}

// How plausible the colours of a kind are once a light is taken out that moves them by `step` places.
double Explained(const LightVotes& votes, Kind kind, int32_t step, const Scratch<uint16_t>& plausible) {
  uint32_t sum = 0;
  const int32_t* const begins = votes.begins + kind * kClips;
  const Vote* const all = votes.votes.data();
  const uint16_t* const table = plausible.data();
  for (int32_t i = begins[0]; i < begins[1]; ++i) sum += all[i].weight * table[all[i].place - step];
  for (int32_t clip = 1; clip < kClips; ++clip) {
    for (int32_t i = begins[clip]; i < begins[clip + 1]; ++i) {
      sum += all[i].weight * table[Open(all[i].place - step, clip)];
    }
  }
  return sum / (kPlausible * kVoteUnit);
}

constexpr double kStrongestSay = 3.7;
constexpr double kBlownSay = 1.5;

struct Finding {
  Chroma light;
  double greyEdges;  // share of the edges that it makes grey
};

// The mean of all lights, each counted by how well it explains the picture.
Finding WeighLights(const LightVotes& votes, const Plausible& plausible) {
  struct Light {
    Chroma chroma;
    int32_t step;
    double score;
  };
  Light lights[512];
  int32_t held = 0;
  // What ran over is no surface, but says a little for white light, in which white things run over first.
  const double blownSay = kBlownSay * votes.blown / (votes.blown + 0.01);
  constexpr Chroma kNeutral = {0.0, 0.0};
  double best = 0.0;
  for (int32_t red = -24; red <= 32; red += 2) {
    for (int32_t blue = -40; blue <= 20; blue += 2) {
      const Chroma chroma = {static_cast<double>(red) / kPerUnit, static_cast<double>(blue) / kPerUnit};
      const Tint tint = TintOf(chroma);
      if (tint.warm < -0.56 || tint.warm > 2.15 || std::fabs(tint.magenta) > 0.8) continue;
      const int32_t step = red * kSpan + blue;
      double score = Expected(chroma) + blownSay * Bell(chroma, kNeutral, 0.08) +
                     Explained(votes, kBright, step, plausible.bright) +
                     Explained(votes, kDark, step, plausible.other) + Explained(votes, kEdge, step, plausible.other);
      if (votes.hasEdges) score += kStrongestSay * Bell(chroma, votes.strongest, 0.15);
      lights[held++] = {chroma, step, score};
      best = std::max(best, score);
    }
  }
  double weight = 0.0;
  Finding sum = {{0.0, 0.0}, 0.0};
  for (int32_t i = 0; i < held; ++i) {
    constexpr double kNothing = -12.0;
    if (lights[i].score - best < kNothing) continue;
    const double w = Exponential(lights[i].score - best);
    weight += w;
    sum.light.red += w * lights[i].chroma.red;
    sum.light.blue += w * lights[i].chroma.blue;
    sum.greyEdges += w * Explained(votes, kEdge, lights[i].step, plausible.grey) / kEdgesSay;
  }
  return {{sum.light.red / weight, sum.light.blue / weight}, sum.greyEdges / weight};
}

// How much of the step to take. A light far beyond the colour of the dark surfaces is that of a lamp, of the sun or of
// a flower and falls on little of the picture, and so it is where the bright colours become grey and no edge does.
double Trust(const Finding& found, const Chroma& shade) {
  const Chroma& light = found.light;
  const double distance = std::sqrt(light.red * light.red + light.blue * light.blue);
  const double beyond = distance - (light.red * shade.red + light.blue * shade.blue) / std::max(distance, 1e-9);
  const double shaded = std::max(1.0 - std::max(beyond - 1.1, 0.0) / 0.9, 0.25);
  const double edged = std::min(std::max(found.greyEdges / 0.053, 0.3), 1.0);
  return std::min(shaded, edged);
}

constexpr int32_t kFewestVotes = 6;  // colours; a wall, a sheet of paper say nothing about the light
constexpr double kUnseen = 0.04;     // steps of light that nobody sees are not taken

}  // namespace

bool EstimateLight(const View<const uint8_t>& image, LightColour* light) {
  *light = {1.0, 1.0, 1.0};
  LightVotes votes;
  Plausible plausible;
  if (!CountLightVotes(image, &votes)) return false;
  if (votes.surfaces < kFewestVotes) return true;
  if (!FillPlausible(&plausible)) return false;
  const Finding finding = WeighLights(votes, plausible);
  const double trust = Trust(finding, votes.shade);
  const Chroma found = {finding.light.red * trust, finding.light.blue * trust};
  const double distance = found.red * found.red + found.blue * found.blue;
  if (distance <= kUnseen * kUnseen) return true;
  const double share = 1.0 - kUnseen * kUnseen / distance;

  const double red = Exponential(found.red * share), blue = Exponential(found.blue * share);
  // As bright as two of the channels can show a neutral surface.
  double fits[3] = {votes.high[0] / red, votes.high[1], votes.high[2] / blue};
  std::sort(fits, fits + 3);
  const double fit = std::min(fits[1], 1.0 / std::max(red, std::max(1.0, blue)));
  *light = {red * fit, fit, blue * fit};
  return true;
}

}  // namespace zel
