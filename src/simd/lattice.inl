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

#if defined(__AVX2__)
// Without sorting: the weight of a corner is the smallest fraction of its axes minus the largest one of the others, if
// that is positive. From the bytes r g b 0 of every pixel come the weights of the four corners 0, r, g, rg.
static inline __m256i LowerWeights(__m256i fractions) {
  const __m256i least = _mm256_min_epu8(
      _mm256_shuffle_epi8(fractions, BothHalves(_mm_setr_epi8(-1, 0, 1, 0, -1, 4, 5, 4, -1, 8, 9, 8, -1, 12, 13, 12))),
      _mm256_shuffle_epi8(fractions, BothHalves(_mm_setr_epi8(-1, 0, 1, 1, -1, 4, 5, 5, -1, 8, 9, 9, -1, 12, 13, 13))));
  const __m256i others = _mm256_max_epu8(
      _mm256_shuffle_epi8(fractions, BothHalves(_mm_setr_epi8(1, 1, 0, 2, 5, 5, 4, 6, 9, 9, 8, 10, 13, 13, 12, 14))),
      _mm256_shuffle_epi8(fractions,
                          BothHalves(_mm_setr_epi8(2, 2, 2, 2, 6, 6, 6, 6, 10, 10, 10, 10, 14, 14, 14, 14))));
  // Corner 0 has minus the largest of all three.
  const __m256i redOrOthers = _mm256_max_epu8(_mm256_and_si256(fractions, _mm256_set1_epi32(0xFF)), others);
  return _mm256_sub_epi8(_mm256_subs_epu8(least, others), _mm256_and_si256(redOrOthers, _mm256_set1_epi32(0xFF)));
}

// The corners b, rb, gb, rgb.
static inline __m256i UpperWeights(__m256i fractions) {
  const __m256i blueLeast = _mm256_min_epu8(
      _mm256_shuffle_epi8(fractions, BothHalves(_mm_setr_epi8(2, 0, 1, 0, 6, 4, 5, 4, 10, 8, 9, 8, 14, 12, 13, 12))),
      _mm256_shuffle_epi8(fractions,
                          BothHalves(_mm_setr_epi8(2, 2, 2, 2, 6, 6, 6, 6, 10, 10, 10, 10, 14, 14, 14, 14))));
  const __m256i green = _mm256_or_si256(_mm256_slli_epi32(fractions, 16), _mm256_set1_epi32(0xFFFFFF));
  const __m256i others = _mm256_max_epu8(
      _mm256_shuffle_epi8(fractions, BothHalves(_mm_setr_epi8(0, 1, 0, -1, 4, 5, 4, -1, 8, 9, 8, -1, 12, 13, 12, -1))),
      _mm256_shuffle_epi8(fractions, BothHalves(_mm_setr_epi8(1, 1, 0, -1, 5, 5, 4, -1, 9, 9, 8, -1, 13, 13, 12, -1))));
  return _mm256_subs_epu8(_mm256_min_epu8(blueLeast, green), others);
}
#endif

static void MapCells(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* cells, bool blueFirst) {
  size_t p = 0;
#if defined(__AVX2__)
  // Red, green, blue and a zero for each pixel, and back again.
  const __m256i spread = blueFirst ? _mm256_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1,  //
                                                      6, 5, 4, -1, 9, 8, 7, -1, 12, 11, 10, -1, 15, 14, 13, -1)
                                   : _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1,  //
                                                      4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15, -1);
  const __m256i gather = BothHalves(blueFirst ? _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)
                                              : _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
  const __m256i low = _mm256_set1_epi8(15), ones = _mm256_set1_epi16(1), firstByte = _mm256_set1_epi32(255);
  for (; p + 8 <= pixels; p += 8) {
    const __m256i v = _mm256_shuffle_epi8(LoadEightPixels(in + 3 * p), spread);
    // v / 17 is (v - v / 16) / 16 for every byte.
    const __m256i index =
        _mm256_and_si256(_mm256_srli_epi16(_mm256_sub_epi8(v, _mm256_and_si256(_mm256_srli_epi16(v, 4), low)), 4), low);
    const __m256i fractions = _mm256_sub_epi8(v, _mm256_or_si256(index, _mm256_slli_epi16(index, 4)));
    alignas(32) uint32_t at[8];
    _mm256_store_si256((__m256i*)at, _mm256_madd_epi16(_mm256_maddubs_epi16(index, _mm256_set1_epi32(0x00011001)),
                                                       _mm256_set1_epi32(0x10000010)));
    const __m256i lower = LowerWeights(fractions), upper = UpperWeights(fractions);

    // Pixels k and k + 4 in the two halves: the four corners of a face lie side by side for each channel, so that a
    // byte multiply-add and a sum of neighbours leave one number per channel. It is at most 16 * 255.
    __m256i d[4], base[4];
#define ZEL_TWO_PIXELS(k)                                                                                      \
  {                                                                                                            \
    const uint8_t* const c0 = cells + at[k];                                                                   \
    const uint8_t* const c1 = cells + at[k + 4];                                                               \
    const __m256i face0 = LoadHalves(c0, c1), face1 = LoadHalves(c0 + 4096, c1 + 4096);                        \
    const __m256i sums = _mm256_add_epi16(_mm256_maddubs_epi16(face0, _mm256_shuffle_epi32(lower, 0x55 * k)),  \
                                          _mm256_maddubs_epi16(face1, _mm256_shuffle_epi32(upper, 0x55 * k))); \
    d[k] = _mm256_madd_epi16(sums, ones);                                                                      \
    base[k] = _mm256_and_si256(face0, firstByte);                                                              \
  }
    ZEL_TWO_PIXELS(0)
    ZEL_TWO_PIXELS(1)
    ZEL_TWO_PIXELS(2)
    ZEL_TWO_PIXELS(3)
#undef ZEL_TWO_PIXELS
    __m256i values[2];
    for (int i = 0; i < 2; ++i) {
      const __m256i sum = _mm256_packs_epi32(d[2 * i], d[2 * i + 1]);
      const __m256i quotient = _mm256_srai_epi16(_mm256_sub_epi16(sum, _mm256_srai_epi16(sum, 4)), 4);
      values[i] = _mm256_add_epi16(_mm256_packs_epi32(base[2 * i], base[2 * i + 1]), quotient);
    }
    const __m256i packed =
        _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(_mm256_packus_epi16(values[0], values[1]), gather),
                                    _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    _mm_storeu_si128((__m128i*)(out + 3 * p), _mm256_castsi256_si128(packed));
    _mm_storel_epi64((__m128i*)(out + 3 * p + 16), _mm256_extracti128_si256(packed, 1));
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
