#include "tone/levels.h"

#include <algorithm>

#include "core/channel_lut.h"

namespace zel {

namespace {

template <class T>
void FillLevels(T* table, int64_t last, int64_t white, int64_t black) {
  if (white <= black) {
    if (white != 0) {
      black = white - 1;
    } else if (black == last) {
      black = 0;
      white = last;
    } else {
      white = black + 1;
    }
  }
  const float scale = static_cast<float>(static_cast<double>(last) / static_cast<double>(white - black));
  for (int64_t i = 0; i <= last; ++i) {
    const double v = static_cast<double>(i - black) * static_cast<double>(scale) + 0.5;
    table[i] = static_cast<T>(i < black ? 0.0 : i >= white ? last : std::min(v, static_cast<double>(last)));
  }
}

}  // namespace

bool MakeLevelsLut(void* block, int32_t tables, int32_t bits, const int32_t* white, const int32_t* black) {
  if (block == nullptr || white == nullptr || black == nullptr || (bits != 8 && bits != 16)) return false;
  for (int32_t k = 0; k < tables; ++k) {
    if (bits == 8) {
      FillLevels(static_cast<uint8_t*>(block) + k * kLutEntries8, 255, white[k], black[k]);
    } else {
      FillLevels(static_cast<uint16_t*>(block) + k * kLutEntries16, 65535, white[k], black[k]);
    }
  }
  return true;
}

}  // namespace zel
