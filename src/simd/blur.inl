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

static void SumBytesFlat(const uint8_t* const* rows, const BlurWeights& weights, size_t from, uint8_t* out,
                         size_t count) {
  int32_t sums[kSumStrip];
  for (size_t first = from; first < count; first += kSumStrip) {
    const size_t n = count - first < kSumStrip ? count - first : (size_t)kSumStrip;
    WeighBytes(rows[weights.reach] + first, weights.taps[weights.reach], sums, n);
    for (int32_t k = 0; k < weights.reach; ++k) {
      AddBytes(rows[k] + first, rows[2 * weights.reach - k] + first, weights.taps[k], sums, n);
    }
    StoreByteSums(sums, weights.shift, out + first, n);
  }
}

static void SumWordsFlat(const uint16_t* const* rows, const BlurWeights& weights, size_t from, uint16_t* out,
                         size_t count) {
  // The weights sum to little more than 2048 at most, so that every sum stays below 2^28.
  int32_t sums[kSumStrip];
  for (size_t first = from; first < count; first += kSumStrip) {
    const size_t n = count - first < kSumStrip ? count - first : (size_t)kSumStrip;
    WeighWords(rows[weights.reach] + first, weights.taps[weights.reach], sums, n);
    for (int32_t k = 0; k < weights.reach; ++k) {
      AddWords(rows[k] + first, rows[2 * weights.reach - k] + first, weights.taps[k], sums, n);
    }
    StoreWordSums(sums, weights.shift, out + first, n);
  }
}

#if defined(__AVX2__)
// Thirty-two sums of bytes in 16 bits, in the order of interleaved bytes: 0 to 7 and 16 to 23, 8 to 15 and 24 to 31.
// The whole sum is coarse * 2^fineBits + fine, so that folding and the last division lose nothing: the fine sum's
// quotient by 2^fineBits is added to the coarse one, the rest stays.
struct ByteSums {
  __m256i coarseLow, coarseHigh, fineLow, fineHigh;
};

static inline void FoldFine(ByteSums* sums, __m128i fineBits, __m256i rest) {
  sums->coarseLow = _mm256_add_epi16(sums->coarseLow, _mm256_srl_epi16(sums->fineLow, fineBits));
  sums->coarseHigh = _mm256_add_epi16(sums->coarseHigh, _mm256_srl_epi16(sums->fineHigh, fineBits));
  sums->fineLow = _mm256_and_si256(sums->fineLow, rest);
  sums->fineHigh = _mm256_and_si256(sums->fineHigh, rest);
}

static inline __m256i SumThirtyTwoBytes(const uint8_t* const* rows, const BlurWeights& weights, size_t i) {
  const __m128i fineBits = _mm_cvtsi32_si128(weights.shift - 7);
  const __m256i rest = _mm256_set1_epi16((short)((1 << (weights.shift - 7)) - 1));
  const int32_t reach = weights.reach;
  const __m256i zero = _mm256_setzero_si256();
  const __m256i centre = LoadVector(rows[reach] + i);
  const __m256i centreLow = _mm256_unpacklo_epi8(centre, zero), centreHigh = _mm256_unpackhi_epi8(centre, zero);
  const __m256i c = _mm256_set1_epi16((short)(weights.coarse[reach] & 255));
  const __m256i f = _mm256_set1_epi16((short)(weights.fine[reach] & 255));
  ByteSums sums = {_mm256_mullo_epi16(centreLow, c), _mm256_mullo_epi16(centreHigh, c),
                   _mm256_mullo_epi16(centreLow, f), _mm256_mullo_epi16(centreHigh, f)};
  int32_t k = 0;
  for (; k < weights.firstCoarse; ++k) {
    if (weights.fold[k]) FoldFine(&sums, fineBits, rest);
    const __m256i a = LoadVector(rows[k] + i), b = LoadVector(rows[2 * reach - k] + i);
    const __m256i fine = _mm256_set1_epi32((int32_t)weights.fine[k]);
    sums.fineLow = _mm256_add_epi16(sums.fineLow, _mm256_maddubs_epi16(_mm256_unpacklo_epi8(a, b), fine));
    sums.fineHigh = _mm256_add_epi16(sums.fineHigh, _mm256_maddubs_epi16(_mm256_unpackhi_epi8(a, b), fine));
  }
  for (; k < reach; ++k) {
    if (weights.fold[k]) FoldFine(&sums, fineBits, rest);
    const __m256i a = LoadVector(rows[k] + i), b = LoadVector(rows[2 * reach - k] + i);
    const __m256i low = _mm256_unpacklo_epi8(a, b), high = _mm256_unpackhi_epi8(a, b);
    const __m256i fine = _mm256_set1_epi32((int32_t)weights.fine[k]);
    const __m256i coarse = _mm256_set1_epi32((int32_t)weights.coarse[k]);
    sums.fineLow = _mm256_add_epi16(sums.fineLow, _mm256_maddubs_epi16(low, fine));
    sums.fineHigh = _mm256_add_epi16(sums.fineHigh, _mm256_maddubs_epi16(high, fine));
    sums.coarseLow = _mm256_add_epi16(sums.coarseLow, _mm256_maddubs_epi16(low, coarse));
    sums.coarseHigh = _mm256_add_epi16(sums.coarseHigh, _mm256_maddubs_epi16(high, coarse));
  }
  FoldFine(&sums, fineBits, rest);
  return _mm256_packus_epi16(_mm256_srli_epi16(sums.coarseLow, 7), _mm256_srli_epi16(sums.coarseHigh, 7));
}

// Sixteen sums of words, as signed 16-bit products: 32768 is taken from every sample, and what that takes from the sum,
// 32768 times the sum of the weights, is where the sum starts.
static inline __m256i SumSixteenWords(const uint16_t* const* rows, const BlurWeights& weights, __m256i start,
                                      __m128i shift, size_t i) {
  const int32_t reach = weights.reach;
  const __m256i half = _mm256_set1_epi16(-32768);
  const __m256i centre = _mm256_xor_si256(LoadVector(rows[reach] + i), half);
  const __m256i w = _mm256_set1_epi32(weights.taps[reach]);  // the upper half of each pair counts 0
  __m256i low = _mm256_add_epi32(start, _mm256_madd_epi16(_mm256_unpacklo_epi16(centre, half), w));
  __m256i high = _mm256_add_epi32(start, _mm256_madd_epi16(_mm256_unpackhi_epi16(centre, half), w));
  for (int32_t k = 0; k < reach; ++k) {
    const __m256i a = _mm256_xor_si256(LoadVector(rows[k] + i), half);
    const __m256i b = _mm256_xor_si256(LoadVector(rows[2 * reach - k] + i), half);
    const __m256i weight = _mm256_set1_epi16((short)weights.taps[k]);
    low = _mm256_add_epi32(low, _mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), weight));
    high = _mm256_add_epi32(high, _mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), weight));
  }
  return _mm256_packus_epi32(_mm256_srl_epi32(low, shift), _mm256_srl_epi32(high, shift));
}
#endif

static void SumBytes(const uint8_t* const* rows, const BlurWeights& weights, uint8_t* out, size_t count) {
  size_t i = 0;
#if defined(__AVX2__)
  for (; i + 32 <= count; i += 32) _mm256_storeu_si256((__m256i*)(out + i), SumThirtyTwoBytes(rows, weights, i));
#endif
  SumBytesFlat(rows, weights, i, out, count);
}

static void SumWords(const uint16_t* const* rows, const BlurWeights& weights, uint16_t* out, size_t count) {
  size_t i = 0;
#if defined(__AVX2__)
  int32_t total = weights.taps[weights.reach];
  for (int32_t k = 0; k < weights.reach; ++k) total += 2 * weights.taps[k];
  const __m256i start = _mm256_set1_epi32(total * 32768);
  const __m128i shift = _mm_cvtsi32_si128(weights.shift);
  for (; i + 16 <= count; i += 16) {
    _mm256_storeu_si256((__m256i*)(out + i), SumSixteenWords(rows, weights, start, shift, i));
  }
#endif
  SumWordsFlat(rows, weights, i, out, count);
}

static const BlurKernels kBlurKernels = {SumBytes, SumWords};
