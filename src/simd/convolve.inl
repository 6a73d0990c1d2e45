// The 3 x 3 convolution.

static inline uint8_t ClampedSum(int32_t sum) {
  const int32_t v = sum >> 10;
  return (uint8_t)(v < 0 ? 0 : v > 255 ? 255 : v);
}

static void Convolve3x3Flat(const uint8_t* const rows[3], size_t step, const int32_t weights[9], size_t from,
                            uint8_t* out, size_t count) {
  const uint8_t* const a = rows[0];
  const uint8_t* const b = rows[1];
  const uint8_t* const c = rows[2];
  const int32_t w0 = weights[0], w1 = weights[1], w2 = weights[2];
  const int32_t w3 = weights[3], w4 = weights[4], w5 = weights[5];
  const int32_t w6 = weights[6], w7 = weights[7], w8 = weights[8];
  for (size_t i = from; i < count; ++i) {
    out[i] = ClampedSum(w0 * a[i] + w1 * a[i + step] + w2 * a[i + 2 * step] + w3 * b[i] + w4 * b[i + step] +
                        w5 * b[i + 2 * step] + w6 * c[i] + w7 * c[i + step] + w8 * c[i + 2 * step]);
  }
}

#if defined(__AVX2__)
// Whether the weights form a cross with four equal arms, all fit for 16-bit products.
static bool IsNarrowCross(const int32_t weights[9]) {
  const int32_t arm = weights[1], centre = weights[4];
  return (weights[0] | weights[2] | weights[6] | weights[8]) == 0 && weights[3] == arm && weights[5] == arm &&
         weights[7] == arm && arm >= -32768 && arm <= 32767 && centre >= -32768 && centre <= 32767;
}

// Eight sums for 16-bit pairs of a sample and its four neighbours' sum (at most 1020), divided by 1024 and cut to 16
// bits, which still tells what lies outside a byte.
static inline __m256i CrossSums(__m256i firstPairs, __m256i secondPairs, __m256i weights) {
  return _mm256_packs_epi32(_mm256_srai_epi32(_mm256_madd_epi16(firstPairs, weights), 10),
                            _mm256_srai_epi32(_mm256_madd_epi16(secondPairs, weights), 10));
}

static inline void ConvolveCross(const uint8_t* const rows[3], size_t step, __m256i weights, uint8_t* out, size_t i) {
  const __m256i one = _mm256_set1_epi8(1), zero = _mm256_setzero_si256();
  const __m256i above = LoadVector(rows[0] + i + step), below = LoadVector(rows[2] + i + step);
  const __m256i left = LoadVector(rows[1] + i), right = LoadVector(rows[1] + i + 2 * step);
  const __m256i middle = LoadVector(rows[1] + i + step);
  const __m256i armsLow = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_unpacklo_epi8(above, below), one),
                                           _mm256_maddubs_epi16(_mm256_unpacklo_epi8(left, right), one));
  const __m256i armsHigh = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_unpackhi_epi8(above, below), one),
                                            _mm256_maddubs_epi16(_mm256_unpackhi_epi8(left, right), one));
  const __m256i low = _mm256_unpacklo_epi8(middle, zero), high = _mm256_unpackhi_epi8(middle, zero);
  const __m256i lowSums = CrossSums(_mm256_unpacklo_epi16(low, armsLow), _mm256_unpackhi_epi16(low, armsLow), weights);
  const __m256i highSums =
      CrossSums(_mm256_unpacklo_epi16(high, armsHigh), _mm256_unpackhi_epi16(high, armsHigh), weights);
  _mm256_storeu_si256((__m256i*)(out + i), _mm256_packus_epi16(lowSums, highSums));
}
#endif

static void Convolve3x3(const uint8_t* const rows[3], size_t step, const int32_t weights[9], uint8_t* out,
                        size_t count) {
  size_t i = 0;
#if defined(__AVX2__)
  if (IsNarrowCross(weights)) {
    const __m256i pair = _mm256_set1_epi32((int32_t)((uint32_t)weights[1] << 16 | (uint16_t)weights[4]));
    for (; i + 32 <= count; i += 32) ConvolveCross(rows, step, pair, out, i);
  }
#endif
  Convolve3x3Flat(rows, step, weights, i, out, count);
}

static const ConvolveKernels kConvolveKernels = {Convolve3x3};
