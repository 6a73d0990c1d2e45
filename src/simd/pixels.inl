// Vectors: the widest ones of the level, for code that is the same at every width, and taking apart pixels of three
// bytes. Unpacking and packing work within 16 bytes at every width, so that the one undoes the other.

#if defined(__AVX512VBMI__)
#define ZEL_WIDE(operation) _mm512_##operation
#define ZEL_WIDE_BITS(operation) _mm512_##operation##_si512
typedef __m512i Wide;
typedef __m512d WideDoubles;
#elif defined(__AVX2__)
#define ZEL_WIDE(operation) _mm256_##operation
#define ZEL_WIDE_BITS(operation) _mm256_##operation##_si256
typedef __m256i Wide;
typedef __m256d WideDoubles;
#endif

#if defined(__AVX2__)
enum : size_t { kWideBytes = sizeof(Wide), kWideWords = sizeof(Wide) / 2, kDoubles = sizeof(Wide) / 8 };

static inline Wide LoadWide(const void* in) {
  return ZEL_WIDE_BITS(loadu)((const Wide*)in);
}

static inline void StoreWide(void* out, Wide v) {
  ZEL_WIDE_BITS(storeu)((Wide*)out, v);
}

// The bytes of v where those of `test` are 0, else 0.
static inline Wide WhereZero(Wide test, Wide v) {
#if defined(__AVX512VBMI__)
  return _mm512_maskz_mov_epi8(_mm512_testn_epi8_mask(test, test), v);
#else
  return _mm256_and_si256(_mm256_cmpeq_epi8(test, _mm256_setzero_si256()), v);
#endif
}

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
