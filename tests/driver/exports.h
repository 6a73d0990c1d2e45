// The one table of exported functions: how each is called, and all that tests and benchmarks know about it.
#ifndef ZEL_TESTS_DRIVER_EXPORTS_H_
#define ZEL_TESTS_DRIVER_EXPORTS_H_

#include <array>
#include <cstddef>
#include <functional>
#include <vector>

#include "zel.h"

namespace zel::test {

constexpr size_t kTableBytes = ZEL_LUT3D_BYTES;
constexpr size_t kArray = 7;  // numbers that an array among the parameters takes

// What a call gets besides the images. Each parameter that is a number takes the next one.
struct Settings {
  std::array<int32_t, 2 * kArray> numbers = {};
  ZelPoint point = {-1, -1};
  std::array<float, 3> reals = {};
};

struct Arguments {
  const ImageDesc* source = nullptr;
  const ImageDesc* destination = nullptr;
  const ZelRect* rect = nullptr;
  const ZelPoint* point = nullptr;
  const int32_t* numbers = nullptr;  // 2 x kArray
  const float* reals = nullptr;      // 3
  uint8_t* table = nullptr;          // kTableBytes, aligned for integers; read or written by the functions with tables
  bool withoutTables = false;        // null for every pointer that is neither image nor rectangle nor point
};

// In which way the laws of images hold.
struct Laws {
  int margin = 0;             // pixels around the rectangle that may change too
  int sight = 0;              // the rectangle's outermost pixels that hang on what the destination held around it
  bool usesRect = true;       // false: the rectangle does not limit what is written
  bool orderMatters = false;  // RGB and BGR are allowed to differ
  bool reorders = true;       // a reversed rectangle equals the reordered one; otherwise it is empty
  bool reversed = true;       // false: a reversed rectangle keeps no law
  bool padded = true;         // false: the ends of rows are written along
  bool bytes = false;         // 16-bit images keep no law
  bool colours = false;       // images with fewer than three channels keep no law, and are read behind their rows
};

// Bytes that a call may hold at once: some at all, some for each sample of a row, some for each pixel.
struct MemoryBound {
  int64_t fixed, sample, pixel;
};

enum Trait : int {
  kSlow = 1,       // fifty times as long as others on small images
  kAnswersOk = 2,  // ZEL_OK, with nothing changed, also where it could not work
};

// A call that is timed. `area` tells where its point lies: 0 sky, 1 foliage, 2 skin, or nowhere.
struct Timed {
  const char* name;
  bool deep;  // at 16 bits too
  Settings settings;
  int area = -1;
};

// The operation of libzel_chain that a function is, and which of its parameters each of the numbers takes: a word, a
// number, or both added; "" is 0. All reals take the one that is named. Written down here a second time, so that the
// table of the operations can be held against it.
struct Named {
  const char* operation = "";
  std::vector<const char*> numbers;
  const char* real = "";
};

struct Export {
  const char* name;
  std::function<int32_t(const Arguments&)> call;
  std::vector<Settings> sets;  // settings worth trying; lines of golden digests are named by their index
  Laws laws;
  MemoryBound memory;
  std::vector<Timed> timed;
  Named named = {};
  int traits = 0;
};

// In the order of their ordinals.
const std::vector<Export>& Exports();

}  // namespace zel::test

#endif  // ZEL_TESTS_DRIVER_EXPORTS_H_
