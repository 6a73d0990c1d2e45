// Taking apart pixels of three bytes.

#if defined(__AVX2__)
static inline __m256i LoadVector(const void* in) {
  return _mm256_loadu_si256((const __m256i*)in);
}

// Sixteen bytes from each of two places.
static inline __m256i LoadHalves(const void* lower, const void* upper) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128((const __m128i*)lower)),
                                 _mm_loadu_si128((const __m128i*)upper), 1);
}

// The 24 bytes of eight pixels: bytes 0 to 15 in the lower half, 8 to 23 in the upper one, so that nothing is read
// beyond them.
static inline __m256i LoadEightPixels(const uint8_t* in) {
  return LoadHalves(in, in + 8);
}

// The same place in both halves of 16 bytes.
static inline __m256i BothHalves(__m128i half) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(half), half, 1);
}
#endif
