// Rounding that no optimiser may skip.
#ifndef ZEL_CORE_ROUNDING_H_
#define ZEL_CORE_ROUNDING_H_

namespace zel {

// The value rounded to single precision. The store through a volatile keeps g++ 12 from dropping the rounding when it
// pairs two of them in one vector register.
inline double ToSingle(double value) {
  const volatile float rounded = static_cast<float>(value);
  return rounded;
}

}  // namespace zel

#endif  // ZEL_CORE_ROUNDING_H_
