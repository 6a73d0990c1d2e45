// Between the levels of a picture and the light they stand for (the sRGB transfer curve), 0 to 1 on both sides. Built
// from plain arithmetic and square roots, so that every platform gets the same numbers.
#ifndef ZEL_COLOR_LINEAR_LIGHT_H_
#define ZEL_COLOR_LINEAR_LIGHT_H_

namespace zel {

double LightOfLevel(double level);
double LevelOfLight(double light);

}  // namespace zel

#endif  // ZEL_COLOR_LINEAR_LIGHT_H_
