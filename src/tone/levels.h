// The levels curve: black up to one point, white from another, a straight line between them.
#ifndef ZEL_TONE_LEVELS_H_
#define ZEL_TONE_LEVELS_H_

#include "core/channel_lut.h"

namespace zel {

// One curve on a scale from 0 to `last`. A white point not above the black point gives a hard step just below it.
class LevelsCurve {
 public:
  LevelsCurve(int32_t last, int32_t white, int32_t black);
  int32_t operator()(int32_t i) const;

 private:
  int64_t last_, white_, black_;
  float scale_;  // single precision is part of the curve's definition
};

// Fills the tables, each from its own white and black point on the scale of their depth. False, with nothing written,
// when a pointer is null.
template <class T>
bool MakeLevelsLut(Curves<T> curves, const int32_t* white, const int32_t* black);

}  // namespace zel

#endif  // ZEL_TONE_LEVELS_H_
