// Weights of pixels by their hue.

// Hue in degrees, or kGreyHue for a saturation below one per cent; `last` is the largest sample. Red wins ties, then
// green; the quotients truncate towards zero.
static inline int32_t WeighedHue(int32_t r, int32_t g, int32_t b, int32_t last) {
  const int32_t highGreen = r > g ? r : g, lowGreen = r < g ? r : g;
  const int32_t high = highGreen > b ? highGreen : b, low = lowGreen < b ? lowGreen : b;
  const int32_t delta = high - low, sum = high + low;
  const int32_t fullSaturation = sum < 2 * last - sum ? sum : 2 * last - sum;
  if (delta == 0 || delta * 100 < fullSaturation) return kGreyHue;
  const int32_t hue = high == r   ? 60 * (g - b) / delta
                      : high == g ? 60 * (b - r) / delta + 120
                                  : 60 * (r - g) / delta + 240;
  return hue < 0 ? hue + 360 : hue;
}

#if defined(__AVX2__)
// Single precision holds every number here: 60 * 65535 and 100 * 65535 are below 2^24. A quotient that is no whole
// number lies 1/65535 or more from the next one, and its rounding moves it by 2^-19 at most, so truncation gives the
// integer quotient.
static inline __m256i WeighedHues(__m256i r, __m256i g, __m256i b, int32_t last) {
  const __m256i high = _mm256_max_epi32(_mm256_max_epi32(r, g), b), low = _mm256_min_epi32(_mm256_min_epi32(r, g), b);
  const __m256i delta = _mm256_sub_epi32(high, low), sum = _mm256_add_epi32(high, low);
  const __m256i fullSaturation = _mm256_min_epi32(sum, _mm256_sub_epi32(_mm256_set1_epi32(2 * last), sum));
  const __m256i isRed = _mm256_cmpeq_epi32(high, r), isGreen = _mm256_cmpeq_epi32(high, g);
  __m256i difference = _mm256_blendv_epi8(_mm256_sub_epi32(r, g), _mm256_sub_epi32(b, r), isGreen);
  __m256i start = _mm256_blendv_epi8(_mm256_set1_epi32(240), _mm256_set1_epi32(120), isGreen);
  difference = _mm256_blendv_epi8(difference, _mm256_sub_epi32(g, b), isRed);
  start = _mm256_andnot_si256(isRed, start);
  const __m256 divisor = _mm256_max_ps(_mm256_cvtepi32_ps(delta), _mm256_set1_ps(1.0f));
  const __m256i grey = _mm256_castps_si256(
      _mm256_cmp_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(delta), _mm256_set1_ps(100.0f)),
                    _mm256_max_ps(_mm256_cvtepi32_ps(fullSaturation), _mm256_set1_ps(1.0f)), _CMP_LT_OQ));
  const __m256i quotient =
      _mm256_cvttps_epi32(_mm256_div_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(difference), _mm256_set1_ps(60.0f)), divisor));
  const __m256i hue = _mm256_add_epi32(quotient, start);
  const __m256i wrapped = _mm256_add_epi32(hue, _mm256_and_si256(_mm256_srai_epi32(hue, 31), _mm256_set1_epi32(360)));
  return _mm256_blendv_epi8(wrapped, _mm256_set1_epi32(kGreyHue), grey);
}

// Eight table entries as bytes. A gather takes four bytes, the table has three more behind it.
static inline void StoreHueWeights(uint8_t* out, __m256i hues, const uint8_t* weights) {
  const __m256i entries =
      _mm256_and_si256(_mm256_i32gather_epi32((const int*)weights, hues, 1), _mm256_set1_epi32(255));
  const __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(entries), _mm256_extracti128_si256(entries, 1));
  _mm_storel_epi64((__m128i*)out, _mm_packus_epi16(words, words));
}

// The bytes first, first + 3, first + 6 and first + 9 of the lower half and those four further of the upper half, each
// in 32 bits of its own.
static inline __m256i EveryThirdByte(char first) {
  return _mm256_add_epi8(_mm256_setr_epi8(0, -1, -1, -1, 3, -1, -1, -1, 6, -1, -1, -1, 9, -1, -1, -1,  //
                                          4, -1, -1, -1, 7, -1, -1, -1, 10, -1, -1, -1, 13, -1, -1, -1),
                         _mm256_and_si256(_mm256_set1_epi32(first), _mm256_set1_epi32(255)));
}
#endif

static void WeighHuesOfBytes(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* weights, bool blueFirst) {
  const size_t red = blueFirst ? 2 : 0, blue = 2 - red;
  size_t p = 0;
#if defined(__AVX2__)
  const __m256i pickRed = EveryThirdByte((char)red), pickGreen = EveryThirdByte(1),
                pickBlue = EveryThirdByte((char)blue);
  for (; p + 8 <= pixels; p += 8) {
    const __m256i v = LoadEightPixels(in + 3 * p);
    StoreHueWeights(out + p,
                    WeighedHues(_mm256_shuffle_epi8(v, pickRed), _mm256_shuffle_epi8(v, pickGreen),
                                _mm256_shuffle_epi8(v, pickBlue), 255),
                    weights);
  }
#endif
  for (; p < pixels; ++p) out[p] = weights[WeighedHue(in[3 * p + red], in[3 * p + 1], in[3 * p + blue], 255)];
}

#if defined(__AVX2__)
// Word k of the pixels, each in 32 bits: pixels 0, 1, 4, 5 lie in the first eight bytes of `a`'s halves and behind
// them, pixels 2, 3, 6, 7 in `b`'s, 4 bytes later.
static inline __m256i WordsOfPixels(__m256i a, __m256i b, char k) {
  const __m256i step = _mm256_and_si256(_mm256_set1_epi16(2 * k * 257), _mm256_set1_epi32(65535));
  const __m256i fromA = _mm256_setr_epi8(0, 1, -1, -1, 6, 7, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  //
                                         0, 1, -1, -1, 6, 7, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
  const __m256i fromB = _mm256_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, 4, 5, -1, -1, 10, 11, -1, -1,  //
                                         -1, -1, -1, -1, -1, -1, -1, -1, 4, 5, -1, -1, 10, 11, -1, -1);
  return _mm256_or_si256(_mm256_shuffle_epi8(a, _mm256_or_si256(_mm256_add_epi8(fromA, step),
                                                                _mm256_cmpgt_epi8(_mm256_setzero_si256(), fromA))),
                         _mm256_shuffle_epi8(b, _mm256_or_si256(_mm256_add_epi8(fromB, step),
                                                                _mm256_cmpgt_epi8(_mm256_setzero_si256(), fromB))));
}
#endif

static void WeighHuesOfWords(const uint16_t* in, uint8_t* out, size_t pixels, const uint8_t* weights, bool blueFirst) {
  const size_t red = blueFirst ? 2 : 0, blue = 2 - red;
  size_t p = 0;
#if defined(__AVX2__)
  for (; p + 8 <= pixels; p += 8) {
    const __m256i a = LoadHalves(in + 3 * p, in + 3 * p + 12), b = LoadHalves(in + 3 * p + 4, in + 3 * p + 16);
    const __m256i first = WordsOfPixels(a, b, 0), third = WordsOfPixels(a, b, 2);
    StoreHueWeights(out + p,
                    WeighedHues(blueFirst ? third : first, WordsOfPixels(a, b, 1), blueFirst ? first : third, 65535),
                    weights);
  }
#endif
  for (; p < pixels; ++p) out[p] = weights[WeighedHue(in[3 * p + red], in[3 * p + 1], in[3 * p + blue], 65535)];
}

static void SaturationsOfBytes(const uint8_t* in, uint8_t* out, size_t pixels) {
  size_t p = 0;
#if defined(__AVX2__)
  const __m256i pickFirst = EveryThirdByte(0), pickSecond = EveryThirdByte(1), pickThird = EveryThirdByte(2);
  for (; p + 8 <= pixels; p += 8) {
    const __m256i v = LoadEightPixels(in + 3 * p);
    const __m256i a = _mm256_shuffle_epi8(v, pickFirst), b = _mm256_shuffle_epi8(v, pickSecond),
                  c = _mm256_shuffle_epi8(v, pickThird);
    const __m256i high = _mm256_max_epi32(_mm256_max_epi32(a, b), c), low = _mm256_min_epi32(_mm256_min_epi32(a, b), c);
    const __m256i sum = _mm256_add_epi32(high, low);
    const __m256i full = _mm256_min_epi32(sum, _mm256_sub_epi32(_mm256_set1_epi32(510), sum));
    const __m256i hundredfold = _mm256_mullo_epi16(_mm256_sub_epi32(high, low), _mm256_set1_epi32(100));
    // Truncation gives the integer quotient: one that is not whole lies 1/255 or more from the next.
    const __m256i quotient = _mm256_cvttps_epi32(
        _mm256_div_ps(_mm256_cvtepi32_ps(hundredfold), _mm256_max_ps(_mm256_cvtepi32_ps(full), _mm256_set1_ps(1.0f))));
    const __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(quotient), _mm256_extracti128_si256(quotient, 1));
    _mm_storel_epi64((__m128i*)(out + p), _mm_packus_epi16(words, words));
  }
#endif
  for (; p < pixels; ++p) {
    const int32_t a = in[3 * p], b = in[3 * p + 1], c = in[3 * p + 2];
    const int32_t highest = a > b ? a : b, lowest = a < b ? a : b;
    const int32_t high = highest > c ? highest : c, low = lowest < c ? lowest : c;
    const int32_t sum = high + low, full = sum < 510 - sum ? sum : 510 - sum;
    out[p] = (uint8_t)(high == low ? 0 : (high - low) * 100 / full);
  }
}

static const HueKernels kHueKernels = {WeighHuesOfBytes, WeighHuesOfWords, SaturationsOfBytes};
