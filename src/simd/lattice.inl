// Tetrahedral interpolation in a lattice of 16 x 16 x 16 nodes.
//
// The colour lies in a cube of eight nodes at fractions f of 0 to 16 from its lowest corner. The walk from that corner
// to the opposite one, along the axis of the largest fraction first, passes four nodes v0 to v3, and with the sorted
// fractions f1 >= f2 >= f3 the sum of differences times fractions is -f1 v0 + (f1 - f2) v1 + (f2 - f3) v2 + f3 v3.
// Equal fractions may be walked in any order: the node between them has weight 0. So has every node that a walk from
// index 15, whose fraction is 0, reaches behind the lattice; those bytes are read but never count.

// A fraction and the step in bytes along its axis in one number that sorts by the fraction.
static inline uint32_t LatticeKey(uint32_t fraction, uint32_t step) {
  return fraction << 16 | step;
}
static inline uint32_t LatticeIndex(uint32_t v) {
  return (v - (v >> 4)) >> 4;  // v / 17 for 0 <= v <= 255
}
static inline uint32_t LargerKey(uint32_t a, uint32_t b) {
  return a > b ? a : b;
}
static inline uint32_t SmallerKey(uint32_t a, uint32_t b) {
  return a < b ? a : b;
}

static void MapLatticeBytesFrom(size_t first, const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* nodes,
                                bool blueFirst) {
  const size_t red = blueFirst ? 2 : 0, blue = 2 - red;
  for (size_t p = first; p < pixels; ++p) {
    const uint32_t r = in[3 * p + red], g = in[3 * p + 1], b = in[3 * p + blue];
    const uint32_t ir = LatticeIndex(r), ig = LatticeIndex(g), ib = LatticeIndex(b);
    const uint32_t kr = LatticeKey(r - 17 * ir, 3), kg = LatticeKey(g - 17 * ig, 48), kb = LatticeKey(b - 17 * ib, 768);
    const uint32_t high = LargerKey(kr, kg), low = SmallerKey(kr, kg);
    const uint32_t k1 = LargerKey(high, kb), k3 = SmallerKey(low, kb);
    const uint32_t k2 = LargerKey(low, SmallerKey(high, kb));
    const uint8_t* const v0 = nodes + 3 * ir + 48 * ig + 768 * ib;
    const uint8_t* const v1 = v0 + (k1 & 0xFFFF);
    const uint8_t* const v2 = v1 + (k2 & 0xFFFF);
    const uint8_t* const v3 = v0 + 3 + 48 + 768;
    const int32_t f1 = (int32_t)(k1 >> 16), f2 = (int32_t)(k2 >> 16), f3 = (int32_t)(k3 >> 16);
    for (size_t k = 0; k < 3; ++k) {
      const int32_t d = (f2 - f3) * v2[k] + f3 * v3[k] - f1 * v0[k] + (f1 - f2) * v1[k];
      const int32_t value = v0[k] + ((d - (d >> 4)) >> 4);
      out[3 * p + (blueFirst ? 2 - k : k)] = (uint8_t)(value > 255 ? 255 : value);
    }
  }
}

static void MapLatticeBytes(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* nodes, bool blueFirst) {
  MapLatticeBytesFrom(0, in, out, pixels, nodes, blueFirst);
}

// v / 257 for 0 <= v <= 65535: with v = 257 q + r, v >> 8 is q, or q + 1 where r makes up for it.
static void DivideBy257(const uint16_t* in, uint8_t* out, size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = (uint8_t)((uint16_t)(in[i] - (in[i] >> 8)) >> 8);
}

static void MultiplyBy257(const uint8_t* in, uint16_t* out, size_t count) {
  for (size_t i = 0; i < count; ++i) out[i] = (uint16_t)(in[i] << 8 | in[i]);
}

static void MapLatticeWords(const uint16_t* in, uint16_t* out, size_t pixels, const uint8_t* nodes, bool blueFirst) {
  enum { kStrip = 256 };
  uint8_t bytes[3 * kStrip];
  for (size_t p = 0; p < pixels; p += kStrip) {
    const size_t count = pixels - p < kStrip ? pixels - p : (size_t)kStrip;
    DivideBy257(in + 3 * p, bytes, 3 * count);
    MapLatticeBytes(bytes, bytes, count, nodes, blueFirst);
    MultiplyBy257(bytes, out + 3 * p, 3 * count);
  }
}

static const LatticeKernels kLatticeKernels = {MapLatticeBytes, MapLatticeWords};
