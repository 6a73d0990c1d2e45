#include "support/images.h"

#include <algorithm>
#include <cstring>

#include "core/image.h"
#include "driver/kernel_choice.h"
#include "simd/kernels.h"

namespace zel::test {

namespace {

std::vector<ZelRect> Rectangles(int width, int height) {
  return {{0, 0, width, height},
          {5, 4, width - 7, height - 6},
          {0, 0, width / 2, height / 2},
          {width / 2, height / 2, width, height},
          {width - 7, height - 6, 5, 4},
          {-10, -10, width + 10, height + 10},
          {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX},
          {8, 8, 8, 12},
          {width + 3, 2, width + 9, 8},
          {-9, -9, -2, -2},
          {3, 3, 4, 4}};
}

// Pixels by what a caller's rectangle means; not cut to any image.
struct Area {
  int64_t left, top, right, bottom;

  bool Has(int64_t x, int64_t y) const { return x >= left && x < right && y >= top && y < bottom; }
};

Area AreaOf(const ZelRect* rect, const Shape& shape, bool reorders) {
  if (rect == nullptr) return {0, 0, shape.width, shape.height};
  Area area = {rect->left, rect->top, rect->right, rect->bottom};
  if (reorders && area.left > area.right) std::swap(area.left, area.right);
  if (reorders && area.top > area.bottom) std::swap(area.top, area.bottom);
  return area;
}

std::string NameOf(const ZelRect* rect) {
  if (rect == nullptr) return "whole image";
  return "(" + std::to_string(rect->left) + ", " + std::to_string(rect->top) + ", " + std::to_string(rect->right) +
         ", " + std::to_string(rect->bottom) + ")";
}

struct Outcome {
  int32_t result;
  TestImage image;
};

Outcome Run(const Operation& operation, const TestImage& source, const TestImage& before, const ZelRect* rect) {
  Outcome outcome{0, before};
  TestImage input(source);
  outcome.result = operation(input.desc(), outcome.image.desc(), rect);
  EXPECT_TRUE(input.SameBytes(source)) << "the source was written";
  EXPECT_TRUE(input.GuardsIntact() && outcome.image.GuardsIntact());
  return outcome;
}

// `mayChange(x, y)`; padding may not.
template <class Predicate>
void ExpectOthersKept(const TestImage& after, const TestImage& before, bool padded, const Predicate& mayChange) {
  const Shape& shape = after.shape();
  for (int y = 0; y < shape.height; ++y) {
    for (int s = 0; s < shape.width * shape.channels + (padded ? shape.padding : 0); ++s) {
      const int x = s / shape.channels;
      if (x < shape.width && mayChange(x, y)) continue;
      ASSERT_EQ(after.Get(0, y, s), before.Get(0, y, s)) << "sample " << s << " of row " << y << " changed";
    }
  }
}

template <class Predicate>
void ExpectSame(const TestImage& a, const TestImage& b, bool swapped, const Predicate& where) {
  for (int y = 0; y < a.shape().height; ++y) {
    for (int x = 0; x < a.shape().width; ++x) {
      for (int k = 0; k < a.shape().channels && where(x, y); ++k) {
        ASSERT_EQ(a.Get(x, y, k), b.Get(x, y, swapped && k < 3 ? 2 - k : k))
            << "at " << x << ", " << y << ", sample " << k;
      }
    }
  }
}

// Whether all that happened is a copy: of the whole memory, of the rectangle's pixels, its corners in any order, or at
// 16 bits of the first half of the memory.
bool IsCopy(const TestImage& after, const TestImage& source, const TestImage& before, const ZelRect* rect) {
  TestImage pixels(before), half(before);
  const Area area = AreaOf(rect, after.shape(), true);
  for (int y = 0; y < after.shape().height; ++y) {
    for (int s = 0; s < after.shape().width * after.shape().channels; ++s) {
      if (area.Has(s / after.shape().channels, y)) pixels.Set(0, y, s, source.Get(0, y, s));
    }
  }
  std::memcpy(half.desc()->data, source.desc()->data, source.Bytes() / 2);
  return after == source || after == pixels || (after.shape().bits == 16 && after == half);
}

void ExpectLawsFor(const Operation& operation, const Shape& shape, const ZelRect* rect, const Laws& laws) {
  SCOPED_TRACE(NameOf(shape) + " " + NameOf(rect));
  const TestImage source(shape), before(shape, 2);
  const Outcome first = Run(operation, source, before, rect);
  for (size_t level = 0; rect == nullptr && level < KernelLevel::Count(); ++level) {
    const KernelLevel active(level);
    const Outcome outcome = Run(operation, source, before, rect);
    EXPECT_EQ(first.result, outcome.result) << "level " << level;
    EXPECT_TRUE(first.image.SameBytes(outcome.image)) << "kernel level " << level << " differs";
  }
  if (IsCopy(first.image, source, before, rect)) return;
  const Area area = AreaOf(rect, shape, laws.reorders);
  const auto mayChange = [&](int x, int y) {
    const Area wide = {area.left - laws.margin, area.top - laws.margin, area.right + laws.margin,
                       area.bottom + laws.margin};
    return !laws.usesRect || wide.Has(x, y);
  };
  const auto isSettled = [&](int x, int y) {
    const int s = laws.sight;
    return !laws.usesRect || (area.Has(std::max(x - s, 0), std::max(y - s, 0)) &&
                              area.Has(std::min(x + s, shape.width - 1), std::min(y + s, shape.height - 1)));
  };
  if (first.result != ZEL_OK) {
    for (size_t i = 0; i < before.Bytes(); ++i) {
      const uint8_t byte = first.image.desc()->data[i];
      ASSERT_TRUE(byte == before.desc()->data[i] || byte == source.desc()->data[i]) << "a refusal wrote";
    }
    return;
  }
  ExpectOthersKept(first.image, before, laws.padded, mayChange);

  TestImage inPlace(source);
  EXPECT_EQ(operation(inPlace.desc(), inPlace.desc(), rect), first.result);
  EXPECT_TRUE(inPlace.GuardsIntact());
  if (first.image.SameBytes(before)) {
    EXPECT_TRUE(inPlace.SameBytes(source));
    return;
  }
  ExpectSame(inPlace, first.image, false, isSettled);

  if (shape.channels >= 3 && !laws.orderMatters) {
    Shape other = shape;
    other.blueFirst = !shape.blueFirst;
    const Outcome swapped = Run(operation, TestImage(other), TestImage(other, 2), rect);
    EXPECT_EQ(swapped.result, first.result);
    ExpectSame(swapped.image, first.image, true, isSettled);
  }
}

const Kernels* LevelAt(size_t index) {
  return index == 0 ? &scalar::kKernels : BuiltKernelLevels()[index - 1];
}

}  // namespace

std::string NameOf(const Shape& shape) {
  return std::to_string(shape.width) + "x" + std::to_string(shape.height) + "x" + std::to_string(shape.channels) + " " +
         std::to_string(shape.bits) + " bits " + (shape.blueFirst ? "BGR" : "RGB") + " padding " +
         std::to_string(shape.padding);
}

std::vector<Shape> CommonShapes() {
  std::vector<Shape> shapes;
  for (int bits : {8, 16}) {
    for (int padding : {0, 5}) {
      shapes.push_back({37, 23, 1, bits, false, padding});
      shapes.push_back({37, 23, 3, bits, false, padding});
      shapes.push_back({37, 23, 3, bits, true, padding});
    }
  }
  return shapes;
}

TestImage::TestImage(const Shape& shape, uint32_t seed)
    : Picture(shape, static_cast<int>(seed - 1) % 3), shape_(shape) {
  desc()->format = MakeFormatCode(shape.channels, shape.bits, shape.blueFirst);
  for (uint32_t i = 0; seed != 1 && i < Bytes(); ++i) desc()->data[i] ^= Hash(i, seed, 0) & 31;
}

void PrintTo(const TestImage& image, std::ostream* out) {
  *out << NameOf(image.shape()) << ", digest " << Digest(kEmptyDigest, image.desc()->data, image.Bytes());
}

int TestImage::Get(int x, int y, int k) const {
  const size_t i = static_cast<size_t>(y) * desc()->stride + static_cast<size_t>(x) * shape_.channels + k;
  if (shape_.bits == 8) return desc()->data[i];
  uint16_t value;
  std::memcpy(&value, desc()->data + 2 * i, 2);
  return value;
}

void TestImage::Set(int x, int y, int k, int value) {
  const size_t i = static_cast<size_t>(y) * desc()->stride + static_cast<size_t>(x) * shape_.channels + k;
  if (shape_.bits == 8) {
    desc()->data[i] = static_cast<uint8_t>(value);
  } else {
    const uint16_t word = static_cast<uint16_t>(value);
    std::memcpy(desc()->data + 2 * i, &word, 2);
  }
}

int TestImage::Colour(int x, int y, int k) const {
  return Get(x, y, shape_.blueFirst ? 2 - k : k);
}

void TestImage::SetColour(int x, int y, int red, int green, int blue) {
  Set(x, y, shape_.blueFirst ? 2 : 0, red);
  Set(x, y, 1, green);
  Set(x, y, shape_.blueFirst ? 0 : 2, blue);
}

void TestImage::Fill(int value) {
  for (int y = 0; y < shape_.height; ++y) {
    for (int s = 0; s < desc()->stride; ++s) Set(0, y, s, value);
  }
}

void TestImage::FillColour(int red, int green, int blue) {
  for (int y = 0; y < shape_.height; ++y) {
    for (int x = 0; x < shape_.width; ++x) SetColour(x, y, red, green, blue);
  }
}

void ExpectImageLaws(const Operation& operation, const std::vector<Shape>& shapes, const Laws& laws) {
  for (const Shape& shape : shapes) {
    if ((shape.channels < 3 && laws.colours) || (shape.bits > 8 && laws.bytes)) continue;
    ExpectLawsFor(operation, shape, nullptr, laws);
    for (const ZelRect& rect : Rectangles(shape.width, shape.height)) {
      if (rect.left > rect.right && !laws.reversed) continue;
      ExpectLawsFor(operation, shape, &rect, laws);
      if (::testing::Test::HasFailure()) return;
    }
  }
}

KernelLevel::KernelLevel(size_t index) {
  UseKernels(LevelAt(index));
}
KernelLevel::~KernelLevel() {
  UseKernels(nullptr);
}

size_t KernelLevel::Count() {
  size_t count = 1;
  for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) ++count;
  return count;
}

}  // namespace zel::test
