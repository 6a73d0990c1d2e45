// Trilinear weights of pixels from packed cells of eight corners.

#if defined(__AVX2__)
// Eight bytes at each of four places.
static inline __m256i FourCells(const uint8_t* cells, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  const __m128i low =
      _mm_unpacklo_epi64(_mm_loadl_epi64((const __m128i*)(cells + a)), _mm_loadl_epi64((const __m128i*)(cells + b)));
  const __m128i high =
      _mm_unpacklo_epi64(_mm_loadl_epi64((const __m128i*)(cells + c)), _mm_loadl_epi64((const __m128i*)(cells + d)));
  return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}
#endif

// With fractions f of 17ths along the three axes, the eight products of the corners with their shares add up to at most
// 255 * 17 * 17 * 17.
static void WeighPixels(const uint8_t* in, uint8_t* out, size_t pixels, size_t step, const uint8_t* cells) {
  size_t p = 0;
#if defined(__AVX2__)
  if (step == 3) {
    // The upper half of the eight pixels starts four bytes further.
    const __m256i spread = _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1,  //
                                            4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15, -1);
    // From the bytes f0 f1 f2 0 r0 r1 r2 17, with r = 17 - f, of each pixel.
    const __m256i firstShares = _mm256_setr_epi8(4, 0, 4, 0, 4, 0, 4, 0, 12, 8, 12, 8, 12, 8, 12, 8,  //
                                                 4, 0, 4, 0, 4, 0, 4, 0, 12, 8, 12, 8, 12, 8, 12, 8);
    const __m256i secondShares = _mm256_setr_epi8(5, -1, 1, -1, 5, -1, 1, -1, 13, -1, 9, -1, 13, -1, 9, -1,  //
                                                  5, -1, 1, -1, 5, -1, 1, -1, 13, -1, 9, -1, 13, -1, 9, -1);
    const __m256i thirdShares = _mm256_setr_epi8(6, -1, 6, -1, 2, -1, 2, -1, 14, -1, 14, -1, 10, -1, 10, -1,  //
                                                 6, -1, 6, -1, 2, -1, 2, -1, 14, -1, 14, -1, 10, -1, 10, -1);
    const __m256i low = _mm256_set1_epi8(15), high = _mm256_set1_epi8((char)0xF0), seventeen = _mm256_set1_epi8(17);
    const __m256i levelSteps = _mm256_set1_epi32(0x00011001), pairSteps = _mm256_set1_epi32(0x08000008);
    for (; p + 8 <= pixels; p += 8) {
      const __m256i v = _mm256_shuffle_epi8(LoadEightPixels(in + 3 * p), spread);
      // v / 17 is (v - v / 16) / 16 for every byte.
      const __m256i level = _mm256_and_si256(
          _mm256_srli_epi16(_mm256_sub_epi8(v, _mm256_and_si256(_mm256_srli_epi16(v, 4), low)), 4), low);
      const __m256i fraction =
          _mm256_sub_epi8(v, _mm256_add_epi8(level, _mm256_and_si256(_mm256_slli_epi16(level, 4), high)));
      const __m256i rest = _mm256_sub_epi8(seventeen, fraction);
      // Loads of eight bytes from these places are faster than a gather.
      alignas(32) uint32_t at[8];
      _mm256_store_si256((__m256i*)at, _mm256_madd_epi16(_mm256_maddubs_epi16(level, levelSteps), pairSteps));
      // Pixels 0, 1, 4, 5 and 2, 3, 6, 7: the order in which a 128-bit half unpacks.
      const __m256i sharesA = _mm256_unpacklo_epi32(fraction, rest), sharesB = _mm256_unpackhi_epi32(fraction, rest);
      const __m256i cornersA = FourCells(cells, at[0], at[1], at[4], at[5]);
      const __m256i cornersB = FourCells(cells, at[2], at[3], at[6], at[7]);
      // At most 255 * 17, then shares of at most 289.
      const __m256i edgesA = _mm256_maddubs_epi16(cornersA, _mm256_shuffle_epi8(sharesA, firstShares));
      const __m256i edgesB = _mm256_maddubs_epi16(cornersB, _mm256_shuffle_epi8(sharesB, firstShares));
      const __m256i facesA = _mm256_madd_epi16(edgesA, _mm256_mullo_epi16(_mm256_shuffle_epi8(sharesA, secondShares),
                                                                          _mm256_shuffle_epi8(sharesA, thirdShares)));
      const __m256i facesB = _mm256_madd_epi16(edgesB, _mm256_mullo_epi16(_mm256_shuffle_epi8(sharesB, secondShares),
                                                                          _mm256_shuffle_epi8(sharesB, thirdShares)));
      // n + 1/2 is exact in single precision and its quotient lies 1/9826 or more from any whole number. The two
      // roundings are off by 255 * 2^-23 at most, which is less: truncation gives the integer quotient.
      const __m256 n = _mm256_cvtepi32_ps(_mm256_hadd_epi32(facesA, facesB));
      const __m256i quotient =
          _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_add_ps(n, _mm256_set1_ps(0.5f)), _mm256_set1_ps(1.0f / 4913.0f)));
      const __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(quotient), _mm256_extracti128_si256(quotient, 1));
      _mm_storel_epi64((__m128i*)(out + p), _mm_packus_epi16(words, words));
    }
  }
#endif
  for (; p < pixels; ++p) {
    const uint32_t v0 = in[step * p], v1 = in[step * p + 1], v2 = in[step * p + 2];
    const uint32_t f0 = v0 % 17, f1 = v1 % 17, f2 = v2 % 17;
    const uint8_t* c = cells + 8 * (v0 / 17 + 16 * (v1 / 17) + 256 * (v2 / 17));
    const uint32_t e0 = c[0] * (17 - f0) + c[1] * f0, e1 = c[2] * (17 - f0) + c[3] * f0;
    const uint32_t e2 = c[4] * (17 - f0) + c[5] * f0, e3 = c[6] * (17 - f0) + c[7] * f0;
    const uint32_t sum = (e0 * (17 - f1) + e1 * f1) * (17 - f2) + (e2 * (17 - f1) + e3 * f1) * f2;
    out[p] = (uint8_t)(sum / 4913);
  }
}

static const WeightKernels kWeightKernels = {WeighPixels};
