// Where memory lies in the caches, and getting it there in time. Nothing here changes a result.
#ifndef ZEL_CORE_CACHE_H_
#define ZEL_CORE_CACHE_H_

#include <cstddef>
#include <cstdint>

namespace zel {

constexpr size_t kCacheLine = 64;

// The first element at `memory` or behind that starts a line. Vectors that cross lines cost twice, so rows that are
// read again and again start one each.
template <class T>
T* AtCacheLine(T* memory) {
  const size_t misplaced = reinterpret_cast<uintptr_t>(memory) % kCacheLine;
  return memory + (kCacheLine - misplaced) % kCacheLine / sizeof(T);
}

// Asks for memory that is wanted soon and that the processor would not see coming, such as the next row. Always part of
// its caller: g++ takes a function that only asks for one without effect, and drops calls of it.
template <class T>
__attribute__((always_inline)) inline void AskFor(const T* memory, size_t count) {
  const char* const bytes = reinterpret_cast<const char*>(memory);
  for (size_t i = 0; i < count * sizeof(T); i += kCacheLine) __builtin_prefetch(bytes + i);
}

// Memory to be asked for piece by piece between other work: lines that are asked for all at once wait for each other.
class Requests {
 public:
  // Behind what was added before. When there is no room the oldest are forgotten.
  template <class T>
  void Add(const T* memory, size_t count) {
    const char* const bytes = reinterpret_cast<const char*>(memory);
    ranges_[end_++ % kRoom] = {bytes, bytes + count * sizeof(T)};
    if (end_ - first_ > kRoom) ++first_;
  }

  __attribute__((always_inline)) inline void AskForSome() {
    for (size_t lines = kAtOnce; lines > 0 && first_ != end_; --lines) {
      Range& range = ranges_[first_ % kRoom];
      __builtin_prefetch(range.next);
      range.next += kCacheLine;
      if (range.next >= range.end) ++first_;
    }
  }

 private:
  static constexpr size_t kRoom = 8, kAtOnce = 8;
  struct Range {
    const char *next, *end;
  };
  Range ranges_[kRoom];
  size_t first_ = 0, end_ = 0;
};

}  // namespace zel

#endif  // ZEL_CORE_CACHE_H_
