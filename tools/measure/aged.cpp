// How well ZelTavoraFunc_AgedPhotoRecovered restores pictures that were aged by known recipes, beside a plain stretch
// of each channel between its percentiles (auto levels).
//   zel_measure_aged [--fold tune|held-back] [--save FOLDER] PHOTOGRAPH-OR-FOLDER...
#include <vips/vips.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "photographs.h"

using namespace zel::measure;

namespace {

// What age does to the light of a channel: dyes lose density (a power of light), paper yellows (a product), a veil adds
// light, contrast goes.
struct Recipe {
  const char* name;
  double (*light)(int k, double light, double amount);
};

double Density(double light, double lost) {
  return std::pow(light, 1.0 - lost);
}

constexpr double kDensest = 0.0008;  // a print reflects that much of the light at the least

const Recipe kRecipes[] = {
    {"cyan dye faded",
     [](int k, double l, double a) {
       const double lost[3] = {0.5, 0.08, 0.05};
       return Density(l, lost[k] * a);
     }},
    {"magenta dye faded",
     [](int k, double l, double a) {
       const double lost[3] = {0.08, 0.45, 0.05};
       return Density(l, lost[k] * a);
     }},
    {"yellow dye faded",
     [](int k, double l, double a) {
       const double lost[3] = {0.05, 0.08, 0.5};
       return Density(l, lost[k] * a);
     }},
    {"all dyes faded",
     [](int k, double l, double a) {
       const double lost[3] = {0.45, 0.3, 0.2};
       return Density(l, lost[k] * a);
     }},
    {"veil",
     [](int k, double l, double a) {
       const double veil[3] = {1.0, 0.85, 0.6};
       return l + (veil[k] - l) * 0.15 * a;
     }},
    {"yellow paper",
     [](int k, double l, double a) {
       const double d[3] = {0.03, 0.09, 0.28};
       return l * std::pow(10.0, -d[k] * a);
     }},
    {"flat", [](int, double l, double a) { return Density(l, 0.4 * a) * std::pow(10.0, -0.08 * a); }},
    {"levels pressed, yellowed",
     [](int k, double l, double a) {
       const double i = Level(l), veil[3] = {255.0, 220.0, 160.0};
       double v = i + a * (60.0 + i * 140.0 / 255.0 - i);
       if (k == 2) v += a * (20.0 - i * 50.0 / 255.0);
       return Linear(v + 0.12 * a * (veil[k] - v));
     }},
    {"two dyes faded, black at 3.1",
     [](int k, double l, double a) {
       const double lost[3] = {0.35, 0.05, 0.45};
       return Density(std::max(l, kDensest), lost[k] * a);
     }},
    {"light added",
     [](int k, double l, double a) {
       const double added[3] = {0.12, 0.09, 0.05};
       return std::min(l + added[k] * a, 1.0);
     }},
    {"dyes faded, paper yellowed", [](int k, double l, double a) {
       const double lost[3] = {0.3, 0.15, 0.1}, d[3] = {0.02, 0.06, 0.15};
       return Density(std::max(l, kDensest), lost[k] * a) * std::pow(10.0, -d[k] * a);
     }}};

Photograph Aged(const Photograph& photograph, const Recipe& recipe, double amount) {
  Photograph aged = photograph;
  for (int k = 0; k < 3; ++k) {
    double table[256];
    for (int i = 0; i < 256; ++i) table[i] = Level(recipe.light(k, Linear(i), amount));
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
  const Options options = OptionsOf(count, arguments);
  const std::vector<Photograph> pictures = PicturesOf(options);
  const double n = static_cast<double>(pictures.size());
  constexpr int kColumns = 6;
  const int strengths[] = {25, 50, 75, 100};
  std::printf(
      "Mean CIEDE2000 against the unaged picture, %zu pictures, fold %s\n\n"
      "| aged by | amount | as aged | auto levels | strength 25 | strength 50 | strength 75 | strength 100 |\n"
      "|---|---|---|---|---|---|---|---|\n",
      pictures.size(), NameOf(options.fold));
  std::vector<std::pair<double, std::string>> worst, changed;
  double all[kColumns] = {}, rows = 0.0;
  const auto line = [&](const char* name, double amount, const double* sums, double divisor) {
    std::printf("| %s | %.1f |", name, amount);
    for (int c = 0; c < kColumns; ++c) std::printf(" %.2f |", sums[c] / divisor);
    std::printf("\n");
  };
  const auto measure = [&](const Recipe& recipe, double amount, double* sums) {
    for (const Photograph& picture : pictures) {
      const Photograph aged = Aged(picture, recipe, amount);
      sums[0] += MeanDeltaE(aged, picture);
      sums[1] += MeanDeltaE(PlainStretch(aged), picture);
      for (int s = 0; s < 4; ++s) {
        const Photograph after = Recovered(aged, strengths[s]);
        const double error = MeanDeltaE(after, picture);
        sums[2 + s] += error;
        if (strengths[s] != 50) continue;
        if (amount > 0.0) {
          worst.push_back({error, picture.name + ", " + recipe.name});
        } else {
          changed.push_back({error, picture.name});
        }
        if (options.folder.empty()) continue;
        const std::string path = options.folder + "/" + picture.name + " " + recipe.name;
        SavePng(aged, path + " aged.png");
        SavePng(after, path + " recovered.png");
      }
    }
  };
  for (const Recipe& recipe : kRecipes) {
    for (double amount : {0.5, 1.0}) {
      double sums[kColumns] = {};
      measure(recipe, amount, sums);
      line(recipe.name, amount, sums, n);
      for (int c = 0; c < kColumns; ++c) all[c] += sums[c] / n;
      rows += 1.0;
    }
  }
  line("**mean**", 0.75, all, rows);
  double unaged[kColumns] = {};
  measure(kRecipes[0], 0.0, unaged);
  line("not aged", 0.0, unaged, n);
  const auto name = [](const char* title, std::vector<std::pair<double, std::string>>* list) {
    std::sort(list->rbegin(), list->rend());
    std::printf("\n%s:", title);
    for (size_t i = 0; i < std::min<size_t>(list->size(), 8); ++i) {
      std::printf(" %s (%.1f)%s", (*list)[i].second.c_str(), (*list)[i].first, i < 7 ? ";" : "\n");
    }
  };
  name("Worst at 50", &worst);
  name("Not aged, most changed at 50", &changed);
  return 0;
}
