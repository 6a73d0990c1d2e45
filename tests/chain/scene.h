// A drawn scene in every layout that a chain takes, for the walk over the operations.
#ifndef ZEL_TESTS_CHAIN_SCENE_H_
#define ZEL_TESTS_CHAIN_SCENE_H_

#include <cstdint>
#include <vector>

#include "zel_chain.h"

namespace zel::test {

constexpr int kWidth = 61, kHeight = 41;

// Samples in 16 bits with any number of channels: the form in which results are compared.
struct Plane {
  int channels = 3;
  std::vector<int> samples;  // red first, alpha last
};

// Pixels in memory of their own, with padding between the rows and none behind the last.
class Memory {
 public:
  // `pitchKind` 0 is tight, 1 padded, 2 bottom up.
  Memory(int channels, int bits, bool blueFirst, int pitchKind);
  const ZelPixels* pixels() const { return &pixels_; }
  const std::vector<uint8_t>& bytes() const { return bytes_; }

  void Fill(const Plane& plane);
  bool Holds(const Plane& plane);
  bool PaddingIntact() const;

 private:
  template <class F>
  void Each(const F& visit);

  std::vector<uint8_t> bytes_;
  ZelPixels pixels_{};
};

// Skin, foliage and sky in the corner, ramps and noise, a cast over all.
Plane Scene(int channels, int bits);

// The plane with another number of channels; grey comes from the middle one. Alpha is that of the other plane, or `top`
// where it has none.
Plane Converted(const Plane& from, int channels, int top, const Plane* alpha);

}  // namespace zel::test

#endif  // ZEL_TESTS_CHAIN_SCENE_H_
