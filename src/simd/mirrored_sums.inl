// Vectors of weighted sums of bytes where a multiplication is dear: WebAssembly has none that adds neighbours, so the
// two samples of mirrored taps are added before.

#if defined(__wasm_simd128__)
struct MirroredPairs {
  Wide low, high;  // sums in words
};

static inline MirroredPairs LoadMirrored(const uint8_t* a, const uint8_t* b) {
  const Wide va = LoadWide(a), vb = LoadWide(b);
  return {LowSums(va, vb), HighSums(va, vb)};
}

static inline void AddMirrored(Wide* low, Wide* high, const MirroredPairs& pairs, Wide weight) {
  *low = v_add_epi16(*low, v_mullo_epi16(pairs.low, weight));
  *high = v_add_epi16(*high, v_mullo_epi16(pairs.high, weight));
}

static inline Wide FineOf(const BlurWeights::Tap& tap) {
  return wasm_v128_load64_splat(tap.fine);
}

static inline Wide CoarseOf(const BlurWeights::Tap& tap) {
  return wasm_v128_load64_splat(tap.coarse);
}

static inline ByteSums WeighCentre(const uint8_t* centre, Wide coarse, Wide fine) {
  const Wide zero = v_setzero(), bytes = LoadWide(centre);
  const Wide low = v_unpacklo_epi8(bytes, zero), high = v_unpackhi_epi8(bytes, zero);
  return {v_mullo_epi16(low, coarse), v_mullo_epi16(high, coarse), v_mullo_epi16(low, fine), v_mullo_epi16(high, fine)};
}

static inline void AddFine(ByteSums* sums, const uint8_t* a, const uint8_t* b, Wide fine) {
  AddMirrored(&sums->fineLow, &sums->fineHigh, LoadMirrored(a, b), fine);
}

static inline void AddBoth(ByteSums* sums, const uint8_t* a, const uint8_t* b, Wide coarse, Wide fine) {
  const MirroredPairs pairs = LoadMirrored(a, b);
  AddMirrored(&sums->fineLow, &sums->fineHigh, pairs, fine);
  AddMirrored(&sums->coarseLow, &sums->coarseHigh, pairs, coarse);
}

// Sums of bytes at i and at j, a vector each.
static inline void SumMirroredTwice(const uint8_t* const* rows, const BlurWeights& weights, size_t first, size_t i,
                                    size_t j, uint8_t* out) {
  const int32_t reach = weights.reach;
  const BlurWeights::Mirrored& taps = weights.mirrored;
  const Folding by = FoldingOf(weights);
  const uint8_t* const centre = rows[reach] + first;
  const Wide c = CoarseOf(taps.tap[reach]), f = FineOf(taps.tap[reach]);
  ByteSums one = WeighCentre(centre + i, c, f), two = WeighCentre(centre + j, c, f);
  int32_t k = 0;
  for (int32_t r = 0; r < taps.runs; ++r) {
    const BlurWeights::Run run = taps.run[r];
    if (run.fold) {
      Fold(&one, by);
      Fold(&two, by);
    }
    if (run.coarse) {
      for (; k < run.end; ++k) {
        const uint8_t* const a = rows[k] + first;
        const uint8_t* const b = rows[2 * reach - k] + first;
        const Wide fine = FineOf(taps.tap[k]), coarse = CoarseOf(taps.tap[k]);
        AddBoth(&one, a + i, b + i, coarse, fine);
        AddBoth(&two, a + j, b + j, coarse, fine);
      }
    } else {
      for (; k < run.end; ++k) {
        const uint8_t* const a = rows[k] + first;
        const uint8_t* const b = rows[2 * reach - k] + first;
        const Wide fine = FineOf(taps.tap[k]);
        AddFine(&one, a + i, b + i, fine);
        AddFine(&two, a + j, b + j, fine);
      }
    }
  }
  StoreWide(out + i, Rounded(&one, by));
  StoreWide(out + j, Rounded(&two, by));
}

// The same for short kernels, where loops and weights cost as much as the sums: unrolled, all that a vector needs at
// hand.
template <int kReach>
static void SumMirroredShort(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out,
                             size_t count) {
  const BlurWeights::Mirrored& taps = weights.mirrored;
  const Folding by = FoldingOf(weights);
  const uint8_t* row[2 * kReach + 1];
  for (int32_t k = 0; k <= 2 * kReach; ++k) row[k] = rows[k] + first;
  const size_t last = count - kWideBytes;
  for (size_t i = 0; i < count; i += kWideBytes) {
    const size_t at = i < last ? i : last;
    ByteSums sums = WeighCentre(row[kReach] + at, CoarseOf(taps.tap[kReach]), FineOf(taps.tap[kReach]));
#pragma GCC unroll 8
    for (int32_t k = 0; k < kReach; ++k) {
      const uint8_t* const a = row[k] + at;
      const uint8_t* const b = row[2 * kReach - k] + at;
      if (k >= kReach - (kReach + 1) / 2) {
        AddBoth(&sums, a, b, CoarseOf(taps.tap[k]), FineOf(taps.tap[k]));
      } else {
        AddFine(&sums, a, b, FineOf(taps.tap[k]));
      }
    }
    StoreWide(out + at, Rounded(&sums, by));
  }
}

static void SumMirrored(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out,
                        size_t count) {
  switch (weights.mirrored.split < 0 ? 0 : weights.reach) {
    case 1:
      return SumMirroredShort<1>(rows, first, weights, out, count);
    case 2:
      return SumMirroredShort<2>(rows, first, weights, out, count);
    case 3:
      return SumMirroredShort<3>(rows, first, weights, out, count);
    case 4:
      return SumMirroredShort<4>(rows, first, weights, out, count);
    case 5:
      return SumMirroredShort<5>(rows, first, weights, out, count);
    case 6:
      return SumMirroredShort<6>(rows, first, weights, out, count);
    case 7:
      return SumMirroredShort<7>(rows, first, weights, out, count);
    case 8:
      return SumMirroredShort<8>(rows, first, weights, out, count);
    default:
      break;
  }
  const size_t last = count - kWideBytes;
  for (size_t i = 0; i < count; i += 2 * kWideBytes) {
    const size_t at = i < last ? i : last, next = i + kWideBytes < last ? i + kWideBytes : last;
    SumMirroredTwice(rows, weights, first, at, next, out);
  }
}
#endif
