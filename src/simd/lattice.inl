// Tetrahedral interpolation in a lattice of 16 x 16 x 16 nodes.
//
// The colour lies in a cube of eight nodes at fractions f of 0 to 16 from its lowest corner. The walk from that corner
// to the opposite one, along the axis of the largest fraction first, passes four nodes v0 to v3. With the sorted
// fractions f1 >= f2 >= f3 the sum d of differences times fractions is -f1 v0 + (f1 - f2) v1 + (f2 - f3) v2 + f3 v3.
// Equal fractions may be walked in any order, because the node between them has weight 0.

// Where the nodes of a table lie: bytes from cube to cube and from corner to corner along each axis, and from channel
// to channel.
struct LatticeLayout {
  uint32_t cube[3], corner[3], channel;
};

// A fraction and the step along its axis in one number that sorts by the fraction. A fraction of 0 takes no step:
// behind index 15 there is no node.
static inline uint32_t LatticeKey(uint32_t fraction, uint32_t step) {
  return fraction == 0 ? 0 : fraction << 16 | step;
}
static inline uint32_t LargerKey(uint32_t a, uint32_t b) {
  return a > b ? a : b;
}
static inline uint32_t SmallerKey(uint32_t a, uint32_t b) {
  return a < b ? a : b;
}

static inline void MapLattice(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* table,
                              const LatticeLayout& layout, bool blueFirst) {
  const size_t red = blueFirst ? 2 : 0, blue = 2 - red;
  for (size_t p = 0; p < pixels; ++p) {
    const uint32_t r = in[3 * p + red], g = in[3 * p + 1], b = in[3 * p + blue];
    const uint32_t kr = LatticeKey(r % 17, layout.corner[0]);
    const uint32_t kg = LatticeKey(g % 17, layout.corner[1]);
    const uint32_t kb = LatticeKey(b % 17, layout.corner[2]);
    const uint32_t high = LargerKey(kr, kg), low = SmallerKey(kr, kg);
    const uint32_t k1 = LargerKey(high, kb), k2 = LargerKey(low, SmallerKey(high, kb)), k3 = SmallerKey(low, kb);
    const uint8_t* const v0 = table + r / 17 * layout.cube[0] + g / 17 * layout.cube[1] + b / 17 * layout.cube[2];
    const uint8_t* const v1 = v0 + (k1 & 0xFFFF);
    const uint8_t* const v2 = v1 + (k2 & 0xFFFF);
    const uint8_t* const v3 = v2 + (k3 & 0xFFFF);
    const int32_t f1 = (int32_t)(k1 >> 16), f2 = (int32_t)(k2 >> 16), f3 = (int32_t)(k3 >> 16);
    for (size_t k = 0; k < 3; ++k) {
      const size_t c = k * layout.channel;
      const int32_t d = (f1 - f2) * v1[c] + (f2 - f3) * v2[c] + f3 * v3[c] - f1 * v0[c];
      const int32_t value = v0[c] + ((d - (d >> 4)) >> 4);
      out[3 * p + (blueFirst ? 2 - k : k)] = (uint8_t)(value > 255 ? 255 : value);
    }
  }
}

static void MapNodes(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* nodes, bool blueFirst) {
  MapLattice(in, out, pixels, nodes, {{3, 48, 768}, {3, 48, 768}, 1}, blueFirst);
}

#if defined(ZEL_TWINS)
// Without sorting: the weight of a corner is the smallest fraction of its axes minus the largest one of the others, if
// that is positive. From the bytes r g b 0 of every pixel come the weights of the four corners 0, r, g, rg.
static inline Mid LowerWeights(Mid fractions) {
  const Mid least = ZEL_MID(min_epu8)(
      ZEL_MID(shuffle_epi8)(fractions, ZEL_PICKS(-1, 0, 1, 0, -1, 4, 5, 4, -1, 8, 9, 8, -1, 12, 13, 12)),
      ZEL_MID(shuffle_epi8)(fractions, ZEL_PICKS(-1, 0, 1, 1, -1, 4, 5, 5, -1, 8, 9, 9, -1, 12, 13, 13)));
  const Mid others = ZEL_MID(max_epu8)(
      ZEL_MID(shuffle_epi8)(fractions, ZEL_PICKS(1, 1, 0, 2, 5, 5, 4, 6, 9, 9, 8, 10, 13, 13, 12, 14)),
      ZEL_MID(shuffle_epi8)(fractions, ZEL_PICKS(2, 2, 2, 2, 6, 6, 6, 6, 10, 10, 10, 10, 14, 14, 14, 14)));
  // Corner 0 has minus the largest of all three.
  const Mid redOrOthers = ZEL_MID(max_epu8)(ZEL_MID_BITS(and)(fractions, ZEL_MID(set1_epi32)(0xFF)), others);
  return ZEL_MID(sub_epi8)(ZEL_MID(subs_epu8)(least, others),
                           ZEL_MID_BITS(and)(redOrOthers, ZEL_MID(set1_epi32)(0xFF)));
}

// The corners b, rb, gb, rgb.
static inline Mid UpperWeights(Mid fractions) {
  const Mid blueLeast = ZEL_MID(min_epu8)(
      ZEL_MID(shuffle_epi8)(fractions, ZEL_PICKS(2, 0, 1, 0, 6, 4, 5, 4, 10, 8, 9, 8, 14, 12, 13, 12)),
      ZEL_MID(shuffle_epi8)(fractions, ZEL_PICKS(2, 2, 2, 2, 6, 6, 6, 6, 10, 10, 10, 10, 14, 14, 14, 14)));
  const Mid green = ZEL_MID_BITS(or)(ZEL_MID(slli_epi32)(fractions, 16), ZEL_MID(set1_epi32)(0xFFFFFF));
  const Mid others = ZEL_MID(max_epu8)(
      ZEL_MID(shuffle_epi8)(fractions, ZEL_PICKS(0, 1, 0, -1, 4, 5, 4, -1, 8, 9, 8, -1, 12, 13, 12, -1)),
      ZEL_MID(shuffle_epi8)(fractions, ZEL_PICKS(1, 1, 0, -1, 5, 5, 4, -1, 9, 9, 8, -1, 13, 13, 12, -1)));
  return ZEL_MID(subs_epu8)(ZEL_MID(min_epu8)(blueLeast, green), others);
}
#endif

#if defined(ZEL_TWINS)
static inline Mid LoadCells(const uint8_t* cells, const uint32_t* at) {
#if defined(__AVX2__)
  return LoadHalves(cells + at[0], cells + at[4]);
#else
  return LoadMid(cells + at[0]);
#endif
}

// The weights of the eight corners in the form that products want, d of one pixel of every four, and d from what the
// sum of products gave for two pixels. The four corners of a face lie side by side for each channel.
#if defined(__SSE4_1__)
struct CornerWeights {
  Mid lower, upper;
};

static inline CornerWeights CornerWeightsOf(Mid fractions) {
  return {LowerWeights(fractions), UpperWeights(fractions)};
}

template <int k>
static inline Mid Interpolated(Mid lowerFace, Mid upperFace, const CornerWeights& weights) {
#if defined(__AVX512VBMI__)
  // One instruction for four products and their sum.
  const Mid sums = _mm256_dpbusd_epi32(_mm256_setzero_si256(), lowerFace, Repeated<k>(weights.lower));
  return _mm256_dpbusd_epi32(sums, upperFace, Repeated<k>(weights.upper));
#else
  const Mid sums = ZEL_MID(add_epi16)(ZEL_MID(maddubs_epi16)(lowerFace, Repeated<k>(weights.lower)),
                                      ZEL_MID(maddubs_epi16)(upperFace, Repeated<k>(weights.upper)));
  return ZEL_MID(madd_epi16)(sums, ZEL_MID(set1_epi16)(1));
#endif
}

static inline Mid FromNode(Mid sums, Mid) {
  return sums;
}
#elif defined(ZEL_NEON)
// Products of unsigned bytes: the weight of the node itself is raised by 16, which is taken from the sum again.
struct CornerWeights {
  Mid lower, upper;
};

static inline CornerWeights CornerWeightsOf(Mid fractions) {
  return {v_add_epi8(LowerWeights(fractions), v_set1_epi32(16)), UpperWeights(fractions)};
}

template <int k>
static inline Mid Interpolated(Mid lowerFace, Mid upperFace, const CornerWeights& weights) {
  const Mid lower = Repeated<k>(weights.lower), upper = Repeated<k>(weights.upper);
  const uint16x8_t first =
      vmlal_u8(vmull_u8(vget_low_u8(lowerFace), vget_low_u8(lower)), vget_low_u8(upperFace), vget_low_u8(upper));
  const uint16x8_t second = vmlal_high_u8(vmull_high_u8(lowerFace, lower), upperFace, upper);
  return (Mid)vpaddlq_u16(vpaddq_u16(first, second));
}

static inline Mid FromNode(Mid sums, Mid node) {
  return v_sub_epi16(sums, v_slli_epi16(node, 4));
}
#else
// Even and odd corners apart, so that products of 16 bits add up two of them.
struct CornerWeights {
  Mid lowerEven, lowerOdd, upperEven, upperOdd;
};

static inline CornerWeights CornerWeightsOf(Mid fractions) {
  const Mid lower = LowerWeights(fractions), upper = UpperWeights(fractions);
  return {v_srai_epi16(v_slli_epi16(lower, 8), 8), v_srai_epi16(lower, 8), v_and(upper, v_set1_epi16(255)),
          v_srli_epi16(upper, 8)};
}

template <int k>
static inline Mid Interpolated(Mid lowerFace, Mid upperFace, const CornerWeights& weights) {
  const Mid even = v_set1_epi16(255);
  return v_add_epi32(v_add_epi32(v_madd_epi16(v_and(lowerFace, even), Repeated<k>(weights.lowerEven)),
                                 v_madd_epi16(v_srli_epi16(lowerFace, 8), Repeated<k>(weights.lowerOdd))),
                     v_add_epi32(v_madd_epi16(v_and(upperFace, even), Repeated<k>(weights.upperEven)),
                                 v_madd_epi16(v_srli_epi16(upperFace, 8), Repeated<k>(weights.upperOdd))));
}

static inline Mid FromNode(Mid sums, Mid) {
  return sums;
}
#endif
#endif

static void MapCells(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* cells, bool blueFirst) {
  size_t p = 0;
#if defined(ZEL_TWINS)
  // Red, green, blue and a zero for each pixel, and back again.
  const Mid spread = blueFirst ? ZEL_PICKS(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1)
                               : ZEL_PICKS(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
  const Mid gather = blueFirst ? ZEL_PICKS(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)
                               : ZEL_PICKS(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  const Mid firstByte = ZEL_MID(set1_epi32)(255);
  for (; p + kMidPixels <= pixels; p += kMidPixels) {
    const Mid v = ZEL_MID(shuffle_epi8)(LoadPixels(in + 3 * p, pixels - p), spread);
    const Mid index = Seventeenths(v);
    const Mid fractions = ZEL_MID(sub_epi8)(v, ZEL_MID_BITS(or)(index, ZEL_MID(slli_epi16)(index, 4)));
    alignas(32) uint32_t at[kMidPixels];
    StoreMid(at, PlacesOf(index, 4));
    const CornerWeights weights = CornerWeightsOf(fractions);
    // Pixel k of every four: one number for each channel, at most 16 * 255.
    Mid d[4], base[4];
    const uint8_t* const upper = cells + 4096;
#define ZEL_FACES(k)                                                 \
  {                                                                  \
    const Mid face = LoadCells(cells, at + k);                       \
    d[k] = Interpolated<k>(face, LoadCells(upper, at + k), weights); \
    base[k] = ZEL_MID_BITS(and)(face, firstByte);                    \
  }
    ZEL_FACES(0)
    ZEL_FACES(1)
    ZEL_FACES(2)
    ZEL_FACES(3)
#undef ZEL_FACES
    Mid values[2];
    for (int i = 0; i < 2; ++i) {
      const Mid node = ZEL_MID(packs_epi32)(base[2 * i], base[2 * i + 1]);
      const Mid sum = FromNode(ZEL_MID(packs_epi32)(d[2 * i], d[2 * i + 1]), node);
      const Mid quotient = ZEL_MID(srai_epi16)(ZEL_MID(sub_epi16)(sum, ZEL_MID(srai_epi16)(sum, 4)), 4);
      values[i] = ZEL_MID(add_epi16)(node, quotient);
    }
    StorePixels(out + 3 * p, ZEL_MID(shuffle_epi8)(ZEL_MID(packus_epi16)(values[0], values[1]), gather));
  }
#endif
  MapLattice(in + 3 * p, out + 3 * p, pixels - p, cells, {{16, 256, 4096}, {1, 2, 4096}, 4}, blueFirst);
}

// v / 257 for 0 <= v <= 65535: with v = 257 q + r, v >> 8 is q, or q + 1 where r makes up for it.
static void DivideBy257(const uint16_t* in, uint8_t* out, size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = (uint8_t)((uint16_t)(in[i] - (in[i] >> 8)) >> 8);
}

static void MultiplyBy257(const uint8_t* in, uint16_t* out, size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = (uint16_t)(in[i] << 8 | in[i]);
}

static const LatticeKernels kLatticeKernels = {MapNodes, MapCells, DivideBy257, MultiplyBy257};
