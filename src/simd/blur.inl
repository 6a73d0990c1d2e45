// Weighted sums over rows. The taps of a Gaussian mirror each other, so two rows share one multiplication.

enum { kSumStrip = 256 };  // sums held at a time: they and their rows stay in the first-level cache

static void AddBytes(const uint8_t* a, const uint8_t* b, int32_t weight, int32_t* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) sums[i] += (a[i] + b[i]) * weight;
}

static void AddWords(const uint16_t* a, const uint16_t* b, int32_t weight, int32_t* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) sums[i] += (a[i] + b[i]) * weight;
}

static void StoreByteSums(const int32_t* sums, int32_t shift, uint8_t* out, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const int32_t v = sums[i] >> shift;
    out[i] = (uint8_t)(v > 255 ? 255 : v);
  }
}

static void StoreWordSums(const int32_t* sums, int32_t shift, uint16_t* out, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const int32_t v = sums[i] >> shift;
    out[i] = (uint16_t)(v > 65535 ? 65535 : v);
  }
}

static void WeighBytes(const uint8_t* in, int32_t weight, int32_t* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) sums[i] = in[i] * weight;
}

static void WeighWords(const uint16_t* in, int32_t weight, int32_t* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) sums[i] = in[i] * weight;
}

static void SumBytesFlat(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out,
                         size_t count) {
  int32_t sums[kSumStrip];
  for (size_t done = 0; done < count; done += kSumStrip) {
    const size_t n = count - done < kSumStrip ? count - done : (size_t)kSumStrip, at = first + done;
    WeighBytes(rows[weights.reach] + at, weights.taps[weights.reach], sums, n);
    for (int32_t k = 0; k < weights.reach; ++k) {
      AddBytes(rows[k] + at, rows[2 * weights.reach - k] + at, weights.taps[k], sums, n);
    }
    StoreByteSums(sums, weights.shift, out + done, n);
  }
}

static void SumWordsFlat(const uint16_t* const* rows, size_t first, const BlurWeights& weights, uint16_t* out,
                         size_t count) {
  // The weights sum to little more than 2048 at most, so that every sum stays below 2^28.
  int32_t sums[kSumStrip];
  for (size_t done = 0; done < count; done += kSumStrip) {
    const size_t n = count - done < kSumStrip ? count - done : (size_t)kSumStrip, at = first + done;
    WeighWords(rows[weights.reach] + at, weights.taps[weights.reach], sums, n);
    for (int32_t k = 0; k < weights.reach; ++k) {
      AddWords(rows[k] + at, rows[2 * weights.reach - k] + at, weights.taps[k], sums, n);
    }
    StoreWordSums(sums, weights.shift, out + done, n);
  }
}

#if defined(__AVX2__)
// The sums of a vector of bytes in 16 bits, those of every 16 bytes apart: 0 to 7 in the low, 8 to 15 in the high ones.
// The whole sum is coarse * 2^fineBits + fine, so that folding and the last division lose nothing: the fine sum's
// quotient by 2^fineBits is added to the coarse one, the rest stays.
struct ByteSums {
  Wide coarseLow, coarseHigh, fineLow, fineHigh;
};

struct Folding {
  __m128i fineBits;
  Wide rest;
};

static inline void Fold(ByteSums* sums, const Folding& by) {
  sums->coarseLow = ZEL_WIDE(add_epi16)(sums->coarseLow, ZEL_WIDE(srl_epi16)(sums->fineLow, by.fineBits));
  sums->coarseHigh = ZEL_WIDE(add_epi16)(sums->coarseHigh, ZEL_WIDE(srl_epi16)(sums->fineHigh, by.fineBits));
  sums->fineLow = ZEL_WIDE_BITS(and)(sums->fineLow, by.rest);
  sums->fineHigh = ZEL_WIDE_BITS(and)(sums->fineHigh, by.rest);
}

static inline ByteSums WeighCentre(const uint8_t* centre, Wide coarse, Wide fine) {
  const Wide zero = ZEL_WIDE_BITS(setzero)(), bytes = LoadWide(centre);
  const Wide low = ZEL_WIDE(unpacklo_epi8)(bytes, zero), high = ZEL_WIDE(unpackhi_epi8)(bytes, zero);
  return {ZEL_WIDE(mullo_epi16)(low, coarse), ZEL_WIDE(mullo_epi16)(high, coarse), ZEL_WIDE(mullo_epi16)(low, fine),
          ZEL_WIDE(mullo_epi16)(high, fine)};
}

static inline void AddFine(ByteSums* sums, const uint8_t* a, const uint8_t* b, Wide fine) {
  const Wide va = LoadWide(a), vb = LoadWide(b);
  sums->fineLow = ZEL_WIDE(add_epi16)(sums->fineLow, ZEL_WIDE(maddubs_epi16)(ZEL_WIDE(unpacklo_epi8)(va, vb), fine));
  sums->fineHigh = ZEL_WIDE(add_epi16)(sums->fineHigh, ZEL_WIDE(maddubs_epi16)(ZEL_WIDE(unpackhi_epi8)(va, vb), fine));
}

static inline void AddBoth(ByteSums* sums, const uint8_t* a, const uint8_t* b, Wide coarse, Wide fine) {
  const Wide va = LoadWide(a), vb = LoadWide(b);
  const Wide low = ZEL_WIDE(unpacklo_epi8)(va, vb), high = ZEL_WIDE(unpackhi_epi8)(va, vb);
  sums->fineLow = ZEL_WIDE(add_epi16)(sums->fineLow, ZEL_WIDE(maddubs_epi16)(low, fine));
  sums->fineHigh = ZEL_WIDE(add_epi16)(sums->fineHigh, ZEL_WIDE(maddubs_epi16)(high, fine));
  sums->coarseLow = ZEL_WIDE(add_epi16)(sums->coarseLow, ZEL_WIDE(maddubs_epi16)(low, coarse));
  sums->coarseHigh = ZEL_WIDE(add_epi16)(sums->coarseHigh, ZEL_WIDE(maddubs_epi16)(high, coarse));
}

static inline void StoreSums(ByteSums* sums, const Folding& by, uint8_t* out) {
  Fold(sums, by);
  const Wide low = ZEL_WIDE(srli_epi16)(sums->coarseLow, 7), high = ZEL_WIDE(srli_epi16)(sums->coarseHigh, 7);
  StoreWide(out, ZEL_WIDE(packus_epi16)(low, high));
}

// Sums of bytes at i and at j, a vector each.
static inline void SumBytesTwice(const uint8_t* const* rows, const BlurWeights& weights, size_t first, size_t i,
                                 size_t j, uint8_t* out) {
  const int32_t reach = weights.reach, fineBits = weights.shift - 7;
  const Folding by = {_mm_cvtsi32_si128(fineBits), ZEL_WIDE(set1_epi16)((short)((1 << fineBits) - 1))};
  const uint8_t* const centre = rows[reach] + first;
  const Wide c = ZEL_WIDE(set1_epi16)((short)(weights.coarse[reach] & 255));
  const Wide f = ZEL_WIDE(set1_epi16)((short)(weights.fine[reach] & 255));
  ByteSums one = WeighCentre(centre + i, c, f), two = WeighCentre(centre + j, c, f);
  int32_t k = 0;
  for (int32_t r = 0; r < weights.runs; ++r) {
    const BlurWeights::Run run = weights.run[r];
    if (run.fold) {
      Fold(&one, by);
      Fold(&two, by);
    }
    if (run.coarse) {
      for (; k < run.end; ++k) {
        const uint8_t* const a = rows[k] + first;
        const uint8_t* const b = rows[2 * reach - k] + first;
        const Wide fine = ZEL_WIDE(set1_epi32)((int32_t)weights.fine[k]);
        const Wide coarse = ZEL_WIDE(set1_epi32)((int32_t)weights.coarse[k]);
        AddBoth(&one, a + i, b + i, coarse, fine);
        AddBoth(&two, a + j, b + j, coarse, fine);
      }
    } else {
      for (; k < run.end; ++k) {
        const uint8_t* const a = rows[k] + first;
        const uint8_t* const b = rows[2 * reach - k] + first;
        const Wide fine = ZEL_WIDE(set1_epi32)((int32_t)weights.fine[k]);
        AddFine(&one, a + i, b + i, fine);
        AddFine(&two, a + j, b + j, fine);
      }
    }
  }
  StoreSums(&one, by, out + i);
  StoreSums(&two, by, out + j);
}

// The same for one short reach, where loops and weights cost as much as the sums: unrolled, all that a vector needs at
// hand. Only for weights that need no folding before the end.
template <int kReach>
static inline void SumBytesUnrolled(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out,
                                    size_t count) {
  const int32_t fineBits = weights.shift - 7;
  const Folding by = {_mm_cvtsi32_si128(fineBits), ZEL_WIDE(set1_epi16)((short)((1 << fineBits) - 1))};
  const Wide c = ZEL_WIDE(set1_epi16)((short)(weights.coarse[kReach] & 255));
  const Wide f = ZEL_WIDE(set1_epi16)((short)(weights.fine[kReach] & 255));
  const uint8_t* row[2 * kReach + 1];
  Wide coarse[kReach], fine[kReach];
  bool split[kReach];
  for (int32_t k = 0; k <= 2 * kReach; ++k) row[k] = rows[k] + first;
  for (int32_t k = 0; k < kReach; ++k) {
    coarse[k] = ZEL_WIDE(set1_epi32)((int32_t)weights.coarse[k]);
    fine[k] = ZEL_WIDE(set1_epi32)((int32_t)weights.fine[k]);
    split[k] = weights.coarse[k] != 0;
  }
  for (size_t i = 0; i < count; i += kWideBytes) {
    const size_t at = i + kWideBytes <= count ? i : count - kWideBytes;
    ByteSums sums = WeighCentre(row[kReach] + at, c, f);
#pragma GCC unroll 8
    for (int32_t k = 0; k < kReach; ++k) {
      if (split[k]) {
        AddBoth(&sums, row[k] + at, row[2 * kReach - k] + at, coarse[k], fine[k]);
      } else {
        AddFine(&sums, row[k] + at, row[2 * kReach - k] + at, fine[k]);
      }
    }
    StoreSums(&sums, by, out + at);
  }
}

static bool NeedsFolding(const BlurWeights& weights) {
  for (int32_t r = 0; r < weights.runs; ++r) {
    if (weights.run[r].fold) return true;
  }
  return false;
}

// The sums of a vector of words in 32 bits, by signed 16-bit products: 32768 is taken from every sample, and what that
// takes from the sum, 32768 times the sum of the weights, is where the sum starts.
struct WordSums {
  Wide low, high;
};

// sums + a[2i] * b[2i] + a[2i + 1] * b[2i + 1]
static inline Wide AddProducts(Wide sums, Wide a, Wide b) {
#if defined(__AVX512VNNI__)
  return _mm512_dpwssd_epi32(sums, a, b);
#else
  return _mm256_add_epi32(sums, _mm256_madd_epi16(a, b));
#endif
}

static inline void AddWordPair(WordSums* sums, const uint16_t* a, const uint16_t* b, Wide weight) {
  const Wide half = ZEL_WIDE(set1_epi16)(-32768);
  const Wide va = ZEL_WIDE_BITS(xor)(LoadWide(a), half), vb = ZEL_WIDE_BITS(xor)(LoadWide(b), half);
  sums->low = AddProducts(sums->low, ZEL_WIDE(unpacklo_epi16)(va, vb), weight);
  sums->high = AddProducts(sums->high, ZEL_WIDE(unpackhi_epi16)(va, vb), weight);
}

static inline void StoreSums(const WordSums& sums, __m128i shift, uint16_t* out) {
  const Wide low = ZEL_WIDE(srl_epi32)(sums.low, shift), high = ZEL_WIDE(srl_epi32)(sums.high, shift);
  StoreWide(out, ZEL_WIDE(packus_epi32)(low, high));
}

// Sums of words at i and at j, a vector each.
static inline void SumWordsTwice(const uint16_t* const* rows, const BlurWeights& weights, Wide start, size_t first,
                                 size_t i, size_t j, uint16_t* out) {
  const int32_t reach = weights.reach;
  const __m128i shift = _mm_cvtsi32_si128(weights.shift);
  WordSums one = {start, start}, two = {start, start};
  // The centre counts twice with the weights w and 0.
  const uint16_t* const centre = rows[reach] + first;
  const Wide w = ZEL_WIDE(set1_epi32)(weights.taps[reach]);
  AddWordPair(&one, centre + i, centre + i, w);
  AddWordPair(&two, centre + j, centre + j, w);
  for (int32_t k = 0; k < reach; ++k) {
    const uint16_t* const a = rows[k] + first;
    const uint16_t* const b = rows[2 * reach - k] + first;
    const Wide weight = ZEL_WIDE(set1_epi16)((short)weights.taps[k]);
    AddWordPair(&one, a + i, b + i, weight);
    AddWordPair(&two, a + j, b + j, weight);
  }
  StoreSums(one, shift, out + i);
  StoreSums(two, shift, out + j);
}

template <int kReach>
static inline void SumWordsUnrolled(const uint16_t* const* rows, size_t first, const BlurWeights& weights, Wide start,
                                    uint16_t* out, size_t count) {
  const __m128i shift = _mm_cvtsi32_si128(weights.shift);
  const Wide centre = ZEL_WIDE(set1_epi32)(weights.taps[kReach]);
  const uint16_t* row[2 * kReach + 1];
  Wide weight[kReach];
  for (int32_t k = 0; k <= 2 * kReach; ++k) row[k] = rows[k] + first;
  for (int32_t k = 0; k < kReach; ++k) weight[k] = ZEL_WIDE(set1_epi16)((short)weights.taps[k]);
  for (size_t i = 0; i < count; i += kWideWords) {
    const size_t at = i + kWideWords <= count ? i : count - kWideWords;
    WordSums sums = {start, start};
    AddWordPair(&sums, row[kReach] + at, row[kReach] + at, centre);
#pragma GCC unroll 8
    for (int32_t k = 0; k < kReach; ++k) AddWordPair(&sums, row[k] + at, row[2 * kReach - k] + at, weight[k]);
    StoreSums(sums, shift, out + at);
  }
}
#endif

// A last vector that is not full starts earlier and sums some samples again, which no row notices.
static void SumBytes(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out, size_t count) {
#if defined(__AVX2__)
  if (count >= kWideBytes) {
    if (weights.reach == 3 && !NeedsFolding(weights)) return SumBytesUnrolled<3>(rows, first, weights, out, count);
    const size_t last = count - kWideBytes;
    for (size_t i = 0; i < count; i += 2 * kWideBytes) {
      const size_t at = i < last ? i : last, next = i + kWideBytes < last ? i + kWideBytes : last;
      SumBytesTwice(rows, weights, first, at, next, out);
    }
    return;
  }
#endif
  SumBytesFlat(rows, first, weights, out, count);
}

static void SumWords(const uint16_t* const* rows, size_t first, const BlurWeights& weights, uint16_t* out,
                     size_t count) {
#if defined(__AVX2__)
  if (count >= kWideWords) {
    int32_t total = weights.taps[weights.reach];
    for (int32_t k = 0; k < weights.reach; ++k) total += 2 * weights.taps[k];
    const Wide start = ZEL_WIDE(set1_epi32)(total * 32768);
    if (weights.reach == 3) return SumWordsUnrolled<3>(rows, first, weights, start, out, count);
    const size_t last = count - kWideWords;
    for (size_t i = 0; i < count; i += 2 * kWideWords) {
      const size_t at = i < last ? i : last, next = i + kWideWords < last ? i + kWideWords : last;
      SumWordsTwice(rows, weights, start, first, at, next, out);
    }
    return;
  }
#endif
  SumWordsFlat(rows, first, weights, out, count);
}

static const BlurKernels kBlurKernels = {SumBytes, SumWords};
