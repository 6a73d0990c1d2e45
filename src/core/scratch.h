// Working memory of one call.
#ifndef ZEL_CORE_SCRATCH_H_
#define ZEL_CORE_SCRATCH_H_

#include <cstddef>
#include <cstdint>

namespace zel {

// Heap memory, null when there is not enough. Every allocation of the library passes here.
void* AllocateBytes(size_t bytes, bool zeroed);
void ReleaseBytes(void* memory);

// An array on the heap that is released with its owner. A failed allocation, or a size that does not fit the address
// space, leaves it empty; test it before use.
template <class T>
class Scratch {
 public:
  Scratch() = default;
  explicit Scratch(size_t count) { Allocate(count); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() { ReleaseBytes(data_); }

  // Replaces what was held before; the new elements are undefined.
  bool Allocate(size_t count) { return Replace(count, false); }
  bool AllocateZeroed(size_t count) { return Replace(count, true); }

  explicit operator bool() const { return data_ != nullptr; }
  T* data() const { return data_; }
  T& operator[](size_t i) const { return data_[i]; }

 private:
  bool Replace(size_t count, bool zeroed) {
    ReleaseBytes(data_);
    data_ = count <= PTRDIFF_MAX / sizeof(T) ? static_cast<T*>(AllocateBytes(count * sizeof(T), zeroed)) : nullptr;
    return data_ != nullptr;
  }

  T* data_ = nullptr;
};

}  // namespace zel

#endif  // ZEL_CORE_SCRATCH_H_
