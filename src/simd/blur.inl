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

#if defined(ZEL_TWINS)
// The sums of a vector of bytes in 16 bits, those of every 16 bytes apart: 0 to 7 in the low, 8 to 15 in the high ones.
// The whole sum is coarse * 2^fineBits + fine, so that folding and the last division lose nothing: the fine sum's
// quotient by 2^fineBits is added to the coarse one, the rest stays.
struct ByteSums {
  Wide coarseLow, coarseHigh, fineLow, fineHigh;
};

struct Folding {
  Bits fineBits;
  Wide rest;
};

static inline void Fold(ByteSums* sums, const Folding& by) {
  sums->coarseLow = ZEL_WIDE(add_epi16)(sums->coarseLow, WordsRight(sums->fineLow, by.fineBits));
  sums->coarseHigh = ZEL_WIDE(add_epi16)(sums->coarseHigh, WordsRight(sums->fineHigh, by.fineBits));
  sums->fineLow = ZEL_WIDE_BITS(and)(sums->fineLow, by.rest);
  sums->fineHigh = ZEL_WIDE_BITS(and)(sums->fineHigh, by.rest);
}

static inline ByteSums WeighCentre(const uint8_t* centre, Wide coarse, Wide fine) {
  const Wide zero = ZEL_WIDE_BITS(setzero)(), bytes = LoadWide(centre);
  const Wide low = ZEL_WIDE(unpacklo_epi8)(bytes, zero), high = ZEL_WIDE(unpackhi_epi8)(bytes, zero);
  return {ZEL_WIDE(mullo_epi16)(low, coarse), ZEL_WIDE(mullo_epi16)(high, coarse), ZEL_WIDE(mullo_epi16)(low, fine),
          ZEL_WIDE(mullo_epi16)(high, fine)};
}

// A vector of samples from each of two rows, in the form that products want, and twice their sum with a weight.
#if defined(__SSE4_1__)
// Pairs side by side: products of signed and unsigned bytes add them up.
struct BytePairs {
  Wide low, high;
};

static inline BytePairs LoadPairs(const uint8_t* a, const uint8_t* b) {
  const Wide va = LoadWide(a), vb = LoadWide(b);
  return {ZEL_WIDE(unpacklo_epi8)(va, vb), ZEL_WIDE(unpackhi_epi8)(va, vb)};
}

static inline Wide WeightOf(uint32_t fourfold) {
  return ZEL_WIDE(set1_epi32)((int32_t)fourfold);
}

static inline void AddPairs(Wide* low, Wide* high, const BytePairs& pairs, Wide weight) {
  *low = ZEL_WIDE(add_epi16)(*low, ZEL_WIDE(maddubs_epi16)(pairs.low, weight));
  *high = ZEL_WIDE(add_epi16)(*high, ZEL_WIDE(maddubs_epi16)(pairs.high, weight));
}
#else
// Their sums in words.
struct BytePairs {
  Wide low, high;
};

static inline BytePairs LoadPairs(const uint8_t* a, const uint8_t* b) {
  const Wide va = LoadWide(a), vb = LoadWide(b);
  return {LowSums(va, vb), HighSums(va, vb)};
}

static inline Wide WeightOf(uint32_t fourfold) {
  return v_set1_epi16((short)(fourfold & 255));
}

static inline void AddPairs(Wide* low, Wide* high, const BytePairs& pairs, Wide weight) {
  *low = v_add_epi16(*low, v_mullo_epi16(pairs.low, weight));
  *high = v_add_epi16(*high, v_mullo_epi16(pairs.high, weight));
}
#endif

// The compiler would start all products of unrolled taps before it adds any, and run out of registers.
static inline void AddNow(ByteSums* sums) {
#if defined(__SSE4_1__)
  __asm__("" : "+x"(sums->fineLow), "+x"(sums->fineHigh), "+x"(sums->coarseLow), "+x"(sums->coarseHigh));
#else
  (void)sums;
#endif
}

static inline void AddFine(ByteSums* sums, const uint8_t* a, const uint8_t* b, Wide fine) {
  AddPairs(&sums->fineLow, &sums->fineHigh, LoadPairs(a, b), fine);
}

static inline void AddBoth(ByteSums* sums, const uint8_t* a, const uint8_t* b, Wide coarse, Wide fine) {
  const BytePairs pairs = LoadPairs(a, b);
  AddPairs(&sums->fineLow, &sums->fineHigh, pairs, fine);
  AddPairs(&sums->coarseLow, &sums->coarseHigh, pairs, coarse);
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
  const Folding by = {BitsOf(fineBits), ZEL_WIDE(set1_epi16)((short)((1 << fineBits) - 1))};
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
        const Wide fine = WeightOf(weights.fine[k]);
        const Wide coarse = WeightOf(weights.coarse[k]);
        AddBoth(&one, a + i, b + i, coarse, fine);
        AddBoth(&two, a + j, b + j, coarse, fine);
      }
    } else {
      for (; k < run.end; ++k) {
        const uint8_t* const a = rows[k] + first;
        const uint8_t* const b = rows[2 * reach - k] + first;
        const Wide fine = WeightOf(weights.fine[k]);
        AddFine(&one, a + i, b + i, fine);
        AddFine(&two, a + j, b + j, fine);
      }
    }
  }
  StoreSums(&one, by, out + i);
  StoreSums(&two, by, out + j);
}

// The same for one short reach, where loops and weights cost as much as the sums: unrolled, all that a vector needs at
// hand. Only for weights that need no folding before the end and have coarse parts in the last kSplit taps alone.
template <int kReach, int kSplit>
struct ShortByteBlur {
  const uint8_t* row[2 * kReach + 1];
  Wide coarse[kReach], fine[kReach], centreCoarse, centreFine;
  Folding by;

  inline void Sum(size_t at, uint8_t* out) const {
    ByteSums sums = WeighCentre(row[kReach] + at, centreCoarse, centreFine);
#pragma GCC unroll 8
    for (int32_t k = 0; k < kReach; ++k) {
      if (k >= kReach - kSplit) {
        AddBoth(&sums, row[k] + at, row[2 * kReach - k] + at, coarse[k], fine[k]);
      } else {
        AddFine(&sums, row[k] + at, row[2 * kReach - k] + at, fine[k]);
      }
      AddNow(&sums);
    }
    StoreSums(&sums, by, out + at);
  }
};

template <int kReach, int kSplit>
static void SumBytesUnrolled(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out,
                             size_t count) {
  ShortByteBlur<kReach, kSplit> blur;
  const int32_t fineBits = weights.shift - 7;
  blur.by = {BitsOf(fineBits), ZEL_WIDE(set1_epi16)((short)((1 << fineBits) - 1))};
  blur.centreCoarse = ZEL_WIDE(set1_epi16)((short)(weights.coarse[kReach] & 255));
  blur.centreFine = ZEL_WIDE(set1_epi16)((short)(weights.fine[kReach] & 255));
  for (int32_t k = 0; k <= 2 * kReach; ++k) blur.row[k] = rows[k] + first;
  for (int32_t k = 0; k < kReach; ++k) {
    blur.coarse[k] = WeightOf(weights.coarse[k]);
    blur.fine[k] = WeightOf(weights.fine[k]);
  }
  size_t i = 0;
  for (; i + kWideBytes <= count; i += kWideBytes) blur.Sum(i, out);
  if (i < count) blur.Sum(count - kWideBytes, out);
}

// How many taps next to the centre have coarse parts, or -1 where others have them or sums need folding on the way.
static int32_t PlainSplit(const BlurWeights& weights) {
  int32_t split = 0;
  for (int32_t r = 0; r < weights.runs; ++r) {
    const BlurWeights::Run& run = weights.run[r];
    if (run.fold || (split != 0 && !run.coarse)) return -1;
    if (run.coarse) split = weights.reach - (r > 0 ? weights.run[r - 1].end : 0);
  }
  return split;
}

struct WordSums {
  Wide low, high;
};

#if defined(ZEL_NEON)
// The sums of a vector of words in 32 bits.
enum : int32_t { kWordOffset = 0 };

static inline void AddWordPair(WordSums* sums, const uint16_t* a, const uint16_t* b, Wide weight) {
  const uint16x8_t va = vld1q_u16(a), vb = vld1q_u16(b), w = (uint16x8_t)weight;
  const uint32x4_t low = vmlal_u16((uint32x4_t)sums->low, vget_low_u16(va), vget_low_u16(w));
  const uint32x4_t high = vmlal_high_u16((uint32x4_t)sums->high, va, w);
  sums->low = (Wide)vmlal_u16(low, vget_low_u16(vb), vget_low_u16(w));
  sums->high = (Wide)vmlal_high_u16(high, vb, w);
}

static inline void AddCentre(WordSums* sums, const uint16_t* in, Wide weight) {
  const uint16x8_t v = vld1q_u16(in), w = (uint16x8_t)weight;
  sums->low = (Wide)vmlal_u16((uint32x4_t)sums->low, vget_low_u16(v), vget_low_u16(w));
  sums->high = (Wide)vmlal_high_u16((uint32x4_t)sums->high, v, w);
}
#else
// The sums of a vector of words in 32 bits, by signed 16-bit products: 32768 is taken from every sample, and what that
// takes from the sum, 32768 times the sum of the weights, is where the sum starts.
enum : int32_t { kWordOffset = 32768 };

// sums + a[2i] * b[2i] + a[2i + 1] * b[2i + 1]
static inline Wide AddProducts(Wide sums, Wide a, Wide b) {
#if defined(__AVX512VNNI__)
  return _mm512_dpwssd_epi32(sums, a, b);
#else
  return ZEL_WIDE(add_epi32)(sums, ZEL_WIDE(madd_epi16)(a, b));
#endif
}

static inline void AddWordPair(WordSums* sums, const uint16_t* a, const uint16_t* b, Wide weight) {
  const Wide half = ZEL_WIDE(set1_epi16)(-32768);
  const Wide va = ZEL_WIDE_BITS(xor)(LoadWide(a), half), vb = ZEL_WIDE_BITS(xor)(LoadWide(b), half);
  sums->low = AddProducts(sums->low, ZEL_WIDE(unpacklo_epi16)(va, vb), weight);
  sums->high = AddProducts(sums->high, ZEL_WIDE(unpackhi_epi16)(va, vb), weight);
}

// The other word of each product is 0.
static inline void AddCentre(WordSums* sums, const uint16_t* in, Wide weight) {
  const Wide zero = ZEL_WIDE_BITS(setzero)();
  const Wide v = ZEL_WIDE_BITS(xor)(LoadWide(in), ZEL_WIDE(set1_epi16)(-32768));
  sums->low = AddProducts(sums->low, ZEL_WIDE(unpacklo_epi16)(v, zero), weight);
  sums->high = AddProducts(sums->high, ZEL_WIDE(unpackhi_epi16)(v, zero), weight);
}
#endif

static inline void StoreSums(const WordSums& sums, Bits shift, uint16_t* out) {
  const Wide low = DoubleWordsRight(sums.low, shift), high = DoubleWordsRight(sums.high, shift);
  StoreWide(out, ZEL_WIDE(packus_epi32)(low, high));
}

// Sums of words at i and at j, a vector each.
static inline void SumWordsTwice(const uint16_t* const* rows, const BlurWeights& weights, Wide start, size_t first,
                                 size_t i, size_t j, uint16_t* out) {
  const int32_t reach = weights.reach;
  const Bits shift = BitsOf(weights.shift);
  WordSums one = {start, start}, two = {start, start};
  const uint16_t* const centre = rows[reach] + first;
  const Wide w = ZEL_WIDE(set1_epi16)((short)weights.taps[reach]);
  AddCentre(&one, centre + i, w);
  AddCentre(&two, centre + j, w);
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
struct ShortWordBlur {
  const uint16_t* row[2 * kReach + 1];
  Wide weight[kReach], centre, start;
  Bits shift;

  inline void Sum(size_t at, uint16_t* out) const {
    WordSums sums = {start, start};
    AddCentre(&sums, row[kReach] + at, centre);
#pragma GCC unroll 8
    for (int32_t k = 0; k < kReach; ++k) AddWordPair(&sums, row[k] + at, row[2 * kReach - k] + at, weight[k]);
    StoreSums(sums, shift, out + at);
  }
};

template <int kReach>
static void SumWordsUnrolled(const uint16_t* const* rows, size_t first, const BlurWeights& weights, Wide start,
                             uint16_t* out, size_t count) {
  ShortWordBlur<kReach> blur;
  blur.shift = BitsOf(weights.shift);
  blur.start = start;
  blur.centre = ZEL_WIDE(set1_epi16)((short)weights.taps[kReach]);
  for (int32_t k = 0; k <= 2 * kReach; ++k) blur.row[k] = rows[k] + first;
  for (int32_t k = 0; k < kReach; ++k) blur.weight[k] = ZEL_WIDE(set1_epi16)((short)weights.taps[k]);
  size_t i = 0;
  for (; i + kWideWords <= count; i += kWideWords) blur.Sum(i, out);
  if (i < count) blur.Sum(count - kWideWords, out);
}
#endif

// A last vector that is not full starts earlier and sums some samples again, which no row notices.
static void SumBytes(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out, size_t count) {
#if defined(ZEL_TWINS)
  if (count >= kWideBytes) {
    const int32_t split = weights.reach == 3 ? PlainSplit(weights) : -1;
    if (split == 1) return SumBytesUnrolled<3, 1>(rows, first, weights, out, count);
    if (split == 2) return SumBytesUnrolled<3, 2>(rows, first, weights, out, count);
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
#if defined(ZEL_TWINS)
  if (count >= kWideWords) {
    int32_t total = weights.taps[weights.reach];
    for (int32_t k = 0; k < weights.reach; ++k) total += 2 * weights.taps[k];
    const Wide start = ZEL_WIDE(set1_epi32)(total * kWordOffset);
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
