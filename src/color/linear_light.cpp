#include "color/linear_light.h"

#include <algorithm>
#include <cmath>

namespace zel {

namespace {

// Brought to a root between 1/2 and 1, where Newton's iteration doubles its digits from about the third step on; after
// eight only the last bit or two are open.
constexpr int kSteps = 8;

double CubeRoot(double value) {
  double scale = 1.0;
  for (; value < 0.125; value *= 8.0) scale *= 0.5;
  double root = 1.0;
  for (int i = 0; i < kSteps; ++i) root = (2.0 * root + value / (root * root)) / 3.0;
  return root * scale;
}

double FifthRoot(double value) {
  double scale = 1.0;
  for (; value < 0.03125; value *= 32.0) scale *= 0.5;
  double root = 1.0;
  for (int i = 0; i < kSteps; ++i) root = (4.0 * root + value / (root * root * root * root)) / 5.0;
  return root * scale;
}

}  // namespace

double LightOfLevel(double level) {
  if (!(level > 0.0)) return 0.0;
  if (level >= 1.0) return 1.0;
  if (level <= 0.04045) return level / 12.92;
  const double v = (level + 0.055) / 1.055;
  return v * v * FifthRoot(v * v);  // v ^ 2.4
}

double LevelOfLight(double light) {
  if (!(light > 0.0)) return 0.0;
  if (light >= 1.0) return 1.0;
  if (light <= 0.0031308) return light * 12.92;
  const double fifth = light * light * light * light * light;
  return 1.055 * CubeRoot(std::sqrt(std::sqrt(fifth))) - 0.055;  // light ^ (5 / 12)
}

double Logarithm(double value) {
  double halvings = 0.0;
  for (; value < 0.5; value *= 2.0) ++halvings;
  const double z = (value - 1.0) / (value + 1.0), zz = z * z;
  double sum = 0.0;
  for (int n = 31; n > 0; n -= 2) sum = sum * zz + 1.0 / n;  // z is a third at most
  return 2.0 * z * sum - halvings * 0.69314718055994530942;
}

double Exponential(double exponent) {
  constexpr int kSquarings = 26;
  double power = std::max(1.0 + exponent / (1 << kSquarings), 0.0);
  for (int i = 0; i < kSquarings; ++i) power *= power;
  return power;
}

}  // namespace zel
