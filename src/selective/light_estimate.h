// Which light fell on a photograph.
#ifndef ZEL_SELECTIVE_LIGHT_ESTIMATE_H_
#define ZEL_SELECTIVE_LIGHT_ESTIMATE_H_

#include "core/view.h"

namespace zel {

// Red, green and blue in linear light: the colour in which a bright, neutral surface of the picture appears, each 0 to
// 1. A grey when nothing speaks for coloured light.
struct LightColour {
  double red, green, blue;
};

// Estimates the light on an image of three channels: every plausible light is scored by how many surfaces and edges
// become plausible once it is taken out, and the answer is their mean, so that little evidence corrects little.
// docs/light-correct.md has the reasons and the measurements. False without memory.
bool EstimateLight(const View<const uint8_t>& image, LightColour* light);

}  // namespace zel

#endif  // ZEL_SELECTIVE_LIGHT_ESTIMATE_H_
