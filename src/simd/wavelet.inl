// The 9/7 wavelet by lifting, on even ("low") and odd ("high") samples kept apart. Vector forms evaluate the very
// expressions of the plain loops for each value; only the order of the values differs.

#if !defined(ZEL_TWINS)
#elif defined(__AVX512VBMI__)
// Values i - 1 of a sequence, from its values i. `last` holds the vector before this one and then this one.
static inline WideDoubles OneBack(WideDoubles* last, WideDoubles now) {
  const WideDoubles before = *last;
  *last = now;
  return _mm512_castsi512_pd(_mm512_alignr_epi64(_mm512_castpd_si512(now), _mm512_castpd_si512(before), 7));
}
#elif defined(__AVX2__)
// Values i - 1 of a sequence, from its values i. `last` holds the vector before this one, turned by one value, and then
// this one.
static inline WideDoubles OneBack(WideDoubles* last, WideDoubles now) {
  const WideDoubles before = *last;
  *last = _mm256_permute4x64_pd(now, 0x93);
  return _mm256_blend_pd(*last, before, 1);
}
#else
// Values i - 1 of a sequence, from its values i. `last` holds the vector before this one and then this one.
static inline WideDoubles OneBack(WideDoubles* last, WideDoubles now) {
  const WideDoubles before = *last;
  *last = now;
#if defined(__SSE4_1__)
  return _mm_shuffle_pd(before, now, 1);
#elif defined(ZEL_NEON)
  return vextq_f64(before, now, 1);
#else
  return wasm_i64x2_shuffle(before, now, 1, 2);
#endif
}
#endif

#if defined(ZEL_TWINS)
// target + c * (a + b)
static inline WideDoubles Lifted(WideDoubles target, WideDoubles c, WideDoubles a, WideDoubles b) {
  return ZEL_WIDE(add_pd)(target, ZEL_WIDE(mul_pd)(c, ZEL_WIDE(add_pd)(a, b)));
}
#endif

#if !defined(ZEL_TWINS)
#elif defined(__AVX512VBMI__)
// A byte behind the exponent of 2^52 stands for 2^52 + b.
static inline __m512d PickedBytes(__m512i bytes, __m512i places) {
  const __m512d base = _mm512_set1_pd(4503599627370496.0);
  const __m512i picked = _mm512_maskz_permutexvar_epi8(0x0101010101010101ULL, places, bytes);
  return _mm512_sub_pd(_mm512_castsi512_pd(_mm512_or_si512(picked, _mm512_castpd_si512(base))), base);
}
#else
// Bytes as doubles, picked by the lowest byte of every eight of `places`; the others clear. A byte behind the exponent
// of 2^52 stands for 2^52 + b.
static inline WideDoubles PickedBytes(Wide bytes, Wide places) {
  const WideDoubles base = ZEL_WIDE(set1_pd)(4503599627370496.0);
  const Wide picked = ZEL_WIDE(shuffle_epi8)(bytes, places);
  return ZEL_WIDE(sub_pd)(DoublesOf(ZEL_WIDE_BITS(or)(picked, BitsOfDoubles(base))), base);
}

// The places of two bytes of every sixteen.
static inline Wide PlacesOfTwo(size_t first, size_t second) {
  return ZEL_PICKS((char)first, -1, -1, -1, -1, -1, -1, -1, (char)second, -1, -1, -1, -1, -1, -1, -1);
}
#endif

static void SplitBytes(const uint8_t* in, size_t step, double* low, double* high, size_t pairs) {
  size_t i = 0;
#if !defined(ZEL_TWINS)
#elif defined(__AVX512VBMI__)
  if (step <= 4) {
    const long long pair = (long long)(2 * step);
    const __m512i even = _mm512_mullo_epi64(_mm512_setr_epi64(0, 1, 2, 3, 4, 5, 6, 7), _mm512_set1_epi64(pair));
    const __m512i odd = _mm512_add_epi64(even, _mm512_set1_epi64(pair / 2));
    const __mmask64 wanted = ~0ULL >> (63 - 15 * step);  // nothing behind the last sample is touched
    const uint8_t* p = in;
    for (; i + 8 <= pairs; i += 8, p += 16 * step) {
      const __m512i bytes = _mm512_maskz_loadu_epi8(wanted, p);
      _mm512_storeu_pd(low + i, PickedBytes(bytes, even));
      _mm512_storeu_pd(high + i, PickedBytes(bytes, odd));
    }
  }
#else
  if (step <= 4) {
    const Wide even = PlacesOfTwo(0, 2 * step), odd = PlacesOfTwo(step, 3 * step);
    // The last load ends 16 bytes behind its first pair; nothing behind the last sample of all is touched.
    const size_t behind = (15 + (kWideBytes / 16 - 1) * 4 * step) / (2 * step) + 1;
    const size_t end = pairs > behind ? pairs - behind : 0;
    const uint8_t* p = in;
    for (; i < end; i += kDoubles, p += 2 * kDoubles * step) {
#if defined(__AVX2__)
      const Wide bytes = LoadHalves(p, p + 4 * step);
#else
      const Wide bytes = LoadWide(p);
#endif
      ZEL_WIDE(storeu_pd)(low + i, PickedBytes(bytes, even));
      ZEL_WIDE(storeu_pd)(high + i, PickedBytes(bytes, odd));
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

#if defined(ZEL_TWINS) && !defined(__AVX512VBMI__)
// Four values in 32 bits each, truncated. They are far from the limits of 32 bits.
static inline Half Truncated(const double* in) {
#if defined(__AVX2__)
  return _mm256_cvttpd_epi32(_mm256_loadu_pd(in));
#elif defined(__SSE4_1__)
  return _mm_unpacklo_epi64(_mm_cvttpd_epi32(_mm_loadu_pd(in)), _mm_cvttpd_epi32(_mm_loadu_pd(in + 2)));
#elif defined(ZEL_NEON)
  return (Half)vmovn_high_s64(vmovn_s64(vcvtq_s64_f64(vld1q_f64(in))), vcvtq_s64_f64(vld1q_f64(in + 2)));
#else
  return wasm_i32x4_shuffle(wasm_i32x4_trunc_sat_f64x2_zero(v_loadu_pd(in)),
                            wasm_i32x4_trunc_sat_f64x2_zero(v_loadu_pd(in + 2)), 0, 1, 4, 5);
#endif
}

// Eight pairs as 16 bytes in order; packing clamps to 0..255.
static inline Half JoinedBytes(const double* low, const double* high) {
  const Half even0 = Truncated(low), even4 = Truncated(low + 4), odd0 = Truncated(high), odd4 = Truncated(high + 4);
  return ZEL_HALF(packus_epi16)(
      ZEL_HALF(packs_epi32)(ZEL_HALF(unpacklo_epi32)(even0, odd0), ZEL_HALF(unpackhi_epi32)(even0, odd0)),
      ZEL_HALF(packs_epi32)(ZEL_HALF(unpacklo_epi32)(even4, odd4), ZEL_HALF(unpackhi_epi32)(even4, odd4)));
}

// Puts the bytes that `places` picks, and leaves those that it does not.
static inline void PutBytes(uint8_t* out, Half bytes, Half places) {
  const Half kept = ZEL_HALF(cmpgt_epi8)(ZEL_HALF(set1_epi8)(0), places);
  StoreHalf(out, ZEL_HALF(blendv_epi8)(ZEL_HALF(shuffle_epi8)(bytes, places), LoadHalf(out), kept));
}
#endif

static void JoinBytes(const double* low, const double* high, uint8_t* out, size_t step, size_t pairs) {
  size_t i = 0;
#if !defined(ZEL_TWINS)
#elif defined(__AVX512VBMI__)
  if (step == 3) {
    const __m256i zero = _mm256_setzero_si256(), most = _mm256_set1_epi32(255);
    uint8_t from[64] = {};  // a pair's bytes come to lie in the lower half of its four
    for (size_t k = 0; k < 16; ++k) from[3 * k] = (uint8_t)(4 * (k / 2) + k % 2);
    const __m512i places = LoadWide(from);
    // The bytes between are written as they were. The last store ends behind the last of the 16, so one more follows.
    const __mmask64 kept = 0x0000DB6DB6DB6DB6ULL, all = 0x0000FFFFFFFFFFFFULL;
    for (; i + 8 < pairs; i += 8, out += 48) {
      const __m256i even = _mm512_cvttpd_epi32(_mm512_loadu_pd(low + i));
      const __m256i odd = _mm512_cvttpd_epi32(_mm512_loadu_pd(high + i));
      const __m256i both = _mm256_or_si256(_mm256_min_epi32(_mm256_max_epi32(even, zero), most),
                                           _mm256_slli_epi32(_mm256_min_epi32(_mm256_max_epi32(odd, zero), most), 8));
      const __m512i spread = _mm512_permutexvar_epi8(places, _mm512_castsi256_si512(both));
      const __m512i joined = _mm512_mask_blend_epi8(kept, spread, _mm512_maskz_loadu_epi8(all, out));
      _mm256_storeu_si256((__m256i*)out, _mm512_castsi512_si256(joined));
      _mm_storeu_si128((__m128i*)(out + 32), _mm512_extracti32x4_epi32(joined, 2));
    }
  }
#else
  if (step == 3) {
    const Half p0 = ZEL_HALF(setr_epi8)(0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1, 5);
    const Half p1 = ZEL_HALF(setr_epi8)(-1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10, -1);
    const Half p2 = ZEL_HALF(setr_epi8)(-1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1, -1);
    // The bytes between are written as they were. The last store ends behind the last of the 16, so one more follows.
    for (; i + 8 < pairs; i += 8, out += 48) {
      const Half bytes = JoinedBytes(low + i, high + i);
      PutBytes(out, bytes, p0);
      PutBytes(out + 16, bytes, p1);
      PutBytes(out + 32, bytes, p2);
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

#if defined(ZEL_TWINS)
// All four steps in one walk. A block takes in a vector of pairs from i on; each step follows half a pair behind the
// one before, so that the vector of pairs from i - 1 on is finished. What a block needs of the one before it is kept in
// three registers.
template <bool kScaleFirst>
struct PairLifter {
  WideDoubles c0, c1, c2, c3, evenScale, oddScale;
  WideDoubles first, second, third;

  static inline WideDoubles Scaled(bool now, WideDoubles v, WideDoubles scale) {
    return now ? ZEL_WIDE(mul_pd)(v, scale) : v;
  }

  inline void Take(const double* even, const double* odd, ptrdiff_t i, WideDoubles* outEven, WideDoubles* outOdd) {
    const WideDoubles e = Scaled(kScaleFirst, ZEL_WIDE(loadu_pd)(even + i), evenScale);
    const WideDoubles after = Scaled(kScaleFirst, ZEL_WIDE(loadu_pd)(even + i + 1), evenScale);
    const WideDoubles v1 = Lifted(Scaled(kScaleFirst, ZEL_WIDE(loadu_pd)(odd + i), oddScale), c0, e, after);
    const WideDoubles back1 = OneBack(&first, v1);
    const WideDoubles v2 = Lifted(e, c1, back1, v1);
    const WideDoubles back2 = OneBack(&second, v2);
    const WideDoubles v3 = Lifted(back1, c2, back2, v2);
    *outEven = Scaled(!kScaleFirst, Lifted(back2, c3, OneBack(&third, v3), v3), evenScale);
    *outOdd = Scaled(!kScaleFirst, v3, oddScale);
  }
};

// For at least one vector of pairs. The outputs are not the inputs.
template <bool kScaleFirst>
static inline void LiftPairsWide(const double* even, const double* odd, const double* c, const double* scales,
                                 double* outEven, double* outOdd, size_t pairs) {
  const ptrdiff_t wide = kDoubles;
  const WideDoubles zero = ZEL_WIDE(setzero_pd)();
  PairLifter<kScaleFirst> lifter = {ZEL_WIDE(set1_pd)(c[0]),
                                    ZEL_WIDE(set1_pd)(c[1]),
                                    ZEL_WIDE(set1_pd)(c[2]),
                                    ZEL_WIDE(set1_pd)(c[3]),
                                    ZEL_WIDE(set1_pd)(scales[0]),
                                    ZEL_WIDE(set1_pd)(scales[1]),
                                    zero,
                                    zero,
                                    zero};
  // A walk starts four pairs or more before its first, of which the first three come out wrong.
  const ptrdiff_t ahead = wide < 4 ? 4 : wide;
  WideDoubles e, o;
  for (ptrdiff_t i = 1 - ahead; i < 1; i += wide) lifter.Take(even, odd, i, &e, &o);
  const ptrdiff_t last = (ptrdiff_t)pairs + 1 - wide;
  ptrdiff_t i = 1;
  for (; i <= last; i += wide) {
    lifter.Take(even, odd, i, &e, &o);
    ZEL_WIDE(storeu_pd)(outEven + i - 1, e);
    ZEL_WIDE(storeu_pd)(outOdd + i - 1, o);
  }
  if (i - 1 == (ptrdiff_t)pairs) return;
  // The last pairs, together with some that are done already.
  for (i = last - ahead; i < last; i += wide) lifter.Take(even, odd, i, &e, &o);
  lifter.Take(even, odd, last, &e, &o);
  ZEL_WIDE(storeu_pd)(outEven + last - 1, e);
  ZEL_WIDE(storeu_pd)(outOdd + last - 1, o);
}
#endif

static void LiftThenScale(double* even, double* odd, const double* c, const double* scales, double* outEven,
                          double* outOdd, size_t pairs) {
#if defined(ZEL_TWINS)
  if (pairs >= kDoubles) {
    LiftPairsWide<false>(even, odd, c, scales, outEven, outOdd, pairs);
    return;
  }
#endif
  LiftPairsInPlace(even, odd, c, pairs);
  ScaleDoubles(even, scales[0], outEven, pairs);
  ScaleDoubles(odd, scales[1], outOdd, pairs);
}

static void ScaleThenLift(const double* even, const double* odd, const double* c, const double* scales, double* outEven,
                          double* outOdd, size_t pairs) {
#if defined(ZEL_TWINS)
  if (pairs >= kDoubles) {
    LiftPairsWide<true>(even, odd, c, scales, outEven, outOdd, pairs);
    return;
  }
#endif
  ScaleDoubles(even - 2, scales[0], outEven - 2, pairs + 4);
  ScaleDoubles(odd - 2, scales[1], outOdd - 2, pairs + 3);
  LiftPairsInPlace(outEven, outOdd, c, pairs);
}

static int32_t RoundDetails(const double* in, double scale, int16_t* out, size_t count) {
  int32_t most = 0;
  for (size_t i = 0; i < count; ++i) {
    const double c = in[i] * scale;
    // Magnitudes stay far from the limits of 32 bits.
    const int32_t rounded = (int32_t)(c + __builtin_copysign(0.5, c));
    const int32_t cut = rounded < -256 ? -256 : rounded > 256 ? 256 : rounded;
    const int32_t magnitude = cut < 0 ? -cut : cut;
    most = magnitude > most ? magnitude : most;
    out[i] = (int16_t)cut;
  }
  return most;
}

#if defined(ZEL_TABLES)
// The new magnitudes with the signs of the old values.
static inline Wide Signed(Wide magnitudes, Wide values) {
  const Wide signs = ZEL_WIDE(srai_epi16)(values, 15);
  return ZEL_WIDE(sub_epi16)(ZEL_WIDE_BITS(xor)(magnitudes, signs), signs);
}

// Packing and unpacking keep the order.
static inline Wide ExpandVector(const int16_t* in, const Table& curve, double scale, double* out) {
  const Wide zero = ZEL_WIDE_BITS(setzero)(), a = LoadWide(in), b = LoadWide(in + kWideWords);
  const Wide sizeA = ZEL_WIDE(abs_epi16)(a), sizeB = ZEL_WIDE(abs_epi16)(b);
  const Wide mapped = LookUpSmall(ZEL_WIDE(packus_epi16)(sizeA, sizeB), curve);
  int16_t words[kWideBytes];
  StoreWide(words, Signed(ZEL_WIDE(unpacklo_epi8)(mapped, zero), a));
  StoreWide(words + kWideWords, Signed(ZEL_WIDE(unpackhi_epi8)(mapped, zero), b));
  for (size_t i = 0; i < kWideBytes; ++i) out[i] = words[i] * scale;
  return ZEL_WIDE_BITS(or)(sizeA, sizeB);
}
#endif

static uint32_t ExpandDetails(const int16_t* in, const uint8_t* curve, double scale, double* out, size_t count) {
  uint32_t seen = 0;
  size_t i = 0;
#if defined(ZEL_TABLES)
  const Table table = LoadTable(curve);
  Wide sizes = ZEL_WIDE_BITS(setzero)();
  // A last vector that is not full starts earlier and expands some details again.
  for (; count >= kWideBytes && i < count; i += kWideBytes) {
    const size_t at = i + kWideBytes <= count ? i : count - kWideBytes;
    sizes = ZEL_WIDE_BITS(or)(sizes, ExpandVector(in + at, table, scale, out + at));
  }
  uint16_t lanes[kWideWords];
  StoreWide(lanes, sizes);
  for (size_t k = 0; k < kWideWords; ++k) seen |= lanes[k];
#endif
  for (; i < count; ++i) {
    const int32_t magnitude = in[i] < 0 ? -in[i] : in[i];
    const int32_t shrunk = curve[magnitude < 255 ? magnitude : 255];
    seen |= (uint32_t)magnitude;
    out[i] = (in[i] < 0 ? -shrunk : shrunk) * scale;
  }
  return seen >> 8;
}

static const WaveletKernels kWaveletKernels = {SplitBytes,    SplitDoubles, JoinBytes,    JoinDoubles,
                                               ScaleDoubles,  LiftOnce,     LiftRows,     LiftThenScale,
                                               ScaleThenLift, RoundDetails, ExpandDetails};
