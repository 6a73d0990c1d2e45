// Vectors of weighted sums of bytes, for the blur in WebAssembly. Its only product that adds neighbours takes words, so
// samples of two rows are put side by side and widened. Products are exact, and their sums stay below 2^21.

#if defined(ZEL_TWINS) && defined(__wasm_simd128__)
// Sixteen samples of each of two rows side by side, and the sums of sixteen samples.
struct FourVectors {
  Wide v[4];
};

static inline FourVectors PairsOf(const uint8_t* a, const uint8_t* b) {
  const Wide va = LoadWide(a), vb = LoadWide(b);
  const Wide low = v_unpacklo_epi8(va, vb), high = v_unpackhi_epi8(va, vb);
  return {wasm_u16x8_extend_low_u8x16(low), wasm_u16x8_extend_high_u8x16(low), wasm_u16x8_extend_low_u8x16(high),
          wasm_u16x8_extend_high_u8x16(high)};
}

static inline void AddProducts(FourVectors* sums, const FourVectors& pairs, const uint32_t* weights) {
  const Wide both = wasm_v128_load32_splat(weights);
  for (int i = 0; i < 4; ++i) sums->v[i] = v_add_epi32(sums->v[i], v_madd_epi16(pairs.v[i], both));
}

template <int kShift>
static inline void StoreRounded(const FourVectors& sums, uint8_t* out) {
  Wide v[4];
  for (int i = 0; i < 4; ++i) v[i] = v_srli_epi32(sums.v[i], kShift);
  StoreWide(out, v_packus_epi16(v_packs_epi32(v[0], v[1]), v_packs_epi32(v[2], v[3])));
}

// What a step of a sum down the columns needs, at hand: an engine's loop has few registers left for addresses.
struct ColumnStep {
  const uint8_t *a, *b;
  uint32_t one, two;  // weights for either sum
};

// The loops stay as they are: unrolled, an engine loads everything first and runs out of registers.
template <bool kTwo>
static inline void SumSixteen(const ColumnStep* step, const ColumnStep* end, size_t at, uint8_t* out, uint8_t* next) {
  FourVectors one = {}, two = {};
#pragma clang loop unroll(disable)
  do {
    const FourVectors pairs = PairsOf(step->a + at, step->b + at);
    AddProducts(&one, pairs, &step->one);
    if (kTwo) AddProducts(&two, pairs, &step->two);
  } while (++step != end);
  StoreRounded<kWordPairShift>(one, out + at);
  if (kTwo) StoreRounded<kWordPairShift>(two, next + at);
}

template <bool kTwo>
static void SumColumns(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out,
                       uint8_t* next, size_t count) {
  ColumnStep steps[kMaxBlurReach + 1];
  for (int32_t m = 0; m <= weights.reach; ++m) {
    steps[m] = {rows[2 * m] + first, rows[2 * m + 1] + first, weights.wordPair[0][m], weights.wordPair[1][m]};
  }
  const ColumnStep* const end = steps + weights.reach + 1;
  size_t i = 0;
  for (; i + kWideBytes <= count; i += kWideBytes) SumSixteen<kTwo>(steps, end, i, out, next);
  // A last vector that is not full starts earlier and sums some samples again, which no row notices.
  if (i < count) SumSixteen<kTwo>(steps, end, count - kWideBytes, out, next);
}

// Along a row samples are widened once for all taps, and those of mirrored taps are added before they are multiplied.
template <size_t kStep>
static inline void SumSixteenAlong(const uint16_t* a, const BlurWeights& weights, uint8_t* out) {
  const uint16_t* b = a + 2 * (size_t)weights.reach * kStep;
  const uint32_t* weight = weights.sidePair;
  const uint32_t* const end = weight + (weights.reach + 1) / 2;
  FourVectors sums = {};
  if (weights.reach % 2 == 0) {
    const uint16_t* const centre = a + (size_t)weights.reach * kStep;
    const Wide zero = v_setzero(), low = LoadWide(centre), high = LoadWide(centre + kWideWords);
    AddProducts(&sums,
                {v_unpacklo_epi16(low, zero), v_unpackhi_epi16(low, zero), v_unpacklo_epi16(high, zero),
                 v_unpackhi_epi16(high, zero)},
                end);
  }
#pragma clang loop unroll(disable)
  do {
    const Wide low = v_add_epi16(LoadWide(a), LoadWide(b));
    const Wide nextLow = v_add_epi16(LoadWide(a + kStep), LoadWide(b - kStep));
    const Wide high = v_add_epi16(LoadWide(a + kWideWords), LoadWide(b + kWideWords));
    const Wide nextHigh = v_add_epi16(LoadWide(a + kStep + kWideWords), LoadWide(b - kStep + kWideWords));
    AddProducts(&sums,
                {v_unpacklo_epi16(low, nextLow), v_unpackhi_epi16(low, nextLow), v_unpacklo_epi16(high, nextHigh),
                 v_unpackhi_epi16(high, nextHigh)},
                weight);
    a += 2 * kStep;
    b -= 2 * kStep;
  } while (++weight != end);
  StoreRounded<kWordPairShift + 1>(sums, out);
}

template <size_t kStep>
static void SumAlong(const uint8_t* in, const BlurWeights& weights, uint8_t* out, size_t count) {
  enum : size_t { kTile = 768 };
  uint16_t words[kTile + 2 * kMaxBlurReach * kStep];
  for (size_t done = 0; done < count; done += kTile) {
    // A last tile that is short starts earlier.
    const size_t start = count - done < kWideBytes ? count - kWideBytes : done;
    const size_t n = count - start < kTile ? count - start : (size_t)kTile;
    const size_t whole = n + 2 * (size_t)weights.reach * kStep, last = whole - kWideWords;
    for (size_t i = 0; i < last; i += kWideWords) StoreWide(words + i, wasm_u16x8_load8x8(in + start + i));
    StoreWide(words + last, wasm_u16x8_load8x8(in + start + last));
    size_t i = 0;
    for (; i + kWideBytes <= n; i += kWideBytes) SumSixteenAlong<kStep>(words + i, weights, out + start + i);
    if (i < n) SumSixteenAlong<kStep>(words + n - kWideBytes, weights, out + start + n - kWideBytes);
  }
}

enum : int32_t { kSideBySideReach = 0 };

static void SumBytesAlongWide(const uint8_t* in, size_t step, const BlurWeights& weights, uint8_t* out, size_t count) {
  switch (step) {
    case 1:
      return SumAlong<1>(in, weights, out, count);
    case 2:
      return SumAlong<2>(in, weights, out, count);
    default:
      return SumAlong<3>(in, weights, out, count);
  }
}
#endif
