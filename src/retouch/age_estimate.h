// What of a photograph's colours is age.
#ifndef ZEL_RETOUCH_AGE_ESTIMATE_H_
#define ZEL_RETOUCH_AGE_ESTIMATE_H_

#include "core/view.h"

namespace zel {

// The level that a photograph's black comes back to: hardly one is darker in every channel.
constexpr double kBlack = 8.0;

// What is to be taken back, each in the order red, green, blue (or of the only channel).
struct Age {
  bool any = false;  // false: the picture shows no age, and the rest is not set
  // Of light, relative to `paper`: brings the contrast of a faded dye up to that of the others. 1 for none.
  double power[3];
  double paper[3];  // light of the channel's white
  // After that: levels that were black and white.
  double black[3], white[3];
};

// Measures an image of packed rows, 1 or 3 channels. docs/aged-photo.md has the reasons and the measurements. False
// when memory ran out.
bool EstimateAge(const View<const uint8_t>& image, Age* age);

}  // namespace zel

#endif  // ZEL_RETOUCH_AGE_ESTIMATE_H_
