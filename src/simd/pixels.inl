// Vectors under one set of names for every width. `Wide` is the widest vector of the level; `Mid` has 32 bytes at most,
// for kernels that gain nothing from more; `Half` has 16
// always. Unpacking, packing and picking work within 16 bytes at every width, so that
// the one undoes the other.

#if defined(ZEL_TWINS)

#if defined(__AVX512VBMI__)
#define ZEL_WIDE(operation) _mm512_##operation
#define ZEL_WIDE_BITS(operation) _mm512_##operation##_si512
typedef __m512i Wide;
typedef __m512 WideFloats;
typedef __m512d WideDoubles;
#elif defined(__AVX2__)
#define ZEL_WIDE(operation) _mm256_##operation
#define ZEL_WIDE_BITS(operation) _mm256_##operation##_si256
typedef __m256i Wide;
typedef __m256 WideFloats;
typedef __m256d WideDoubles;
#elif defined(__SSE4_1__)
#define ZEL_WIDE(operation) _mm_##operation
#define ZEL_WIDE_BITS(operation) _mm_##operation##_si128
typedef __m128i Wide;
typedef __m128 WideFloats;
typedef __m128d WideDoubles;
#else
#define ZEL_WIDE(operation) v_##operation
#define ZEL_WIDE_BITS(operation) v_##operation
#endif

#if defined(__AVX2__)
#define ZEL_MID(operation) _mm256_##operation
#define ZEL_MID_BITS(operation) _mm256_##operation##_si256
typedef __m256i Mid;
typedef __m256 MidFloats;
#else
#define ZEL_MID(operation) ZEL_WIDE(operation)
#define ZEL_MID_BITS(operation) ZEL_WIDE_BITS(operation)
typedef Wide Mid;
typedef WideFloats MidFloats;
#endif

#if defined(__SSE4_1__)
#define ZEL_HALF(operation) _mm_##operation
typedef __m128i Half;
static inline Half LoadHalf(const void* in) {
  return _mm_loadu_si128((const Half*)in);
}
static inline void StoreHalf(void* out, Half v) {
  _mm_storeu_si128((Half*)out, v);
}
#else
#define ZEL_HALF(operation) v_##operation
typedef Wide Half;
static inline Half LoadHalf(const void* in) {
  return v_loadu((const Half*)in);
}
static inline void StoreHalf(void* out, Half v) {
  v_storeu((Half*)out, v);
}
#endif

enum : size_t { kWideBytes = sizeof(Wide), kWideWords = sizeof(Wide) / 2, kDoubles = sizeof(Wide) / 8 };
enum : size_t { kMidBytes = sizeof(Mid), kMidPixels = sizeof(Mid) / 4 };

static inline Wide LoadWide(const void* in) {
  return ZEL_WIDE_BITS(loadu)((const Wide*)in);
}

static inline void StoreWide(void* out, Wide v) {
  ZEL_WIDE_BITS(storeu)((Wide*)out, v);
}

static inline Mid LoadMid(const void* in) {
  return ZEL_MID_BITS(loadu)((const Mid*)in);
}

static inline void StoreMid(void* out, Mid v) {
  ZEL_MID_BITS(storeu)((Mid*)out, v);
}

// A number of bits to shift by, where it is not known in advance.
#if defined(__SSE4_1__)
typedef __m128i Bits;
static inline Bits BitsOf(int32_t bits) {
  return _mm_cvtsi32_si128(bits);
}
static inline Wide WordsRight(Wide v, Bits bits) {
  return ZEL_WIDE(srl_epi16)(v, bits);
}
static inline Wide DoubleWordsRight(Wide v, Bits bits) {
  return ZEL_WIDE(srl_epi32)(v, bits);
}
#else
typedef int32_t Bits;
static inline Bits BitsOf(int32_t bits) {
  return bits;
}
// Left to itself, clang makes a vector of the number outside of loops, and then shifts lane by lane for WebAssembly.
static inline Bits Here(Bits bits) {
#if defined(__wasm_simd128__)
  __asm__ volatile("" : "+r"(bits));
#endif
  return bits;
}
static inline Wide WordsRight(Wide v, Bits bits) {
  return v_srli_epi16(v, Here(bits));
}
static inline Wide DoubleWordsRight(Wide v, Bits bits) {
  return v_srli_epi32(v, Here(bits));
}
#endif

static inline Wide BitsOfDoubles(WideDoubles v) {
#if defined(__AVX512VBMI__)
  return _mm512_castpd_si512(v);
#elif defined(__AVX2__)
  return _mm256_castpd_si256(v);
#elif defined(__SSE4_1__)
  return _mm_castpd_si128(v);
#else
  return (Wide)v;
#endif
}

static inline WideDoubles DoublesOf(Wide v) {
#if defined(__AVX512VBMI__)
  return _mm512_castsi512_pd(v);
#elif defined(__AVX2__)
  return _mm256_castsi256_pd(v);
#elif defined(__SSE4_1__)
  return _mm_castsi128_pd(v);
#else
  return (WideDoubles)v;
#endif
}

// The bytes of v where those of `test` are 0, else 0.
static inline Wide WhereZero(Wide test, Wide v) {
#if defined(__AVX512VBMI__)
  return _mm512_maskz_mov_epi8(_mm512_testn_epi8_mask(test, test), v);
#else
  return ZEL_WIDE_BITS(and)(ZEL_WIDE(cmpeq_epi8)(test, ZEL_WIDE_BITS(setzero)()), v);
#endif
}

// Asks for what a walk over a row reads 2 kB later than these bytes, wherever that is. Where a loop does more than
// copy, a Xeon does not see in time what it will read: masks and tables of large pictures took up to twice their time.
static inline void AskAhead(const void* in, size_t bytes) {
  for (size_t line = 0; line < bytes; line += 64) __builtin_prefetch((const void*)((uintptr_t)in + 2048 + line));
}

// Which bytes of a vector something holds for.
#if defined(__AVX512VBMI__)
typedef __mmask64 ByteMask;
static inline ByteMask EqualBytes(Wide a, Wide b) {
  return _mm512_cmpeq_epi8_mask(a, b);
}
static inline Wide Chosen(ByteMask mask, Wide where, Wide elsewhere) {
  return _mm512_mask_blend_epi8(mask, elsewhere, where);
}
#else
typedef Wide ByteMask;
static inline ByteMask EqualBytes(Wide a, Wide b) {
  return ZEL_WIDE(cmpeq_epi8)(a, b);
}
static inline Wide Chosen(ByteMask mask, Wide where, Wide elsewhere) {
  return ZEL_WIDE(blendv_epi8)(elsewhere, where, mask);
}
#endif

// Eight bytes from each of two places.
static inline Half LoadEights(const void* lower, const void* upper) {
#if defined(__SSE4_1__)
  return _mm_unpacklo_epi64(_mm_loadl_epi64((const Half*)lower), _mm_loadl_epi64((const Half*)upper));
#elif defined(ZEL_NEON)
  return vcombine_u8(vld1_u8((const uint8_t*)lower), vld1_u8((const uint8_t*)upper));
#else
  return wasm_v128_load64_lane(upper, wasm_v128_load64_zero(lower), 1);
#endif
}

#if defined(__AVX2__)
// The same sixteen bytes in both halves.
#define ZEL_PICKS(...) _mm256_broadcastsi128_si256(_mm_setr_epi8(__VA_ARGS__))

// Sixteen bytes from each of two places.
static inline Mid LoadHalves(const void* lower, const void* upper) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(LoadHalf(lower)), LoadHalf(upper), 1);
}
#else
#define ZEL_PICKS(...) ZEL_MID(setr_epi8)(__VA_ARGS__)
#endif

// The same sixteen bytes all along the widest vector.
#if defined(__AVX512VBMI__)
#define ZEL_WIDE_PICKS(...) _mm512_broadcast_i32x4(_mm_setr_epi8(__VA_ARGS__))
#else
#define ZEL_WIDE_PICKS(...) ZEL_PICKS(__VA_ARGS__)
#endif

// Four pixels of three bytes in the first twelve of every sixteen, from where at least that many pixels are left. It is
// cheaper to read four bytes more where there are more.
static inline Mid LoadPixels(const uint8_t* in, size_t left) {
  AskAhead(in, 3 * kMidPixels);
#if defined(__AVX2__)
  if (left >= kMidPixels + 2) return LoadHalves(in, in + 12);
  return _mm256_inserti128_si256(_mm256_castsi128_si256(LoadHalf(in)), _mm_srli_si128(LoadHalf(in + 8), 4), 1);
#else
  if (left >= kMidPixels + 2) return LoadMid(in);
  uint32_t last;
  __builtin_memcpy(&last, in + 8, 4);
#if defined(__SSE4_1__)
  return _mm_insert_epi32(_mm_loadl_epi64((const Half*)in), (int32_t)last, 2);
#elif defined(ZEL_NEON)
  return (Mid)vsetq_lane_u32(last, (uint32x4_t)vcombine_u8(vld1_u8(in), vdup_n_u8(0)), 2);
#else
  return wasm_i32x4_replace_lane(wasm_v128_load64_zero(in), 2, (int32_t)last);
#endif
#endif
}

// The three channels of as many pixels as a vector has bytes.
struct Planes {
  Wide first, second, third;
};

#if defined(__AVX512VBMI__)
// Bytes 3 j + k of three vectors. Places count modulo 64, so the same ones pick from each.
template <int k>
static inline Wide EveryThird(Wide a, Wide b, Wide c) {
  alignas(64) static const uint8_t kThirds[64] = {
      0,   3,   6,   9,   12,  15,  18,  21,  24,  27,  30,  33,  36,  39,  42,  45,  48,  51,  54,  57,  60,  63,
      66,  69,  72,  75,  78,  81,  84,  87,  90,  93,  96,  99,  102, 105, 108, 111, 114, 117, 120, 123, 126, 129,
      132, 135, 138, 141, 144, 147, 150, 153, 156, 159, 162, 165, 168, 171, 174, 177, 180, 183, 186, 189};
  const Wide places = _mm512_add_epi8(LoadWide(kThirds), _mm512_set1_epi8(k));
  const __mmask64 inB = ~0ULL << (66 - k) / 3, inC = ~0ULL << (130 - k) / 3;
  const Wide picked = _mm512_mask_permutexvar_epi8(_mm512_permutexvar_epi8(places, a), inB, places, b);
  return _mm512_mask_permutexvar_epi8(picked, inC, places, c);
}
#endif

static inline Planes LoadPlanes(const uint8_t* in) {
  AskAhead(in, 3 * kWideBytes);
#if defined(__AVX512VBMI__)
  const Wide a = LoadWide(in), b = LoadWide(in + 64), c = LoadWide(in + 128);
  return {EveryThird<0>(a, b, c), EveryThird<1>(a, b, c), EveryThird<2>(a, b, c)};
#elif defined(ZEL_NEON)
  const uint8x16x3_t planes = vld3q_u8(in);
  return {planes.val[0], planes.val[1], planes.val[2]};
#else
  // Four pixels to every sixteen bytes, a channel to every four of them; the last start four bytes early, so that
  // nothing behind them is read.
  const Wide picks = ZEL_PICKS(0, 3, 6, 9, 1, 4, 7, 10, 2, 5, 8, 11, -1, -1, -1, -1);
  const Wide later = ZEL_PICKS(4, 7, 10, 13, 5, 8, 11, 14, 6, 9, 12, 15, -1, -1, -1, -1);
#if defined(__AVX2__)
  const Wide a = LoadHalves(in, in + 48), b = LoadHalves(in + 12, in + 60);
  const Wide c = LoadHalves(in + 24, in + 72), d = LoadHalves(in + 32, in + 80);
#else
  const Wide a = LoadWide(in), b = LoadWide(in + 12), c = LoadWide(in + 24), d = LoadWide(in + 32);
#endif
  const Wide fours[4] = {ZEL_WIDE(shuffle_epi8)(a, picks), ZEL_WIDE(shuffle_epi8)(b, picks),
                         ZEL_WIDE(shuffle_epi8)(c, picks), ZEL_WIDE(shuffle_epi8)(d, later)};
  const Wide lower = ZEL_WIDE(unpacklo_epi32)(fours[0], fours[1]), upper = ZEL_WIDE(unpacklo_epi32)(fours[2], fours[3]);
  return {ZEL_WIDE(unpacklo_epi64)(lower, upper), ZEL_WIDE(unpackhi_epi64)(lower, upper),
          ZEL_WIDE(unpacklo_epi64)(ZEL_WIDE(unpackhi_epi32)(fours[0], fours[1]),
                                   ZEL_WIDE(unpackhi_epi32)(fours[2], fours[3]))};
#endif
}

// The low and the high bytes of words, in the order of the pixels.
static inline void StoreWords(uint16_t* out, Wide low, Wide high) {
  const Wide first = ZEL_WIDE(unpacklo_epi8)(low, high), second = ZEL_WIDE(unpackhi_epi8)(low, high);
#if defined(__AVX512VBMI__)
  const Wide lower = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11), upper = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
  StoreWide(out, _mm512_permutex2var_epi64(first, lower, second));
  StoreWide(out + kWideWords, _mm512_permutex2var_epi64(first, upper, second));
#elif defined(__AVX2__)
  StoreWide(out, _mm256_permute2x128_si256(first, second, 0x20));
  StoreWide(out + kWideWords, _mm256_permute2x128_si256(first, second, 0x31));
#else
  StoreWide(out, first);
  StoreWide(out + kWideWords, second);
#endif
}

// Writes the first twelve bytes of every sixteen.
static inline void StorePixels(uint8_t* out, Mid v) {
#if defined(__AVX2__)
  const __m256i together = _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
  _mm_storeu_si128((__m128i*)out, _mm256_castsi256_si128(together));
  _mm_storel_epi64((__m128i*)(out + 16), _mm256_extracti128_si256(together, 1));
#elif defined(__SSE4_1__)
  const int32_t last = _mm_extract_epi32(v, 2);
  _mm_storel_epi64((__m128i*)out, v);
  __builtin_memcpy(out + 8, &last, 4);
#elif defined(ZEL_NEON)
  const uint32_t last = vgetq_lane_u32((uint32x4_t)v, 2);
  vst1_u8(out, vget_low_u8(v));
  __builtin_memcpy(out + 8, &last, 4);
#else
  wasm_v128_store64_lane(out, v, 0);
  wasm_v128_store32_lane(out + 8, v, 2);
#endif
}

// The lowest byte of every four.
static inline void StoreLowBytes(uint8_t* out, Mid v) {
#if defined(__AVX2__)
  const __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
  _mm_storel_epi64((__m128i*)out, _mm_packus_epi16(words, words));
#else
  const Mid bytes = ZEL_MID(shuffle_epi8)(v, ZEL_PICKS(0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1));
#if defined(__SSE4_1__)
  const int32_t four = _mm_cvtsi128_si32(bytes);
  __builtin_memcpy(out, &four, 4);
#elif defined(ZEL_NEON)
  const uint32_t four = vgetq_lane_u32((uint32x4_t)bytes, 0);
  __builtin_memcpy(out, &four, 4);
#else
  wasm_v128_store32_lane(out, bytes, 0);
#endif
#endif
}

// Double word k of every four, four times.
template <int k>
static inline Mid Repeated(Mid v) {
#if defined(__SSE4_1__)
  return ZEL_MID(shuffle_epi32)(v, 0x55 * k);
#elif defined(ZEL_NEON)
  Mid repeated = (Mid)vdupq_laneq_u32((uint32x4_t)v, k);
  // Left to itself, clang takes the halves apart where products of the upper ones are wanted.
  __asm__("" : "+w"(repeated));
  return repeated;
#else
  return wasm_i32x4_shuffle(v, v, k, k, k, k);
#endif
}

// v / 17 for every byte, which is (v - v / 16) / 16.
static inline Mid Seventeenths(Mid v) {
  const Mid low = ZEL_MID(set1_epi8)(15);
  const Mid sixteenths = ZEL_MID_BITS(and)(ZEL_MID(srli_epi16)(v, 4), low);
  return ZEL_MID_BITS(and)(ZEL_MID(srli_epi16)(ZEL_MID(sub_epi8)(v, sixteenths), 4), low);
}

// (a + 16 * b + 256 * c) << shift for the four bytes a, b, c and 0, the three up to 15, of every pixel.
static inline Mid PlacesOf(Mid indexes, int shift) {
#if defined(ZEL_NEON)
  const Mid words = v_and(v_or(indexes, v_srli_epi32(indexes, 4)), v_set1_epi32(0x00FF00FF));
  const Mid places = v_and(v_or(words, v_srli_epi32(words, 8)), v_set1_epi32(0xFFF));
  return v_slli_epi32(places, shift);
#else
#if defined(__SSE4_1__)
  const Mid words = ZEL_MID(maddubs_epi16)(indexes, ZEL_MID(set1_epi32)(0x00011001));
#else
  const Mid words = v_and(v_or(indexes, v_srli_epi16(indexes, 4)), v_set1_epi16(255));
#endif
  return ZEL_MID(madd_epi16)(words, ZEL_MID(set1_epi32)((256 << 16 | 1) << shift));
#endif
}

// Sums of two vectors of bytes in words, of the lower and of the upper bytes of every sixteen.
static inline Wide LowSums(Wide a, Wide b) {
#if defined(__SSE4_1__)
  return ZEL_WIDE(maddubs_epi16)(ZEL_WIDE(unpacklo_epi8)(a, b), ZEL_WIDE(set1_epi8)(1));
#elif defined(ZEL_NEON)
  return (Wide)vaddl_u8(vget_low_u8(a), vget_low_u8(b));
#else
  return wasm_u16x8_extadd_pairwise_u8x16(v_unpacklo_epi8(a, b));
#endif
}

static inline Wide HighSums(Wide a, Wide b) {
#if defined(__SSE4_1__)
  return ZEL_WIDE(maddubs_epi16)(ZEL_WIDE(unpackhi_epi8)(a, b), ZEL_WIDE(set1_epi8)(1));
#elif defined(ZEL_NEON)
  return (Wide)vaddl_high_u8(a, b);
#else
  return wasm_u16x8_extadd_pairwise_u8x16(v_unpackhi_epi8(a, b));
#endif
}

#endif
