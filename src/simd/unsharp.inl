// The unsharp mask's step: samples pushed away from their blurred values.

static void PushBytes(const uint8_t* in, const uint8_t* blurred, uint8_t* out, size_t count, int32_t gain,
                      int32_t threshold) {
  for (size_t i = 0; i < count; ++i) {
    const int32_t d = in[i] - blurred[i];
    const int32_t excess = (d < 0 ? -d : d) - threshold;
    // At most 255 * 32767, far inside 32 bits.
    const int32_t step = (excess < 0 ? 0 : excess) * gain >> 7;
    const int32_t v = in[i] + (d < 0 ? -step : step);
    out[i] = (uint8_t)(v < 0 ? 0 : v > 255 ? 255 : v);
  }
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
