// The row kernels: inner loops over samples, compiled once for each instruction set.
//
// A kernel gets pointers and a count and knows no image. It is correct for every count from 0 up and every
// alignment, reads and writes exactly what its formula names, and gives the same bytes at every level.
// Unless noted, an output may be the very same memory as an input; partial overlap is not allowed.
#ifndef ZEL_SIMD_KERNELS_H_
#define ZEL_SIMD_KERNELS_H_

#include <stddef.h>
#include <stdint.h>

namespace zel {

// Table lookups (lut.inl).
struct LutKernels {
  // out[i] = table[in[i]]; 256 entries, or 65536 for words.
  void (*MapBytes)(const uint8_t* in, uint8_t* out, size_t count, const uint8_t* table);
  void (*MapWords)(const uint16_t* in, uint16_t* out, size_t count, const uint16_t* table);
  // out[3p + k] = tables[k][in[3p + k]] for every pixel p.
  void (*MapBytes3)(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* const tables[3]);
  void (*MapWords3)(const uint16_t* in, uint16_t* out, size_t pixels, const uint16_t* const tables[3]);
};

// Blends of two byte rows (blend.inl).
struct BlendKernels {
  // out[channels * p + k] = in[p] for every k below channels (1 to 15). `out` is not `in`.
  void (*SpreadMask)(const uint8_t* in, uint8_t* out, size_t pixels, size_t channels);
  // With m = mask[i], e = effect[i] and b = base[i]:
  //   MixBytes       ((255 - m) * b + m * e) >> 8
  //   ScreenBytes    m == 0 ? b : ((255 - m) * b + m * (255 - (255 - e) * (255 - b) / 255)) >> 8
  //   MultiplyBytes  m == 0 ? b : ((255 - m) * b + m * (e * b / 255)) >> 8
  void (*MixBytes)(const uint8_t* effect, const uint8_t* base, const uint8_t* mask, uint8_t* out, size_t count);
  void (*ScreenBytes)(const uint8_t* effect, const uint8_t* base, const uint8_t* mask, uint8_t* out, size_t count);
  void (*MultiplyBytes)(const uint8_t* effect, const uint8_t* base, const uint8_t* mask, uint8_t* out, size_t count);
  // out[i] = clamp((effect[i] * w + base[i] * (127 - w)) >> 7, 0, 255) for |w| <= 32767.
  void (*PullBytes)(const uint8_t* effect, const uint8_t* base, uint8_t* out, size_t count, int32_t w);
};

// A symmetric kernel of 2 * reach + 1 taps. The weights are not negative and sum to about 2^shift.
constexpr int32_t kMaxBlurReach = 60;
constexpr int32_t kWordPairShift = 11;
struct BlurWeights {
  int32_t reach;                    // 1 to kMaxBlurReach
  int32_t shift;                    // 10 or 11
  int32_t taps[kMaxBlurReach + 1];  // from the outermost to the centre

  // The same for sums of bytes in 16 bits: each tap is (coarse << (shift - 7)) + fine, each part at most 127. Taps come
  // in runs; before a run with `fold` the fine sums must be folded into the coarse ones, or they would pass 65535.
  struct Run {
    int32_t end;  // one past its last
    bool coarse;  // whether its taps have coarse parts
    bool fold;
  };

  // The taps of the whole kernel in pairs of neighbours, 2 m and 2 m + 1 for the first of two rows that are summed
  // together, 2 m - 1 and 2 m for the second; beyond the kernel they are 0. A pair's parts sum to at most 128 and are
  // given four times. In shorter kernels nothing needs folding, and all but `edge` pairs at either end have coarse
  // parts; else the edge is -1.
  struct Pair {
    uint8_t fine[8], coarse[8];
  };
  Pair pair[2][kMaxBlurReach + 1];
  int32_t edge;
  int32_t runs;
  Run run[kMaxBlurReach + 1];

  // The same pairs in words, the first of each in the lower one, for a shift of kWordPairShift in any case.
  uint32_t wordPair[2][kMaxBlurReach + 1];
  // The first half of those of the first row for samples of mirrored taps added before, twice as large: the centre,
  // which meets itself, is not.
  uint32_t sidePair[kMaxBlurReach / 2 + 1];

  // For those who take the two samples of mirrored taps together: the taps up to the centre. The centre is summed
  // before all others and belongs to no run. In shorter kernels nothing needs folding, and `split` taps before the
  // centre, half of them rounded up, have coarse parts; else the split is -1.
  struct Tap {
    uint8_t fine, coarse;
  };
  struct Mirrored {
    Tap tap[kMaxBlurReach + 1];
    int32_t split;
    int32_t runs;
    Run run[kMaxBlurReach + 1];
  };
  Mirrored mirrored;
};

// Weighted sums over rows (blur.inl). Outputs are none of the rows.
constexpr size_t kMaxBlurStep = 3;
struct BlurKernels {
  // out[i] = min(sum over k of taps[k <= reach ? k : 2 * reach - k] * rows[k][first + i] >> shift, 255), or 65535 for
  // words, and the same of rows[k + 1] for `next`, unless that is null. There are 2 * reach + 2 rows in any case; the
  // last may be read where it does not count.
  void (*SumBytes)(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out, uint8_t* next,
                   size_t count);
  void (*SumWords)(const uint16_t* const* rows, size_t first, const BlurWeights& weights, uint16_t* out, uint16_t* next,
                   size_t count);
  // The same along one row: rows[k][first + i] is in[i + k * step], for steps up to kMaxBlurStep.
  void (*SumBytesAlong)(const uint8_t* in, size_t step, const BlurWeights& weights, uint8_t* out, size_t count);
  void (*SumWordsAlong)(const uint16_t* in, size_t step, const BlurWeights& weights, uint16_t* out, size_t count);
};

// Neighbourhoods (convolve.inl). `out` is none of the rows.
struct ConvolveKernels {
  // out[i] = clamp(sum over j and k of weights[3 * j + k] * rows[j][i + k * step] >> 10, 0, 255). The weights' absolute
  // values sum to at most 2^31 / 255, so that no order of adding overflows.
  void (*Convolve3x3)(const uint8_t* const rows[3], size_t step, const int32_t weights[9], uint8_t* out, size_t count);
};

// The detail mask of vivid (detail.inl). `out` is none of the rows.
struct DetailKernels {
  // out[p] = (77 * red + 150 * green + 29 * blue) >> 8 of three-sample pixels.
  void (*LumaBytes)(const uint8_t* in, uint8_t* out, size_t pixels, bool blueFirst);
  // out[i] = clamp(sum of the 7 x 7 ring weights times rows[j][i + k] / 22, 0, 255).
  void (*RingMask)(const uint8_t* const rows[7], uint8_t* out, size_t count);
};

// The unsharp mask (unsharp.inl), |gain| up to kMaxByteGain or kMaxWordGain, threshold from 0.
constexpr int32_t kMaxByteGain = 32767;
constexpr int32_t kMaxWordGain = 1 << 23;
struct UnsharpKernels {
  // With step = max(|in[i] - blurred[i]| - threshold, 0) * gain >> 7:
  // out[i] = clamp(in[i] + (in[i] < blurred[i] ? -step : step)) to 255, or 65535 for words.
  void (*PushBytes)(const uint8_t* in, const uint8_t* blurred, uint8_t* out, size_t count, int32_t gain,
                    int32_t threshold);
  void (*PushWords)(const uint16_t* in, const uint16_t* blurred, uint16_t* out, size_t count, int32_t gain,
                    int32_t threshold);
};

// Weights of colours from a grid (weight_lattice.inl).
struct WeightKernels {
  // out[p] = (sum of cell[k] * the product of its shares along the three axes, for the eight corners k) / 4913, with
  // cell = cells + 8 * (i0 + 16 * i1 + 256 * i2), the samples v of pixel p at in[step * p ..], i = v / 17, f = v % 17;
  // bit a of k chooses the share f on axis a, else 17 - f. `out` is not `in`.
  void (*WeighPixels)(const uint8_t* in, uint8_t* out, size_t pixels, size_t step, const uint8_t* cells);
};

// Tetrahedral interpolation (lattice.inl).
constexpr size_t kLatticeCells = 4096 + 256;  // the last 256 are only read along
struct LatticeKernels {
  // The colour of every pixel in a lattice: v0 + ((d - (d >> 4)) >> 4) per channel, at most 255, where d sums the
  // differences along the walk through the tetrahedron times their fractions. `blueFirst` tells the order of the
  // pixels. MapNodes takes 16 x 16 x 16 nodes of red, green and blue byte, the red index fastest. MapCells is faster
  // and takes 16 bytes for each of them: for red, green and blue the node itself, its neighbour in red, the one in
  // green and the one in both, then four bytes that do not count; kLatticeCells such cells.
  void (*MapNodes)(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* nodes, bool blueFirst);
  void (*MapCells)(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* cells, bool blueFirst);
  // out[i] = in[i] / 257, and out[i] = in[i] * 257. `out` is not `in`.
  void (*DivideBy257)(const uint16_t* in, uint8_t* out, size_t count);
  void (*MultiplyBy257)(const uint8_t* in, uint16_t* out, size_t count);
};

// Weights of pixels by their hue (hue.inl).
// Weights for red, green and blue lie 128 places apart, those up to 60 degrees before and behind each around place 60.
// kGreyPlace of all three stands for pixels whose saturation is below one per cent.
constexpr int32_t kGreyPlace = 127;
constexpr size_t kHuePlaces = 3 * 128;
struct HueKernels {
  // out[p] = weights[place of pixel p], by the integer hue and saturation of RgbToHsl; kHuePlaces entries. `blueFirst`
  // tells the order of the pixels. `out` is not `in`.
  void (*WeighHuesOfBytes)(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* weights, bool blueFirst);
  void (*WeighHuesOfWords)(const uint16_t* in, uint8_t* out, size_t pixels, const uint8_t* weights, bool blueFirst);
  // out[p] = saturation of pixel p, 0 to 100, as RgbToHsl gives it. `out` is not `in`.
  void (*SaturationsOfBytes)(const uint8_t* in, uint8_t* out, size_t pixels);
};

// The 9/7 wavelet by lifting (wavelet.inl), on even and odd samples kept apart.
struct WaveletKernels {
  // low[i] = in[2 * i * step], high[i] = in[(2 * i + 1) * step]; with doubles the step is 1.
  void (*SplitBytes)(const uint8_t* in, size_t step, double* low, double* high, size_t pairs);
  void (*SplitDoubles)(const double* in, double* low, double* high, size_t pairs);
  // The other way round; bytes are clamped and truncated. Those between them may be written again as they were.
  void (*JoinBytes)(const double* low, const double* high, uint8_t* out, size_t step, size_t pairs);
  void (*JoinDoubles)(const double* low, const double* high, double* out, size_t pairs);
  // out[i] = in[i] * scale
  void (*ScaleDoubles)(const double* in, double scale, double* out, size_t count);
  // target[i] = target[i] + c * (before[i] + after[i]); the three are different memory.
  void (*LiftOnce)(double* target, const double* before, const double* after, double c, size_t count);
  // LiftOnce of row 4 with c[0], of row 3 with c[1], of row 2 with c[2] and of row 1 with c[3], each between its
  // neighbours as they are by then. Six different rows.
  void (*LiftRows)(const double* r0, double* r1, double* r2, double* r3, double* r4, const double* r5, const double* c,
                   size_t count);
  // The same four steps along a row of samples even[0], odd[0], even[1], ...: odd samples between their even neighbours
  // first. The results are scaled on their way out, by scales[0] the even and by scales[1] the odd ones. Seven more
  // pairs are read before the first pair, where only the last two matter, and two behind the last; the inputs are
  // spoilt. Outputs are other memory than the inputs.
  void (*LiftThenScale)(double* even, double* odd, const double* c, const double* scales, double* outEven,
                        double* outOdd, size_t pairs);
  // The same with the inputs scaled before the steps and kept. The outputs are spoilt two pairs beyond either end.
  void (*ScaleThenLift)(const double* even, const double* odd, const double* c, const double* scales, double* outEven,
                        double* outOdd, size_t pairs);
  // With c = in[i] * scale: out[i] = sign(c) * min(trunc(|c| + 0.5), 256). Returns the largest magnitude, or 0.
  int32_t (*RoundDetails)(const double* in, double scale, int16_t* out, size_t count);
  // out[i] = sign(in[i]) * curve[min(|in[i]|, 255)] * scale, where curve[0] is 0. Whether any magnitude is 256.
  uint32_t (*ExpandDetails)(const int16_t* in, const uint8_t* curve, double scale, double* out, size_t count);
};

struct Kernels {
  const char* level;
  LutKernels lut;
  BlendKernels blend;
  BlurKernels blur;
  ConvolveKernels convolve;
  UnsharpKernels unsharp;
  DetailKernels detail;
  WeightKernels weight;
  LatticeKernels lattice;
  HueKernels hue;
  WaveletKernels wavelet;
};

// The kernels of the best level that this processor has, chosen on the first call.
const Kernels& ActiveKernels();

// The levels that this program has and this processor runs, slowest first, ended by null. The plain scalar level is
// only linked into tests and benchmarks, which append it themselves.
const Kernels* const* BuiltKernelLevels();

namespace scalar {
extern const Kernels kKernels;
}
namespace base {
extern const Kernels kKernels;
}
namespace sse41 {
extern const Kernels kKernels;
}
namespace avx2 {
extern const Kernels kKernels;
}
namespace avx512 {
extern const Kernels kKernels;
}

}  // namespace zel

#endif  // ZEL_SIMD_KERNELS_H_
