// How well ZelBasicToolFunc_LightCorrect finds the light: photographs under known tints, beside three simple methods.
//   zel_measure_light [--clip] [--save FOLDER] PHOTOGRAPH-OR-FOLDER...
#include <vips/vips.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <numeric>

#include "core/reduce.h"
#include "photographs.h"
#include "selective/light_estimate.h"

using namespace zel::measure;

namespace {

struct Tint {
  const char* name;
  Rgb gains;  // in linear light
};

const Tint kTints[] = {{"none", {1.00, 1.00, 1.00}},
                       {"warm", {1.00, 0.86, 0.68}},
                       {"warm, strong", {1.00, 0.70, 0.42}},
                       {"cool", {0.76, 0.90, 1.00}},
                       {"cool, strong", {0.55, 0.80, 1.00}},
                       {"green", {0.84, 1.00, 0.84}},
                       {"green, strong", {0.68, 1.00, 0.68}},
                       {"magenta", {1.00, 0.84, 0.98}},
                       {"magenta, strong", {1.00, 0.68, 0.94}},
                       {"yellow", {1.00, 0.97, 0.72}},
                       {"yellow, strong", {1.00, 0.95, 0.48}}};

// With `clip` the luminance of grey is kept, so that bright samples run into white as in an over-exposed picture.
Photograph Tinted(const Photograph& photograph, const Rgb& gains, bool clip) {
  const double exposure = clip ? 1.0 / (0.2126 * gains[0] + 0.7152 * gains[1] + 0.0722 * gains[2]) : 1.0;
  Photograph tinted = photograph;
  for (int k = 0; k < 3; ++k) {
    double level[256];
    for (int i = 0; i < 256; ++i) level[i] = Level(std::min(Linear(i) * gains[k] * exposure, 1.0));
    for (size_t p = 0; p < tinted.Pixels(); ++p) tinted.SetLevel(p, k, level[photograph.Level(p, k)]);
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
  if (!zel::PointSample(image, image.Whole(), zel::kMeasuredExtent, &copy)) return {1.0, 1.0, 1.0};
  const zel::LightColour light = zel::EstimateLight(copy.view);
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

const Method kMethods[] = {{"mean is grey", [](const Photograph& p) { return PowerMean(p, 1.0); }},
                           {"brightest 1 % is white", BrightestPercent},
                           {"shades of grey, p = 6", [](const Photograph& p) { return PowerMean(p, 6.0); }},
                           {"ZelBasicToolFunc_LightCorrect", Ours}};

}  // namespace

int main(int count, char** arguments) {
  if (VIPS_INIT(arguments[0]) != 0) return 1;
  bool clip = false;
  std::string folder;
  int first = 1;
  for (; first < count && arguments[first][0] == '-'; ++first) {
    if (std::strcmp(arguments[first], "--clip") == 0) clip = true;
    if (std::strcmp(arguments[first], "--save") == 0 && first + 1 < count) folder = arguments[++first];
  }
  const std::vector<Photograph> photographs = LoadPhotographs(count - first, arguments + first);
  if (photographs.empty()) return std::fprintf(stderr, "no photographs\n"), 1;

  constexpr size_t kMethodCount = std::size(kMethods);
  std::printf("Mean angular error in degrees over %zu photographs\n\n| tint |", photographs.size());
  for (const Method& method : kMethods) std::printf(" %s |", method.name);
  std::printf("\n|---|---|---|---|---|\n");
  double total[kMethodCount] = {}, change[kMethodCount] = {}, left[kMethodCount] = {};
  for (const Tint& tint : kTints) {
    const bool tinted = &tint != kTints;
    double sums[kMethodCount] = {};
    for (const Photograph& photograph : photographs) {
      const Photograph seen = Tinted(photograph, tint.gains, clip);
      for (size_t m = 0; m < kMethodCount; ++m) {
        const Rgb light = kMethods[m].light(seen);
        const double angle = Angle(light, tint.gains);
        sums[m] += angle;
        const Photograph result = m + 1 == kMethodCount ? Corrected(seen) : Balanced(seen, light);
        (tinted ? left : change)[m] += MeanDeltaE(result, photograph);
        if (!folder.empty() && m + 1 == kMethodCount) {
          std::fprintf(stderr, "%s %s: %.2f\n", photograph.name.c_str(), tint.name, angle);
          const std::string path = folder + "/" + photograph.name + " " + tint.name;
          SavePng(seen, path + " seen.png");
          SavePng(result, path + " corrected.png");
        }
      }
    }
    std::printf("| %s |", tint.name);
    for (size_t m = 0; m < kMethodCount; ++m) {
      const double mean = sums[m] / static_cast<double>(photographs.size());
      if (tinted) total[m] += mean / static_cast<double>(std::size(kTints) - 1);
      std::printf(" %.2f |", mean);
    }
    std::printf("\n");
  }
  const auto row = [](const char* name, const double* values, double divisor) {
    std::printf("| %s |", name);
    for (size_t m = 0; m < kMethodCount; ++m) std::printf(" %.2f |", values[m] / divisor);
    std::printf("\n");
  };
  const double n = static_cast<double>(photographs.size());
  row("mean of the tinted", total, 1.0);
  row("CIEDE2000 left after correction, tinted", left, n * static_cast<double>(std::size(kTints) - 1));
  row("CIEDE2000 of the change, untinted", change, n);
  return 0;
}
