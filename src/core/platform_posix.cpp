#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "core/platform.h"
#include "core/scratch.h"

namespace zel {

namespace {

// A profile beyond this size is not one.
constexpr off_t kLargestProfile = 1 << 20;

// Relative folders do not count: whoever owns the current one would change results.
const char* FolderVariable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr && value[0] == '/' ? value : nullptr;
}

bool ProfilePath(const char* file, char* path, size_t size) {
  int length;
  if (const char* const config = FolderVariable("XDG_CONFIG_HOME")) {
    length = std::snprintf(path, size, "%s/zel/%s", config, file);
  } else if (const char* const home = FolderVariable("HOME")) {
    length = std::snprintf(path, size, "%s/.config/zel/%s", home, file);
  } else {
    length = std::snprintf(path, size, "/etc/zel/%s", file);
  }
  return length > 0 && static_cast<size_t>(length) < size;
}

size_t ReadAll(int descriptor, char* text, size_t size) {
  size_t length = 0;
  while (length < size) {
    const ssize_t got = read(descriptor, text + length, size - length);
    if (got <= 0) break;
    length += static_cast<size_t>(got);
  }
  return length;
}

}  // namespace

uint32_t TickCount() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000);
}

int32_t ProfileInt(const char* file, const char* section, const char* key, int32_t fallback) {
  char path[4096];
  if (!ProfilePath(file, path, sizeof path)) return fallback;
  // Non-blocking, so that a pipe under this name cannot hold the host.
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return fallback;
  int32_t value = fallback;
  struct stat status;
  if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0 &&
      status.st_size <= kLargestProfile) {
    Scratch<char> text(static_cast<size_t>(status.st_size));
    if (text) {
      const size_t length = ReadAll(descriptor, text.data(), static_cast<size_t>(status.st_size));
      value = ProfileIntFromText(text.data(), length, section, key, fallback);
    }
  }
  close(descriptor);
  return value;
}

void SuggestLargePages(void* memory, size_t bytes) {
#ifdef MADV_HUGEPAGE
  const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  const uintptr_t first = (reinterpret_cast<uintptr_t>(memory) + page - 1) / page * page;
  const uintptr_t end = (reinterpret_cast<uintptr_t>(memory) + bytes) / page * page;
  if (first < end) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#else
  static_cast<void>(memory), static_cast<void>(bytes);
#endif
}

void ShowMessage(const char* text, const char* caption) {
  std::fprintf(stderr, "%s: %s\n", caption, text);
}

}  // namespace zel
