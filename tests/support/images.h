// Images for tests: the driver's pictures with access to single samples, and what every operation keeps to.
#ifndef ZEL_TESTS_SUPPORT_IMAGES_H_
#define ZEL_TESTS_SUPPORT_IMAGES_H_

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "core/view.h"
#include "driver/exports.h"
#include "driver/picture.h"

namespace zel::test {

using Shape = Layout;

std::string NameOf(const Shape& shape);

// Every 1- and 3-channel shape of both depths and both orders, tight and padded, at a width with vector tails.
std::vector<Shape> CommonShapes();

class TestImage : public Picture {
 public:
  // The same picture for every layout; other seeds add noise and change the mood.
  explicit TestImage(const Shape& shape, uint32_t seed = 1);
  TestImage(const Shape& shape, int red, int green, int blue) : TestImage(shape) { FillColour(red, green, blue); }

  const Shape& shape() const { return shape_; }
  template <class T = uint8_t>
  View<T> view() const {
    return ViewOf<T>(*desc());
  }
  int Get(int x, int y, int k) const;  // sample by position
  void Set(int x, int y, int k, int value);
  int Colour(int x, int y, int k) const;  // 0 red, 1 green, 2 blue, wherever it lies
  void SetColour(int x, int y, int red, int green, int blue);
  void Fill(int value);                                                       // every sample, padding included
  void FillColour(int red, int green, int blue);                              // every pixel
  bool operator==(const TestImage& other) const { return SameBytes(other); }  // padding included
  bool operator!=(const TestImage& other) const { return !SameBytes(other); }

 private:
  Shape shape_;
};

void PrintTo(const TestImage& image, std::ostream* out);

// What `call(source, destination, arguments...)` makes of the source in a destination that held another picture; it
// must succeed.
template <class Call, class... Arguments>
TestImage After(Call call, const TestImage& source, Arguments... arguments) {
  TestImage result(source.shape(), 2);
  const auto answer = call(source.desc(), result.desc(), arguments...);
  constexpr bool isBool = std::is_same<decltype(answer), const bool>::value;
  EXPECT_EQ(static_cast<int32_t>(answer), isBool ? 1 : ZEL_OK);
  return result;
}

using Operation = std::function<int32_t(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect)>;

// Runs the operation over the shapes and rectangles and expects: equal results and bytes at every kernel level; the
// source, the row padding, the guards and all pixels outside the rectangle untouched; in place equal to out of place
// inside the rectangle; RGB equal to BGR with its samples swapped. A refusal leaves the destination alone or copies the
// source into it; a call that only copies the memory of the source need not keep the laws.
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
