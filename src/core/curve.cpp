#include "core/curve.h"

#include <algorithm>

namespace zel {

namespace {

constexpr int32_t kMostPoints = 16;

struct Knots {
  int32_t count = 0;
  double x[kMostPoints] = {};
  double y[kMostPoints] = {};
  float curvature[kMostPoints] = {};  // second derivative at each knot
};

bool Ascends(const Knots& knots) {
  for (int32_t k = 1; k < knots.count; ++k) {
    if (knots.x[k] <= knots.x[k - 1]) return false;
  }
  return true;
}

// The tridiagonal system of the natural spline. Coefficients, right sides and results are kept in single precision,
// every expression is evaluated in double.
bool SolveCurvatures(Knots* knots) {
  const int32_t last = knots->count - 1;
  const double* const x = knots->x;
  const double* const y = knots->y;
  float diagonal[kMostPoints] = {}, upper[kMostPoints] = {}, right[kMostPoints] = {};
  for (int32_t k = 1; k < last; ++k) {
    const double before = x[k] - x[k - 1];
    const double after = x[k + 1] - x[k];
    diagonal[k] = static_cast<float>(2.0 * (before + after));
    upper[k] = static_cast<float>(after);
    right[k] = static_cast<float>(6.0 * ((y[k + 1] - y[k]) / after - (y[k] - y[k - 1]) / before));
  }
  for (int32_t k = 2; k < last; ++k) {
    if (diagonal[k - 1] == 0.0f) return false;
    const double factor = static_cast<double>(upper[k - 1]) / diagonal[k - 1];
    diagonal[k] = static_cast<float>(diagonal[k] - factor * upper[k - 1]);
    right[k] = static_cast<float>(right[k] - factor * right[k - 1]);
  }
  for (int32_t k = last - 1; k >= 1; --k) {
    if (diagonal[k] == 0.0f) return false;
    knots->curvature[k] =
        static_cast<float>((right[k] - static_cast<double>(upper[k]) * knots->curvature[k + 1]) / diagonal[k]);
  }
  return true;
}

uint8_t SplineEntry(const Knots& knots, int32_t k, int32_t x) {
  const double h = knots.x[k + 1] - knots.x[k];
  const double a = (knots.x[k + 1] - x) / h;
  const double b = (x - knots.x[k]) / h;
  const double value =
      a * knots.y[k] + b * knots.y[k + 1] +
      ((a * a * a - a) * knots.curvature[k] + (b * b * b - b) * knots.curvature[k + 1]) * (h * h) / 6.0;
  const float rounded = static_cast<float>(value);
  if (rounded < 0.0f) return 0;
  if (rounded >= 255.0f) return 255;
  return static_cast<uint8_t>(rounded);
}

void FillSpline(const Knots& knots, uint8_t* table) {
  int32_t k = 0;
  for (int32_t x = 0; x < 255; ++x) {
    if (k + 2 < knots.count && x == static_cast<int32_t>(knots.x[k + 1])) ++k;
    table[x] = x == static_cast<int32_t>(knots.x[k]) ? static_cast<uint8_t>(knots.y[k]) : SplineEntry(knots, k, x);
  }
  table[255] = 255;
}

}  // namespace

bool BuildCurveLut(uint8_t* table, const CurvePoint* points, int32_t count) {
  if (table == nullptr || points == nullptr || count <= 0 || count > kMostPoints) return false;
  Knots knots;
  knots.count = count;
  for (int32_t k = 0; k < count; ++k) {
    knots.x[k] = points[k].x & 0xFF;
    knots.y[k] = points[k].y & 0xFF;
  }
  if (count == 1) {
    std::fill(table, table + 256, static_cast<uint8_t>(knots.y[0]));
    return true;
  }
  if (!Ascends(knots) || (count > 2 && !SolveCurvatures(&knots))) {
    for (int32_t x = 0; x < 256; ++x) table[x] = static_cast<uint8_t>(x);
    return false;
  }
  if (count > 2) {
    FillSpline(knots, table);
    return true;
  }
  const int32_t x0 = static_cast<int32_t>(knots.x[0]), y0 = static_cast<int32_t>(knots.y[0]);
  const int32_t dx = static_cast<int32_t>(knots.x[1]) - x0, dy = static_cast<int32_t>(knots.y[1]) - y0;
  for (int32_t x = 0; x < 256; ++x) {
    table[x] = static_cast<uint8_t>(std::min(std::max(y0 + (x - x0) * dy / dx, 0), 255));
  }
  return true;
}

}  // namespace zel
