#include "core/scratch.h"

#include <cstdlib>

namespace zel {

void* AllocateBytes(size_t bytes, bool zeroed) {
  if (bytes == 0) bytes = 1;
  return zeroed ? std::calloc(bytes, 1) : std::malloc(bytes);
}

void ReleaseBytes(void* memory) {
  std::free(memory);
}

}  // namespace zel
