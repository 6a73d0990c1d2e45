// How well ZelTavoraFunc_AgedPhotoRecovered restores photographs that were aged by a known recipe, beside a plain
// stretch of each channel between its percentiles.
//   zel_measure_aged [--save FOLDER] PHOTOGRAPH-OR-FOLDER...
#include <vips/vips.h>
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "photographs.h"

using namespace zel::measure;

namespace {

// Contrast pressed into 60..200, blue lifted by 20 in the shadows and lowered by 30 in the lights, 12 % of a warm veil;
// `amount` of all of it.
Photograph Aged(const Photograph& photograph, double amount) {
  const double veil[3] = {255.0, 220.0, 160.0};
  Photograph aged = photograph;
  for (int k = 0; k < 3; ++k) {
    double table[256];
    for (int i = 0; i < 256; ++i) {
      double v = i + amount * (60.0 + i * 140.0 / 255.0 - i);
      if (k == 2) v += amount * (20.0 - i * 50.0 / 255.0);
      table[i] = v + 0.12 * amount * (veil[k] - v);
    }
    for (size_t p = 0; p < aged.Pixels(); ++p) aged.SetLevel(p, k, table[photograph.Level(p, k)]);
  }
  return aged;
}

Photograph PlainStretch(const Photograph& photograph) {
  Photograph stretched = photograph;
  for (int k = 0; k < 3; ++k) {
    size_t bins[256] = {};
    for (size_t p = 0; p < photograph.Pixels(); ++p) ++bins[photograph.Level(p, k)];
    const auto level = [&](double share) {
      double sum = 0.0;
      int i = 0;
      for (; i < 255; ++i) {
        sum += static_cast<double>(bins[i]);
        if (sum > share * static_cast<double>(photograph.Pixels())) break;
      }
      return i;
    };
    const int low = level(0.005), high = std::max(level(0.995), low + 1);
    for (size_t p = 0; p < photograph.Pixels(); ++p) {
      stretched.SetLevel(p, k, (photograph.Level(p, k) - low) * 255.0 / (high - low));
    }
  }
  return stretched;
}

Photograph Recovered(const Photograph& photograph, int strength) {
  Photograph recovered = photograph;
  const ImageDesc source = photograph.Record(), destination = recovered.Record();
  ZelTavoraFunc_AgedPhotoRecovered(&source, &destination, 0, strength, nullptr);
  return recovered;
}

}  // namespace

int main(int count, char** arguments) {
  if (VIPS_INIT(arguments[0]) != 0) return 1;
  std::string folder;
  int first = 1;
  if (count > 2 && std::strcmp(arguments[1], "--save") == 0) {
    folder = arguments[2];
    first = 3;
  }
  const std::vector<Photograph> photographs = LoadPhotographs(count - first, arguments + first);
  if (photographs.empty()) return std::fprintf(stderr, "no photographs\n"), 1;
  std::printf(
      "Mean CIEDE2000 against the unaged picture\n\n"
      "| photograph | aged by | as aged | plain stretch | recovered, 25 | recovered, 50 | recovered, 75 |\n"
      "|---|---|---|---|---|---|---|\n");
  for (int step = 0; step <= 3; ++step) {
    double sums[5] = {};
    for (const Photograph& photograph : photographs) {
      const Photograph aged = Aged(photograph, step / 3.0);
      const Photograph half = Recovered(aged, 50);
      const double errors[5] = {MeanDeltaE(aged, photograph), MeanDeltaE(PlainStretch(aged), photograph),
                                MeanDeltaE(Recovered(aged, 25), photograph), MeanDeltaE(half, photograph),
                                MeanDeltaE(Recovered(aged, 75), photograph)};
      std::printf("| %s | %d/3 |", photograph.name.c_str(), step);
      for (int m = 0; m < 5; ++m) {
        std::printf(" %.2f |", errors[m]);
        sums[m] += errors[m] / static_cast<double>(photographs.size());
      }
      std::printf("\n");
      if (!folder.empty()) {
        const std::string path = folder + "/" + photograph.name + " " + std::to_string(step);
        SavePng(aged, path + " aged.png");
        SavePng(half, path + " recovered.png");
      }
    }
    std::printf("| **mean** | %d/3 |", step);
    for (double sum : sums) std::printf(" %.2f |", sum);
    std::printf("\n");
  }
  return 0;
}
