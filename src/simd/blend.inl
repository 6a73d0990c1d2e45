// Blends of two byte rows, by a mask row or by one weight.

// p / 255 for 0 <= p <= 65025: the error of 1/256 is made up by the two added terms.
static inline uint32_t DivideBy255(uint32_t p) {
  return (p + 1 + (p >> 8)) >> 8;
}

static inline uint8_t Mixed(uint32_t effect, uint32_t base, uint32_t mask) {
  return (uint8_t)(((255 - mask) * base + mask * effect) >> 8);
}

#if defined(__AVX2__)
// The same on sixteen bits each, for all that come from bytes: 65025 + 1 + 254 still fits.
static inline __m256i DivideWordsBy255(__m256i p) {
  const __m256i shifted = _mm256_srli_epi16(p, 8);
  return _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(p, _mm256_set1_epi16(1)), shifted), 8);
}

// (255 - m) * b + m * e is b * 256 - b + m * (e - b), whose terms may wrap round 65536 while the sum, at most 65025,
// does not.
static inline __m256i MixedWords(__m256i effect, __m256i base, __m256i mask) {
  const __m256i all = _mm256_sub_epi16(_mm256_slli_epi16(base, 8), base);
  const __m256i moved = _mm256_mullo_epi16(mask, _mm256_sub_epi16(effect, base));
  return _mm256_srli_epi16(_mm256_add_epi16(all, moved), 8);
}

static inline __m256i LoadBytes(const uint8_t* in) {
  return _mm256_loadu_si256((const __m256i*)in);
}
static inline __m256i LowWords(__m256i bytes) {
  return _mm256_unpacklo_epi8(bytes, _mm256_setzero_si256());
}
static inline __m256i HighWords(__m256i bytes) {
  return _mm256_unpackhi_epi8(bytes, _mm256_setzero_si256());
}

// The base where the mask is 0, the blended value elsewhere.
static inline __m256i KeepUnmasked(__m256i blended, __m256i base, __m256i mask) {
  return _mm256_blendv_epi8(blended, base, _mm256_cmpeq_epi8(mask, _mm256_setzero_si256()));
}

static inline __m256i ScreenWords(__m256i effect, __m256i base, __m256i mask) {
  const __m256i all = _mm256_set1_epi16(255);
  const __m256i dark = _mm256_mullo_epi16(_mm256_sub_epi16(all, effect), _mm256_sub_epi16(all, base));
  return MixedWords(_mm256_sub_epi16(all, DivideWordsBy255(dark)), base, mask);
}

static inline __m256i MultiplyWords(__m256i effect, __m256i base, __m256i mask) {
  return MixedWords(DivideWordsBy255(_mm256_mullo_epi16(effect, base)), base, mask);
}
#endif

static void SpreadMask(const uint8_t* in, uint8_t* out, size_t pixels, size_t channels) {
  if (channels == 3) {
    size_t p = 0;
#if defined(__AVX2__)
    const __m128i first = _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    const __m128i second = _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
    const __m128i third = _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
    for (; p + 16 <= pixels; p += 16) {
      const __m128i m = _mm_loadu_si128((const __m128i*)(in + p));
      __m128i* to = (__m128i*)(out + 3 * p);
      _mm_storeu_si128(to, _mm_shuffle_epi8(m, first));
      _mm_storeu_si128(to + 1, _mm_shuffle_epi8(m, second));
      _mm_storeu_si128(to + 2, _mm_shuffle_epi8(m, third));
    }
#endif
    for (; p < pixels; ++p) {
      out[3 * p] = in[p];
      out[3 * p + 1] = in[p];
      out[3 * p + 2] = in[p];
    }
    return;
  }
  for (size_t p = 0; p < pixels; ++p) {
    for (size_t k = 0; k < channels; ++k) out[channels * p + k] = in[p];
  }
}

static void MixBytes(const uint8_t* effect, const uint8_t* base, const uint8_t* mask, uint8_t* out, size_t count) {
  size_t i = 0;
#if defined(__AVX2__)
  for (; i + 32 <= count; i += 32) {
    const __m256i e = LoadBytes(effect + i), b = LoadBytes(base + i), m = LoadBytes(mask + i);
    const __m256i low = MixedWords(LowWords(e), LowWords(b), LowWords(m));
    const __m256i high = MixedWords(HighWords(e), HighWords(b), HighWords(m));
    _mm256_storeu_si256((__m256i*)(out + i), _mm256_packus_epi16(low, high));
  }
#endif
  for (; i < count; ++i) out[i] = Mixed(effect[i], base[i], mask[i]);
}

static void ScreenBytes(const uint8_t* effect, const uint8_t* base, const uint8_t* mask, uint8_t* out, size_t count) {
  size_t i = 0;
#if defined(__AVX2__)
  for (; i + 32 <= count; i += 32) {
    const __m256i e = LoadBytes(effect + i), b = LoadBytes(base + i), m = LoadBytes(mask + i);
    const __m256i low = ScreenWords(LowWords(e), LowWords(b), LowWords(m));
    const __m256i high = ScreenWords(HighWords(e), HighWords(b), HighWords(m));
    _mm256_storeu_si256((__m256i*)(out + i), KeepUnmasked(_mm256_packus_epi16(low, high), b, m));
  }
#endif
  for (; i < count; ++i) {
    const uint32_t e = effect[i], b = base[i], m = mask[i];
    const uint8_t blended = Mixed(255 - DivideBy255((255 - e) * (255 - b)), b, m);
    out[i] = m == 0 ? (uint8_t)b : blended;
  }
}

static void MultiplyBytes(const uint8_t* effect, const uint8_t* base, const uint8_t* mask, uint8_t* out, size_t count) {
  size_t i = 0;
#if defined(__AVX2__)
  for (; i + 32 <= count; i += 32) {
    const __m256i e = LoadBytes(effect + i), b = LoadBytes(base + i), m = LoadBytes(mask + i);
    const __m256i low = MultiplyWords(LowWords(e), LowWords(b), LowWords(m));
    const __m256i high = MultiplyWords(HighWords(e), HighWords(b), HighWords(m));
    _mm256_storeu_si256((__m256i*)(out + i), KeepUnmasked(_mm256_packus_epi16(low, high), b, m));
  }
#endif
  for (; i < count; ++i) {
    const uint32_t e = effect[i], b = base[i], m = mask[i];
    const uint8_t blended = Mixed(DivideBy255(e * b), b, m);
    out[i] = m == 0 ? (uint8_t)b : blended;
  }
}

static void PullBytes(const uint8_t* effect, const uint8_t* base, uint8_t* out, size_t count, int32_t w) {
  for (size_t i = 0; i < count; ++i) {
    // At most 255 * (32767 + 32894), far inside 32 bits.
    const int32_t v = (effect[i] * w + base[i] * (127 - w)) >> 7;
    out[i] = (uint8_t)(v < 0 ? 0 : v > 255 ? 255 : v);
  }
}

static const BlendKernels kBlendKernels = {SpreadMask, MixBytes, ScreenBytes, MultiplyBytes, PullBytes};
