// The unsharp mask's step: samples pushed away from their blurred values.

static void PushBytesFlat(const uint8_t* in, const uint8_t* blurred, size_t from, uint8_t* out, size_t count,
                          int32_t gain, int32_t threshold) {
  for (size_t i = from; i < count; ++i) {
    const int32_t d = in[i] - blurred[i];
    const int32_t excess = (d < 0 ? -d : d) - threshold;
    // At most 255 * 32767, far inside 32 bits.
    const int32_t step = (excess < 0 ? 0 : excess) * gain >> 7;
    const int32_t v = in[i] + (d < 0 ? -step : step);
    out[i] = (uint8_t)(v < 0 ? 0 : v > 255 ? 255 : v);
  }
}

#if defined(__AVX2__)
// excess * gain >> 7 as the upper half of (excess << 8) * (gain << 1), cut to what fits a byte: a greater step
// saturates no less.
static inline __m256i ByteSteps(__m256i shiftedExcess, __m256i doubledGain) {
  return _mm256_min_epu16(_mm256_mulhi_epu16(shiftedExcess, doubledGain), _mm256_set1_epi16(255));
}

static inline __m256i PushThirtyTwo(__m256i in, __m256i blurred, __m256i doubledGain, __m256i threshold) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i over = _mm256_subs_epu8(in, blurred), under = _mm256_subs_epu8(blurred, in);
  const __m256i excess = _mm256_subs_epu8(_mm256_or_si256(over, under), threshold);
  const __m256i steps = _mm256_packus_epi16(ByteSteps(_mm256_unpacklo_epi8(zero, excess), doubledGain),
                                            ByteSteps(_mm256_unpackhi_epi8(zero, excess), doubledGain));
  const __m256i isUp = _mm256_cmpeq_epi8(under, zero);  // where the two are equal the step is 0
  const __m256i up = _mm256_and_si256(isUp, steps), down = _mm256_andnot_si256(isUp, steps);
  return _mm256_subs_epu8(_mm256_adds_epu8(in, up), down);
}
#endif

static void PushBytes(const uint8_t* in, const uint8_t* blurred, uint8_t* out, size_t count, int32_t gain,
                      int32_t threshold) {
  size_t i = 0;
#if defined(__AVX2__)
  if (gain >= 0) {
    const __m256i doubledGain = _mm256_set1_epi16((short)(uint16_t)(2 * gain));
    const __m256i bytes = _mm256_set1_epi8((char)(uint8_t)(threshold > 255 ? 255 : threshold));
    for (; i + 32 <= count; i += 32) {
      const __m256i pushed = PushThirtyTwo(LoadVector(in + i), LoadVector(blurred + i), doubledGain, bytes);
      _mm256_storeu_si256((__m256i*)(out + i), pushed);
    }
  }
#endif
  PushBytesFlat(in, blurred, i, out, count, gain, threshold);
}

// The excess from which the step reaches 65536 whatever the sample. Cutting the excess there changes no result and
// keeps its product with the gain within 2^24.
static inline int32_t MostExcess(int32_t gain) {
  const int32_t size = gain < 0 ? -gain : gain;
  return size == 0 ? 65535 : (kMaxWordGain + size - 1) / size;
}

static void PushWords(const uint16_t* in, const uint16_t* blurred, uint16_t* out, size_t count, int32_t gain,
                      int32_t threshold) {
  const int32_t most = MostExcess(gain);
  for (size_t i = 0; i < count; ++i) {
    const int32_t d = in[i] - blurred[i];
    const int32_t above = (d < 0 ? -d : d) - threshold;
    const int32_t excess = above < 0 ? 0 : above > most ? most : above;
    const int32_t step = excess * gain >> 7;
    const int32_t v = in[i] + (d < 0 ? -step : step);
    out[i] = (uint16_t)(v < 0 ? 0 : v > 65535 ? 65535 : v);
  }
}

static const UnsharpKernels kUnsharpKernels = {PushBytes, PushWords};
