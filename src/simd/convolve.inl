// The 3 x 3 convolution.

static inline uint8_t ClampedSum(int32_t sum) {
  const int32_t v = sum >> 10;
  return (uint8_t)(v < 0 ? 0 : v > 255 ? 255 : v);
}

static void Convolve3x3Flat(const uint8_t* const rows[3], size_t step, const int32_t weights[9], size_t from,
                            uint8_t* out, size_t count) {
  const uint8_t* const a = rows[0];
  const uint8_t* const b = rows[1];
  const uint8_t* const c = rows[2];
  const int32_t w0 = weights[0], w1 = weights[1], w2 = weights[2];
  const int32_t w3 = weights[3], w4 = weights[4], w5 = weights[5];
  const int32_t w6 = weights[6], w7 = weights[7], w8 = weights[8];
  for (size_t i = from; i < count; ++i) {
    out[i] = ClampedSum(w0 * a[i] + w1 * a[i + step] + w2 * a[i + 2 * step] + w3 * b[i] + w4 * b[i + step] +
                        w5 * b[i + 2 * step] + w6 * c[i] + w7 * c[i + step] + w8 * c[i + 2 * step]);
  }
}

#if defined(ZEL_TWINS)
#if defined(ZEL_NEON)
enum : int32_t { kMostArm = 511 };
#else
enum : int32_t { kMostArm = 32767 };
#endif

// Whether the weights form a cross with four equal arms, all fit for 16-bit products.
static bool IsNarrowCross(const int32_t weights[9]) {
  const int32_t arm = weights[1], centre = weights[4];
  return (weights[0] | weights[2] | weights[6] | weights[8]) == 0 && weights[3] == arm && weights[5] == arm &&
         weights[7] == arm && arm >= -kMostArm - 1 && arm <= kMostArm && centre >= -32768 && centre <= 32767;
}

// The sums for samples and their four neighbours' sums (at most 1020), divided by 1024 and cut to 16 bits, which still
// tells what lies outside a byte. `weights` has that of the centre and that of the arms in turns.
#if defined(ZEL_NEON)
// Samples and the arms' weight 64 times as large, both of which fit 16 bits: the upper half of a sum is its 1024th.
static inline Wide WeightsOfCross(const int32_t weights[9]) {
  return v_set1_epi32((int32_t)((uint32_t)weights[1] << 22 | (uint16_t)weights[4]));
}

static inline Wide LowCentre(Wide middle) {
  return (Wide)vshll_n_u8(vget_low_u8(middle), 6);
}

static inline Wide HighCentre(Wide middle) {
  return (Wide)vshll_high_n_u8(middle, 6);
}

static inline Wide CrossSums(Wide centre, Wide arms, Wide weights) {
  const int16x8_t c = (int16x8_t)centre, a = (int16x8_t)arms;
  const int16x8_t forCentre = vdupq_laneq_s16((int16x8_t)weights, 0), forArms = vdupq_laneq_s16((int16x8_t)weights, 1);
  const int32x4_t low =
      vmlal_s16(vmull_s16(vget_low_s16(c), vget_low_s16(forCentre)), vget_low_s16(a), vget_low_s16(forArms));
  const int32x4_t high = vmlal_high_s16(vmull_high_s16(c, forCentre), a, forArms);
  return (Wide)vuzp2q_s16((int16x8_t)low, (int16x8_t)high);
}
#else
static inline Wide WeightsOfCross(const int32_t weights[9]) {
  return ZEL_WIDE(set1_epi32)((int32_t)((uint32_t)weights[1] << 16 | (uint16_t)weights[4]));
}

static inline Wide LowCentre(Wide middle) {
  return ZEL_WIDE(unpacklo_epi8)(middle, ZEL_WIDE_BITS(setzero)());
}

static inline Wide HighCentre(Wide middle) {
  return ZEL_WIDE(unpackhi_epi8)(middle, ZEL_WIDE_BITS(setzero)());
}

static inline Wide CrossSums(Wide centre, Wide arms, Wide weights) {
  const Wide low = ZEL_WIDE(madd_epi16)(ZEL_WIDE(unpacklo_epi16)(centre, arms), weights);
  const Wide high = ZEL_WIDE(madd_epi16)(ZEL_WIDE(unpackhi_epi16)(centre, arms), weights);
  return ZEL_WIDE(packs_epi32)(ZEL_WIDE(srai_epi32)(low, 10), ZEL_WIDE(srai_epi32)(high, 10));
}
#endif

static inline void ConvolveCross(const uint8_t* const rows[3], size_t step, Wide weights, uint8_t* out, size_t i) {
  const Wide above = LoadWide(rows[0] + i + step), below = LoadWide(rows[2] + i + step);
  const Wide left = LoadWide(rows[1] + i), right = LoadWide(rows[1] + i + 2 * step);
  const Wide middle = LoadWide(rows[1] + i + step);
  const Wide armsLow = ZEL_WIDE(add_epi16)(LowSums(above, below), LowSums(left, right));
  const Wide armsHigh = ZEL_WIDE(add_epi16)(HighSums(above, below), HighSums(left, right));
  const Wide lowSums = CrossSums(LowCentre(middle), armsLow, weights);
  const Wide highSums = CrossSums(HighCentre(middle), armsHigh, weights);
  StoreWide(out + i, ZEL_WIDE(packus_epi16)(lowSums, highSums));
}
#endif

static void Convolve3x3(const uint8_t* const rows[3], size_t step, const int32_t weights[9], uint8_t* out,
                        size_t count) {
  size_t i = 0;
#if defined(ZEL_TWINS)
  if (IsNarrowCross(weights)) {
    const Wide pair = WeightsOfCross(weights);
    for (; i + kWideBytes <= count; i += kWideBytes) ConvolveCross(rows, step, pair, out, i);
  }
#endif
  Convolve3x3Flat(rows, step, weights, i, out, count);
}

static const ConvolveKernels kConvolveKernels = {Convolve3x3};
