// Every exported function behind one signature, so that one loop can drive them all.
#ifndef ZEL_TESTS_DRIVER_EXPORTS_H_
#define ZEL_TESTS_DRIVER_EXPORTS_H_

#include <array>
#include <cstddef>
#include <vector>

#include "zel.h"

namespace zel::test {

constexpr size_t kTableBytes = ZEL_LUT3D_BYTES;

// What a call gets besides the images: the function takes as many numbers, in the order of its parameters, as it has.
struct Settings {
  std::array<int32_t, 14> numbers = {};
  ZelPoint point = {-1, -1};
  std::array<float, 3> reals = {};
};

struct Arguments {
  const ImageDesc* source = nullptr;
  const ImageDesc* destination = nullptr;
  const ZelRect* rect = nullptr;
  const ZelPoint* point = nullptr;
  const int32_t* numbers = nullptr;  // 14
  const float* reals = nullptr;      // 3
  uint8_t* table = nullptr;          // kTableBytes, aligned for integers; read or written by the functions with tables
  bool withoutTables = false;        // null for every pointer that is neither image nor rectangle nor point
};

struct Export {
  const char* name;
  int32_t (*call)(const Arguments&);
  std::vector<Settings> sets;  // settings worth trying
};

// In the order of their ordinals.
const std::vector<Export>& Exports();

}  // namespace zel::test

#endif  // ZEL_TESTS_DRIVER_EXPORTS_H_
