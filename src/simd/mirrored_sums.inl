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
  const Wide c = v_set1_epi16(taps.coarse[reach]), f = v_set1_epi16(taps.fine[reach]);
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
        const Wide fine = v_set1_epi16(taps.fine[k]), coarse = v_set1_epi16(taps.coarse[k]);
        AddBoth(&one, a + i, b + i, coarse, fine);
        AddBoth(&two, a + j, b + j, coarse, fine);
      }
    } else {
      for (; k < run.end; ++k) {
        const uint8_t* const a = rows[k] + first;
        const uint8_t* const b = rows[2 * reach - k] + first;
        const Wide fine = v_set1_epi16(taps.fine[k]);
        AddFine(&one, a + i, b + i, fine);
        AddFine(&two, a + j, b + j, fine);
      }
    }
  }
  StoreWide(out + i, Rounded(&one, by));
  StoreWide(out + j, Rounded(&two, by));
}

// The same for one short reach, where loops and weights cost as much as the sums: unrolled, all that a vector needs at
// hand. Only for weights that need no folding before the end and have coarse parts in the last kSplit taps alone.
template <int kReach, int kSplit>
static void SumMirroredUnrolled(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out,
                                size_t count) {
  const BlurWeights::Mirrored& taps = weights.mirrored;
  const Folding by = FoldingOf(weights);
  const uint8_t* row[2 * kReach + 1];
  Wide coarse[kReach + 1], fine[kReach + 1];
  for (int32_t k = 0; k <= 2 * kReach; ++k) row[k] = rows[k] + first;
  for (int32_t k = 0; k <= kReach; ++k) coarse[k] = v_set1_epi16(taps.coarse[k]), fine[k] = v_set1_epi16(taps.fine[k]);
  const size_t last = count - kWideBytes;
  for (size_t i = 0; i < count; i += kWideBytes) {
    const size_t at = i < last ? i : last;
    ByteSums sums = WeighCentre(row[kReach] + at, coarse[kReach], fine[kReach]);
#pragma GCC unroll 8
    for (int32_t k = 0; k < kReach; ++k) {
      if (k >= kReach - kSplit) {
        AddBoth(&sums, row[k] + at, row[2 * kReach - k] + at, coarse[k], fine[k]);
      } else {
        AddFine(&sums, row[k] + at, row[2 * kReach - k] + at, fine[k]);
      }
    }
    StoreWide(out + at, Rounded(&sums, by));
  }
}

// How many taps next to the centre have coarse parts, or -1 where others have them or sums need folding on the way.
static int32_t PlainSplit(const BlurWeights& weights) {
  const BlurWeights::Mirrored& taps = weights.mirrored;
  int32_t split = 0;
  for (int32_t r = 0; r < taps.runs; ++r) {
    const BlurWeights::Run& run = taps.run[r];
    if (run.fold || (split != 0 && !run.coarse)) return -1;
    if (run.coarse) split = weights.reach - (r > 0 ? taps.run[r - 1].end : 0);
  }
  return split;
}

static void SumMirrored(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out,
                        size_t count) {
  const int32_t split = weights.reach == 3 ? PlainSplit(weights) : -1;
  if (split == 1) return SumMirroredUnrolled<3, 1>(rows, first, weights, out, count);
  if (split == 2) return SumMirroredUnrolled<3, 2>(rows, first, weights, out, count);
  const size_t last = count - kWideBytes;
  for (size_t i = 0; i < count; i += 2 * kWideBytes) {
    const size_t at = i < last ? i : last, next = i + kWideBytes < last ? i + kWideBytes : last;
    SumMirroredTwice(rows, weights, first, at, next, out);
  }
}
#endif
