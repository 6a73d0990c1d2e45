// How well ZelTavoraFunc_AgedPhotoRecovered restores pictures that were aged by known recipes, beside a plain stretch
// of each channel between its percentiles (auto levels).
//   zel_measure_aged [--fold tune|held-back|check] [--save FOLDER] PHOTOGRAPH-OR-FOLDER...
#include <vips/vips.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "photographs.h"
#include "recipes.h"

using namespace zel::measure;

namespace {

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

constexpr int kStrengths[] = {25, 50, 75, 100};
constexpr int kColumns = 6;

// What a recipe makes of all pictures: CIEDE2000 to the picture before, summed up: as aged, auto levels, each strength.
struct Result {
  double sums[kColumns] = {};
  std::vector<std::pair<double, std::string>> pictures;  // at strength 50
};

Result Measured(const std::vector<Photograph>& pictures, const Recipe& recipe, double amount,
                const std::string& folder) {
  Result result;
  for (const Photograph& picture : pictures) {
    const Photograph aged = recipe.age(picture, amount);
    result.sums[0] += MeanDeltaE(aged, picture);
    result.sums[1] += MeanDeltaE(PlainStretch(aged), picture);
    for (int s = 0; s < 4; ++s) {
      const Photograph after = Recovered(aged, kStrengths[s]);
      const double error = MeanDeltaE(after, picture);
      result.sums[2 + s] += error;
      if (kStrengths[s] != 50) continue;
      result.pictures.push_back({error, picture.name + ", " + recipe.name});
      if (folder.empty()) continue;
      const std::string path = folder + "/" + picture.name + " " + recipe.name;
      SavePng(aged, path + " aged.png");
      SavePng(after, path + " recovered.png");
    }
  }
  return result;
}

void PrintLine(const char* name, const char* amount, const double* sums, double divisor) {
  std::printf("| %s | %s |", name, amount);
  for (int c = 0; c < kColumns; ++c) std::printf(" %.2f |", sums[c] / divisor);
  std::printf("\n");
}

void PrintWorst(const char* title, std::vector<std::pair<double, std::string>> list) {
  std::sort(list.rbegin(), list.rend());
  std::printf("\n%s:", title);
  for (size_t i = 0; i < std::min<size_t>(list.size(), 8); ++i) {
    std::printf(" %s (%.1f)%s", list[i].second.c_str(), list[i].first, i < 7 ? ";" : "\n");
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (VIPS_INIT(arguments[0]) != 0) return 1;
  const Options options = OptionsOf(count, arguments);
  const std::vector<Photograph> pictures = PicturesOf(options);
  const double n = static_cast<double>(pictures.size());
  std::printf("Mean CIEDE2000 against the unaged picture, %zu pictures, fold %s\n", pictures.size(),
              NameOf(options.fold));
  const char* const heading =
      "\n| aged by | amount | as aged | auto levels | strength 25 | strength 50 | strength 75 | strength 100 |\n"
      "|---|---|---|---|---|---|---|---|\n";
  for (const std::vector<Recipe>* recipes : {&RecipesOfTheMaking(), &OtherRecipes()}) {
    std::printf("%s", heading);
    std::vector<std::pair<double, std::string>> worst;
    double all[kColumns] = {};
    for (const Recipe& recipe : *recipes) {
      for (double amount : {0.5, 1.0}) {
        const Result result = Measured(pictures, recipe, amount, options.folder);
        PrintLine(recipe.name, amount < 1.0 ? "0.5" : "1.0", result.sums, n);
        for (int c = 0; c < kColumns; ++c) all[c] += result.sums[c] / n;
        if (amount == 1.0) worst.insert(worst.end(), result.pictures.begin(), result.pictures.end());
      }
    }
    PrintLine("**mean**", "", all, 2.0 * static_cast<double>(recipes->size()));
    if (recipes == &RecipesOfTheMaking()) {
      const Recipe none = {"not aged", [](const Photograph& photograph, double) { return photograph; }};
      const Result unaged = Measured(pictures, none, 0.0, options.folder);
      PrintLine(none.name, "", unaged.sums, n);
      PrintWorst("Most changed at 50", unaged.pictures);
    }
    PrintWorst("Worst at 50", worst);
  }
  return 0;
}
