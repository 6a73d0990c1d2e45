#include "tone/levels.h"

#include <algorithm>

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

template <class T>
bool MakeLevelsLut(Curves<T> curves, const int32_t* white, const int32_t* black) {
  if (curves.block == nullptr || white == nullptr || black == nullptr) return false;
  for (int32_t k = 0; k < curves.tables; ++k) {
    const LevelsCurve curve(kLast<T>, white[k], black[k]);
    for (int32_t i = 0; i <= kLast<T>; ++i) curves.Table(k)[i] = static_cast<T>(curve(i));
  }
  return true;
}

template bool MakeLevelsLut(Curves<uint8_t>, const int32_t*, const int32_t*);
template bool MakeLevelsLut(Curves<uint16_t>, const int32_t*, const int32_t*);

}  // namespace zel
