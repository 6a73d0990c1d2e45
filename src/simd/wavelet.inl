// The 9/7 wavelet by lifting, on even ("low") and odd ("high") samples kept apart. Vector forms evaluate the very
// expressions of the plain loops for each value; only the order of the values differs.

#if defined(__AVX2__)
// Values i - 1 of a sequence, from its values i. What this leaves in `turned` serves the next vector of the sequence.
static inline __m256d OneBack(__m256d* turned, __m256d now) {
  const __m256d before = *turned;
  *turned = _mm256_permute4x64_pd(now, 0x93);
  return _mm256_blend_pd(*turned, before, 1);
}

// target + c * (a + b)
static inline __m256d Lifted(__m256d target, __m256d c, __m256d a, __m256d b) {
  return _mm256_add_pd(target, _mm256_mul_pd(c, _mm256_add_pd(a, b)));
}

static inline __m256d Magnitude(__m256d v) {
  return _mm256_andnot_pd(_mm256_set1_pd(-0.0), v);
}

// Four bytes as doubles, picked by the lowest byte of each quarter of `places`; the others clear. A byte behind the
// exponent of 2^52 stands for 2^52 + b.
static inline __m256d PickedBytes(__m256i bytes, __m256i places) {
  const __m256d base = _mm256_set1_pd(4503599627370496.0);
  return _mm256_sub_pd(_mm256_or_pd(_mm256_castsi256_pd(_mm256_shuffle_epi8(bytes, places)), base), base);
}

static inline long long PlaceOf(size_t byte) {
  return (long long)(0x8080808080808000ULL | byte);
}
#endif

static void SplitBytes(const uint8_t* in, size_t step, double* low, double* high, size_t pairs) {
  size_t i = 0;
#if defined(__AVX2__)
  if (step <= 4) {
    const long long even0 = PlaceOf(0), even1 = PlaceOf(2 * step), odd0 = PlaceOf(step), odd1 = PlaceOf(3 * step);
    const __m256i even = _mm256_setr_epi64x(even0, even1, even0, even1);
    const __m256i odd = _mm256_setr_epi64x(odd0, odd1, odd0, odd1);
    // The second load ends 16 bytes behind sample 4 of the eight; nothing behind the last sample of all is touched.
    const size_t behind = (15 + 4 * step) / (2 * step) + 1;
    const size_t end = pairs > behind ? pairs - behind : 0;
    const uint8_t* p = in;
    for (; i < end; i += 4, p += 8 * step) {
      const __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128((const __m128i*)p)),
                                                    _mm_loadu_si128((const __m128i*)(p + 4 * step)), 1);
      _mm256_storeu_pd(low + i, PickedBytes(bytes, even));
      _mm256_storeu_pd(high + i, PickedBytes(bytes, odd));
    }
  }
#endif
  for (; i < pairs; ++i) {
    low[i] = in[2 * i * step];
    high[i] = in[(2 * i + 1) * step];
  }
}

static void SplitDoubles(const double* in, double* low, double* high, size_t pairs) {
  for (size_t i = 0; i < pairs; ++i) {
    low[i] = in[2 * i];
    high[i] = in[2 * i + 1];
  }
}

static inline uint8_t TruncatedByte(double v) {
  const double raised = v > 0.0 ? v : 0.0;
  return (uint8_t)(int32_t)(raised < 255.0 ? raised : 255.0);
}

#if defined(__AVX2__)
// Eight pairs as 16 bytes in order. Values are far from the limits of 32 bits; packing clamps to 0..255.
static inline __m128i JoinedBytes(const double* low, const double* high) {
  const __m256i even =
      _mm256_set_m128i(_mm256_cvttpd_epi32(_mm256_loadu_pd(low + 4)), _mm256_cvttpd_epi32(_mm256_loadu_pd(low)));
  const __m256i odd =
      _mm256_set_m128i(_mm256_cvttpd_epi32(_mm256_loadu_pd(high + 4)), _mm256_cvttpd_epi32(_mm256_loadu_pd(high)));
  const __m256i words = _mm256_packs_epi32(_mm256_unpacklo_epi32(even, odd), _mm256_unpackhi_epi32(even, odd));
  return _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
}

// Puts the bytes that `places` picks where `kept` is clear.
static inline void PutBytes(uint8_t* out, __m128i bytes, __m128i places, __m128i kept) {
  const __m128i others = _mm_and_si128(_mm_loadu_si128((const __m128i*)out), kept);
  _mm_storeu_si128((__m128i*)out, _mm_or_si128(others, _mm_shuffle_epi8(bytes, places)));
}
#endif

static void JoinBytes(const double* low, const double* high, uint8_t* out, size_t step, size_t pairs) {
  size_t i = 0;
#if defined(__AVX2__)
  if (step == 3) {
    const __m128i p0 = _mm_setr_epi8(0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1, 5);
    const __m128i p1 = _mm_setr_epi8(-1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10, -1);
    const __m128i p2 = _mm_setr_epi8(-1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1, -1);
    const __m128i zero = _mm_setzero_si128();
    const __m128i k0 = _mm_cmpgt_epi8(zero, p0), k1 = _mm_cmpgt_epi8(zero, p1), k2 = _mm_cmpgt_epi8(zero, p2);
    // The bytes between are written as they were. The last store ends behind the last of the 16, so one more follows.
    for (; i + 8 < pairs; i += 8, out += 48) {
      const __m128i bytes = JoinedBytes(low + i, high + i);
      PutBytes(out, bytes, p0, k0);
      PutBytes(out + 16, bytes, p1, k1);
      PutBytes(out + 32, bytes, p2, k2);
    }
  }
#endif
  for (; i < pairs; ++i, out += 2 * step) {
    out[0] = TruncatedByte(low[i]);
    out[step] = TruncatedByte(high[i]);
  }
}

static void JoinDoubles(const double* low, const double* high, double* out, size_t pairs) {
  for (size_t i = 0; i < pairs; ++i) {
    out[2 * i] = low[i];
    out[2 * i + 1] = high[i];
  }
}

static void ScaleDoubles(const double* in, double scale, double* out, size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = in[i] * scale;
}

static void LiftOnce(double* target, const double* before, const double* after, double c, size_t count) {
  for (size_t i = 0; i < count; ++i) target[i] = target[i] + c * (before[i] + after[i]);
}

static void LiftRows(const double* r0, double* __restrict r1, double* __restrict r2, double* __restrict r3,
                     double* __restrict r4, const double* r5, const double* c, size_t count) {
  const double c0 = c[0], c1 = c[1], c2 = c[2], c3 = c[3];
  for (size_t i = 0; i < count; ++i) {
    const double v4 = r4[i] + c0 * (r3[i] + r5[i]);
    const double v3 = r3[i] + c1 * (r2[i] + v4);
    const double v2 = r2[i] + c2 * (r1[i] + v3);
    r1[i] = r1[i] + c3 * (r0[i] + v2);
    r2[i] = v2;
    r3[i] = v3;
    r4[i] = v4;
  }
}

// The four steps one after the other, in place and in the margins too.
static void LiftPairsInPlace(double* even, double* odd, const double* c, size_t pairs) {
  LiftOnce(odd - 2, even - 2, even - 1, c[0], pairs + 3);
  LiftOnce(even - 1, odd - 2, odd - 1, c[1], pairs + 2);
  LiftOnce(odd - 1, even - 1, even, c[2], pairs + 1);
  LiftOnce(even, odd - 1, odd, c[3], pairs);
}

#if defined(__AVX2__)
// All four steps in one walk. A block takes in pairs i to i + 3; each step follows half a pair behind the one before,
// so that pairs i - 1 to i + 2 are finished. What a block needs of the one before it is kept in three registers.
struct PairLifter {
  __m256d c0, c1, c2, c3, evenIn, oddIn, evenOut, oddOut;
  __m256d first, second, third;

  inline void Take(const double* even, const double* odd, ptrdiff_t i, __m256d* outEven, __m256d* outOdd) {
    const __m256d e = _mm256_mul_pd(_mm256_loadu_pd(even + i), evenIn);
    const __m256d after = _mm256_mul_pd(_mm256_loadu_pd(even + i + 1), evenIn);
    const __m256d v1 = Lifted(_mm256_mul_pd(_mm256_loadu_pd(odd + i), oddIn), c0, e, after);
    const __m256d back1 = OneBack(&first, v1);
    const __m256d v2 = Lifted(e, c1, back1, v1);
    const __m256d back2 = OneBack(&second, v2);
    const __m256d v3 = Lifted(back1, c2, back2, v2);
    *outEven = _mm256_mul_pd(Lifted(back2, c3, OneBack(&third, v3), v3), evenOut);
    *outOdd = _mm256_mul_pd(v3, oddOut);
  }
};

// For at least four pairs. The outputs are not the inputs.
static inline void LiftPairsAvx2(const double* even, const double* odd, const double* c, double evenIn, double oddIn,
                                 double* outEven, double* outOdd, double evenOut, double oddOut, size_t pairs) {
  const __m256d zero = _mm256_setzero_pd();
  PairLifter lifter = {_mm256_set1_pd(c[0]),
                       _mm256_set1_pd(c[1]),
                       _mm256_set1_pd(c[2]),
                       _mm256_set1_pd(c[3]),
                       _mm256_set1_pd(evenIn),
                       _mm256_set1_pd(oddIn),
                       _mm256_set1_pd(evenOut),
                       _mm256_set1_pd(oddOut),
                       zero,
                       zero,
                       zero};
  __m256d e, o;
  lifter.Take(even, odd, -3, &e, &o);
  const ptrdiff_t last = (ptrdiff_t)pairs - 3;
  ptrdiff_t i = 1;
  for (; i <= last; i += 4) {
    lifter.Take(even, odd, i, &e, &o);
    _mm256_storeu_pd(outEven + i - 1, e);
    _mm256_storeu_pd(outOdd + i - 1, o);
  }
  if (i - 1 == (ptrdiff_t)pairs) return;
  // The last pairs, together with some that are done already.
  lifter.Take(even, odd, last - 4, &e, &o);
  lifter.Take(even, odd, last, &e, &o);
  _mm256_storeu_pd(outEven + last - 1, e);
  _mm256_storeu_pd(outOdd + last - 1, o);
}
#endif

static void LiftThenScale(double* even, double* odd, const double* c, const double* scales, double* outEven,
                          double* outOdd, size_t pairs) {
#if defined(__AVX2__)
  if (pairs >= 4) {
    LiftPairsAvx2(even, odd, c, 1.0, 1.0, outEven, outOdd, scales[0], scales[1], pairs);
    return;
  }
#endif
  LiftPairsInPlace(even, odd, c, pairs);
  ScaleDoubles(even, scales[0], outEven, pairs);
  ScaleDoubles(odd, scales[1], outOdd, pairs);
}

static void ScaleThenLift(const double* even, const double* odd, const double* c, const double* scales, double* outEven,
                          double* outOdd, size_t pairs) {
#if defined(__AVX2__)
  if (pairs >= 4) {
    LiftPairsAvx2(even, odd, c, scales[0], scales[1], outEven, outOdd, 1.0, 1.0, pairs);
    return;
  }
#endif
  ScaleDoubles(even - 2, scales[0], outEven - 2, pairs + 4);
  ScaleDoubles(odd - 2, scales[1], outOdd - 2, pairs + 3);
  LiftPairsInPlace(outEven, outOdd, c, pairs);
}

static uint32_t AnyReaches(const double* in, double bound, size_t count) {
  size_t i = 0;
#if defined(__AVX2__)
  const __m256d least = _mm256_set1_pd(bound);
  __m256d hits = _mm256_setzero_pd();
  for (; i + 8 <= count; i += 8) {
    const __m256d a = _mm256_cmp_pd(Magnitude(_mm256_loadu_pd(in + i)), least, _CMP_GE_OQ);
    const __m256d b = _mm256_cmp_pd(Magnitude(_mm256_loadu_pd(in + i + 4)), least, _CMP_GE_OQ);
    hits = _mm256_or_pd(hits, _mm256_or_pd(a, b));
  }
  if (_mm256_movemask_pd(hits) != 0) return 1;
#endif
  uint32_t hit = 0;
  for (; i < count; ++i) hit |= (uint32_t)((in[i] < 0.0 ? -in[i] : in[i]) >= bound);
  return hit;
}

static void ShrinkDetails(const double* in, double scale, const double* table, double back, double* out, size_t count) {
  size_t i = 0;
#if defined(__AVX2__)
  const __m256d scales = _mm256_set1_pd(scale), backs = _mm256_set1_pd(back), sign = _mm256_set1_pd(-0.0);
  for (; i + 4 <= count; i += 4) {
    const __m256d c = _mm256_mul_pd(_mm256_loadu_pd(in + i), scales);
    const __m256d rounded = _mm256_add_pd(Magnitude(c), _mm256_set1_pd(0.5));
    const __m128i entry = _mm256_cvttpd_epi32(_mm256_min_pd(rounded, _mm256_set1_pd(255.0)));
    const __m256d shrunk = _mm256_or_pd(
        _mm256_mask_i32gather_pd(_mm256_setzero_pd(), table, entry, _mm256_castsi256_pd(_mm256_set1_epi32(-1)), 8),
        _mm256_and_pd(c, sign));
    const __m256d large = _mm256_cmp_pd(rounded, _mm256_set1_pd(256.0), _CMP_GE_OQ);
    _mm256_storeu_pd(out + i, _mm256_blendv_pd(shrunk, _mm256_mul_pd(c, backs), large));
  }
#endif
  for (; i < count; ++i) {
    const double c = in[i] * scale;
    const double rounded = __builtin_fabs(c) + 0.5;
    const double shrunk = table[(int32_t)(rounded < 255.0 ? rounded : 255.0)];
    out[i] = rounded >= 256.0 ? c * back : __builtin_copysign(shrunk, c);
  }
}

static const WaveletKernels kWaveletKernels = {SplitBytes,    SplitDoubles, JoinBytes,    JoinDoubles,
                                               ScaleDoubles,  LiftOnce,     LiftRows,     LiftThenScale,
                                               ScaleThenLift, AnyReaches,   ShrinkDetails};
