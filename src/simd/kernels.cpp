// Built once for each level, with ZEL_ISA naming its namespace. Nothing but plain headers may be included: an inline
// library function compiled here for a newer processor could become everyone's copy.
#include "simd/kernels.h"

#if defined(__AVX2__)
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zel {
namespace ZEL_ISA {

#include "simd/pixels.inl"  // helpers of the others
//
#include "simd/blend.inl"
#include "simd/blur.inl"
#include "simd/convolve.inl"
#include "simd/detail.inl"
#include "simd/hue.inl"
#include "simd/lattice.inl"
#include "simd/lut.inl"
#include "simd/unsharp.inl"
#include "simd/wavelet.inl"
#include "simd/weight_lattice.inl"

#define ZEL_QUOTED_(x) #x
#define ZEL_QUOTED(x) ZEL_QUOTED_(x)

// clang-format off
extern const Kernels kKernels = {
    ZEL_QUOTED(ZEL_ISA),
    kLutKernels,
    kBlendKernels,
    kBlurKernels,
    kConvolveKernels,
    kUnsharpKernels,
    kDetailKernels,
    kWeightKernels,
    kLatticeKernels,
    kHueKernels,
    kWaveletKernels,
};
// clang-format on

}  // namespace ZEL_ISA
}  // namespace zel
