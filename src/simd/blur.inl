// Weighted sums over rows. The taps of a Gaussian mirror each other, so that plain loops add two rows before they
// multiply.

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

// A last vector that is not full starts earlier here too.
static void SumWordsOnce(const uint16_t* const* rows, size_t first, const BlurWeights& weights, uint16_t* out,
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

static void SumWords(const uint16_t* const* rows, size_t first, const BlurWeights& weights, uint16_t* out,
                     uint16_t* next, size_t count) {
  SumWordsOnce(rows, first, weights, out, count);
  if (next != nullptr) SumWordsOnce(rows + 1, first, weights, next, count);
}

static void SumWordsAlong(const uint16_t* in, size_t step, const BlurWeights& weights, uint16_t* out, size_t count) {
  const uint16_t* rows[2 * kMaxBlurReach + 1];
  for (int32_t k = 0; k <= 2 * weights.reach; ++k) rows[k] = in + (size_t)k * step;
  SumWordsOnce(rows, 0, weights, out, count);
}

static void SumBytes(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out, uint8_t* next,
                     size_t count) {
#if defined(__SSE4_1__) && defined(ZEL_TWINS)
  if (count >= kWideBytes) {
    if (RunShort(SumColumnsShort{rows, first, out, next, count}, weights)) return;
    if (next != nullptr) return SumBytesWide<true>(rows, first, weights, out, next, count);
    return SumBytesWide<false>(rows, first, weights, out, next, count);
  }
#elif defined(ZEL_NEON)
  if (count >= kWideBytes) {
    SumMirrored(rows, first, weights, out, count);
    if (next != nullptr) SumMirrored(rows + 1, first, weights, next, count);
    return;
  }
#elif defined(ZEL_TWINS)
  if (count >= kWideBytes) {
    if (next != nullptr) return SumColumns<true>(rows, first, weights, out, next, count);
    return SumColumns<false>(rows, first, weights, out, next, count);
  }
#endif
  SumBytesFlat(rows, first, weights, out, count);
  if (next != nullptr) SumBytesFlat(rows + 1, first, weights, next, count);
}

static void SumBytesAlong(const uint8_t* in, size_t step, const BlurWeights& weights, uint8_t* out, size_t count) {
#if defined(ZEL_TWINS) && !defined(ZEL_NEON)
  if (count >= kWideBytes && weights.reach > kSideBySideReach) {
    return SumBytesAlongWide(in, step, weights, out, count);
  }
#endif
  const uint8_t* rows[2 * kMaxBlurReach + 2];
  for (int32_t k = 0; k <= 2 * weights.reach; ++k) rows[k] = in + (size_t)k * step;
  rows[2 * weights.reach + 1] = rows[2 * weights.reach];
  SumBytes(rows, 0, weights, out, nullptr, count);
}

static const BlurKernels kBlurKernels = {SumBytes, SumWords, SumBytesAlong, SumWordsAlong};
