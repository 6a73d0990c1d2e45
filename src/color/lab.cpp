#include "color/lab.h"

#include <algorithm>
#include <cstring>

#include "core/rounding.h"

namespace zel {

namespace {

constexpr double kLn2 = 0.693147180559945309417232;

double Curve(double t) {
  return t > 0.008856 ? NearlyCubeRoot(t) : 7.787 * t + 0.13793103;
}

// `cubeScale` and `lineScale` bring the value back from the white point.
double Inverse(double f, double cubeScale, double lineScale) {
  return f > 0.008856 ? f * f * f * cubeScale : (f - 0.13793103) * lineScale;
}

template <class T>
T ToSample(double value) {
  const int32_t sample = static_cast<int32_t>(value * kLast<T> + 0.5);
  return static_cast<T>(std::min(std::max(sample, 0), kLast<T>));
}

// Relative to the white point, at most 1 each.
struct Xyz {
  double x, y, z;
};

template <class T>
Xyz XyzOf(T red, T green, T blue) {
  const auto scaled = [](T v) { return sizeof(T) == 1 ? v / 255.0 : v * 1.5259022e-5; };
  const double r = scaled(red), g = scaled(green), b = scaled(blue);
  const double x = 0.4124 * r + 0.3576 * g + 0.1805 * b;
  const double y = 0.2126 * r + 0.7152 * g + 0.0722 * b;
  const double z = 0.0193 * r + 0.1192 * g + 0.9505 * b;
  return {std::min(x * 1.0524465, 1.0), std::min(y, 1.0), std::min(z * 0.9187604, 1.0)};
}

struct Lab {
  float l, a, b;
};

Lab LabOf(const Xyz& c) {
  const double fx = Curve(c.x), fy = Curve(c.y), fz = Curve(c.z);
  return {static_cast<float>(116.0 * fy - 16.0), static_cast<float>(500.0 * (fx - fy)),
          static_cast<float>(200.0 * (fy - fz))};
}

// Tells without a root that a pixel's chroma cannot be the largest: the curve at 1025 places, between which it rises.
class ChromaBound {
 public:
  ChromaBound() {
    for (int32_t i = 0; i < kSteps + 2; ++i) curve_[i] = Curve(std::min(static_cast<double>(i) / kSteps, 1.0));
  }
  double Square(const Xyz& c) const {
    const int32_t x = Step(c.x), y = Step(c.y), z = Step(c.z);
    // The hundredth covers all roundings and the curve's tiny fall where its two parts meet.
    const double a = 500.0 * std::max(curve_[x + 1] - curve_[y], curve_[y + 1] - curve_[x]) + 0.01;
    const double b = 200.0 * std::max(curve_[y + 1] - curve_[z], curve_[z + 1] - curve_[y]) + 0.01;
    return a * a + b * b;
  }

 private:
  static constexpr int32_t kSteps = 1024;
  static int32_t Step(double t) { return static_cast<int32_t>(t * kSteps); }
  double curve_[kSteps + 2];
};

template <class T>
double LargestInRow(const T* pixel, int32_t pixels, bool blueFirst, const ChromaBound& bound, double largest) {
  const int32_t red = blueFirst ? 2 : 0, blue = 2 - red;
  for (int32_t p = 0; p < pixels; ++p, pixel += 3) {
    const Xyz c = XyzOf(pixel[red], pixel[1], pixel[blue]);
    if (bound.Square(c) <= largest) continue;
    const Lab lab = LabOf(c);
    const double labA = ToSingle(lab.a), labB = ToSingle(lab.b);
    largest = std::max(largest, labA * labA + labB * labB);
  }
  return largest;
}

template <class T>
void RowToLab(const T* pixel, int32_t pixels, bool blueFirst, const LabPlanes& planes, size_t first) {
  const int32_t red = blueFirst ? 2 : 0, blue = 2 - red;
  for (int32_t p = 0; p < pixels; ++p, pixel += 3) {
    const Lab lab = LabOf(XyzOf(pixel[red], pixel[1], pixel[blue]));
    planes.l[first + p] = lab.l;
    planes.a[first + p] = lab.a;
    planes.b[first + p] = lab.b;
  }
}

template <class T>
void RowFromLab(const LabPlanes& planes, size_t first, T* pixel, int32_t pixels, bool blueFirst) {
  const int32_t red = blueFirst ? 2 : 0, blue = 2 - red;
  for (int32_t p = 0; p < pixels; ++p, pixel += 3) {
    const double fy = (static_cast<double>(planes.l[first + p]) + 16.0) * 0.00862069;
    const double fx = fy + static_cast<double>(planes.a[first + p]) * 0.002;
    const double fz = fy - static_cast<double>(planes.b[first + p]) * 0.005;
    const double x = Inverse(std::max(fx, 0.0), 0.9501671, 0.12201966);
    const double y = Inverse(std::max(fy, 0.0), 1.0, 0.12841916);
    const double z = Inverse(std::max(fz, 0.0), 1.088423, 0.13977437);
    pixel[red] = ToSample<T>(3.241 * x - 1.5374 * y - 0.4986 * z);
    pixel[1] = ToSample<T>(-0.9692 * x + 1.876 * y + 0.0416 * z);
    pixel[blue] = ToSample<T>(0.0556 * x - 0.204 * y + 1.057 * z);
  }
}

}  // namespace

// A library's exp and log may differ in the last bit from another's, and then a plane's number now and then by one in
// single precision, which is enough to move a sample. So both are written out here.
double NearlyCubeRoot(double t) {
  // t = m * 2^exponent with m around 1.
  uint64_t bits;
  std::memcpy(&bits, &t, sizeof bits);
  int32_t exponent = static_cast<int32_t>(bits >> 52) - 1023;
  bits = (bits & 0x000FFFFFFFFFFFFFu) | 0x3FF0000000000000u;
  double m;
  std::memcpy(&m, &bits, sizeof m);
  if (m > 1.4142135) {
    m *= 0.5;
    ++exponent;
  }
  // ln m = 2 (s + s^3 / 3 + s^5 / 5 ...) with |s| < 0.1716: the first term left out is below 1e-18.
  const double s = (m - 1.0) / (m + 1.0), z = s * s;
  double series = 1.0 / 23;
  for (double term :
       {1.0 / 21, 1.0 / 19, 1.0 / 17, 1.0 / 15, 1.0 / 13, 1.0 / 11, 1.0 / 9, 1.0 / 7, 1.0 / 5, 1.0 / 3, 1.0}) {
    series = series * z + term;
  }
  const double power = (exponent * kLn2 + 2.0 * s * series) * 0.33333334;
  // power = whole * ln 2 + rest with |rest| < 0.35, and e^rest by its series; the power lies between -1.6 and 0.
  const int32_t whole = power > -0.5 * kLn2 ? 0 : power > -1.5 * kLn2 ? -1 : -2;
  const double rest = power - whole * kLn2;
  double root = 1.0 / 1307674368000;
  for (double term : {1.0 / 87178291200, 1.0 / 6227020800, 1.0 / 479001600, 1.0 / 39916800, 1.0 / 3628800, 1.0 / 362880,
                      1.0 / 40320, 1.0 / 5040, 1.0 / 720, 1.0 / 120, 1.0 / 24, 1.0 / 6, 0.5, 1.0, 1.0}) {
    root = root * rest + term;
  }
  return whole == 0 ? root : whole == -1 ? root * 0.5 : root * 0.25;
}

template <class T>
double LargestSquaredChroma(const View<const T>& image, double enough) {
  const ChromaBound bound;
  double largest = 0.0;
  for (int32_t y = 0; y < image.height && largest < enough; ++y) {
    largest = LargestInRow(image.At(0, y), image.width, image.blueFirst, bound, largest);
  }
  return largest;
}

template <class T>
void RgbToLabPlanes(const View<const T>& image, const LabPlanes& planes) {
  for (int32_t y = 0; y < image.height; ++y) {
    RowToLab(image.At(0, y), image.width, image.blueFirst, planes, static_cast<size_t>(y) * image.width);
  }
}

template <class T>
void LabPlanesToRgb(const LabPlanes& planes, const View<T>& image) {
  for (int32_t y = 0; y < image.height; ++y) {
    RowFromLab(planes, static_cast<size_t>(y) * image.width, image.At(0, y), image.width, image.blueFirst);
  }
}

template double LargestSquaredChroma(const View<const uint8_t>&, double);
template double LargestSquaredChroma(const View<const uint16_t>&, double);
template void RgbToLabPlanes(const View<const uint8_t>&, const LabPlanes&);
template void RgbToLabPlanes(const View<const uint16_t>&, const LabPlanes&);
template void LabPlanesToRgb(const LabPlanes&, const View<uint8_t>&);
template void LabPlanesToRgb(const LabPlanes&, const View<uint16_t>&);

}  // namespace zel
