// Between the levels of a picture and the light they stand for (the sRGB transfer curve), 0 to 1 on both sides. Built
// from plain arithmetic and square roots, so that every platform gets the same numbers.
#ifndef ZEL_COLOR_LINEAR_LIGHT_H_
#define ZEL_COLOR_LINEAR_LIGHT_H_

namespace zel {

double LightOfLevel(double level);
double LevelOfLight(double light);

// The natural logarithm of 0 < value <= 1, and the exponential to about nine digits, built the same way.
double Logarithm(double value);
double Exponential(double exponent);

}  // namespace zel

#endif  // ZEL_COLOR_LINEAR_LIGHT_H_
