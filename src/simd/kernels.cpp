// Built once for each level, with ZEL_ISA naming its namespace. Nothing but plain headers may be included: an inline
// library function compiled here for a newer processor could become everyone's copy.
#include "simd/kernels.h"

// Where there are vectors with byte shuffles, kernels have twins of their plain loops.
#if defined(ZEL_PLAIN_KERNELS)
#elif defined(__AVX2__)
#define ZEL_TWINS
#include <immintrin.h>
#elif defined(__SSE4_1__)
#define ZEL_TWINS
#include <smmintrin.h>
#elif defined(__aarch64__) && defined(__ARM_NEON) && !defined(__ARM_BIG_ENDIAN)
#define ZEL_TWINS
#define ZEL_NEON
#include <arm_neon.h>
#elif defined(__wasm_simd128__)
#define ZEL_TWINS
#include <wasm_simd128.h>
#endif

namespace zel {
namespace ZEL_ISA {

#if defined(ZEL_TWINS) && !defined(__SSE4_1__)
#include "simd/wide128.inl"
#endif
#include "simd/pixels.inl"  // helpers of the others
//
#include "simd/byte_sums.inl"  // helpers of the blur
#include "simd/mirrored_sums.inl"
#include "simd/word_sums.inl"
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
