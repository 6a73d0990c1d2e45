#include "core/scratch.h"

#include <cstdlib>

#include "core/platform.h"

namespace zel {

namespace {

// Blocks of this size come from the system and go back to it on their own, so that the heap is never advised.
constexpr size_t kLargeBlock = size_t{32} << 20;

}  // namespace

void* AllocateBytes(size_t bytes, bool zeroed) {
  if (bytes == 0) bytes = 1;
  void* const memory = zeroed ? std::calloc(bytes, 1) : std::malloc(bytes);
  if (memory != nullptr && bytes >= kLargeBlock) SuggestLargePages(memory, bytes);
  return memory;
}

void ReleaseBytes(void* memory) {
  std::free(memory);
}

}  // namespace zel
