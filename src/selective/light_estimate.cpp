#include "selective/light_estimate.h"

#include <algorithm>
#include <cmath>

#include "color/linear_light.h"
#include "core/reduce.h"
#include "core/scratch.h"
#include "tone/histogram.h"

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
  const double along = tint.warm / (tint.warm > 0.0 ? 2.0 : 0.55);
  return 11.0 * Bell(along, tint.magenta / 0.3) + 3.0 * Bell(tint.warm / 0.08, tint.magenta / 0.08);
}

// Chroma in steps of 1/16, from -3 to 3 on both axes.
constexpr int32_t kPerUnit = 16;
constexpr int32_t kAxis = 96;
constexpr int32_t kPlane = kAxis * kAxis;
constexpr int32_t kSpan = 2 * kAxis;  // of the difference between two

constexpr int32_t kBrightness[] = {5, 25, 125, 500};  // the brightest n in 2000 of the pixels begin a class each
constexpr int32_t kClasses = 5;                       // 0 is the brightest
constexpr int32_t kClipped = 252;                     // levels from here on may have been higher
constexpr double kClippedSay = 0.15;                  // so they weigh less
constexpr int32_t kDark = 8;                          // below it noise and rounding make the colour
constexpr int32_t kFullWeight = 24;                   // levels above it from which a pixel counts fully

constexpr int32_t kEdges[] = {10, 60};  // the strongest n in 2000, as many as pixels, begin a class each
constexpr int32_t kEdgeClasses = 3;
enum Clip : int32_t { kRed = 1, kGreen = 2, kBlue = 4 };
constexpr int32_t kClips = 7;  // none, one or two of them
constexpr int32_t kPlanes = kClasses * kClips + kEdgeClasses;

// What ran over in all channels has no colour left, neither its own nor that of the light: it is no surface and no
// edge. Only its being there says a little for white light, in which white things run over first.
bool IsBlown(int32_t first, int32_t second, int32_t third) {
  return std::min(first, std::min(second, third)) >= kClipped;
}

// What a call measures with.
struct Picture {
  View<const uint8_t> image;
  int32_t count;               // of the pixels that are not blown
  double high[3];              // light that one in 200 samples exceeds
  int32_t logarithm[256];      // of the light of a level, in 1/16 of a step
  int32_t brightness[3][256];  // against `high`
  uint8_t classOf[4096];
  int32_t light[256];  // of a level, 0 to 4095
  int32_t perHigh[3];  // what brings it to a strength of 256 in each channel at `high`
  int32_t differenceLogarithm[4096];
  uint8_t edgeClassOf[4096];
  bool hasEdges;
  Chroma strongest;  // of the differences at edges, most of the strongest

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
        if (!IsBlown(rgb[0], rgb[1], rgb[2])) visit(rgb);
      }
    }
  }

  // Neighbours that differ in all channels the same way, by the light between them: there a surface is lit more or
  // less, or shines, and the difference has the colour of the light more often than the surfaces themselves. Strength
  // as Brightness.
  template <class Visit>
  void ForEachEdge(const Visit& visit) const {
    const int32_t red = image.PlaceOf(0);
    const auto look = [&](const uint8_t* a, const uint8_t* b) {
      if (IsBlown(a[0], a[1], a[2]) || IsBlown(b[0], b[1], b[2])) return;
      int32_t d[3];
      bool clipped = false;
      for (int32_t k = 0; k < 3; ++k) {
        const int32_t at = k == 1 ? 1 : (k == 0 ? red : 2 - red);
        clipped = clipped || a[at] >= kClipped || b[at] >= kClipped;
        d[k] = light[a[at]] - light[b[at]];
      }
      if (d[0] < 0) d[0] = -d[0], d[1] = -d[1], d[2] = -d[2];
      constexpr int32_t kFaint = 8, kFaintest = 13;
      if (d[0] < kFaint || d[1] < kFaint || d[2] < kFaint) return;
      const int32_t strength = (d[0] * perHigh[0] + d[1] * perHigh[1] + d[2] * perHigh[2]) >> 8;
      if (strength >= kFaintest) visit(d, std::min(strength, 4095), clipped);
    };
    ForEachNeighbours(image, look);
  }
};

// Puts ranks into classes: `begins` are the numbers in 2000 of `count` at which the next class begins.
void FillClasses(const int32_t* ranks, double count, const int32_t* begins, int32_t classes, uint8_t* classOf) {
  double sum = 0.0;
  for (int32_t i = 4095; i >= 0; --i) {
    const double share = (sum + ranks[i] / 2.0) / count * 2000.0;
    int32_t c = 0;
    while (c < classes - 1 && share >= begins[c]) ++c;
    classOf[i] = static_cast<uint8_t>(c);
    sum += ranks[i];
  }
}

// False when nothing is left to measure.
bool Prepare(Picture* picture) {
  int32_t histogram[3][256] = {};
  picture->ForEach([&](const uint8_t* rgb) {
    for (int32_t k = 0; k < 3; ++k) ++histogram[k][rgb[k]];
    ++picture->count;
  });
  if (picture->count == 0) return false;
  for (int32_t i = 0; i < 256; ++i) {
    const double light = std::max(LightOfLevel(i / 255.0), 1e-4);
    picture->logarithm[i] = static_cast<int32_t>(std::floor(Logarithm(light) * (16 * kPerUnit) + 0.5));
  }
  for (int32_t k = 0; k < 3; ++k) {
    const auto samples = [&](int32_t level) { return histogram[k][level]; };
    const double above = std::floor(picture->count / 200.0);
    const int32_t level = PercentileWalk(samples).To(picture->count - above - 1.0);
    picture->high[k] = std::max(LightOfLevel(level / 255.0), 1e-3);
    for (int32_t i = 0; i < 256; ++i) {
      picture->brightness[k][i] =
          static_cast<int32_t>(std::min(LightOfLevel(i / 255.0) / picture->high[k] * 1024.0, 4095.0));
    }
  }
  int32_t ranks[4096] = {};
  picture->ForEach([&](const uint8_t* rgb) { ++ranks[picture->Brightness(rgb)]; });
  FillClasses(ranks, picture->count, kBrightness, kClasses, picture->classOf);

  for (int32_t k = 0; k < 3; ++k) {
    picture->perHigh[k] = static_cast<int32_t>(std::min(16.0 / picture->high[k], 4095.0));
  }
  for (int32_t i = 0; i < 256; ++i) picture->light[i] = static_cast<int32_t>(LightOfLevel(i / 255.0) * 4095.0 + 0.5);
  for (int32_t i = 1; i < 4096; ++i) {
    picture->differenceLogarithm[i] = static_cast<int32_t>(std::floor(Logarithm(i / 4096.0) * (16 * kPerUnit) + 0.5));
  }
  int32_t edges[4096] = {};
  double sixth[3] = {};
  picture->ForEachEdge([&](const int32_t* d, int32_t strength, bool clipped) {
    if (!clipped) ++edges[strength];
    for (int32_t k = 0; k < 3; ++k) {
      const double square = static_cast<double>(d[k]) * d[k];
      sixth[k] += square * square * square * (clipped ? kClippedSay : 1.0);
    }
  });
  const double all = sixth[0] + sixth[1] + sixth[2];
  picture->hasEdges = all > 0.0;
  if (picture->hasEdges) {
    const auto root = [&](int32_t k) { return Logarithm(std::max(sixth[k] / all, 1e-12)) / 6.0; };
    picture->strongest = {root(0) - root(1), root(2) - root(1)};
  }
  FillClasses(edges, picture->count, kEdges, kEdgeClasses, picture->edgeClassOf);
  return true;
}

// One colour of the picture: what it weighs, and where it lies.
struct Vote {
  double weight;
  const double* table;
  int32_t clip, red, blue;
  int32_t place;  // in the table, under neutral light
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

// Where differences of logarithms against green lie on the axes; -1 outside.
int32_t PlaceOf(int32_t red, int32_t green, int32_t blue) {
  const int32_t r = (red - green + 8 + kAxis / 2 * 16) >> 4, b = (blue - green + 8 + kAxis / 2 * 16) >> 4;
  return r < 0 || b < 0 || r >= kAxis || b >= kAxis ? -1 : r * kAxis + b;
}

void Count(const Picture& picture, int32_t* counts) {
  const int32_t* const log = picture.logarithm;
  picture.ForEach([&](const uint8_t* rgb) {
    const int32_t dark = std::min(rgb[0], std::min(rgb[1], rgb[2])) - kDark;
    const int32_t place = PlaceOf(log[rgb[0]], log[rgb[1]], log[rgb[2]]);
    if (dark < 0 || place < 0) return;
    const int32_t clip =
        (rgb[0] >= kClipped ? kRed : 0) + (rgb[1] >= kClipped ? kGreen : 0) + (rgb[2] >= kClipped ? kBlue : 0);
    const int32_t c = picture.classOf[picture.Brightness(rgb)];
    counts[(c * kClips + clip) * kPlane + place] += std::min(dark + 1, kFullWeight);
  });
  const int32_t* const edge = picture.differenceLogarithm;
  picture.ForEachEdge([&](const int32_t* d, int32_t strength, bool clipped) {
    if (clipped) return;
    const int32_t place = PlaceOf(edge[d[0]], edge[d[1]], edge[d[2]]);
    if (place >= 0) ++counts[(kClasses * kClips + picture.edgeClassOf[strength]) * kPlane + place];
  });
}

class Votes {
 public:
  bool Allocate() { return votes_.Allocate(kMost); }
  int32_t count() const { return count_; }
  const Vote& operator[](int32_t i) const { return votes_[static_cast<size_t>(i)]; }

  // One for each colour that a class holds in its planes, one plane for each way to be clipped; all together weigh
  // `say`. A colour counts by its being there and little by its area: a wall or the sky is one surface.
  void Add(const int32_t* counted, int32_t planes, double say, const double* table) {
    int64_t total = 0;
    for (int32_t i = 0; i < planes * kPlane; ++i) total += counted[i];
    const int32_t first = count_;
    double weights = 0.0;
    for (int32_t i = 0; i < planes * kPlane && count_ < kMost; ++i) {
      if (counted[i] == 0) continue;
      const int32_t clip = i / kPlane;
      const double there = counted[i] / (counted[i] + 0.0015 * static_cast<double>(total));
      const double weight = there * (clip == 0 ? 1.0 : kClippedSay);
      if (weight < 0.05) continue;
      weights += weight;
      const int32_t red = i % kPlane / kAxis, blue = i % kAxis;
      votes_[static_cast<size_t>(count_++)] = {weight, table, clip, red, blue, (red + kAxis) * kSpan + blue + kAxis};
    }
    for (int32_t i = first; i < count_; ++i) votes_[static_cast<size_t>(i)].weight *= say / std::max(weights, 0.2);
  }

 private:
  static constexpr int32_t kMost = 16384;
  Scratch<Vote> votes_;
  int32_t count_ = 0;
};

constexpr double kStrongestSay = 4.0;
constexpr double kBlownSay = 1.5;

// The mean of all lights, each counted by how well it explains the picture.
Chroma WeighLights(const Votes& votes, const Picture& picture) {
  struct Light {
    Chroma chroma;
    double score;
  };
  constexpr int32_t kStride = 2;
  const double blown = 1.0 - picture.count / (static_cast<double>(picture.image.width) * picture.image.height);
  const double blownSay = kBlownSay * blown / (blown + 0.01);
  Light lights[1024];
  int32_t held = 0;
  double best = 0.0;
  for (int32_t red = -24; red <= 24; red += kStride) {
    for (int32_t blue = -36; blue <= 20; blue += kStride) {
      const Chroma chroma = {static_cast<double>(red) / kPerUnit, static_cast<double>(blue) / kPerUnit};
      const Tint tint = TintOf(chroma);
      if (tint.warm < -1.0 || tint.warm > 2.4 || std::fabs(tint.magenta) > 0.8) continue;
      double score = Expected(chroma) + blownSay * Bell(chroma.red / 0.08, chroma.blue / 0.08);
      if (picture.hasEdges) {
        score += kStrongestSay *
                 Bell((chroma.red - picture.strongest.red) / 0.2, (chroma.blue - picture.strongest.blue) / 0.2);
      }
      const int32_t r = red + kAxis / 2, b = blue + kAxis / 2, step = r * kSpan + b;
      for (int32_t i = 0; i < votes.count(); ++i) {
        const Vote& vote = votes[i];
        score += vote.weight * vote.table[vote.clip == 0 ? vote.place - step : Seen(vote, r, b)];
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

constexpr double kSay[kClasses] = {9.0, 7.6, 6.4, 5.4, 4.5};  // bright ones up to twice
constexpr double kEdgeSay = 5.0;
constexpr int32_t kFewestVotes = 6;  // colours; a wall, a sheet of paper say nothing about the light
constexpr double kUnseen = 0.04;     // steps of light that nobody sees are not taken

}  // namespace

bool EstimateLight(const View<const uint8_t>& image, LightColour* light) {
  *light = {1.0, 1.0, 1.0};
  Scratch<int32_t> counts;
  Scratch<double> plausible(2 * kSpan * kSpan);
  Votes votes;
  if (!counts.AllocateZeroed(kPlanes * kPlane) || !plausible || !votes.Allocate()) return false;
  double* const tables[2] = {plausible.data(), plausible.data() + kSpan * kSpan};
  for (int32_t red = 0; red < kSpan; ++red) {
    for (int32_t blue = 0; blue < kSpan; ++blue) {
      const Chroma surface = {static_cast<double>(red - kAxis) / kPerUnit,
                              static_cast<double>(blue - kAxis) / kPerUnit};
      tables[0][red * kSpan + blue] = Plausibility(surface, 0.08);
      tables[1][red * kSpan + blue] = Plausibility(surface, 0.12);
    }
  }
  Picture picture = {image, 0, {}, {}, {}, {}, {}, {}, {}, {}, false, {}};
  if (!Prepare(&picture)) return true;
  Count(picture, counts.data());
  for (int32_t c = 0; c < kClasses; ++c) {
    votes.Add(counts.data() + c * kClips * kPlane, kClips, kSay[c], tables[c == kClasses - 1 ? 1 : 0]);
  }
  const int32_t surfaces = votes.count();
  if (surfaces < kFewestVotes) return true;
  for (int32_t c = 0; c < kEdgeClasses; ++c) {
    votes.Add(counts.data() + (kClasses * kClips + c) * kPlane, 1, kEdgeSay, tables[1]);
  }
  const Chroma found = WeighLights(votes, picture);
  const double distance = found.red * found.red + found.blue * found.blue;
  if (distance <= kUnseen * kUnseen) return true;
  const double share = 1.0 - kUnseen * kUnseen / distance;

  const double red = Exponential(found.red * share), blue = Exponential(found.blue * share);
  // As bright as two of the channels can show a neutral surface.
  double fits[3] = {picture.high[0] / red, picture.high[1], picture.high[2] / blue};
  std::sort(fits, fits + 3);
  const double fit = std::min(fits[1], 1.0 / std::max(red, std::max(1.0, blue)));
  *light = {red * fit, fit, blue * fit};
  return true;
}

}  // namespace zel
