// Lets every allocation of a run fail once. Each call answers that memory ran out, or does without; nothing is thrown,
// lost or half done.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "zel_chain.h"

namespace {

long untilFailure = -1, inUse = 0;

void* Allocate(size_t bytes) {
  if (untilFailure == 0) return nullptr;
  if (untilFailure > 0) --untilFailure;
  void* const memory = std::malloc(bytes > 0 ? bytes : 1);
  inUse += memory != nullptr;
  return memory;
}

// Not inlined: g++ -O2 would see memory from `new` being freed, and warn.
__attribute__((noinline)) void Release(void* memory) {
  inUse -= memory != nullptr;
  std::free(memory);
}

}  // namespace

void* operator new(size_t bytes) {
  void* const memory = Allocate(bytes);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new[](size_t bytes) {
  return operator new(bytes);
}
void* operator new(size_t bytes, const std::nothrow_t&) noexcept {
  return Allocate(bytes);
}
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept {
  return Allocate(bytes);
}
void operator delete(void* memory) noexcept {
  Release(memory);
}
void operator delete[](void* memory) noexcept {
  Release(memory);
}
void operator delete(void* memory, size_t) noexcept {
  Release(memory);
}
void operator delete[](void* memory, size_t) noexcept {
  Release(memory);
}

namespace {

int faults = 0;
bool ranOut = false;

void Expect(bool holds, const char* what) {
  if (holds) return;
  ++faults;
  std::printf("FAILED: %s\n", what);
}

// What a failing call may answer. libzel refuses where it lacks memory itself.
void See(const ZelReport& report) {
  if (report.code == ZEL_OK) return;
  ranOut = true;
  Expect(report.code == ZEL_CHAIN_NO_MEMORY || report.code == ZEL_REFUSED, report.text);
  Expect(report.text[0] != '\0', "a failure without a reason");
}

void Run(const std::vector<uint16_t>& drawn) {
  static uint16_t source[32 * 24 * 4], result[32 * 24 * 4];
  std::memcpy(source, drawn.data(), sizeof source);
  std::memset(result, 0x5A, sizeof result);
  const ZelPixels from = {source, 0, 32, 24, 4, 16, 0}, to = {result, 0, 32, 24, 4, 16, 0};
  const char words[] = "light-correct tone hue-saturation saturation=20 sky-colorful at=3,3 unsharp gamma gamma=1.1";
  const char recipe[] = "{\"operations\": [{\"name\": \"tone\"}, {\"name\": \"levels\", \"shadow\": [1, 2, 3]}]}";
  ZelReport report;
  ZelChain* const chain = ZelChain_ParseLine(words, sizeof words - 1, &report);
  See(report);
  if (chain != nullptr && ZelChain_Apply(chain, &from, &to, nullptr, &report) != ZEL_OK) {
    for (uint16_t sample : result) Expect(report.changed != 0 || sample == 0x5A5A, "changed, but does not say so");
  }
  See(report);
  ZelChain_Free(chain);
  ZelChain* const curves = ZelChain_ParseRecipe(recipe, sizeof recipe - 1, &report);
  See(report);
  if (curves != nullptr) {
    ZelMeasured* const measured = ZelChain_Measure(curves, &from, nullptr, &report);
    See(report);
    ZelMeasured_Free(measured);
    ZelTable* const table = ZelChain_Bake(curves, &from, 5, nullptr, nullptr, &report);
    See(report);
    char* const text = table != nullptr ? ZelTable_WriteCube(table, "x", nullptr, &report) : nullptr;
    See(report);
    ZelTable* const again = text != nullptr ? ZelTable_ReadCube(text, std::strlen(text), &report) : nullptr;
    See(report);
    ZelTable_Free(again);
    ZelText_Free(text);
    ZelTable_Free(table);
  }
  ZelChain_Free(curves);
  ZelChain_Free(ZelChain_Auto(&from, 50, nullptr, &report));
  See(report);
}

}  // namespace

int main() {
  std::vector<uint16_t> drawn(32 * 24 * 4);
  for (size_t i = 0; i < drawn.size(); ++i) drawn[i] = static_cast<uint16_t>(i * 2654435761u >> 16 | 0x3000);
  Expect(ZelChain_Table() != nullptr, "no table");
  Run(drawn);
  const long before = inUse;
  long failures = 0;
  for (ranOut = true; ranOut && faults < 20; ++failures) {
    ranOut = false;
    untilFailure = failures;
    Run(drawn);
    untilFailure = -1;
    Expect(inUse == before, "memory is lost");
  }
  Expect(failures > 200, "too few allocations were reached");
  std::printf("%ld allocations failed, %d faults\n", failures - 1, faults);
  return faults == 0 ? 0 : 1;
}
