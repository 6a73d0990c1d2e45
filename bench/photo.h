// The drawn photographs that the benchmarks work on.
#ifndef ZEL_BENCH_PHOTO_H_
#define ZEL_BENCH_PHOTO_H_

#include <cstdint>
#include <string>
#include <vector>

#include "zel.h"

namespace zel::bench {

struct Size {
  const char* name;
  int width, height;
};
inline constexpr Size kLarge = {"24MP", 6000, 4000};
inline constexpr Size kOneMegapixel = {"1MP", 1200, 834};
inline constexpr Size kSmall = {"512", 512, 512};
inline constexpr Size kThumbnail = {"256", 256, 256};

class Photo {
 public:
  // Sky, foliage, skin and grey with soft gradients and grain, blue first; drawn in whole numbers.
  Photo(const Size& size, int channels, int bits);

  ImageDesc* desc() { return &desc_; }
  uint8_t* data() { return desc_.data; }
  size_t Bytes() const { return pixels_.size(); }

 private:
  std::vector<uint8_t> pixels_;
  ImageDesc desc_;
};

// One photograph of each kind for the whole run: a source that is never written, and a destination.
Photo& Source(const Size& size, int channels, int bits);
Photo& Destination(const Size& size, int channels, int bits);

}  // namespace zel::bench

#endif  // ZEL_BENCH_PHOTO_H_
