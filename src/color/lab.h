// Lightness and two chroma axes, as the colourful enhancement sees them.
#ifndef ZEL_COLOR_LAB_H_
#define ZEL_COLOR_LAB_H_

#include "core/view.h"

namespace zel {

// Three planes of width x height single-precision numbers each, without gaps: L from 0 to 100, a from green to red, b
// from blue to yellow. Samples are taken as linear light. Everything is computed in double precision by additions,
// multiplications and divisions alone, so that the numbers are the same everywhere.
struct LabPlanes {
  float* l;
  float* a;
  float* b;
};

// Of three channels.
template <class T>
void RgbToLabPlanes(const View<const T>& image, const LabPlanes& planes);

// And back, rounded and cut to the samples' range. The change from the curve to its straight part is tested on f, not
// on its cube, as the enhancement's promised results want it.
template <class T>
void LabPlanesToRgb(const LabPlanes& planes, const View<T>& image);

// The largest a * a + b * b among the pixels; the search ends with the first row in which one reaches `enough`.
template <class T>
double LargestSquaredChroma(const View<const T>& image, double enough);

// exp(ln(t) * 0.33333334) for 0.008856 < t <= 1, to within 1e-15 of itself.
double NearlyCubeRoot(double t);

}  // namespace zel

#endif  // ZEL_COLOR_LAB_H_
