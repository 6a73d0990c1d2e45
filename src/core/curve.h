// Smooth tone curves through control points.
#ifndef ZEL_CORE_CURVE_H_
#define ZEL_CORE_CURVE_H_

#include <cstdint>

namespace zel {

// A control point; only the low eight bits of each coordinate count.
struct CurvePoint {
  int32_t x, y;
};

// Fills 256 entries with the natural cubic spline through the points, cut to 0..255 and truncated. One point gives a
// constant, two a straight line. Three or more ascend in x from 0 to 255, at most 16 of them; entry 255 is then always
// 255, whatever the last point says. False without points, with nothing written; false with the identity when the
// points do not ascend.
bool BuildCurveLut(uint8_t* table, const CurvePoint* points, int32_t count);

}  // namespace zel

#endif  // ZEL_CORE_CURVE_H_
