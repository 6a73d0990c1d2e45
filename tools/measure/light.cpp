// How well ZelBasicToolFunc_LightCorrect finds the light: photographs and drawn scenes under 26 lights on the line of
// black bodies and off it, beside four simple methods.
//   zel_measure_light [--fold tune|held-back|check] [--clip] [--blown] [--save FOLDER] PHOTOGRAPH-OR-FOLDER...
#include <vips/vips.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>

#include "core/reduce.h"
#include "photographs.h"
#include "selective/light_estimate.h"

using namespace zel::measure;

namespace {

enum Kind { kNone, kWarm, kVeryWarm, kCool, kOffLine, kKinds };
const char* const kKindNames[kKinds] = {"none", "warm, up to 15 degrees", "warm, over 15 degrees", "cool",
                                        "green / magenta by half a stop"};

struct Light {
  std::string name;
  Rgb gains;  // in linear light, the largest 1
  Kind kind;
};

// Colour of a black body in linear sRGB, by the usual cubic fit of its chromaticity.
Rgb BlackBody(double kelvin) {
  const double t = 1000.0 / kelvin;
  const double x = kelvin < 4000.0 ? ((-0.2661239 * t - 0.2343589) * t + 0.8776956) * t + 0.179910
                                   : ((-3.0258469 * t + 2.1070379) * t + 0.2226347) * t + 0.240390;
  const double y = kelvin < 4000.0 ? ((-0.9549476 * x - 1.37418593) * x + 2.09137015) * x - 0.16748867
                                   : ((3.0817580 * x - 5.87338670) * x + 3.75112997) * x - 0.37001483;
  const double red = x / y, blue = (1.0 - x - y) / y;
  return {3.2406 * red - 1.5372 - 0.4986 * blue, -0.9689 * red + 1.8758 + 0.0415 * blue,
          0.0557 * red - 0.2040 + 1.0570 * blue};
}

Light LightAt(double kelvin, double greenStops) {
  const Rgb white = {1.0, 1.0, 1.0};
  Rgb gains = kelvin == 6500.0 ? white : BlackBody(kelvin);
  const double angle = Angle(gains, white);
  gains[1] *= std::exp2(greenStops);
  const double most = *std::max_element(gains.begin(), gains.end());
  for (double& gain : gains) gain /= most;
  const Kind kind = greenStops != 0.0  ? kOffLine
                    : kelvin == 6500.0 ? kNone
                    : kelvin > 6500.0  ? kCool
                    : angle > 15.0     ? kVeryWarm
                                       : kWarm;
  const char* const side = greenStops > 0.0 ? " green" : greenStops < 0.0 ? " magenta" : "";
  return {std::to_string(static_cast<int>(kelvin)) + " K" + side, gains, kind};
}

std::vector<Light> Lights() {
  std::vector<Light> lights = {LightAt(6500.0, 0.0)};
  for (double kelvin :
       {2500.0, 2850.0, 3200.0, 3600.0, 4000.0, 4500.0, 5000.0, 5700.0, 7000.0, 8000.0, 9000.0, 10000.0}) {
    lights.push_back(LightAt(kelvin, 0.0));
  }
  for (double kelvin : {3200.0, 4000.0, 4500.0, 5500.0, 6500.0, 7500.0, 9000.0}) {
    for (double stops : {0.5, -0.5}) lights.push_back(LightAt(kelvin, stops));
  }
  return lights;
}

// With --clip the luminance of grey is kept, so that bright samples run into white as in an over-exposed picture; with
// --blown the upper tenth is white, as a window or the sky.
Photograph Tinted(const Photograph& photograph, const Rgb& gains, const Options& options) {
  const double exposure = options.clip ? 1.0 / (0.2126 * gains[0] + 0.7152 * gains[1] + 0.0722 * gains[2]) : 1.0;
  Photograph tinted = photograph;
  for (int k = 0; k < 3; ++k) {
    double level[256];
    for (int i = 0; i < 256; ++i) level[i] = Level(std::min(Linear(i) * gains[k] * exposure, 1.0));
    for (size_t p = 0; p < tinted.Pixels(); ++p) tinted.SetLevel(p, k, level[photograph.Level(p, k)]);
    for (size_t p = 0; options.blown && p < tinted.Pixels() / 10; ++p) tinted.SetLevel(p, k, 255.0);
  }
  return tinted;
}

// Light divided by its own grey, as a user of the simple methods would do it.
Photograph Balanced(const Photograph& photograph, const Rgb& light) {
  const double grey = 0.2126 * light[0] + 0.7152 * light[1] + 0.0722 * light[2];
  Photograph balanced = photograph;
  for (int k = 0; k < 3; ++k) {
    double level[256];
    for (int i = 0; i < 256; ++i) level[i] = Level(std::min(Linear(i) * grey / std::max(light[k], 1e-6), 1.0));
    for (size_t p = 0; p < balanced.Pixels(); ++p) balanced.SetLevel(p, k, level[photograph.Level(p, k)]);
  }
  return balanced;
}

Rgb PowerMean(const Photograph& photograph, double power) {
  Rgb light;
  for (int k = 0; k < 3; ++k) {
    double table[256], sum = 0.0;
    for (int i = 0; i < 256; ++i) table[i] = std::pow(Linear(i), power);
    for (size_t p = 0; p < photograph.Pixels(); ++p) sum += table[photograph.Level(p, k)];
    light[k] = std::pow(sum / static_cast<double>(photograph.Pixels()), 1.0 / power);
  }
  return light;
}

Rgb BrightestPercent(const Photograph& photograph) {
  double table[256];
  for (int i = 0; i < 256; ++i) table[i] = Linear(i);
  std::vector<std::pair<double, size_t>> order(photograph.Pixels());
  for (size_t p = 0; p < order.size(); ++p) {
    order[p] = {table[photograph.Level(p, 0)] + table[photograph.Level(p, 1)] + table[photograph.Level(p, 2)], p};
  }
  const size_t count = std::max<size_t>(1, order.size() / 100);
  std::nth_element(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(count - 1), order.end(),
                   std::greater<>());
  Rgb light{};
  for (size_t i = 0; i < count; ++i) {
    for (int k = 0; k < 3; ++k) light[k] += table[photograph.Level(order[i].second, k)];
  }
  return light;
}

Rgb Ours(const Photograph& photograph) {
  const ImageDesc record = photograph.Record();
  const auto image = zel::ViewOf<const uint8_t>(record);
  zel::SampledCopy<uint8_t> copy;
  zel::LightColour light = {1.0, 1.0, 1.0};
  if (zel::PointSample(image, image.Whole(), zel::kMeasuredExtent, &copy)) zel::EstimateLight(copy.view, &light);
  return {light.red, light.green, light.blue};
}

Photograph Corrected(const Photograph& photograph) {
  Photograph corrected = photograph;
  const ImageDesc source = photograph.Record(), destination = corrected.Record();
  ZelBasicToolFunc_LightCorrect(&source, &destination, 100);
  return corrected;
}

struct Method {
  const char* name;
  std::function<Rgb(const Photograph&)> light;
};

// First differences, 6th power.
Rgb GreyEdge(const Photograph& photograph) {
  Rgb light{};
  const size_t width = static_cast<size_t>(photograph.width);
  double table[256];
  for (int i = 0; i < 256; ++i) table[i] = Linear(i);
  for (size_t p = 0; p + width < photograph.Pixels(); ++p) {
    if (p % width + 1 == width) continue;
    for (int k = 0; k < 3; ++k) {
      const double here = table[photograph.Level(p, k)];
      const double x = table[photograph.Level(p + 1, k)] - here, y = table[photograph.Level(p + width, k)] - here;
      const double square = x * x + y * y;
      light[k] += square * square * square;
    }
  }
  for (double& l : light) l = std::pow(l, 1.0 / 6.0);
  return light;
}

const Method kMethods[] = {{"nothing",
                            [](const Photograph&) {
                              return Rgb{1.0, 1.0, 1.0};
                            }},
                           {"mean is grey", [](const Photograph& p) { return PowerMean(p, 1.0); }},
                           {"brightest 1 % is white", BrightestPercent},
                           {"shades of grey, p = 6", [](const Photograph& p) { return PowerMean(p, 6.0); }},
                           {"grey edge", GreyEdge},
                           {"light-correct", Ours}};

// A picture as a camera would have seen it, before its colours were made stronger and its own light was taken out: with
// the tint out (as far as grey edge and shades of grey agree on it), less saturated, under a light as measured scenes
// have it, most of them near daylight and the others far towards warm, and not as bright.
struct Scenes {
  uint32_t state = 77;
  double Random() { return static_cast<double>((state = state * 1664525u + 1013904223u) >> 8) / 16777216.0; }

  Photograph Seen(const Photograph& picture, int kind, Rgb* light) {
    static const double kFrom[3] = {2400.0, 4800.0, 5500.0}, kSpan[3] = {1800.0, 1200.0, 3500.0};
    static const double kFilters[3][3] = {{0.68, 0.27, 0.05}, {0.16, 0.66, 0.18}, {0.05, 0.28, 0.67}};
    const double kelvin = kFrom[kind % 3] + kSpan[kind % 3] * Random(), side = Random() + Random() - 1.0;
    *light = LightAt(kelvin, side * (kind % 3 == 0 ? 0.25 : 0.18)).gains;
    const double exposure = 0.5 + 0.5 * Random();
    const Rgb edge = GreyEdge(picture), shades = PowerMean(picture, 6.0);
    Rgb own;
    for (int k = 0; k < 3; ++k) {
      own[k] = std::pow(edge[k] / edge[1] * shades[k] / shades[1], kind % 2 == 0 ? 0.1 : 0.375);
    }
    Photograph seen = picture;
    for (size_t p = 0; p < picture.Pixels(); ++p) {
      Rgb colour;
      for (int k = 0; k < 3; ++k) colour[k] = Linear(picture.Level(p, k)) / own[k];
      for (int k = 0; k < 3; ++k) {
        const double* const filter = kFilters[k];
        const double through = filter[0] * colour[0] + filter[1] * colour[1] + filter[2] * colour[2];
        seen.SetLevel(p, k, Level(std::min(through * (*light)[k] * exposure, 1.0)));
      }
    }
    return seen;
  }
};

}  // namespace

int main(int count, char** arguments) {
  if (VIPS_INIT(arguments[0]) != 0) return 1;
  const Options options = OptionsOf(count, arguments);
  const std::vector<Photograph> pictures = PicturesOf(options);
  const std::vector<Light> lights = Lights();
  constexpr size_t kMethodCount = std::size(kMethods);
  double sums[kKinds][kMethodCount] = {}, numbers[kKinds] = {}, change[kMethodCount] = {}, most[kMethodCount] = {};
  std::vector<std::pair<double, std::string>> worst, changed;
  for (const Photograph& picture : pictures) {
    for (const Light& light : lights) {
      const Photograph seen = Tinted(picture, light.gains, options);
      numbers[light.kind] += 1.0;
      for (size_t m = 0; m < kMethodCount; ++m) {
        const Rgb found = kMethods[m].light(seen);
        const double angle = Angle(found, light.gains);
        sums[light.kind][m] += angle;
        const bool ours = m + 1 == kMethodCount;
        if (ours) worst.push_back({angle, picture.name + ", " + light.name});
        if (light.kind == kNone) {
          const double largest = *std::max_element(found.begin(), found.end());
          Rgb white = found;
          for (double& w : white) w /= largest;
          const double delta = MeanDeltaE(ours ? Corrected(seen) : Balanced(seen, white), picture);
          change[m] += delta;
          most[m] = std::max(most[m], delta);
          if (ours) changed.push_back({delta, picture.name});
        }
        if (ours && !options.folder.empty()) {
          const std::string path = options.folder + "/" + picture.name + " " + light.name;
          SavePng(seen, path + " seen.png");
          SavePng(Corrected(seen), path + " corrected.png");
        }
      }
    }
  }
  std::printf("Mean angle in degrees between the light and its estimate, %zu pictures, fold %s\n\n| lights |",
              pictures.size(), NameOf(options.fold));
  for (const Method& method : kMethods) std::printf(" %s |", method.name);
  std::printf("\n|---|");
  for (size_t m = 0; m < kMethodCount; ++m) std::printf("---|");
  const auto row = [](const std::string& name, const double* values, double divisor) {
    std::printf("\n| %s |", name.c_str());
    for (size_t m = 0; m < kMethodCount; ++m) std::printf(" %.1f |", values[m] / divisor);
  };
  double all[kMethodCount] = {}, number = 0.0;
  for (int kind = kNone; kind < kKinds; ++kind) {
    row(kKindNames[kind], sums[kind], numbers[kind]);
    if (kind == kNone) continue;
    number += numbers[kind];
    for (size_t m = 0; m < kMethodCount; ++m) all[m] += sums[kind][m];
  }
  row("all 26", all, number);
  double scenes[2][kMethodCount] = {}, sceneNumbers[2] = {}, sceneSums[kMethodCount] = {};
  Scenes camera;
  for (const Photograph& picture : pictures) {
    for (int kind = 0; kind < 6; ++kind) {
      Rgb light;
      const Photograph seen = camera.Seen(picture, kind, &light);
      const int far = Angle(light, {1.0, 1.0, 1.0}) > 8.0 ? 1 : 0;
      sceneNumbers[far] += 1.0;
      for (size_t m = 0; m < kMethodCount; ++m) scenes[far][m] += Angle(kMethods[m].light(seen), light);
    }
  }
  for (size_t m = 0; m < kMethodCount; ++m) sceneSums[m] = scenes[0][m] + scenes[1][m];
  row("as a camera sees it", sceneSums, sceneNumbers[0] + sceneNumbers[1]);
  row("of these, over 8 degrees off", scenes[1], sceneNumbers[1]);
  row("untinted: CIEDE2000 of the change", change, static_cast<double>(pictures.size()));
  row("untinted: most changed", most, 1.0);
  const auto name = [](const char* title, std::vector<std::pair<double, std::string>>* list) {
    std::sort(list->rbegin(), list->rend());
    std::printf("\n%s:", title);
    for (size_t i = 0; i < std::min<size_t>(list->size(), 6); ++i) {
      std::printf(" %s (%.1f)%s", (*list)[i].second.c_str(), (*list)[i].first, i < 5 ? ";" : "\n");
    }
  };
  std::printf("\n");
  name("Worst angles", &worst);
  name("Most changed untinted", &changed);
  return 0;
}
