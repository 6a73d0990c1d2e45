// Images for tests: drawn by code, with guards around the pixel memory.
#ifndef ZEL_TESTS_SUPPORT_IMAGES_H_
#define ZEL_TESTS_SUPPORT_IMAGES_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zel.h"

namespace zel::test {

struct Shape {
  int width = 37, height = 23, channels = 3, bits = 8;
  bool blueFirst = true;
  int padding = 0;  // samples behind each row
};

std::string NameOf(const Shape& shape);

// Every 1- and 3-channel shape of both depths and both orders, tight and padded, at a width with vector tails.
std::vector<Shape> CommonShapes();

class TestImage {
 public:
  // Draws smooth colour ramps with texture, saturated patches, greys and extremes; the same picture for every layout.
  explicit TestImage(const Shape& shape, uint32_t seed = 1);
  TestImage(const TestImage& other);
  TestImage& operator=(const TestImage&) = delete;

  const ImageDesc* desc() const { return &desc_; }
  ImageDesc* desc() { return &desc_; }
  const Shape& shape() const { return shape_; }
  size_t Bytes() const { return bytes_; }  // height x stride samples

  int Get(int x, int y, int k) const;  // sample by position
  void Set(int x, int y, int k, int value);
  int Colour(int x, int y, int k) const;  // 0 red, 1 green, 2 blue, wherever it lies
  void SetColour(int x, int y, int red, int green, int blue);
  void Fill(int value);                           // every sample, padding included
  void FillColour(int red, int green, int blue);  // every pixel
  bool SameBytes(const TestImage& other) const;   // padding included
  bool GuardsIntact() const;

 private:
  void Draw(uint32_t seed);
  Shape shape_;
  size_t bytes_;
  std::vector<uint8_t> memory_;
  ImageDesc desc_;
};

using Operation = std::function<int32_t(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect)>;

struct Laws {
  int margin = 0;             // pixels around the rectangle that may change too
  bool usesRect = true;       // false: the rectangle does not limit what is written
  bool orderMatters = false;  // RGB and BGR are allowed to differ
  bool reorders = true;       // a reversed rectangle equals the reordered one; otherwise it is empty
};

// Runs the operation over the shapes, rectangles and kernel levels and expects: equal results and bytes at every kernel
// level; the source, the row padding, the guards and all pixels outside the rectangle untouched; in place equal to out
// of place inside the rectangle; RGB equal to BGR with its samples swapped. A refusal must leave the destination alone.
void ExpectImageLaws(const Operation& operation, const std::vector<Shape>& shapes, const Laws& laws = {});

// Makes the library use one kernel level, the plain scalar one included, until the end of the scope.
class KernelLevel {
 public:
  explicit KernelLevel(size_t index);
  ~KernelLevel();
  static size_t Count();
};

}  // namespace zel::test

#endif  // ZEL_TESTS_SUPPORT_IMAGES_H_
