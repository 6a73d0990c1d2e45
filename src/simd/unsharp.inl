// The unsharp mask's step: samples pushed away from their blurred values.

static void PushBytesFlat(const uint8_t* in, const uint8_t* blurred, size_t from, uint8_t* out, size_t count,
                          int32_t gain, int32_t threshold) {
  for (size_t i = from; i < count; ++i) {
    const int32_t d = in[i] - blurred[i];
    const int32_t excess = (d < 0 ? -d : d) - threshold;
    // At most 255 * 32767, far inside 32 bits.
    const int32_t step = (excess < 0 ? 0 : excess) * gain >> 7;
    const int32_t v = in[i] + (d < 0 ? -step : step);
    out[i] = (uint8_t)(v < 0 ? 0 : v > 255 ? 255 : v);
  }
}

#if defined(ZEL_NEON)
enum : int32_t { kMostVectorGain = 16383 };

// excess * gain >> 7 as the upper half of twice (excess << 7) * (gain << 1), which is signed here. Packing cuts it to
// what fits a byte: a greater step saturates no less.
static inline Wide Pushed(Wide in, Wide blurred, Wide doubledGain, Wide threshold) {
  const uint8x16_t excess = vqsubq_u8(vabdq_u8(in, blurred), threshold);
  const int16x8_t gain = (int16x8_t)doubledGain;
  const int16x8_t low = vqdmulhq_s16((int16x8_t)vshll_n_u8(vget_low_u8(excess), 7), gain);
  const int16x8_t high = vqdmulhq_s16((int16x8_t)vshll_high_n_u8(excess, 7), gain);
  const uint8x16_t steps = vqmovun_high_s16(vqmovun_s16(low), high);
  return vbslq_u8(vcltq_u8(in, blurred), vqsubq_u8(in, steps), vqaddq_u8(in, steps));
}
#elif defined(ZEL_TWINS)
enum : int32_t { kMostVectorGain = kMaxByteGain };

// excess * gain >> 7 as the upper half of (excess << 8) * (gain << 1), cut to what fits a byte: a greater step
// saturates no less.
static inline Wide WordSteps(Wide shiftedExcess, Wide doubledGain) {
  return ZEL_WIDE(min_epu16)(ZEL_WIDE(mulhi_epu16)(shiftedExcess, doubledGain), ZEL_WIDE(set1_epi16)(255));
}

static inline Wide ByteSteps(Wide excess, Wide doubledGain) {
  const Wide zero = ZEL_WIDE_BITS(setzero)();
  return ZEL_WIDE(packus_epi16)(WordSteps(ZEL_WIDE(unpacklo_epi8)(zero, excess), doubledGain),
                                WordSteps(ZEL_WIDE(unpackhi_epi8)(zero, excess), doubledGain));
}

#if defined(__wasm_simd128__)
// Upper halves are dear in WebAssembly. Up to this gain products with bytes fit 16 bits as they are.
enum : int32_t { kMostShortGain = 257 };

static inline Wide ShortByteSteps(Wide excess, Wide gain) {
  return v_packus_epi16(v_srli_epi16(v_mullo_epi16(wasm_u16x8_extend_low_u8x16(excess), gain), 7),
                        v_srli_epi16(v_mullo_epi16(wasm_u16x8_extend_high_u8x16(excess), gain), 7));
}
#endif

template <Wide (*kSteps)(Wide, Wide) = ByteSteps>
static inline Wide Pushed(Wide in, Wide blurred, Wide gain, Wide threshold) {
  const Wide over = ZEL_WIDE(subs_epu8)(in, blurred), under = ZEL_WIDE(subs_epu8)(blurred, in);
  const Wide excess = ZEL_WIDE(subs_epu8)(ZEL_WIDE_BITS(or)(over, under), threshold);
  const Wide steps = kSteps(excess, gain);
  const Wide up = WhereZero(under, steps);  // where the two are equal the step is 0
  return ZEL_WIDE(subs_epu8)(ZEL_WIDE(adds_epu8)(in, up), ZEL_WIDE_BITS(xor)(steps, up));
}
#endif

static void PushBytes(const uint8_t* in, const uint8_t* blurred, uint8_t* out, size_t count, int32_t gain,
                      int32_t threshold) {
  size_t i = 0;
#if defined(ZEL_TWINS)
  const Wide bytes = ZEL_WIDE(set1_epi8)((char)(uint8_t)(threshold > 255 ? 255 : threshold));
#if defined(__wasm_simd128__)
  if (gain >= 0 && gain <= kMostShortGain) {
    const Wide words = v_set1_epi16((short)gain);
    for (; i + kWideBytes <= count; i += kWideBytes) {
      StoreWide(out + i, Pushed<ShortByteSteps>(LoadWide(in + i), LoadWide(blurred + i), words, bytes));
    }
  }
#endif
  if (gain >= 0 && gain <= kMostVectorGain) {
    const Wide doubledGain = ZEL_WIDE(set1_epi16)((short)(uint16_t)(2 * gain));
    for (; i + kWideBytes <= count; i += kWideBytes) {
      StoreWide(out + i, Pushed(LoadWide(in + i), LoadWide(blurred + i), doubledGain, bytes));
    }
  }
#endif
  PushBytesFlat(in, blurred, i, out, count, gain, threshold);
}

// The excess from which the step reaches 65536 whatever the sample. Cutting the excess there changes no result and
// keeps its product with the gain within 2^24.
static inline int32_t MostExcess(int32_t gain) {
  const int32_t size = gain < 0 ? -gain : gain;
  return size == 0 ? 65535 : (kMaxWordGain + size - 1) / size;
}

static void PushWords(const uint16_t* in, const uint16_t* blurred, uint16_t* out, size_t count, int32_t gain,
                      int32_t threshold) {
  const int32_t most = MostExcess(gain);
  for (size_t i = 0; i < count; ++i) {
    const int32_t d = in[i] - blurred[i];
    const int32_t above = (d < 0 ? -d : d) - threshold;
    const int32_t excess = above < 0 ? 0 : above > most ? most : above;
    const int32_t step = excess * gain >> 7;
    const int32_t v = in[i] + (d < 0 ? -step : step);
    out[i] = (uint16_t)(v < 0 ? 0 : v > 65535 ? 65535 : v);
  }
}

static const UnsharpKernels kUnsharpKernels = {PushBytes, PushWords};
