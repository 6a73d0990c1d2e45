#include "tone/levels.h"

#include <algorithm>

#include "core/channel_lut.h"

namespace zel {

LevelsCurve::LevelsCurve(int32_t last, int32_t white, int32_t black) : last_(last), white_(white), black_(black) {
  if (white_ <= black_) {
    if (white_ != 0) {
      black_ = white_ - 1;
    } else if (black_ == last_) {
      black_ = 0;
      white_ = last_;
    } else {
      white_ = black_ + 1;
    }
  }
  scale_ = static_cast<float>(static_cast<double>(last_) / static_cast<double>(white_ - black_));
}

int32_t LevelsCurve::operator()(int32_t i) const {
  if (i < black_) return 0;
  if (i >= white_) return static_cast<int32_t>(last_);
  const double v = static_cast<double>(i - black_) * static_cast<double>(scale_) + 0.5;
  return static_cast<int32_t>(std::min(v, static_cast<double>(last_)));
}

bool MakeLevelsLut(void* block, int32_t tables, int32_t bits, const int32_t* white, const int32_t* black) {
  if (block == nullptr || white == nullptr || black == nullptr || (bits != 8 && bits != 16)) return false;
  for (int32_t k = 0; k < tables; ++k) {
    const int32_t last = bits == 8 ? 255 : 65535;
    const LevelsCurve curve(last, white[k], black[k]);
    for (int32_t i = 0; i <= last; ++i) {
      if (bits == 8) {
        static_cast<uint8_t*>(block)[k * kLutEntries8 + i] = static_cast<uint8_t>(curve(i));
      } else {
        static_cast<uint16_t*>(block)[k * kLutEntries16 + i] = static_cast<uint16_t>(curve(i));
      }
    }
  }
  return true;
}

}  // namespace zel
