#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "simd/kernels.h"

namespace zel::test {
namespace {

template <class T>
std::vector<T> Noise(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<T> values(count);
  for (T& v : values) v = static_cast<T>(random());
  return values;
}

// One row through one or three tables at every level, every count up to 130 pixels and several alignments, apart and in
// place: exactly the formula, and nothing beside it.
template <class T>
void ExpectFormula(void (*LutKernels::*one)(const T*, T*, size_t, const T*),
                   void (*LutKernels::*three)(const T*, T*, size_t, const T* const[3])) {
  const size_t entries = sizeof(T) == 1 ? 256 : 65536;
  const std::vector<T> table = Noise<T>(3 * entries, 1), in = Noise<T>(480, 2), unwritten(480, 0x5A);
  const T* const tables[3] = {table.data(), table.data() + entries, table.data() + 2 * entries};
  for (size_t count = 0; count <= 390; ++count) {
    for (size_t at : {0, 1, 5, 32}) {
      const size_t whole = count / 3 * 3;
      std::vector<T> want(unwritten), want3(unwritten);
      for (size_t i = 0; i < count; ++i) want[at + i] = tables[0][in[at + i]];
      for (size_t i = 0; i < whole; ++i) want3[at + i] = tables[i % 3][in[at + i]];
      for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
        const LutKernels& kernels = (*level)->lut;
        std::vector<T> out(unwritten), out3(unwritten), inPlace(in);
        (kernels.*one)(in.data() + at, out.data() + at, count, tables[0]);
        (kernels.*three)(in.data() + at, out3.data() + at, whole / 3, tables);
        (kernels.*three)(inPlace.data() + at, inPlace.data() + at, whole / 3, tables);
        ASSERT_EQ(out, want) << (*level)->level << " " << count << " at " << at;
        ASSERT_EQ(out3, want3) << (*level)->level << " " << whole / 3 << " pixels at " << at;
        ASSERT_EQ(std::memcmp(inPlace.data() + at, want3.data() + at, whole * sizeof(T)), 0);
      }
    }
  }
}

TEST(LutKernels, EqualTheFormulaForEveryLength) {
  ExpectFormula(&LutKernels::MapBytes, &LutKernels::MapBytes3);
  ExpectFormula(&LutKernels::MapWords, &LutKernels::MapWords3);
}

TEST(LutKernels, FindEveryEntryAtEveryPosition) {
  const std::vector<uint8_t> table = Noise<uint8_t>(256, 3);
  for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
    for (int shift = 0; shift < 64; ++shift) {
      uint8_t in[256], out[256];
      for (int i = 0; i < 256; ++i) in[i] = static_cast<uint8_t>(i + shift);
      (*level)->lut.MapBytes(in, out, 256, table.data());
      for (int i = 0; i < 256; ++i) ASSERT_EQ(out[i], table[in[i]]);
    }
  }
}

}  // namespace
}  // namespace zel::test
