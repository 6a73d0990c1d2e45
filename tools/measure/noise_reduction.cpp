// Measures noise reduction: adds Gaussian noise to photographs, takes it out again and prints the peak signal-to-noise
// ratio against the clean photograph as a table in Markdown.
//
//   zel_measure_noise [--save DIRECTORY] photograph-or-folder...
//
// With --save the noisy and the filtered pictures are written there too.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>

#include "photographs.h"

namespace zel::measure {
namespace {

constexpr int kSigmas[] = {10, 25};
constexpr uint32_t kStrengths[] = {25, 50, 75, 100};

// The same noise on every system: the standard library fixes the generator's numbers, but not how they become normal.
Photograph WithNoise(Photograph photograph, double sigma) {
  std::mt19937 random(1);
  const auto uniform = [&] { return (random() + 0.5) / 4294967296.0; };
  for (uint8_t& sample : photograph.samples) {
    const double radius = std::sqrt(-2.0 * std::log(uniform()));
    const double normal = radius * std::cos(6.283185307179586 * uniform());
    sample = static_cast<uint8_t>(std::lround(std::clamp(sample + sigma * normal, 0.0, 255.0)));
  }
  return photograph;
}

double PeakSignalToNoise(const Photograph& a, const Photograph& b) {
  double squares = 0.0;
  for (size_t i = 0; i < a.samples.size(); ++i) {
    const double difference = static_cast<double>(a.samples[i]) - b.samples[i];
    squares += difference * difference;
  }
  return 10.0 * std::log10(255.0 * 255.0 * static_cast<double>(a.samples.size()) / squares);
}

bool Measure(const Photograph& clean, const std::string& directory) {
  for (const int sigma : kSigmas) {
    const Photograph noisy = WithNoise(clean, sigma);
    const std::string stem = directory + "/" + clean.name + "-" + std::to_string(sigma);
    std::printf("| %s | %d | %.2f |", clean.name.c_str(), sigma, PeakSignalToNoise(clean, noisy));
    if (!directory.empty() && !SavePng(noisy, stem + "-noisy.png")) return false;
    for (const uint32_t strength : kStrengths) {
      Photograph filtered = noisy;
      const ImageDesc source = noisy.Record(), destination = filtered.Record();
      if (ZelBasicToolFunc_DeNoise(&source, &destination, strength, nullptr) != ZEL_OK) return false;
      std::printf(" %.2f |", PeakSignalToNoise(clean, filtered));
      if (!directory.empty() && !SavePng(filtered, stem + "-" + std::to_string(strength) + ".png")) return false;
    }
    std::printf("\n");
  }
  return true;
}

int Run(int count, char** arguments) {
  int first = 1;
  std::string directory;
  if (count > 2 && std::strcmp(arguments[1], "--save") == 0) {
    directory = arguments[2];
    first = 3;
  }
  std::printf("| photograph | sigma | noisy |");
  for (const uint32_t strength : kStrengths) std::printf(" strength %u |", strength);
  std::printf("\n|---|---|---|");
  for (size_t i = 0; i < std::size(kStrengths); ++i) std::printf("---|");
  std::printf("\n");
  for (const Photograph& photograph : LoadPhotographs(count - first, arguments + first)) {
    if (!Measure(photograph, directory)) return 1;
  }
  return 0;
}

}  // namespace
}  // namespace zel::measure

int main(int count, char** arguments) {
  return zel::measure::Run(count, arguments);
}
