// Rounding that no optimiser may skip, and limits.
#ifndef ZEL_CORE_ROUNDING_H_
#define ZEL_CORE_ROUNDING_H_

#include <cstdint>

namespace zel {

// The value rounded to single precision. The store through a volatile keeps g++ 12 from dropping the rounding when it
// pairs two of them in one vector register.
inline double ToSingle(double value) {
  const volatile float rounded = static_cast<float>(value);
  return rounded;
}

// Settings are combined in 64 bits, where nothing overflows, and saturate on their way back.
inline int32_t Saturated(int64_t value) {
  return static_cast<int32_t>(value < INT32_MIN ? INT32_MIN : value > INT32_MAX ? INT32_MAX : value);
}

}  // namespace zel

#endif  // ZEL_CORE_ROUNDING_H_
