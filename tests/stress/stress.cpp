// What the library does when memory runs out, how much it takes, and how it bears many threads, many calls and images
// beyond 2^31 bytes. Every allocation of the library passes the wrappers below (linked with --wrap).
//
//   stress failures | memory | threads | endurance [CALLS] | large
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "driver/exports.h"
#include "driver/picture.h"

using namespace zel::test;

namespace {

// What the calling thread's call has taken.
struct Heap {
  bool watched = false;
  int taken = 0, held = 0, failAt = -1;
  bool failOn = false;  // all that follow fail too
  int64_t bytes = 0, peak = 0;
};
thread_local Heap heap;
int faults = 0;

bool MayTake() {
  if (!heap.watched) return true;
  const int index = heap.taken++;
  return heap.failAt < 0 || (index != heap.failAt && !(heap.failOn && index > heap.failAt));
}

void* Taken(void* memory) {
  if (heap.watched && memory != nullptr) {
    ++heap.held;
    heap.bytes += static_cast<int64_t>(malloc_usable_size(memory));
    if (heap.bytes > heap.peak) heap.peak = heap.bytes;
  }
  return memory;
}

}  // namespace

extern "C" {
void* __real_malloc(size_t);
void* __real_calloc(size_t, size_t);
void __real_free(void*);
void* __wrap_malloc(size_t bytes);
void* __wrap_calloc(size_t count, size_t bytes);
void __wrap_free(void* memory);

void* __wrap_malloc(size_t bytes) {
  return MayTake() ? Taken(__real_malloc(bytes)) : nullptr;
}
void* __wrap_calloc(size_t count, size_t bytes) {
  return MayTake() ? Taken(__real_calloc(count, bytes)) : nullptr;
}
void __wrap_free(void* memory) {
  if (heap.watched && memory != nullptr) {
    --heap.held;
    heap.bytes -= static_cast<int64_t>(malloc_usable_size(memory));
  }
  __real_free(memory);
}
}

namespace {

__attribute__((format(printf, 1, 2))) void Fault(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  std::printf("\n");
  if (++faults >= 30) std::exit(1);
}

struct Outcome {
  int32_t result;
  Picture image;
  std::array<uint8_t, kTableBytes> table;
  Heap heap;

  bool SameAs(const Outcome& other) const {
    return result == other.result && image.SameBytes(other.image) && table == other.table;
  }
};

Outcome Run(const Export& function, const Settings& settings, const Picture& source, const Picture& before,
            const ZelRect* rect, int failAt = -1, bool failOn = false) {
  Outcome outcome = {0, before, {}, {}};
  alignas(16) std::array<uint8_t, kTableBytes> table;
  for (uint32_t i = 0; i < kTableBytes; ++i) table[i] = static_cast<uint8_t>(i * 7);
  const Arguments arguments = {source.desc(),           outcome.image.desc(),  rect,         &settings.point,
                               settings.numbers.data(), settings.reals.data(), table.data(), false};
  heap = {};
  heap.failAt = failAt;
  heap.failOn = failOn;
  heap.watched = true;
  outcome.result = function.call(arguments);
  heap.watched = false;
  outcome.heap = heap;
  outcome.table = table;
  return outcome;
}

// Every byte is what it was or what the source has there.
bool OldOrCopied(const Picture& image, const Picture& before, const Picture& source) {
  for (size_t i = 0; i < image.Bytes(); ++i) {
    const uint8_t byte = image.desc()->data[i];
    if (byte != before.desc()->data[i] && byte != source.desc()->data[i]) return false;
  }
  return true;
}

// Every allocation of every call fails once, alone and with all that follow: the call refuses, gives everything back,
// and leaves the destination alone or, where the function promises that, with a copy of the source.
void Failures() {
  int64_t calls = 0;
  const ZelRect inner = {3, 2, 30, 19};
  for (const Export& function : Exports()) {
    int failed = 0;
    for (const Layout& layout : {Layout{}, Layout{311, 260, 3, 16, true, 4}, Layout{311, 260, 3, 8, true, 0},
                                 Layout{37, 23, 1, 8, false, 0}, Layout{311, 260, 1, 16, false, 0}}) {
      const Picture source(layout, 0), before(layout, 1);
      for (const Settings& settings : function.sets) {
        for (const ZelRect* rect : {static_cast<const ZelRect*>(nullptr), &inner}) {
          const Outcome whole = Run(function, settings, source, before, rect);
          if (whole.heap.held != 0) Fault("%s: %d blocks not given back", function.name, whole.heap.held);
          for (int i = 0; i < 2 * whole.heap.taken; ++i) {
            const Outcome got = Run(function, settings, source, before, rect, i / 2, i % 2 != 0);
            ++calls, ++failed;
            if (got.heap.held != 0)
              Fault("%s: allocation %d fails: %d blocks lost", function.name, i / 2, got.heap.held);
            if (!got.image.GuardsIntact()) Fault("%s: allocation %d fails: wrote outside", function.name, i / 2);
            if (got.SameAs(whole)) continue;  // did without it
            if (got.result != ZEL_REFUSED && !(function.traits & kAnswersOk)) {
              Fault("%s: allocation %d fails: result %d", function.name, i / 2, got.result);
            }
            if (!OldOrCopied(got.image, before, source)) {
              Fault("%s: allocation %d fails: destination half written (%d channels, %d bits, first numbers %d %d)",
                    function.name, i / 2, layout.channels, layout.bits, settings.numbers[0], settings.numbers[1]);
            }
          }
        }
      }
    }
    std::printf("%-45s %d failures\n", function.name, failed);
  }
  std::printf("%lld calls with a failing allocation\n", static_cast<long long>(calls));
}

void MemoryBounds() {
  for (const Export& function : Exports()) {
    const MemoryBound& bound = function.memory;
    int64_t most = 0;
    for (const Layout& layout : {Layout{1500, 1100, 3, 8, true, 0}, Layout{1500, 1100, 3, 16, true, 0}}) {
      const Picture source(layout, 0), before(layout, 1);
      const int64_t allowed = bound.fixed + bound.sample * layout.width * layout.channels +
                              bound.pixel * (layout.width + 64) * (layout.height + 64);
      for (const Settings& settings : function.sets) {
        const Outcome outcome = Run(function, settings, source, before, nullptr);
        most = std::max(most, outcome.heap.peak);
        if (outcome.heap.peak > allowed) {
          Fault("%s %d bits, numbers %d %d: %lld bytes held, %lld allowed", function.name, layout.bits,
                settings.numbers[0], settings.numbers[1], static_cast<long long>(outcome.heap.peak),
                static_cast<long long>(allowed));
        }
      }
    }
    std::printf("%-45s %lld bytes for 1.65 megapixels\n", function.name, static_cast<long long>(most));
  }
}

// Eight threads call every export on images of their own; each gets what a single thread gets.
void Threads() {
  const auto digestAll = [](uint32_t first, int rounds) {
    uint64_t sum = 0;
    for (uint32_t i = 0; i < static_cast<uint32_t>(rounds) * Exports().size(); ++i) {
      const Export& function = Exports()[(i + first) % Exports().size()];
      const Settings& settings = function.sets[i / Exports().size() % function.sets.size()];
      const Layout layout = {67, 45, i % 3 == 0 ? 1 : 3, i % 5 == 0 ? 16 : 8, true, 3};
      const Outcome outcome = Run(function, settings, Picture(layout, 0), Picture(layout, 1), nullptr);
      uint64_t digest = Digest(kEmptyDigest, outcome.image.desc()->data, outcome.image.Bytes());
      digest = Digest(digest, outcome.table.data(), kTableBytes);
      sum += Digest(digest, &outcome.result, sizeof outcome.result);
    }
    return sum;
  };
  Exports();
  uint64_t sums[8];
  std::vector<std::thread> threads;
  for (uint32_t t = 0; t < 8; ++t) threads.emplace_back([&, t] { sums[t] = digestAll(t % 2 * 15, 12); });
  for (std::thread& thread : threads) thread.join();
  for (uint32_t t = 0; t < 8; ++t) {
    if (sums[t] != digestAll(t % 2 * 15, 12)) Fault("thread %u got other pixels", t);
  }
}

int64_t ResidentPages() {
  long long all = 0, resident = 0;
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  if (file == nullptr || std::fscanf(file, "%lld %lld", &all, &resident) != 2) resident = 0;
  if (file != nullptr) std::fclose(file);
  return resident;
}

// Many calls over all exports; resident memory stays where it was after the first tenth.
void Endurance(int64_t calls) {
  const Layout layout = {19, 13, 3, 8, true, 0};
  const Picture source(layout, 0);
  Picture target(layout, 1);
  alignas(16) uint8_t table[kTableBytes] = {};
  int64_t settled = 0;
  for (int64_t i = 0; i < calls; ++i) {
    if (i == calls / 10) settled = ResidentPages();
    const size_t index = static_cast<size_t>(i) % Exports().size();
    const Export& function = Exports()[index];
    const Settings& settings = function.sets[static_cast<size_t>(i) / Exports().size() % function.sets.size()];
    function.call({source.desc(), target.desc(), nullptr, &settings.point, settings.numbers.data(),
                   settings.reals.data(), table, false});
  }
  const int64_t grown = ResidentPages() - settled;
  std::printf("%lld calls, resident memory grew by %lld pages\n", static_cast<long long>(calls),
              static_cast<long long>(grown));
  if (grown > 64) Fault("resident memory grows");
}

// More bytes than 32 bits can count.
void Large() {
#if SIZE_MAX > UINT32_MAX
  const int64_t width = 40000, height = 30000, bytes = width * height * 3;
  if (sysconf(_SC_AVPHYS_PAGES) * static_cast<int64_t>(sysconf(_SC_PAGESIZE)) < bytes + (int64_t{1} << 30)) {
    std::puts("not enough memory: skipped");
    std::exit(77);
  }
  uint8_t* const memory = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(bytes), 1));
  if (memory == nullptr) std::exit(77);
  const ImageDesc image = {static_cast<int32_t>(width), static_cast<int32_t>(height), ZEL_FORMAT_BGR24,
                           static_cast<int32_t>(width * 3), memory};
  memory[bytes - 1] = 200;
  const ZelRect lastRows = {0, 29990, 40000, 30000};
  for (const ZelRect* rect : {static_cast<const ZelRect*>(nullptr), &lastRows}) {
    if (ZelBasicToolFunc_ContrastBrightness(&image, &image, 0, 10, rect) != ZEL_OK) Fault("refused");
  }
  uint8_t small[2] = {0, 200};
  const ImageDesc two = {2, 1, ZEL_FORMAT_GREY8, 2, small};
  for (int i = 0; i < 2; ++i) ZelBasicToolFunc_ContrastBrightness(&two, &two, 0, 10, nullptr);
  uint8_t once[1] = {0};
  const ImageDesc one = {1, 1, ZEL_FORMAT_GREY8, 1, once};
  ZelBasicToolFunc_ContrastBrightness(&one, &one, 0, 10, nullptr);
  const int64_t boundary = 29990 * width * 3;
  for (const int64_t at : {int64_t{0}, int64_t{INT32_MAX}, int64_t{UINT32_MAX} - 1, boundary - 1}) {
    if (at < boundary && memory[at] != once[0]) Fault("byte %lld is %d", static_cast<long long>(at), memory[at]);
  }
  if (memory[boundary] != small[0] || memory[bytes - 1] != small[1]) Fault("the last rows differ");
  std::free(memory);
#else
  std::puts("an address space of 32 bits: skipped");
  std::exit(77);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "failures") {
    Failures();
  } else if (mode == "memory") {
    MemoryBounds();
  } else if (mode == "threads") {
    Threads();
  } else if (mode == "endurance") {
    Endurance(argc > 2 ? std::atoll(argv[2]) : 1000000);
  } else if (mode == "large") {
    Large();
  } else {
    std::puts("usage: stress failures | memory | threads | endurance [CALLS] | large");
    return 2;
  }
  std::printf("%d faults\n", faults);
  return faults != 0;
}
