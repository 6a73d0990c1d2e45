// Vectors of weighted sums of bytes, for the blur on 64-bit ARM. Its products of bytes add no neighbours, and on many
// processors only one of two units multiplies. So where a tap has two parts, the halved sum of the two samples of
// mirrored taps is multiplied in place of either.

#if defined(ZEL_NEON)
struct MirroredSums {
  ByteSums whole;
  Wide fineOdd, coarseOdd;  // the weights of pairs with odd sums, in bytes
};

static inline void AddProducts(Wide* low, Wide* high, Wide v, Wide weight) {
  *low = (Wide)vmlal_u8((uint16x8_t)*low, vget_low_u8(v), vget_low_u8(weight));
  *high = (Wide)vmlal_high_u8((uint16x8_t)*high, v, weight);
}

static inline void AddFine(MirroredSums* sums, const uint8_t* a, const uint8_t* b, Wide fine) {
  AddProducts(&sums->whole.fineLow, &sums->whole.fineHigh, LoadWide(a), fine);
  AddProducts(&sums->whole.fineLow, &sums->whole.fineHigh, LoadWide(b), fine);
}

static inline void AddCentre(MirroredSums* sums, const uint8_t* centre, Wide coarse, Wide fine) {
  const Wide v = LoadWide(centre);
  AddProducts(&sums->whole.fineLow, &sums->whole.fineHigh, v, fine);
  AddProducts(&sums->whole.coarseLow, &sums->whole.coarseHigh, v, coarse);
}

// (a + b) * w is half * 2 w, and w more where the sum is odd. Twice a part fits a byte, and so do the odd sums'
// weights: no more than 32 taps are split, with fine parts of 15 at most, or those of shorter kernels sum to 257.
static inline void AddBoth(MirroredSums* sums, const uint8_t* a, const uint8_t* b, Wide coarse, Wide fine) {
  const Wide va = LoadWide(a), vb = LoadWide(b);
  const Wide half = vhaddq_u8(va, vb), odd = vcgtq_u8(vrhaddq_u8(va, vb), half);
  AddProducts(&sums->whole.fineLow, &sums->whole.fineHigh, half, v_add_epi8(fine, fine));
  AddProducts(&sums->whole.coarseLow, &sums->whole.coarseHigh, half, v_add_epi8(coarse, coarse));
  sums->fineOdd = v_add_epi8(sums->fineOdd, v_and(odd, fine));
  sums->coarseOdd = v_add_epi8(sums->coarseOdd, v_and(odd, coarse));
}

static inline void AddOdd(Wide* low, Wide* high, Wide* odd) {
  *low = (Wide)vaddw_u8((uint16x8_t)*low, vget_low_u8(*odd));
  *high = (Wide)vaddw_high_u8((uint16x8_t)*high, *odd);
  *odd = v_setzero();
}

static inline void AddOdd(MirroredSums* sums) {
  AddOdd(&sums->whole.fineLow, &sums->whole.fineHigh, &sums->fineOdd);
  AddOdd(&sums->whole.coarseLow, &sums->whole.coarseHigh, &sums->coarseOdd);
}

static inline MirroredSums NoMirroredSums() {
  return {NoSums(), v_setzero(), v_setzero()};
}

static inline Wide PartOf(const uint8_t* part) {
  return vld1q_dup_u8(part);
}

// The samples from `at` on, that many vectors of them.
template <int kVectors>
static inline void SumMirroredLong(const uint8_t* const* rows, const BlurWeights& weights, const Folding& by, size_t at,
                                   uint8_t* out) {
  const int32_t reach = weights.reach;
  const BlurWeights::Mirrored& taps = weights.mirrored;
  const Wide c = PartOf(&taps.tap[reach].coarse), f = PartOf(&taps.tap[reach].fine);
  MirroredSums sums[kVectors];
  for (int v = 0; v < kVectors; ++v) {
    sums[v] = NoMirroredSums();
    AddCentre(&sums[v], rows[reach] + at + v * kWideBytes, c, f);
  }
  int32_t k = 0;
  for (int32_t r = 0; r < taps.runs; ++r) {
    const BlurWeights::Run run = taps.run[r];
    for (int v = 0; run.fold && v < kVectors; ++v) Fold(&sums[v].whole, by);
    for (; k < run.end; ++k) {
      const uint8_t *const a = rows[k] + at, *const b = rows[2 * reach - k] + at;
      const Wide fine = PartOf(&taps.tap[k].fine), coarse = PartOf(&taps.tap[k].coarse);
      for (int v = 0; v < kVectors; ++v) {
        if (run.coarse) {
          AddBoth(&sums[v], a + v * kWideBytes, b + v * kWideBytes, coarse, fine);
        } else {
          AddFine(&sums[v], a + v * kWideBytes, b + v * kWideBytes, fine);
        }
      }
    }
    for (int v = 0; run.coarse && v < kVectors; ++v) AddOdd(&sums[v]);
  }
  for (int v = 0; v < kVectors; ++v) StoreWide(out + v * kWideBytes, Rounded(&sums[v].whole, by));
}

// The same for short kernels, where loops and weights cost as much as the sums: unrolled, all that a vector needs at
// hand.
template <int kReach>
static void SumMirroredShort(const uint8_t* const* rows, size_t first, const BlurWeights& weights, uint8_t* out,
                             size_t count) {
  constexpr int kSplit = (kReach + 1) / 2;
  const Folding by = FoldingOf(weights);
  const uint8_t* row[2 * kReach + 1];
  for (int32_t k = 0; k <= 2 * kReach; ++k) row[k] = rows[k] + first;
  Wide fine[kReach + 1], coarse[kReach + 1];
  for (int32_t k = 0; k <= kReach; ++k) {
    fine[k] = PartOf(&weights.mirrored.tap[k].fine);
    coarse[k] = PartOf(&weights.mirrored.tap[k].coarse);
  }
  const size_t last = count - kWideBytes;
  for (size_t i = 0; i < count; i += kWideBytes) {
    const size_t at = i < last ? i : last;
    MirroredSums sums = NoMirroredSums();
    AddCentre(&sums, row[kReach] + at, coarse[kReach], fine[kReach]);
#pragma GCC unroll 8
    for (int32_t k = 0; k < kReach; ++k) {
      if (k < kReach - kSplit) {
        AddFine(&sums, row[k] + at, row[2 * kReach - k] + at, fine[k]);
      } else {
        AddBoth(&sums, row[k] + at, row[2 * kReach - k] + at, coarse[k], fine[k]);
      }
    }
    AddOdd(&sums);
    StoreWide(out + at, Rounded(&sums.whole, by));
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
  const Folding by = FoldingOf(weights);
  size_t i = 0;
  for (; i + 2 * kWideBytes <= count; i += 2 * kWideBytes) {
    SumMirroredLong<2>(rows, weights, by, first + i, out + i);
  }
  // A last vector that is not full starts earlier and sums some samples again, which no row notices.
  for (; i < count; i += kWideBytes) {
    const size_t at = i + kWideBytes <= count ? i : count - kWideBytes;
    SumMirroredLong<1>(rows, weights, by, first + at, out + at);
  }
}
#endif
