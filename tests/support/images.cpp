#include "support/images.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "core/image.h"
#include "simd/kernels.h"

namespace zel::test {

namespace {

constexpr size_t kGuard = 64;
constexpr uint8_t kGuardByte = 0xA5;

uint32_t Hash(uint32_t a, uint32_t b, uint32_t c) {
  uint32_t h = a * 0x9E3779B1u ^ b * 0x85EBCA77u ^ c * 0xC2B2AE3Du;
  h = (h ^ h >> 15) * 0x2C1B3C6Du;
  h = (h ^ h >> 12) * 0x297A2D39u;
  return h ^ h >> 15;
}

// 16-bit red, green or blue of the drawn picture.
int Drawn(int x, int y, int k, uint32_t seed) {
  const uint32_t tile = Hash(static_cast<uint32_t>(x / 6), static_cast<uint32_t>(y / 5), seed);
  switch (tile % 8) {
    case 0:
      return static_cast<int>(Hash(tile, 7, static_cast<uint32_t>(k)) & 0xFFFF);  // a flat colour
    case 1:
      return static_cast<int>(tile >> 8 & 0xFFFF);  // a flat grey
    case 2:
      return (tile >> (8 + k) & 1) != 0 ? 65535 : 0;  // a corner of the cube
    case 3:
      return static_cast<int>(
          Hash(static_cast<uint32_t>(x), static_cast<uint32_t>(y), seed + static_cast<uint32_t>(k)) & 0xFFFF);
    default: {
      const int ramp = (x * (900 + 300 * k) + y * (1500 - 400 * k)) % 65536;
      const int texture = static_cast<int>(Hash(static_cast<uint32_t>(x), static_cast<uint32_t>(y), seed) % 6000);
      return std::min(ramp + texture, 65535);
    }
  }
}

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
  if (!empty) ExpectSameInside(inPlace, first.image, laws.usesRect ? inner : allowed, false);

  if (shape.channels >= 3 && !laws.orderMatters && !empty) {
    Shape other = shape;
    other.blueFirst = !shape.blueFirst;
    const Outcome swapped = Run(operation, TestImage(other), TestImage(other, 2), rect);
    EXPECT_EQ(swapped.result, first.result);
    ExpectSameInside(swapped.image, first.image, inner, true);
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

TestImage::TestImage(const Shape& shape, uint32_t seed) : shape_(shape) {
  const int stride = shape.width * shape.channels + shape.padding;
  bytes_ = static_cast<size_t>(stride) * shape.height * shape.bits / 8;
  memory_.assign(bytes_ + 2 * kGuard, kGuardByte);
  InitImageDesc(&desc_, shape.width, shape.height, shape.channels, shape.bits, shape.blueFirst, stride,
                memory_.data() + kGuard);
  Draw(seed);
}

TestImage::TestImage(const TestImage& other)
    : shape_(other.shape_), bytes_(other.bytes_), memory_(other.memory_), desc_(other.desc_) {
  desc_.data = memory_.data() + kGuard;
}

void TestImage::Draw(uint32_t seed) {
  for (int y = 0; y < shape_.height; ++y) {
    for (int x = 0; x < shape_.width; ++x) {
      for (int k = 0; k < shape_.channels; ++k) {
        const int colour = shape_.channels >= 3 && shape_.blueFirst && k < 3 ? 2 - k : k;
        const int value = Drawn(x, y, colour, seed);
        Set(x, y, k, shape_.bits == 8 ? value / 257 : value);
      }
    }
    for (int s = 0; s < shape_.padding; ++s) Set(shape_.width, y, s, static_cast<int>(seed) * 3 + s + 11);
  }
}

int TestImage::Get(int x, int y, int k) const {
  const size_t i = static_cast<size_t>(y) * desc_.stride + static_cast<size_t>(x) * shape_.channels + k;
  if (shape_.bits == 8) return desc_.data[i];
  uint16_t value;
  std::memcpy(&value, desc_.data + 2 * i, 2);
  return value;
}

void TestImage::Set(int x, int y, int k, int value) {
  const size_t i = static_cast<size_t>(y) * desc_.stride + static_cast<size_t>(x) * shape_.channels + k;
  if (shape_.bits == 8) {
    desc_.data[i] = static_cast<uint8_t>(value);
  } else {
    const uint16_t word = static_cast<uint16_t>(value);
    std::memcpy(desc_.data + 2 * i, &word, 2);
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
    for (int s = 0; s < desc_.stride; ++s) Set(0, y, s, value);
  }
}

void TestImage::FillColour(int red, int green, int blue) {
  for (int y = 0; y < shape_.height; ++y) {
    for (int x = 0; x < shape_.width; ++x) SetColour(x, y, red, green, blue);
  }
}

bool TestImage::SameBytes(const TestImage& other) const {
  return bytes_ == other.bytes_ && std::memcmp(desc_.data, other.desc_.data, bytes_) == 0;
}

bool TestImage::GuardsIntact() const {
  const auto isGuard = [](uint8_t byte) { return byte == kGuardByte; };
  return std::all_of(memory_.begin(), memory_.begin() + kGuard, isGuard) &&
         std::all_of(memory_.end() - kGuard, memory_.end(), isGuard);
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
