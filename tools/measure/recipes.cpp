#include "recipes.h"

#include <vips/vips.h>
#include <algorithm>
#include <cmath>

namespace zel::measure {

namespace {

double Density(double light, double lost) {
  return std::pow(light, 1.0 - lost);
}

double Absorbed(double light, double density) {
  return light * std::pow(10.0, -density);
}

constexpr double kDensest = 0.0008;  // a print reflects that much of the light at the least

// One curve per channel: light(k, light, amount).
template <class Light>
Recipe Curves(const char* name, const Light& light) {
  return {name, [light](const Photograph& photograph, double amount) {
            Photograph aged = photograph;
            for (int k = 0; k < 3; ++k) {
              double table[256];
              for (int i = 0; i < 256; ++i) table[i] = Level(std::clamp(light(k, Linear(i), amount), 0.0, 1.0));
              for (size_t p = 0; p < aged.Pixels(); ++p) aged.SetLevel(p, k, table[photograph.Level(p, k)]);
            }
            return aged;
          }};
}

// Shares of density lost in red, green and blue, from a black that reflects `black`.
Recipe Dyes(const char* name, const Rgb& lost, double black) {
  return Curves(name,
                [=](int k, double light, double amount) { return Density(std::max(light, black), lost[k] * amount); });
}

Recipe Paper(const char* name, const Rgb& density) {
  return Curves(name, [=](int k, double light, double amount) { return Absorbed(light, density[k] * amount); });
}

Recipe Veil(const char* name, const Rgb& colour, double share) {
  return Curves(name, [=](int k, double light, double amount) { return light + (colour[k] - light) * share * amount; });
}

Recipe PressedLevels(const char* name, const Rgb& black, const Rgb& white) {
  return Curves(name, [=](int k, double light, double amount) {
    const double level = Level(light);
    return Linear(level + amount * (black[k] + level * (white[k] - black[k]) / 255.0 - level));
  });
}

// Pixels in linear light: change(light, x, amount), x from 0 at the left of the picture to 1.
template <class Change>
Recipe Pixels(const char* name, const Change& change) {
  return {name, [change](const Photograph& photograph, double amount) {
            Photograph aged = photograph;
            for (size_t p = 0; p < aged.Pixels(); ++p) {
              Rgb light;
              for (int k = 0; k < 3; ++k) light[k] = Linear(photograph.Level(p, k));
              const size_t width = static_cast<size_t>(photograph.width);
              change(&light, static_cast<double>(p % width) / photograph.width, amount);
              for (int k = 0; k < 3; ++k) aged.SetLevel(p, k, Level(std::min(light[k], 1.0)));
            }
            return aged;
          }};
}

void Desaturate(Rgb* light, double share) {
  const double grey = 0.21 * (*light)[0] + 0.72 * (*light)[1] + 0.07 * (*light)[2];
  for (double& l : *light) l += (grey - l) * share;
}

Photograph Noisy(const Photograph& photograph, double deviation) {
  Photograph noisy = photograph;
  uint32_t state = 99;
  const auto random = [&] { return static_cast<double>((state = state * 1664525u + 1013904223u) >> 8) / 16777216.0; };
  for (size_t p = 0; p < noisy.Pixels(); ++p) {
    for (int k = 0; k < 3; ++k) {
      const double bell = (random() + random() + random() + random() - 2.0) * std::sqrt(3.0);
      noisy.SetLevel(p, k, photograph.Level(p, k) + bell * deviation);
    }
  }
  return noisy;
}

Photograph Compressed(const Photograph& photograph, int quality) {
  Photograph compressed = photograph;
  VipsImage* const image = vips_image_new_from_memory(photograph.samples.data(), photograph.samples.size(),
                                                      photograph.width, photograph.height, 3, VIPS_FORMAT_UCHAR);
  void* file = nullptr;
  size_t size = 0;
  VipsImage* decoded = nullptr;
  if (image != nullptr && vips_jpegsave_buffer(image, &file, &size, "Q", quality, nullptr) == 0 &&
      vips_jpegload_buffer(file, size, &decoded, nullptr) == 0) {
    uint8_t* const pixels = static_cast<uint8_t*>(vips_image_write_to_memory(decoded, &size));
    if (pixels != nullptr && size == compressed.samples.size()) compressed.samples.assign(pixels, pixels + size);
    g_free(pixels);
  }
  g_free(file);
  if (decoded != nullptr) g_object_unref(decoded);
  if (image != nullptr) g_object_unref(image);
  return compressed;
}

// A scanner takes the ends of green to nearly black and white, in all channels alike.
Photograph Scanned(const Photograph& photograph) {
  std::vector<int> green;
  for (size_t p = 0; p < photograph.Pixels(); ++p) green.push_back(photograph.Level(p, 1));
  std::sort(green.begin(), green.end());
  const double low = 0.8 * green[green.size() / 500], high = green[green.size() - 1 - green.size() / 500];
  const double range = std::max(high + 0.3 * (255.0 - high) - low, 30.0);
  Photograph scanned = photograph;
  for (size_t p = 0; p < scanned.Pixels(); ++p) {
    for (int k = 0; k < 3; ++k) scanned.SetLevel(p, k, (photograph.Level(p, k) - low) * 255.0 / range);
  }
  return scanned;
}

// Each row: how much a dye absorbs of red, green and blue light.
constexpr double kDyes[3][3] = {{1.0, 0.22, 0.08}, {0.25, 1.0, 0.2}, {0.06, 0.25, 1.0}};

void FadeCrossedDyes(Rgb* light, const Rgb& lost, double amount) {
  // Gauss-Seidel: the matrix is near the identity.
  Rgb dye{};
  for (int round = 0; round < 20; ++round) {
    for (int k = 0; k < 3; ++k) {
      double density = -std::log10(std::max((*light)[k], 0.001));
      for (int j = 0; j < 3; ++j) density -= j == k ? 0.0 : kDyes[j][k] * dye[j];
      dye[k] = density;
    }
  }
  for (int k = 0; k < 3; ++k) {
    double density = 0.0;
    for (int j = 0; j < 3; ++j) density += kDyes[j][k] * dye[j] * (1.0 - lost[j] * amount);
    (*light)[k] = std::pow(10.0, -density);
  }
}

}  // namespace

const std::vector<Recipe>& RecipesOfTheMaking() {
  static const std::vector<Recipe> recipes = {
      Dyes("cyan dye faded", {0.5, 0.08, 0.05}, 0.0),
      Dyes("magenta dye faded", {0.08, 0.45, 0.05}, 0.0),
      Dyes("yellow dye faded", {0.05, 0.08, 0.5}, 0.0),
      Dyes("all dyes faded", {0.45, 0.3, 0.2}, 0.0),
      Veil("veil", {1.0, 0.85, 0.6}, 0.15),
      Paper("yellow paper", {0.03, 0.09, 0.28}),
      Curves("flat", [](int, double light, double a) { return Absorbed(Density(light, 0.4 * a), 0.08 * a); }),
      Curves("levels pressed, yellowed",
             [](int k, double light, double a) {
               const double i = Level(light), veil[3] = {255.0, 220.0, 160.0};
               double v = i + a * (60.0 + i * 140.0 / 255.0 - i);
               if (k == 2) v += a * (20.0 - i * 50.0 / 255.0);
               return Linear(v + 0.12 * a * (veil[k] - v));
             }),
      Dyes("two dyes faded, black at 3.1", {0.35, 0.05, 0.45}, kDensest),
      Curves("light added",
             [](int k, double light, double a) {
               const double added[3] = {0.12, 0.09, 0.05};
               return light + added[k] * a;
             }),
      Curves("dyes faded, paper yellowed", [](int k, double light, double a) {
        const double lost[3] = {0.3, 0.15, 0.1}, density[3] = {0.02, 0.06, 0.15};
        return Absorbed(Density(std::max(light, kDensest), lost[k] * a), density[k] * a);
      })};
  return recipes;
}

const std::vector<Recipe>& OtherRecipes() {
  static const std::vector<Recipe> recipes = {
      Dyes("red print: 0.55, 0.1, 0.25 lost", {0.55, 0.1, 0.25}, 0.004),
      Dyes("cyan print: 0.05, 0.35, 0.3 lost", {0.05, 0.35, 0.3}, 0.002),
      Dyes("0.3, 0.15, 0 lost", {0.3, 0.15, 0.0}, 0.0),
      Veil("neutral veil, 12 %", {1.0, 1.0, 1.0}, 0.12),
      Veil("cold veil, 12 %", {0.6, 0.8, 1.0}, 0.12),
      Veil("warm veil, 25 %", {1.0, 0.8, 0.5}, 0.25),
      Curves("paper 0.02, 0.06, 0.2 and veil",
             [](int k, double light, double a) {
               const double density[3] = {0.02, 0.06, 0.2};
               return Absorbed(light + (1.0 - light) * 0.06 * a, density[k] * a);
             }),
      Paper("brown paper: 0.08, 0.2, 0.4", {0.08, 0.2, 0.4}),
      PressedLevels("levels 40 to 220", {40.0, 40.0, 40.0}, {220.0, 220.0, 220.0}),
      PressedLevels("levels from 70, 55, 45 to 235, 220, 180", {70.0, 55.0, 45.0}, {235.0, 220.0, 180.0}),
      Curves("gamma 0.6, 0.7, 0.8, white tinted",
             [](int k, double light, double a) {
               const double gamma[3] = {0.6, 0.7, 0.8}, white[3] = {1.0, 0.95, 0.85};
               return std::pow(light, 1.0 + (gamma[k] - 1.0) * a) * (1.0 + (white[k] - 1.0) * a);
             }),
      Pixels("dyes that absorb side by side",
             [](Rgb* light, double, double a) {
               FadeCrossedDyes(light, {0.5, 0.2, 0.1}, a);
             }),
      {"cyan dye, noise, strong compression",
       [](const Photograph& photograph, double a) {
         return Compressed(Noisy(Dyes("", {0.45, 0.1, 0.1}, 0.002).age(photograph, a), 5.0), 40);
       }},
      {"cyan dye, scanned with its own levels",
       [](const Photograph& photograph, double a) {
         return Scanned(Dyes("", {0.45, 0.15, 0.1}, 0.002).age(photograph, a));
       }},
      Pixels("cyan dye, twice as much at the right",
             [](Rgb* light, double x, double a) {
               const double lost[3] = {0.5, 0.15, 0.1};
               for (int k = 0; k < 3; ++k) (*light)[k] = Density((*light)[k], lost[k] * a * (0.5 + 0.5 * x));
             }),
      Pixels("veil, a third of the colour gone",
             [](Rgb* light, double, double a) {
               const double veil[3] = {1.0, 0.9, 0.7};
               Desaturate(light, 0.3 * a);
               for (int k = 0; k < 3; ++k) (*light)[k] += (veil[k] - (*light)[k]) * 0.1 * a;
             }),
      Pixels("sepia", [](Rgb* light, double, double a) {
        const double density[3] = {0.0, 0.06, 0.16};
        Desaturate(light, 0.6 * a);
        for (int k = 0; k < 3; ++k) (*light)[k] = Absorbed((*light)[k] * 0.94 + 0.03 * a, density[k] * a);
      })};
  return recipes;
}

}  // namespace zel::measure
