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

#if defined(ZEL_TWINS)
static inline Mid WhereLess(MidFloats a, MidFloats b) {
#if defined(__AVX2__)
  return _mm256_castps_si256(_mm256_cmp_ps(a, b, _CMP_LT_OQ));
#elif defined(__SSE4_1__)
  return _mm_castps_si128(_mm_cmplt_ps(a, b));
#else
  return (Mid)((LanesF32)a < (LanesF32)b);
#endif
}

// Single precision holds every number here: 60 * 65535 and 100 * 65535 are below 2^24. A quotient that is no whole
// number lies 1/65535 or more from the next one, and its rounding moves it by 2^-19 at most, so truncation gives the
// integer quotient.
static inline Mid WeighedHues(Mid r, Mid g, Mid b, int32_t last) {
  const Mid high = ZEL_MID(max_epi32)(ZEL_MID(max_epi32)(r, g), b),
            low = ZEL_MID(min_epi32)(ZEL_MID(min_epi32)(r, g), b);
  const Mid delta = ZEL_MID(sub_epi32)(high, low), sum = ZEL_MID(add_epi32)(high, low);
  const Mid fullSaturation = ZEL_MID(min_epi32)(sum, ZEL_MID(sub_epi32)(ZEL_MID(set1_epi32)(2 * last), sum));
  const Mid isRed = ZEL_MID(cmpeq_epi32)(high, r), isGreen = ZEL_MID(cmpeq_epi32)(high, g);
  Mid difference = ZEL_MID(blendv_epi8)(ZEL_MID(sub_epi32)(r, g), ZEL_MID(sub_epi32)(b, r), isGreen);
  Mid start = ZEL_MID(blendv_epi8)(ZEL_MID(set1_epi32)(240), ZEL_MID(set1_epi32)(120), isGreen);
  difference = ZEL_MID(blendv_epi8)(difference, ZEL_MID(sub_epi32)(g, b), isRed);
  start = ZEL_MID_BITS(andnot)(isRed, start);
  const MidFloats divisor = ZEL_MID(max_ps)(ZEL_MID(cvtepi32_ps)(delta), ZEL_MID(set1_ps)(1.0f));
  const Mid grey = WhereLess(ZEL_MID(mul_ps)(ZEL_MID(cvtepi32_ps)(delta), ZEL_MID(set1_ps)(100.0f)),
                             ZEL_MID(max_ps)(ZEL_MID(cvtepi32_ps)(fullSaturation), ZEL_MID(set1_ps)(1.0f)));
  const Mid quotient = ZEL_MID(cvttps_epi32)(
      ZEL_MID(div_ps)(ZEL_MID(mul_ps)(ZEL_MID(cvtepi32_ps)(difference), ZEL_MID(set1_ps)(60.0f)), divisor));
  const Mid hue = ZEL_MID(add_epi32)(quotient, start);
  const Mid wrapped =
      ZEL_MID(add_epi32)(hue, ZEL_MID_BITS(and)(ZEL_MID(srai_epi32)(hue, 31), ZEL_MID(set1_epi32)(360)));
  return ZEL_MID(blendv_epi8)(wrapped, ZEL_MID(set1_epi32)(kGreyHue), grey);
}

// Table entries as bytes. A gather takes four bytes, the table has three more behind it.
static inline void StoreHueWeights(uint8_t* out, Mid hues, const uint8_t* weights) {
#if defined(__AVX2__)
  StoreLowBytes(out, _mm256_and_si256(_mm256_i32gather_epi32((const int*)weights, hues, 1), _mm256_set1_epi32(255)));
#else
  uint32_t at[kMidPixels];
  StoreMid(at, hues);
  for (size_t k = 0; k < kMidPixels; ++k) out[k] = weights[at[k]];
#endif
}

// Sample k of four pixels, each in 32 bits.
static inline Mid SamplesOfPixels(Mid v, size_t k) {
  return ZEL_MID(shuffle_epi8)(v,
                               ZEL_MID(add_epi8)(ZEL_PICKS(0, -1, -1, -1, 3, -1, -1, -1, 6, -1, -1, -1, 9, -1, -1, -1),
                                                 ZEL_MID(set1_epi32)((int32_t)k)));
}
#endif

static void WeighHuesOfBytes(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* weights, bool blueFirst) {
  const size_t red = blueFirst ? 2 : 0, blue = 2 - red;
  size_t p = 0;
#if defined(ZEL_TWINS)
  for (; p + kMidPixels <= pixels; p += kMidPixels) {
    const Mid v = LoadPixels(in + 3 * p, pixels - p);
    StoreHueWeights(out + p, WeighedHues(SamplesOfPixels(v, red), SamplesOfPixels(v, 1), SamplesOfPixels(v, blue), 255),
                    weights);
  }
#endif
  for (; p < pixels; ++p) out[p] = weights[WeighedHue(in[3 * p + red], in[3 * p + 1], in[3 * p + blue], 255)];
}

#if defined(ZEL_TWINS)
// Word k of the pixels, each in 32 bits: of every four pixels the first two lie in 16 bytes of `a`, the other two in
// those of `b`, which starts four words later.
static inline Mid WordsOfPixels(Mid a, Mid b, char k) {
  const Mid step = ZEL_MID(set1_epi32)(2 * k * 257);
  const Mid fromA = ZEL_PICKS(0, 1, -1, -1, 6, 7, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
  const Mid fromB = ZEL_PICKS(-1, -1, -1, -1, -1, -1, -1, -1, 4, 5, -1, -1, 10, 11, -1, -1);
  const Mid zero = ZEL_MID_BITS(setzero)();
  const Mid placesA = ZEL_MID_BITS(or)(ZEL_MID(add_epi8)(fromA, step), ZEL_MID(cmpgt_epi8)(zero, fromA));
  const Mid placesB = ZEL_MID_BITS(or)(ZEL_MID(add_epi8)(fromB, step), ZEL_MID(cmpgt_epi8)(zero, fromB));
  return ZEL_MID_BITS(or)(ZEL_MID(shuffle_epi8)(a, placesA), ZEL_MID(shuffle_epi8)(b, placesB));
}

static inline Mid LoadTwoPixels(const uint16_t* in) {
  AskAhead(in);
#if defined(__AVX2__)
  return LoadHalves(in, in + 12);
#else
  return LoadMid(in);
#endif
}
#endif

static void WeighHuesOfWords(const uint16_t* in, uint8_t* out, size_t pixels, const uint8_t* weights, bool blueFirst) {
  const size_t red = blueFirst ? 2 : 0, blue = 2 - red;
  size_t p = 0;
#if defined(ZEL_TWINS)
  for (; p + kMidPixels <= pixels; p += kMidPixels) {
    const Mid a = LoadTwoPixels(in + 3 * p), b = LoadTwoPixels(in + 3 * p + 4);
    const Mid first = WordsOfPixels(a, b, 0), third = WordsOfPixels(a, b, 2);
    StoreHueWeights(out + p,
                    WeighedHues(blueFirst ? third : first, WordsOfPixels(a, b, 1), blueFirst ? first : third, 65535),
                    weights);
  }
#endif
  for (; p < pixels; ++p) out[p] = weights[WeighedHue(in[3 * p + red], in[3 * p + 1], in[3 * p + blue], 65535)];
}

static void SaturationsOfBytes(const uint8_t* in, uint8_t* out, size_t pixels) {
  size_t p = 0;
#if defined(ZEL_TWINS)
  for (; p + kMidPixels <= pixels; p += kMidPixels) {
    const Mid v = LoadPixels(in + 3 * p, pixels - p);
    const Mid a = SamplesOfPixels(v, 0), b = SamplesOfPixels(v, 1), c = SamplesOfPixels(v, 2);
    const Mid high = ZEL_MID(max_epi32)(ZEL_MID(max_epi32)(a, b), c),
              low = ZEL_MID(min_epi32)(ZEL_MID(min_epi32)(a, b), c);
    const Mid sum = ZEL_MID(add_epi32)(high, low);
    const Mid full = ZEL_MID(min_epi32)(sum, ZEL_MID(sub_epi32)(ZEL_MID(set1_epi32)(510), sum));
    const Mid hundredfold = ZEL_MID(mullo_epi16)(ZEL_MID(sub_epi32)(high, low), ZEL_MID(set1_epi32)(100));
    // Truncation gives the integer quotient: one that is not whole lies 1/255 or more from the next.
    const Mid quotient = ZEL_MID(cvttps_epi32)(ZEL_MID(div_ps)(
        ZEL_MID(cvtepi32_ps)(hundredfold), ZEL_MID(max_ps)(ZEL_MID(cvtepi32_ps)(full), ZEL_MID(set1_ps)(1.0f))));
    StoreLowBytes(out + p, quotient);
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
