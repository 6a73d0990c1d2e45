#include "retouch/denoise.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "retouch/detail_curve.h"
#include "retouch/wavelet.h"
#include "support/images.h"

namespace zel::test {
namespace {

// The whole operation once more, on whole arrays and one value at a time, mirrored by index.
using Line = std::vector<double>;

size_t Mirrored(int64_t i, int64_t n) {
  while (i < 0 || i >= n) i = i < 0 ? -i : 2 * (n - 1) - i;
  return static_cast<size_t>(i);
}

void LiftOdd(Line* x, double c) {
  const int64_t n = static_cast<int64_t>(x->size());
  for (int64_t i = 1; i < n; i += 2) (*x)[i] = (*x)[i] + c * ((*x)[i - 1] + (*x)[Mirrored(i + 1, n)]);
}

void LiftEven(Line* x, double c) {
  const int64_t n = static_cast<int64_t>(x->size());
  for (int64_t i = 0; i < n; i += 2) (*x)[i] = (*x)[i] + c * ((*x)[Mirrored(i - 1, n)] + (*x)[i + 1]);
}

Line Forward(Line x) {
  LiftOdd(&x, -1.586134342);
  LiftEven(&x, -0.05298011854);
  LiftOdd(&x, 0.8829110762);
  LiftEven(&x, 0.4435068522);
  Line out(x.size());
  for (size_t i = 0; i < x.size() / 2; ++i) {
    out[i] = x[2 * i] * 1.149604398;
    out[x.size() / 2 + i] = x[2 * i + 1] * 0.869864452;
  }
  return out;
}

Line Inverse(Line in) {
  Line x(in.size());
  for (size_t i = 0; i < x.size() / 2; ++i) {
    x[2 * i] = in[i] * 0.869864452275695;
    x[2 * i + 1] = in[x.size() / 2 + i] * 1.1496043983643558;
  }
  LiftEven(&x, -0.4435068522);
  LiftOdd(&x, -0.8829110762);
  LiftEven(&x, 0.05298011854);
  LiftOdd(&x, 1.586134342);
  return x;
}

struct Plane {
  int width, height;
  std::vector<Line> rows;

  void Rows(Line (*lift)(Line), int w, int h) {
    for (int y = 0; y < h; ++y) {
      const Line out = lift(Line(rows[y].begin(), rows[y].begin() + w));
      std::copy(out.begin(), out.end(), rows[y].begin());
    }
  }
  void Columns(Line (*lift)(Line), int w, int h) {
    for (int x = 0; x < w; ++x) {
      Line column(h);
      for (int y = 0; y < h; ++y) column[y] = rows[y][x];
      column = lift(column);
      for (int y = 0; y < h; ++y) rows[y][x] = column[y];
    }
  }
  void Shrink(int x0, int y0, int w, int h, int strength, int mode) {
    uint64_t counts[256] = {};
    for (int y = y0; y < y0 + h; ++y) {
      for (int x = x0; x < x0 + w; ++x) ++counts[std::min(static_cast<int>(std::fabs(rows[y][x]) + 0.5), 255)];
    }
    const uint64_t cut = w * h < 2048 ? 1 : w * h / 2048;
    int most = 255;
    for (uint64_t total = counts[255]; total <= cut && most > 0;) total += counts[--most];
    uint8_t curve[256];
    BuildDetailCurve(most, strength, mode, curve);
    for (int y = y0; y < y0 + h; ++y) {
      for (int x = x0; x < x0 + w; ++x) {
        double& c = rows[y][x];
        const int k = static_cast<int>(std::fabs(c) + 0.5);
        if (k < 256) c = c < 0 ? -static_cast<double>(curve[k]) : curve[k];
      }
    }
  }
};

void ReferenceDenoise(const ImageDesc& source, const ImageDesc& destination, int strength) {
  const int channels = static_cast<int>(source.format >> 4 & 15);
  const int64_t memory = static_cast<int64_t>(source.height) * source.stride;
  const int levels = DetailLevels(source.width, source.height, strength);
  const int step = 1 << levels;
  const int width = (source.width + step - 1) / step * step, height = (source.height + step - 1) / step * step;
  for (int c = 0; c < 3; ++c) {
    const auto at = [&](int x, int y) { return static_cast<int64_t>(y) * source.stride + x * channels + c; };
    Plane plane{width, height, std::vector<Line>(height, Line(width))};
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const int64_t i = at(std::min(x, source.width - 1), std::min(y, source.height - 1));
        plane.rows[y][x] = source.data[std::min(i, memory - 1)];
      }
    }
    for (int l = 0; l < levels; ++l) {
      plane.Rows(Forward, width >> l, height >> l);
      plane.Columns(Forward, width >> l, height >> l);
    }
    for (int l = 0; l < levels; ++l) {
      const int w = width >> (l + 1), h = height >> (l + 1);
      plane.Shrink(w, 0, w, h, strength >> l, 1);
      plane.Shrink(0, h, w, h, strength >> l, 1);
      plane.Shrink(w, h, w, h, strength >> l, 2);
    }
    for (int l = levels - 1; l >= 0; --l) {
      plane.Columns(Inverse, width >> l, height >> l);
      plane.Rows(Inverse, width >> l, height >> l);
    }
    for (int y = 0; y < source.height; ++y) {
      for (int x = 0; x < source.width; ++x) {
        const int value = static_cast<int>(plane.rows[y][x]);
        if (at(x, y) < memory) destination.data[at(x, y)] = static_cast<uint8_t>(std::min(std::max(value, 0), 255));
      }
    }
  }
}

void ExpectReferenceAtEveryLevel(const TestImage& source, const TestImage& before, int strength) {
  TestImage expected(before), inPlace(source);
  ReferenceDenoise(*source.desc(), *expected.desc(), strength);
  ReferenceDenoise(*inPlace.desc(), *inPlace.desc(), strength);
  for (size_t index = 0; index < KernelLevel::Count(); ++index) {
    const KernelLevel level(index);
    TestImage changed(source), written(before);
    ASSERT_TRUE(DenoiseImage(changed.desc(), changed.desc(), strength));
    ASSERT_TRUE(DenoiseImage(source.desc(), written.desc(), strength));
    EXPECT_EQ(written, expected) << "level " << index;
    EXPECT_EQ(changed, inPlace) << "in place, level " << index;
  }
}

TEST(Denoise, EqualsTheReferenceBitForBit) {
  const Line line = {3, 200, 10, 90, 255, 0, 0, 77};
  for (size_t i = 0; i < 8; ++i) EXPECT_NEAR(Inverse(Forward(line))[i], line[i], 1e-6) << "the reference itself";
  const Shape shapes[] = {
      {33, 47, 3, 8, true, 0},   {8, 8, 3, 8, false, 1},    {7, 90, 3, 8, true, 2},    {129, 70, 4, 8, true, 3},
      {64, 64, 3, 8, false, 0},  {41, 30, 1, 8, false, 0},  {40, 31, 1, 8, false, 5},  {37, 29, 2, 8, false, 1},
      {1, 1, 1, 8, false, 0},    {2, 1, 3, 8, false, 0},    {200, 9, 3, 8, true, 0},   {17, 260, 3, 8, true, 0},
      {377, 40, 1, 8, false, 0}, {755, 33, 2, 8, false, 0}, {771, 130, 3, 8, true, 1}, {3400, 35, 4, 8, true, 0}};
  for (const Shape& shape : shapes) {
    for (const int strength : {1, 2, 9, 100, 150, 700}) {
      SCOPED_TRACE(NameOf(shape) + " strength " + std::to_string(strength));
      ExpectReferenceAtEveryLevel(TestImage(shape), TestImage(shape, 2), strength);
    }
  }
}

// Details too large for the curves are kept apart, and computed again when they are too many.
TEST(Denoise, EqualsTheReferenceForHardEdges) {
  const Shape shape{430, 70, 3, 8, true, 1};
  for (const uint32_t share : {1, 2, 40}) {
    TestImage source(shape);
    std::mt19937 random(share);
    for (uint32_t i = 0; i < source.Bytes(); ++i) {
      if (random() % share == 0) source.desc()->data[i] = random() % 2 != 0 ? 255 : 0;
    }
    ExpectReferenceAtEveryLevel(source, TestImage(shape, 2), 100);
  }
}

TEST(Denoise, BringsNoisyPicturesCloserToTheCleanOne) {
  const Shape shape{256, 192, 3, 8, true, 0};
  TestImage clean(shape), noisy(shape);
  std::mt19937 random(1);
  for (int y = 0; y < shape.height; ++y) {
    for (int s = 0; s < shape.width * 3; ++s) {
      const int value = 60 + s / 12 + y / 4 + (y > 90 && s > 300 ? 40 : 0);
      // Twelve uniform numbers make a nearly normal one; sigma is 10.
      int noise = 0;
      for (int i = 0; i < 12; ++i) noise += static_cast<int>(random() % 2001) - 1000;
      clean.Set(0, y, s, value);
      noisy.Set(0, y, s, value + noise / 200);
    }
  }
  const auto error = [&](const TestImage& image) {
    double sum = 0;
    for (size_t i = 0; i < clean.Bytes(); ++i) sum += std::pow(image.desc()->data[i] - clean.desc()->data[i], 2);
    return sum;
  };
  double before = error(noisy);
  for (const uint32_t setting : {10, 30, 60, 100}) {
    const double after = error(After(ZelBasicToolFunc_DeNoise, noisy, setting, nullptr));
    EXPECT_LT(after, before) << setting;
    before = after;
  }
  EXPECT_LT(before, 0.6 * error(noisy));
}

TEST(Denoise, LevelsFollowSizeAndStrength) {
  const int sides[] = {1, 7, 8, 15, 16, 17, 31, 32, 300, 4000, INT32_MAX};
  const int levels[] = {0, 0, 1, 1, 2, 2, 2, 3, 6, 9, 9};
  for (size_t i = 0; i < std::size(sides); ++i) {
    EXPECT_EQ(DetailLevels(sides[i], INT32_MAX, INT32_MAX), levels[i]) << sides[i];
    EXPECT_EQ(DetailLevels(INT32_MAX, sides[i], 100), std::min(levels[i], 6)) << sides[i];
    EXPECT_EQ(DetailLevels(sides[i], sides[i], 3), std::min(levels[i], 1)) << sides[i];
    EXPECT_EQ(DetailLevels(sides[i], sides[i], 1), 0);
  }
  EXPECT_EQ(PaddedSize(17, 2), 20);
  EXPECT_EQ(PaddedSize(INT32_MAX, 9), int64_t{1} << 31);
}

TEST(Denoise, SettingsBecomeStrengths) {
  const int32_t expected[][2] = {{1, 2}, {50, 100}, {51, 101}, {100, 150}, {INT32_MAX, INT32_MAX}};
  for (const auto& [setting, strength] : expected) EXPECT_EQ(DenoiseStrength(setting), strength);
  const TestImage source({16, 16, 3});
  EXPECT_EQ(ZelBasicToolFunc_DeNoise(source.desc(), source.desc(), 0x80000000u, nullptr), ZEL_REFUSED);
  After(ZelBasicToolFunc_DeNoise, source, INT32_MAX, nullptr);
}

}  // namespace
}  // namespace zel::test
