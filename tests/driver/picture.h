// Images drawn by code, the same everywhere, in guarded memory. Nothing but the public interface is needed.
#ifndef ZEL_TESTS_DRIVER_PICTURE_H_
#define ZEL_TESTS_DRIVER_PICTURE_H_

#include <cstddef>
#include <vector>

#include "zel.h"

namespace zel::test {

struct Layout {
  int width = 37, height = 23, channels = 3, bits = 8;
  bool blueFirst = true;
  int padding = 0;  // samples behind each row
};

class Picture {
 public:
  // Skin, foliage and sky in the first three fields of a chequered plan, then greys, saturated colours, noise and
  // ramps. Mood 1 is faded and yellow, mood 2 dark and blue, others are neutral.
  Picture(const Layout& layout, int mood);
  Picture(const Picture& other);
  Picture& operator=(const Picture&) = delete;

  const ImageDesc* desc() const { return &desc_; }
  ImageDesc* desc() { return &desc_; }
  size_t Bytes() const { return memory_.size() - 2 * kGuard; }
  bool SameBytes(const Picture& other) const { return memory_ == other.memory_; }
  bool GuardsIntact() const;

 private:
  static constexpr size_t kGuard = 64;
  std::vector<uint8_t> memory_;
  ImageDesc desc_;
};

uint32_t Hash(uint32_t a, uint32_t b, uint32_t c);

// Continues a 64-bit FNV-1a digest.
uint64_t Digest(uint64_t digest, const void* memory, size_t bytes);
constexpr uint64_t kEmptyDigest = 0xCBF29CE484222325u;

}  // namespace zel::test

#endif  // ZEL_TESTS_DRIVER_PICTURE_H_
