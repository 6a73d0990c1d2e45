// Blends of two byte rows, by a mask row or by one weight.

// p / 255 for 0 <= p <= 65025: the error of 1/256 is made up by the two added terms.
static inline uint32_t DivideBy255(uint32_t p) {
  return (p + 1 + (p >> 8)) >> 8;
}

static inline uint8_t Mixed(uint32_t effect, uint32_t base, uint32_t mask) {
  return (uint8_t)(((255 - mask) * base + mask * effect) >> 8);
}

static void SpreadMask(const uint8_t* in, uint8_t* out, size_t pixels, size_t channels) {
  if (channels == 3) {
    for (size_t p = 0; p < pixels; ++p) {
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
  for (size_t i = 0; i < count; ++i) out[i] = Mixed(effect[i], base[i], mask[i]);
}

static void ScreenBytes(const uint8_t* effect, const uint8_t* base, const uint8_t* mask, uint8_t* out, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const uint32_t e = effect[i], b = base[i], m = mask[i];
    const uint8_t blended = Mixed(255 - DivideBy255((255 - e) * (255 - b)), b, m);
    out[i] = m == 0 ? (uint8_t)b : blended;
  }
}

static void MultiplyBytes(const uint8_t* effect, const uint8_t* base, const uint8_t* mask, uint8_t* out, size_t count) {
  for (size_t i = 0; i < count; ++i) {
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
