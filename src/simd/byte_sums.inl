// Vectors of weighted sums of bytes, for the blur.

#if defined(ZEL_TWINS) && !defined(__wasm_simd128__)
// The sums of a vector of bytes in 16 bits, those of a vector's lower and upper half as PairsOf leaves them. The whole
// sum is coarse * 2^fineBits + fine, so that folding and the last division lose nothing: the fine sum's quotient by
// 2^fineBits is added to the coarse one, the rest stays.
struct ByteSums {
  Wide coarseLow, coarseHigh, fineLow, fineHigh;
};

struct Folding {
  Bits fineBits;
  Wide rest;
};

static inline Folding FoldingOf(const BlurWeights& weights) {
  const int32_t fineBits = weights.shift - 7;
  return {BitsOf(fineBits), ZEL_WIDE(set1_epi16)((short)((1 << fineBits) - 1))};
}

static inline ByteSums NoSums() {
  const Wide zero = ZEL_WIDE_BITS(setzero)();
  return {zero, zero, zero, zero};
}

static inline void Fold(ByteSums* sums, const Folding& by) {
  sums->coarseLow = ZEL_WIDE(add_epi16)(sums->coarseLow, WordsRight(sums->fineLow, by.fineBits));
  sums->coarseHigh = ZEL_WIDE(add_epi16)(sums->coarseHigh, WordsRight(sums->fineHigh, by.fineBits));
  sums->fineLow = ZEL_WIDE_BITS(and)(sums->fineLow, by.rest);
  sums->fineHigh = ZEL_WIDE_BITS(and)(sums->fineHigh, by.rest);
}

// Bytes of the whole sums.
static inline Wide Rounded(ByteSums* sums, const Folding& by) {
  Fold(sums, by);
#if defined(ZEL_NEON)
  return vqshrn_high_n_u16(vqshrn_n_u16((uint16x8_t)sums->coarseLow, 7), (uint16x8_t)sums->coarseHigh, 7);
#else
  return ZEL_WIDE(packus_epi16)(ZEL_WIDE(srli_epi16)(sums->coarseLow, 7), ZEL_WIDE(srli_epi16)(sums->coarseHigh, 7));
#endif
}

#endif

#if defined(ZEL_TWINS) && defined(__SSE4_1__)
// From longer kernels on, the samples of a row are put side by side before they are summed along.
enum : int32_t { kSideBySideReach = 3 };

// A vector of samples from each of two rows side by side: products of unsigned and signed bytes add them up.
struct BytePairs {
  Wide low, high;
};
typedef Wide PairWeights;

static inline BytePairs PairsOf(const uint8_t* a, const uint8_t* b) {
  const Wide va = LoadWide(a), vb = LoadWide(b);
  return {ZEL_WIDE(unpacklo_epi8)(va, vb), ZEL_WIDE(unpackhi_epi8)(va, vb)};
}

static inline PairWeights WeightsOf(const uint8_t* eight) {
#if defined(__AVX512VBMI__)
  return _mm512_broadcastq_epi64(_mm_loadl_epi64((const Half*)eight));
#elif defined(__AVX2__)
  return _mm256_broadcastq_epi64(_mm_loadl_epi64((const Half*)eight));
#else
  return _mm_castpd_si128(_mm_movedup_pd(_mm_castsi128_pd(_mm_loadl_epi64((const Half*)eight))));
#endif
}

static inline void AddPairs(Wide* low, Wide* high, const BytePairs& pairs, PairWeights weights) {
  *low = ZEL_WIDE(add_epi16)(*low, ZEL_WIDE(maddubs_epi16)(pairs.low, weights));
  *high = ZEL_WIDE(add_epi16)(*high, ZEL_WIDE(maddubs_epi16)(pairs.high, weights));
}

static inline void AddFine(ByteSums* sums, const BytePairs& pairs, const BlurWeights::Pair& weights) {
  AddPairs(&sums->fineLow, &sums->fineHigh, pairs, WeightsOf(weights.fine));
}

static inline void AddBoth(ByteSums* sums, const BytePairs& pairs, const BlurWeights::Pair& weights) {
  AddPairs(&sums->fineLow, &sums->fineHigh, pairs, WeightsOf(weights.fine));
  AddPairs(&sums->coarseLow, &sums->coarseHigh, pairs, WeightsOf(weights.coarse));
}

// Two sums of neighbouring rows at a time share what is loaded and put side by side.
template <bool kTwo>
static inline void SumColumns(const uint8_t* const* rows, const BlurWeights& weights, const Folding& by, size_t at,
                              uint8_t* out, uint8_t* next) {
  ByteSums one = NoSums(), two = NoSums();
  int32_t m = 0;
  for (int32_t r = 0; r < weights.runs; ++r) {
    const BlurWeights::Run run = weights.run[r];
    if (run.fold) {
      Fold(&one, by);
      if (kTwo) Fold(&two, by);
    }
    if (run.coarse) {
      for (; m < run.end; ++m) {
        const BytePairs pairs = PairsOf(rows[2 * m] + at, rows[2 * m + 1] + at);
        AddBoth(&one, pairs, weights.pair[0][m]);
        if (kTwo) AddBoth(&two, pairs, weights.pair[1][m]);
      }
    } else {
      for (; m < run.end; ++m) {
        const BytePairs pairs = PairsOf(rows[2 * m] + at, rows[2 * m + 1] + at);
        AddFine(&one, pairs, weights.pair[0][m]);
        if (kTwo) AddFine(&two, pairs, weights.pair[1][m]);
      }
    }
  }
  StoreWide(out, Rounded(&one, by));
  if (kTwo) StoreWide(next, Rounded(&two, by));
}

// A last vector that is not full starts earlier and sums some samples again, which no row notices.
template <bool kTwo>
static void SumBytesWide(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out,
                         uint8_t* next, size_t count) {
  const Folding by = FoldingOf(weights);
  const size_t last = count - kWideBytes;
  for (size_t i = 0; i < count; i += kWideBytes) {
    const size_t at = i < last ? i : last;
    SumColumns<kTwo>(rows, weights, by, first + at, out + at, kTwo ? next + at : nullptr);
  }
}

// The same for short kernels, where loops and weights cost as much as the sums: unrolled, all that a vector needs at
// hand.
template <int kPairs, int kEdge>
struct ShortBlur {
  PairWeights fine[2][kPairs], coarse[2][kPairs];
  Folding by;

  explicit ShortBlur(const BlurWeights& weights) : by(FoldingOf(weights)) {
    for (int row = 0; row < 2; ++row) {
      for (int m = 0; m < kPairs; ++m) {
        fine[row][m] = WeightsOf(weights.pair[row][m].fine);
        coarse[row][m] = WeightsOf(weights.pair[row][m].coarse);
      }
    }
  }

  inline void Add(ByteSums* sums, const BytePairs& pairs, int row, int m) const {
    AddPairs(&sums->fineLow, &sums->fineHigh, pairs, fine[row][m]);
    if (m >= kEdge && m < kPairs - kEdge) {
      AddPairs(&sums->coarseLow, &sums->coarseHigh, pairs, coarse[row][m]);
    }
    // The compiler would start all products before it adds any, and run out of registers.
    __asm__("" : "+x"(sums->fineLow), "+x"(sums->fineHigh), "+x"(sums->coarseLow), "+x"(sums->coarseHigh));
  }
};

namespace {  // or the templates in it would not stay in this object

struct SumColumnsShort {
  const uint8_t* const* rows;
  size_t first;
  uint8_t *out, *next;
  size_t count;

  // A single row is rare where rows are summed along in another way.
  template <int kPairs, int kEdge>
  void Run(const BlurWeights& weights) const {
    if (next != nullptr) {
      Sum<kPairs, kEdge, true>(weights);
    } else if constexpr (kPairs > kSideBySideReach + 1) {
      SumBytesWide<false>(rows, first, weights, out, nullptr, count);
    } else {
      Sum<kPairs, kEdge, false>(weights);
    }
  }

  template <int kPairs, int kEdge, bool kTwo>
  void Sum(const BlurWeights& weights) const {
    const ShortBlur<kPairs, kEdge> blur(weights);
    const uint8_t* row[2 * kPairs];
    for (int k = 0; k < 2 * kPairs; ++k) row[k] = rows[k] + first;
    uint8_t *const to = out, *const toNext = next;
    const size_t last = count - kWideBytes;
    for (size_t i = 0; i < count; i += kWideBytes) {
      const size_t at = i < last ? i : last;
      ByteSums one = NoSums(), two = NoSums();
#pragma GCC unroll 16
      for (int m = 0; m < kPairs; ++m) {
        const BytePairs pairs = PairsOf(row[2 * m] + at, row[2 * m + 1] + at);
        blur.Add(&one, pairs, 0, m);
        if (kTwo) blur.Add(&two, pairs, 1, m);
      }
      StoreWide(to + at, Rounded(&one, blur.by));
      if (kTwo) StoreWide(toNext + at, Rounded(&two, blur.by));
    }
  }
};

}  // namespace

// False for kernels that are longer or of another build than most.
template <class Short>
static bool RunShort(const Short& work, const BlurWeights& weights) {
  if (weights.edge < 0 || weights.edge > 2) return false;
  switch (10 * (weights.reach + 1) + weights.edge) {
    case 20:
      work.template Run<2, 0>(weights);
      return true;
    case 30:
      work.template Run<3, 0>(weights);
      return true;
    case 41:
      work.template Run<4, 1>(weights);
      return true;
    case 51:
      work.template Run<5, 1>(weights);
      return true;
    case 61:
      work.template Run<6, 1>(weights);
      return true;
    case 71:
      work.template Run<7, 1>(weights);
      return true;
    case 72:
      work.template Run<7, 2>(weights);
      return true;
    case 82:
      work.template Run<8, 2>(weights);
      return true;
    case 92:
      work.template Run<9, 2>(weights);
      return true;
    default:
      return false;
  }
}

// Along a row every sample meets the one a step behind it at every second tap: they are put side by side once for all.
enum : size_t { kAlongTile = 768, kMostPairs = kAlongTile + 2 * kMaxBlurReach * kMaxBlurStep };

// pairs[2i] = in[i], pairs[2i + 1] = in[i + step], of which the last `step` do not exist.
static inline void PutSideBySide(const uint8_t* in, size_t step, size_t count, uint8_t* pairs) {
  const size_t whole = count - step;
  for (size_t i = 0; i < whole; i += kWideBytes) {
    const size_t at = i + kWideBytes < whole ? i : whole - kWideBytes;
    const BytePairs both = PairsOf(in + at, in + at + step);
#if defined(__AVX512VBMI__)
    const Wide lower = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11),
               upper = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    StoreWide(pairs + 2 * at, _mm512_permutex2var_epi64(both.low, lower, both.high));
    StoreWide(pairs + 2 * at + kWideBytes, _mm512_permutex2var_epi64(both.low, upper, both.high));
#elif defined(__AVX2__)
    StoreWide(pairs + 2 * at, _mm256_permute2x128_si256(both.low, both.high, 0x20));
    StoreWide(pairs + 2 * at + kWideBytes, _mm256_permute2x128_si256(both.low, both.high, 0x31));
#else
    StoreWide(pairs + 2 * at, both.low);
    StoreWide(pairs + 2 * at + kWideBytes, both.high);
#endif
  }
  for (size_t i = whole; i < count; ++i) {
    pairs[2 * i] = in[i];
    pairs[2 * i + 1] = 0;
  }
}

// Packed bytes in the order of their sums.
static inline Wide InOrder(Wide packed) {
#if defined(__AVX512VBMI__)
  return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), packed);
#elif defined(__AVX2__)
  return _mm256_permute4x64_epi64(packed, 0xD8);
#else
  return packed;
#endif
}

static inline BytePairs LoadPairs(const uint8_t* pairs) {
  return {LoadWide(pairs), LoadWide(pairs + kWideBytes)};
}

// Sums of the samples at i and at j, a vector each.
static inline void SumAlongTwice(const uint8_t* pairs, size_t step, const BlurWeights& weights, const Folding& by,
                                 size_t i, size_t j, uint8_t* out) {
  ByteSums one = NoSums(), two = NoSums();
  const uint8_t* atI = pairs + 2 * i;
  const uint8_t* atJ = pairs + 2 * j;
  int32_t m = 0;
  for (int32_t r = 0; r < weights.runs; ++r) {
    const BlurWeights::Run run = weights.run[r];
    if (run.fold) {
      Fold(&one, by);
      Fold(&two, by);
    }
    if (run.coarse) {
      for (; m < run.end; ++m, atI += 4 * step, atJ += 4 * step) {
        AddBoth(&one, LoadPairs(atI), weights.pair[0][m]);
        AddBoth(&two, LoadPairs(atJ), weights.pair[0][m]);
      }
    } else {
      for (; m < run.end; ++m, atI += 4 * step, atJ += 4 * step) {
        AddFine(&one, LoadPairs(atI), weights.pair[0][m]);
        AddFine(&two, LoadPairs(atJ), weights.pair[0][m]);
      }
    }
  }
  StoreWide(out + i, InOrder(Rounded(&one, by)));
  StoreWide(out + j, InOrder(Rounded(&two, by)));
}

namespace {

struct SumAlongShort {
  const uint8_t* pairs;
  size_t step;
  uint8_t* out;
  size_t count;

  template <int kPairs, int kEdge>
  void Run(const BlurWeights& weights) const {
    const ShortBlur<kPairs, kEdge> blur(weights);
    const uint8_t* const from = pairs;
    uint8_t* const to = out;
    const size_t next = 4 * step, last = count - kWideBytes;
    for (size_t i = 0; i < count; i += kWideBytes) {
      const size_t at = i < last ? i : last;
      ByteSums sums = NoSums();
#pragma GCC unroll 16
      for (int m = 0; m < kPairs; ++m) blur.Add(&sums, LoadPairs(from + 2 * at + (size_t)m * next), 0, m);
      StoreWide(to + at, InOrder(Rounded(&sums, blur.by)));
    }
  }
};

}  // namespace

static void SumBytesAlongWide(const uint8_t* in, size_t step, const BlurWeights& weights, uint8_t* out, size_t count) {
  const Folding by = FoldingOf(weights);
  uint8_t pairs[2 * kMostPairs];
  for (size_t done = 0; done < count; done += kAlongTile) {
    // A last tile that is short starts earlier.
    const size_t start = count - done < kWideBytes ? count - kWideBytes : done;
    const size_t n = count - start < kAlongTile ? count - start : (size_t)kAlongTile, last = n - kWideBytes;
    PutSideBySide(in + start, step, n + 2 * (size_t)weights.reach * step, pairs);
    if (RunShort(SumAlongShort{pairs, step, out + start, n}, weights)) continue;
    for (size_t i = 0; i < n; i += 2 * kWideBytes) {
      const size_t at = i < last ? i : last, next = i + kWideBytes < last ? i + kWideBytes : last;
      SumAlongTwice(pairs, step, weights, by, at, next, out + start);
    }
  }
}
#endif
