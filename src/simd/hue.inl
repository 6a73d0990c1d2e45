// Weights of pixels by their hue.

// The place of a pixel among the weights; `last` is the largest sample. Red wins ties, then green; the quotients
// truncate towards zero.
static inline int32_t HuePlace(int32_t r, int32_t g, int32_t b, int32_t last) {
  const int32_t highGreen = r > g ? r : g, lowGreen = r < g ? r : g;
  const int32_t high = highGreen > b ? highGreen : b, low = lowGreen < b ? lowGreen : b;
  const int32_t delta = high - low, sum = high + low;
  const int32_t fullSaturation = sum < 2 * last - sum ? sum : 2 * last - sum;
  if (delta == 0 || delta * 100 < fullSaturation) return kGreyPlace;
  return high == r ? 60 + 60 * (g - b) / delta : high == g ? 188 + 60 * (b - r) / delta : 316 + 60 * (r - g) / delta;
}

#if defined(ZEL_TWINS)
// The weights of as many pixels as a vector has bytes. All but the quotients of the differences is done in bytes.
#if defined(__AVX512VBMI__)
struct HueTable {
  Wide part[6];
};

static inline HueTable LoadHueTable(const uint8_t* weights) {
  HueTable table;
  for (size_t k = 0; k < 6; ++k) table.part[k] = LoadWide(weights + 64 * k);
  return table;
}

// A shuffle of two registers looks up by the low seven bits.
static inline void StoreHueWeights(uint8_t* out, Wide place, ByteMask isRed, ByteMask isGreen, const HueTable& table) {
  const Wide red = _mm512_permutex2var_epi8(table.part[0], place, table.part[1]);
  const Wide green = _mm512_permutex2var_epi8(table.part[2], place, table.part[3]);
  const Wide blue = _mm512_permutex2var_epi8(table.part[4], place, table.part[5]);
  StoreWide(out, Chosen(isRed, red, Chosen(isGreen, green, blue)));
}
#else
typedef const uint8_t* HueTable;

static inline HueTable LoadHueTable(const uint8_t* weights) {
  return weights;
}

// One by one: gathers are slow where they are slow, and not faster elsewhere.
static inline void StoreHueWeights(uint8_t* out, Wide place, ByteMask isRed, ByteMask isGreen, HueTable table) {
  const Wide green = ZEL_WIDE_BITS(andnot)(isRed, ZEL_WIDE_BITS(and)(isGreen, ZEL_WIDE(set1_epi8)((char)128)));
  const Wide blue = ZEL_WIDE_BITS(andnot)(ZEL_WIDE_BITS(or)(isRed, isGreen), ZEL_WIDE(set1_epi8)(1));
  uint16_t at[kWideBytes];
  StoreWords(at, ZEL_WIDE_BITS(or)(place, green), blue);
#pragma GCC unroll 8
  for (size_t k = 0; k < kWideBytes; k += 4) {
    uint64_t four;
    __builtin_memcpy(&four, at + k, 8);
    out[k] = table[four & 0xFFFF];
    out[k + 1] = table[four >> 16 & 0xFFFF];
    out[k + 2] = table[four >> 32 & 0xFFFF];
    out[k + 3] = table[four >> 48];
  }
}
#endif

// The smaller of sum and 510 - sum of two bytes, which is no more than 255: sums that saturate are the greater ones.
static inline Wide FullSaturations(Wide high, Wide low) {
  const Wide all = ZEL_WIDE(set1_epi8)((char)255);
  return ZEL_WIDE(min_epu8)(ZEL_WIDE(adds_epu8)(high, low),
                            ZEL_WIDE(adds_epu8)(ZEL_WIDE(sub_epi8)(all, high), ZEL_WIDE(sub_epi8)(all, low)));
}

// 60 * numerator / denominator for bytes that are no greater than their denominators, and these not 0. Single precision
// holds the products. A quotient that is no whole number lies 1/255 or more from the next one and its rounding moves it
// by 2^-19 at most, so truncation gives the integer quotient.
static inline Wide SixtyQuotients(Wide numerator, Wide denominator) {
  const Wide zero = ZEL_WIDE_BITS(setzero)(), factors = ZEL_WIDE(set1_epi16)(60);
  const Wide n[2] = {ZEL_WIDE(mullo_epi16)(ZEL_WIDE(unpacklo_epi8)(numerator, zero), factors),
                     ZEL_WIDE(mullo_epi16)(ZEL_WIDE(unpackhi_epi8)(numerator, zero), factors)};
  const Wide d[2] = {ZEL_WIDE(unpacklo_epi8)(denominator, zero), ZEL_WIDE(unpackhi_epi8)(denominator, zero)};
  Wide words[2];
  for (int k = 0; k < 2; ++k) {
    const WideFloats low = ZEL_WIDE(div_ps)(ZEL_WIDE(cvtepi32_ps)(ZEL_WIDE(unpacklo_epi16)(n[k], zero)),
                                            ZEL_WIDE(cvtepi32_ps)(ZEL_WIDE(unpacklo_epi16)(d[k], zero)));
    const WideFloats high = ZEL_WIDE(div_ps)(ZEL_WIDE(cvtepi32_ps)(ZEL_WIDE(unpackhi_epi16)(n[k], zero)),
                                             ZEL_WIDE(cvtepi32_ps)(ZEL_WIDE(unpackhi_epi16)(d[k], zero)));
    words[k] = ZEL_WIDE(packs_epi32)(ZEL_WIDE(cvttps_epi32)(low), ZEL_WIDE(cvttps_epi32)(high));
  }
  return ZEL_WIDE(packus_epi16)(words[0], words[1]);
}

static inline void WeighHuesOfPlanes(Wide r, Wide g, Wide b, uint8_t* out, const HueTable& table) {
  const Wide zero = ZEL_WIDE_BITS(setzero)(), one = ZEL_WIDE(set1_epi8)(1), middle = ZEL_WIDE(set1_epi8)(60);
  const Wide high = ZEL_WIDE(max_epu8)(ZEL_WIDE(max_epu8)(r, g), b),
             low = ZEL_WIDE(min_epu8)(ZEL_WIDE(min_epu8)(r, g), b);
  const Wide delta = ZEL_WIDE(sub_epi8)(high, low);
  const ByteMask isRed = EqualBytes(high, r), isGreen = EqualBytes(high, g);
  const Wide from = Chosen(isRed, g, Chosen(isGreen, b, r)), less = Chosen(isRed, b, Chosen(isGreen, r, g));
  const Wide ahead = ZEL_WIDE(subs_epu8)(from, less), behind = ZEL_WIDE(subs_epu8)(less, from);
  const Wide degrees = SixtyQuotients(ZEL_WIDE_BITS(or)(ahead, behind), ZEL_WIDE(max_epu8)(delta, one));
  const Wide place =
      Chosen(EqualBytes(behind, zero), ZEL_WIDE(add_epi8)(middle, degrees), ZEL_WIDE(sub_epi8)(middle, degrees));
  // A hundred times delta where that fits a byte. Where delta is 0 the full saturation counts as 1 at least, as grey.
  const Wide hundredfold =
      ZEL_WIDE(shuffle_epi8)(ZEL_WIDE_PICKS(0, 100, (char)200, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0),
                             ZEL_WIDE(min_epu8)(delta, ZEL_WIDE(set1_epi8)(3)));
  const Wide lack = ZEL_WIDE(subs_epu8)(ZEL_WIDE(max_epu8)(FullSaturations(high, low), one), hundredfold);
  StoreHueWeights(out, Chosen(EqualBytes(lack, zero), place, ZEL_WIDE(set1_epi8)(kGreyPlace)), isRed, isGreen, table);
}

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
static inline Mid HuePlaces(Mid r, Mid g, Mid b, int32_t last) {
  const Mid high = ZEL_MID(max_epi32)(ZEL_MID(max_epi32)(r, g), b),
            low = ZEL_MID(min_epi32)(ZEL_MID(min_epi32)(r, g), b);
  const Mid delta = ZEL_MID(sub_epi32)(high, low), sum = ZEL_MID(add_epi32)(high, low);
  const Mid fullSaturation = ZEL_MID(min_epi32)(sum, ZEL_MID(sub_epi32)(ZEL_MID(set1_epi32)(2 * last), sum));
  const Mid isRed = ZEL_MID(cmpeq_epi32)(high, r), isGreen = ZEL_MID(cmpeq_epi32)(high, g);
  Mid difference = ZEL_MID(blendv_epi8)(ZEL_MID(sub_epi32)(r, g), ZEL_MID(sub_epi32)(b, r), isGreen);
  Mid start = ZEL_MID(blendv_epi8)(ZEL_MID(set1_epi32)(316), ZEL_MID(set1_epi32)(188), isGreen);
  difference = ZEL_MID(blendv_epi8)(difference, ZEL_MID(sub_epi32)(g, b), isRed);
  start = ZEL_MID(blendv_epi8)(start, ZEL_MID(set1_epi32)(60), isRed);
  const MidFloats divisor = ZEL_MID(max_ps)(ZEL_MID(cvtepi32_ps)(delta), ZEL_MID(set1_ps)(1.0f));
  const Mid grey = WhereLess(ZEL_MID(mul_ps)(ZEL_MID(cvtepi32_ps)(delta), ZEL_MID(set1_ps)(100.0f)),
                             ZEL_MID(max_ps)(ZEL_MID(cvtepi32_ps)(fullSaturation), ZEL_MID(set1_ps)(1.0f)));
  const Mid quotient = ZEL_MID(cvttps_epi32)(
      ZEL_MID(div_ps)(ZEL_MID(mul_ps)(ZEL_MID(cvtepi32_ps)(difference), ZEL_MID(set1_ps)(60.0f)), divisor));
  return ZEL_MID(blendv_epi8)(ZEL_MID(add_epi32)(quotient, start), ZEL_MID(set1_epi32)(kGreyPlace), grey);
}
#endif

static void WeighHuesOfBytes(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* weights, bool blueFirst) {
  const size_t red = blueFirst ? 2 : 0, blue = 2 - red;
  size_t p = 0;
#if defined(ZEL_TWINS)
  const HueTable table = LoadHueTable(weights);
  // A last vector that is not full starts earlier and weighs some pixels again.
  for (; pixels >= kWideBytes && p < pixels; p += kWideBytes) {
    const size_t at = p + kWideBytes <= pixels ? p : pixels - kWideBytes;
    const Planes planes = LoadPlanes(in + 3 * at);
    WeighHuesOfPlanes(blueFirst ? planes.third : planes.first, planes.second, blueFirst ? planes.first : planes.third,
                      out + at, table);
  }
#endif
  for (; p < pixels; ++p) out[p] = weights[HuePlace(in[3 * p + red], in[3 * p + 1], in[3 * p + blue], 255)];
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
  AskAhead(in, 6 * kMidPixels);
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
    uint32_t at[kMidPixels];
    StoreMid(at, HuePlaces(blueFirst ? third : first, WordsOfPixels(a, b, 1), blueFirst ? first : third, 65535));
    for (size_t k = 0; k < kMidPixels; ++k) out[p + k] = weights[at[k]];
  }
#endif
  for (; p < pixels; ++p) out[p] = weights[HuePlace(in[3 * p + red], in[3 * p + 1], in[3 * p + blue], 65535)];
}

#if defined(ZEL_TWINS)
// Sample k of four pixels, each in 32 bits.
static inline Mid SamplesOfPixels(Mid v, size_t k) {
  return ZEL_MID(shuffle_epi8)(v,
                               ZEL_MID(add_epi8)(ZEL_PICKS(0, -1, -1, -1, 3, -1, -1, -1, 6, -1, -1, -1, 9, -1, -1, -1),
                                                 ZEL_MID(set1_epi32)((int32_t)k)));
}
#endif

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
