#include "support/images.h"

#include <cstring>

#include "core/image.h"
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

bool Inside(const Region& region, int x, int y) {
  return x >= region.left && x < region.right && y >= region.top && y < region.bottom;
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

void ExpectOnlyInside(const TestImage& after, const TestImage& before, const Region& allowed) {
  const Shape& shape = after.shape();
  for (int y = 0; y < shape.height; ++y) {
    for (int s = 0; s < shape.width * shape.channels + shape.padding; ++s) {
      const int x = s / shape.channels;
      if (x < shape.width && Inside(allowed, x, y)) continue;
      ASSERT_EQ(after.Get(0, y, s), before.Get(0, y, s)) << "sample " << s << " of row " << y << " changed";
    }
  }
}

void ExpectSameInside(const TestImage& a, const TestImage& b, const Region& region, bool swapped) {
  for (int y = region.top; y < region.bottom; ++y) {
    for (int x = region.left; x < region.right; ++x) {
      for (int k = 0; k < a.shape().channels; ++k) {
        ASSERT_EQ(a.Get(x, y, k), b.Get(x, y, swapped && k < 3 ? 2 - k : k))
            << "at " << x << ", " << y << ", sample " << k;
      }
    }
  }
}

void ExpectLawsFor(const Operation& operation, const Shape& shape, const ZelRect* rect, const Laws& laws) {
  SCOPED_TRACE(NameOf(shape) + " " + NameOf(rect));
  const TestImage source(shape), before(shape, 2);
  const Region inner =
      laws.reorders ? ClampedRegion(rect, shape.width, shape.height) : GivenRegion(rect, shape.width, shape.height);
  const Region settled = {inner.left + laws.sight, inner.top + laws.sight, inner.right - laws.sight,
                          inner.bottom - laws.sight};
  const bool empty = inner.IsEmpty() && laws.margin == 0;
  const Region allowed = !laws.usesRect ? Region{0, 0, shape.width, shape.height}
                         : empty        ? Region{}
                                        : Grown(inner, laws.margin, shape.width, shape.height);

  std::vector<Outcome> outcomes;
  for (size_t level = 0; level < KernelLevel::Count(); ++level) {
    const KernelLevel active(level);
    outcomes.push_back(Run(operation, source, before, rect));
    EXPECT_EQ(outcomes[0].result, outcomes[level].result) << "level " << level;
    EXPECT_TRUE(outcomes[0].image.SameBytes(outcomes[level].image)) << "kernel level " << level << " differs";
  }
  const Outcome& first = outcomes[0];
  if (first.result != ZEL_OK) {
    EXPECT_TRUE(first.image.SameBytes(before)) << "a refusal wrote";
    return;
  }
  ExpectOnlyInside(first.image, before, allowed);

  TestImage inPlace(source);
  EXPECT_EQ(operation(inPlace.desc(), inPlace.desc(), rect), first.result);
  EXPECT_TRUE(inPlace.GuardsIntact());
  if (!empty) ExpectSameInside(inPlace, first.image, laws.usesRect ? settled : allowed, false);

  if (shape.channels >= 3 && !laws.orderMatters && !empty) {
    Shape other = shape;
    other.blueFirst = !shape.blueFirst;
    const Outcome swapped = Run(operation, TestImage(other), TestImage(other, 2), rect);
    EXPECT_EQ(swapped.result, first.result);
    ExpectSameInside(swapped.image, first.image, settled, true);
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
    ExpectLawsFor(operation, shape, nullptr, laws);
    for (const ZelRect& rect : Rectangles(shape.width, shape.height)) {
      ExpectLawsFor(operation, shape, &rect, laws);
      if (::testing::Test::HasFailure()) return;
    }
  }
}

KernelLevel::KernelLevel(size_t index) {
  SetActiveKernels(LevelAt(index));
}
KernelLevel::~KernelLevel() {
  SetActiveKernels(nullptr);
}

size_t KernelLevel::Count() {
  size_t count = 1;
  for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) ++count;
  return count;
}

}  // namespace zel::test
