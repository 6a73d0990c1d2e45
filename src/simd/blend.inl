// Blends of two byte rows, by a mask row or by one weight.

// p / 255 for 0 <= p <= 65025: the error of 1/256 is made up by the two added terms.
static inline uint32_t DivideBy255(uint32_t p) {
  return (p + 1 + (p >> 8)) >> 8;
}

static inline uint8_t Mixed(uint32_t effect, uint32_t base, uint32_t mask) {
  return (uint8_t)(((255 - mask) * base + mask * effect) >> 8);
}

#if defined(ZEL_TWINS)
// The same on sixteen bits each, for all that come from bytes: 65025 + 1 + 254 still fits.
static inline Mid DivideWordsBy255(Mid p) {
  const Mid shifted = ZEL_MID(srli_epi16)(p, 8);
  return ZEL_MID(srli_epi16)(ZEL_MID(add_epi16)(ZEL_MID(add_epi16)(p, ZEL_MID(set1_epi16)(1)), shifted), 8);
}

// (255 - m) * b + m * e is b * 256 - b + m * (e - b), whose terms may wrap round 65536 while the sum, at most 65025,
// does not.
static inline Mid MixedWords(Mid effect, Mid base, Mid mask) {
  const Mid all = ZEL_MID(sub_epi16)(ZEL_MID(slli_epi16)(base, 8), base);
  const Mid moved = ZEL_MID(mullo_epi16)(mask, ZEL_MID(sub_epi16)(effect, base));
  return ZEL_MID(srli_epi16)(ZEL_MID(add_epi16)(all, moved), 8);
}

static inline Mid LowWords(Mid bytes) {
  return ZEL_MID(unpacklo_epi8)(bytes, ZEL_MID_BITS(setzero)());
}
static inline Mid HighWords(Mid bytes) {
  return ZEL_MID(unpackhi_epi8)(bytes, ZEL_MID_BITS(setzero)());
}

// The base where the mask is 0, the blended value elsewhere.
static inline Mid KeepUnmasked(Mid blended, Mid base, Mid mask) {
  return ZEL_MID(blendv_epi8)(blended, base, ZEL_MID(cmpeq_epi8)(mask, ZEL_MID_BITS(setzero)()));
}

static inline Mid ScreenWords(Mid effect, Mid base, Mid mask) {
  const Mid all = ZEL_MID(set1_epi16)(255);
  const Mid dark = ZEL_MID(mullo_epi16)(ZEL_MID(sub_epi16)(all, effect), ZEL_MID(sub_epi16)(all, base));
  return MixedWords(ZEL_MID(sub_epi16)(all, DivideWordsBy255(dark)), base, mask);
}

static inline Mid MultiplyWords(Mid effect, Mid base, Mid mask) {
  return MixedWords(DivideWordsBy255(ZEL_MID(mullo_epi16)(effect, base)), base, mask);
}
#endif

static void SpreadMask(const uint8_t* in, uint8_t* out, size_t pixels, size_t channels) {
  if (channels == 3) {
    size_t p = 0;
#if defined(ZEL_TWINS)
    const Half first = ZEL_HALF(setr_epi8)(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    const Half second = ZEL_HALF(setr_epi8)(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
    const Half third = ZEL_HALF(setr_epi8)(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
    for (; p + 16 <= pixels; p += 16) {
      const Half m = LoadHalf(in + p);
      StoreHalf(out + 3 * p, ZEL_HALF(shuffle_epi8)(m, first));
      StoreHalf(out + 3 * p + 16, ZEL_HALF(shuffle_epi8)(m, second));
      StoreHalf(out + 3 * p + 32, ZEL_HALF(shuffle_epi8)(m, third));
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
#if defined(ZEL_TWINS)
  for (; i + kMidBytes <= count; i += kMidBytes) {
    AskAhead(effect + i, kMidBytes);
    AskAhead(base + i, kMidBytes);
    const Mid e = LoadMid(effect + i), b = LoadMid(base + i), m = LoadMid(mask + i);
    const Mid low = MixedWords(LowWords(e), LowWords(b), LowWords(m));
    const Mid high = MixedWords(HighWords(e), HighWords(b), HighWords(m));
    StoreMid(out + i, ZEL_MID(packus_epi16)(low, high));
  }
#endif
  for (; i < count; ++i) out[i] = Mixed(effect[i], base[i], mask[i]);
}

static void ScreenBytes(const uint8_t* effect, const uint8_t* base, const uint8_t* mask, uint8_t* out, size_t count) {
  size_t i = 0;
#if defined(ZEL_TWINS)
  for (; i + kMidBytes <= count; i += kMidBytes) {
    AskAhead(effect + i, kMidBytes);
    AskAhead(base + i, kMidBytes);
    const Mid e = LoadMid(effect + i), b = LoadMid(base + i), m = LoadMid(mask + i);
    const Mid low = ScreenWords(LowWords(e), LowWords(b), LowWords(m));
    const Mid high = ScreenWords(HighWords(e), HighWords(b), HighWords(m));
    StoreMid(out + i, KeepUnmasked(ZEL_MID(packus_epi16)(low, high), b, m));
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
#if defined(ZEL_TWINS)
  for (; i + kMidBytes <= count; i += kMidBytes) {
    AskAhead(effect + i, kMidBytes);
    AskAhead(base + i, kMidBytes);
    const Mid e = LoadMid(effect + i), b = LoadMid(base + i), m = LoadMid(mask + i);
    const Mid low = MultiplyWords(LowWords(e), LowWords(b), LowWords(m));
    const Mid high = MultiplyWords(HighWords(e), HighWords(b), HighWords(m));
    StoreMid(out + i, KeepUnmasked(ZEL_MID(packus_epi16)(low, high), b, m));
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
