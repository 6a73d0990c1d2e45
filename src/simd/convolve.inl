// The 3 x 3 convolution.

static inline uint8_t ClampedSum(int32_t sum) {
  const int32_t v = sum >> 10;
  return (uint8_t)(v < 0 ? 0 : v > 255 ? 255 : v);
}

static void Convolve3x3(const uint8_t* const rows[3], size_t step, const int32_t weights[9], uint8_t* out,
                        size_t count) {
  const uint8_t* const a = rows[0];
  const uint8_t* const b = rows[1];
  const uint8_t* const c = rows[2];
  const int32_t w0 = weights[0], w1 = weights[1], w2 = weights[2];
  const int32_t w3 = weights[3], w4 = weights[4], w5 = weights[5];
  const int32_t w6 = weights[6], w7 = weights[7], w8 = weights[8];
  for (size_t i = 0; i < count; ++i) {
    out[i] = ClampedSum(w0 * a[i] + w1 * a[i + step] + w2 * a[i + 2 * step] + w3 * b[i] + w4 * b[i + step] +
                        w5 * b[i + 2 * step] + w6 * c[i] + w7 * c[i + step] + w8 * c[i + 2 * step]);
  }
}

static const ConvolveKernels kConvolveKernels = {Convolve3x3};
