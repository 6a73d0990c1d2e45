// Weighted sums over rows. The taps of a Gaussian mirror each other, so two rows share one multiplication.

enum { kSumStrip = 256 };  // sums held at a time: they and their rows stay in the first-level cache

static void AddBytes(const uint8_t* a, const uint8_t* b, int32_t weight, int32_t* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) sums[i] += (a[i] + b[i]) * weight;
}

static void AddWords(const uint16_t* a, const uint16_t* b, int32_t weight, int32_t* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) sums[i] += (a[i] + b[i]) * weight;
}

static void StoreByteSums(const int32_t* sums, int32_t shift, uint8_t* out, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const int32_t v = sums[i] >> shift;
    out[i] = (uint8_t)(v > 255 ? 255 : v);
  }
}

static void StoreWordSums(const int32_t* sums, int32_t shift, uint16_t* out, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const int32_t v = sums[i] >> shift;
    out[i] = (uint16_t)(v > 65535 ? 65535 : v);
  }
}

static void WeighBytes(const uint8_t* in, int32_t weight, int32_t* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) sums[i] = in[i] * weight;
}

static void WeighWords(const uint16_t* in, int32_t weight, int32_t* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) sums[i] = in[i] * weight;
}

static void SumBytes(const uint8_t* const* rows, const BlurWeights& weights, uint8_t* out, size_t count) {
  int32_t sums[kSumStrip];
  for (size_t first = 0; first < count; first += kSumStrip) {
    const size_t n = count - first < kSumStrip ? count - first : (size_t)kSumStrip;
    WeighBytes(rows[weights.reach] + first, weights.taps[weights.reach], sums, n);
    for (int32_t k = 0; k < weights.reach; ++k) {
      AddBytes(rows[k] + first, rows[2 * weights.reach - k] + first, weights.taps[k], sums, n);
    }
    StoreByteSums(sums, weights.shift, out + first, n);
  }
}

static void SumWords(const uint16_t* const* rows, const BlurWeights& weights, uint16_t* out, size_t count) {
  // The weights sum to little more than 2048 at most, so that every sum stays below 2^28.
  int32_t sums[kSumStrip];
  for (size_t first = 0; first < count; first += kSumStrip) {
    const size_t n = count - first < kSumStrip ? count - first : (size_t)kSumStrip;
    WeighWords(rows[weights.reach] + first, weights.taps[weights.reach], sums, n);
    for (int32_t k = 0; k < weights.reach; ++k) {
      AddWords(rows[k] + first, rows[2 * weights.reach - k] + first, weights.taps[k], sums, n);
    }
    StoreWordSums(sums, weights.shift, out + first, n);
  }
}

static const BlurKernels kBlurKernels = {SumBytes, SumWords};
