// Trilinear weights of pixels from packed cells of eight corners.

#if defined(ZEL_TWINS)
// The eight bytes of the cells of pixels k and k + 1 of every four.
static inline Mid TwoCells(const uint8_t* cells, const uint32_t* at) {
#if defined(__AVX2__)
  return _mm256_inserti128_si256(_mm256_castsi128_si256(LoadEights(cells + at[0], cells + at[1])),
                                 LoadEights(cells + at[4], cells + at[5]), 1);
#else
  return LoadEights(cells + at[0], cells + at[1]);
#endif
}

static inline Mid SumsOfNeighbours(Mid a, Mid b) {
#if defined(__SSE4_1__)
  return ZEL_MID(hadd_epi32)(a, b);
#elif defined(ZEL_NEON)
  return (Mid)vpaddq_s32((int32x4_t)a, (int32x4_t)b);
#else
  return v_add_epi32(wasm_i32x4_shuffle(a, b, 0, 2, 4, 6), wasm_i32x4_shuffle(a, b, 1, 3, 5, 7));
#endif
}
#endif

// With fractions f of 17ths along the three axes, the eight products of the corners with their shares add up to at most
// 255 * 17 * 17 * 17.
static void WeighPixels(const uint8_t* in, uint8_t* out, size_t pixels, size_t step, const uint8_t* cells) {
  size_t p = 0;
#if defined(ZEL_TWINS)
  if (step == 3) {
    const Mid spread = ZEL_PICKS(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    // From the bytes f0 f1 f2 0 r0 r1 r2 17, with r = 17 - f, of each pixel.
    const Mid firstShares = ZEL_PICKS(4, 0, 4, 0, 4, 0, 4, 0, 12, 8, 12, 8, 12, 8, 12, 8);
    const Mid secondShares = ZEL_PICKS(5, -1, 1, -1, 5, -1, 1, -1, 13, -1, 9, -1, 13, -1, 9, -1);
    const Mid thirdShares = ZEL_PICKS(6, -1, 6, -1, 2, -1, 2, -1, 14, -1, 14, -1, 10, -1, 10, -1);
    for (; p + kMidPixels <= pixels; p += kMidPixels) {
      const Mid v = ZEL_MID(shuffle_epi8)(LoadPixels(in + 3 * p, pixels - p), spread);
      const Mid level = Seventeenths(v);
      const Mid fraction = ZEL_MID(sub_epi8)(v, ZEL_MID_BITS(or)(level, ZEL_MID(slli_epi16)(level, 4)));
      const Mid rest = ZEL_MID(sub_epi8)(ZEL_MID(set1_epi8)(17), fraction);
      // Loads of eight bytes from these places are faster than a gather.
      alignas(32) uint32_t at[kMidPixels];
      StoreMid(at, PlacesOf(level, 3));
      const Mid sharesA = ZEL_MID(unpacklo_epi32)(fraction, rest), sharesB = ZEL_MID(unpackhi_epi32)(fraction, rest);
      const Mid cornersA = TwoCells(cells, at), cornersB = TwoCells(cells, at + 2);
      // At most 255 * 17, then shares of at most 289.
      const Mid edgesA = ZEL_MID(maddubs_epi16)(cornersA, ZEL_MID(shuffle_epi8)(sharesA, firstShares));
      const Mid edgesB = ZEL_MID(maddubs_epi16)(cornersB, ZEL_MID(shuffle_epi8)(sharesB, firstShares));
      const Mid facesA = ZEL_MID(madd_epi16)(edgesA, ZEL_MID(mullo_epi16)(ZEL_MID(shuffle_epi8)(sharesA, secondShares),
                                                                          ZEL_MID(shuffle_epi8)(sharesA, thirdShares)));
      const Mid facesB = ZEL_MID(madd_epi16)(edgesB, ZEL_MID(mullo_epi16)(ZEL_MID(shuffle_epi8)(sharesB, secondShares),
                                                                          ZEL_MID(shuffle_epi8)(sharesB, thirdShares)));
      // n + 1/2 is exact in single precision and its quotient lies 1/9826 or more from any whole number. The two
      // roundings are off by 255 * 2^-23 at most, which is less: truncation gives the integer quotient.
      const MidFloats n = ZEL_MID(cvtepi32_ps)(SumsOfNeighbours(facesA, facesB));
      const Mid quotient = ZEL_MID(cvttps_epi32)(
          ZEL_MID(mul_ps)(ZEL_MID(add_ps)(n, ZEL_MID(set1_ps)(0.5f)), ZEL_MID(set1_ps)(1.0f / 4913.0f)));
      StoreLowBytes(out + p, quotient);
    }
  }
#endif
  for (; p < pixels; ++p) {
    const uint32_t v0 = in[step * p], v1 = in[step * p + 1], v2 = in[step * p + 2];
    const uint32_t f0 = v0 % 17, f1 = v1 % 17, f2 = v2 % 17;
    const uint8_t* c = cells + 8 * (v0 / 17 + 16 * (v1 / 17) + 256 * (v2 / 17));
    const uint32_t e0 = c[0] * (17 - f0) + c[1] * f0, e1 = c[2] * (17 - f0) + c[3] * f0;
    const uint32_t e2 = c[4] * (17 - f0) + c[5] * f0, e3 = c[6] * (17 - f0) + c[7] * f0;
    const uint32_t sum = (e0 * (17 - f1) + e1 * f1) * (17 - f2) + (e2 * (17 - f1) + e3 * f1) * f2;
    out[p] = (uint8_t)(sum / 4913);
  }
}

static const WeightKernels kWeightKernels = {WeighPixels};
