// The detail mask: luma, and how much darker a pixel is than a ring around it.

static void LumaBytes(const uint8_t* in, uint8_t* out, size_t pixels, bool blueFirst) {
  const uint32_t first = blueFirst ? 29 : 77, last = blueFirst ? 77 : 29;
  for (size_t p = 0; p < pixels; ++p) {
    out[p] = (uint8_t)((first * in[3 * p] + 150u * in[3 * p + 1] + last * in[3 * p + 2]) >> 8);
  }
}

#if defined(ZEL_TWINS)
// The ring's weights are the same mirrored either way: samples of one weight are added up in words, at most four of
// them, and two such sums share one step of products, whose sums stay far within 32 bits.
struct RingSums {
  Wide low, high;
};

static inline RingSums Mirrored(const uint8_t* a, const uint8_t* b, size_t left, size_t right) {
  const Wide al = LoadWide(a + left), bl = LoadWide(b + left), ar = LoadWide(a + right), br = LoadWide(b + right);
  return {ZEL_WIDE(add_epi16)(LowSums(al, bl), LowSums(ar, br)),
          ZEL_WIDE(add_epi16)(HighSums(al, bl), HighSums(ar, br))};
}

// Two samples where a row or a column is its own mirror.
static inline RingSums Beside(const uint8_t* a, const uint8_t* b) {
  const Wide va = LoadWide(a), vb = LoadWide(b);
  return {LowSums(va, vb), HighSums(va, vb)};
}

static inline Wide RingQuotients(Wide sums) {
  const Wide most = ZEL_WIDE(set1_epi16)(5610);
  const Wide cut = ZEL_WIDE(min_epi16)(ZEL_WIDE(max_epi16)(sums, ZEL_WIDE_BITS(setzero)()), most);
  return ZEL_WIDE(mulhi_epu16)(cut, ZEL_WIDE(set1_epi16)(2979));
}

struct RingTotals {
  Wide sum[4];  // of words 0 to 3, 4 to 7, 8 to 11 and 12 to 15 of every sixteen bytes
};

static inline void AddRing(RingTotals* totals, const RingSums& a, int32_t weightA, const RingSums& b, int32_t weightB) {
  const Wide weights = ZEL_WIDE(set1_epi32)((int32_t)((uint32_t)weightB << 16 | (uint16_t)weightA));
  const Wide pairs[4] = {ZEL_WIDE(unpacklo_epi16)(a.low, b.low), ZEL_WIDE(unpackhi_epi16)(a.low, b.low),
                         ZEL_WIDE(unpacklo_epi16)(a.high, b.high), ZEL_WIDE(unpackhi_epi16)(a.high, b.high)};
  for (int k = 0; k < 4; ++k) {
    totals->sum[k] = ZEL_WIDE(add_epi32)(totals->sum[k], ZEL_WIDE(madd_epi16)(pairs[k], weights));
  }
}

static inline void RingVector(const uint8_t* const rows[7], uint8_t* out, size_t i) {
  const uint8_t *const r0 = rows[0] + i, *const r1 = rows[1] + i, *const r2 = rows[2] + i, *const r3 = rows[3] + i;
  const uint8_t *const r4 = rows[4] + i, *const r5 = rows[5] + i, *const r6 = rows[6] + i;
  const Wide zero = ZEL_WIDE_BITS(setzero)();
  RingTotals totals = {{zero, zero, zero, zero}};
  AddRing(&totals, Mirrored(r0, r6, 2, 4), 8, Mirrored(r0, r6, 1, 5), 2);
  AddRing(&totals, Mirrored(r1, r5, 0, 6), 2, Mirrored(r2, r4, 0, 6), 8);
  AddRing(&totals, Mirrored(r1, r5, 1, 5), 17, Mirrored(r1, r5, 2, 4), 39);
  AddRing(&totals, Mirrored(r2, r4, 1, 5), 39, Beside(r1 + 3, r5 + 3), 43);
  AddRing(&totals, Beside(r0 + 3, r6 + 3), 12, Beside(r2 + 3, r4 + 3), -96);
  AddRing(&totals, Beside(r3, r3 + 6), 12, Beside(r3 + 1, r3 + 5), 43);
  const Wide middle = LoadWide(r3 + 3);
  const RingSums centre = {ZEL_WIDE(unpacklo_epi8)(middle, zero), ZEL_WIDE(unpackhi_epi8)(middle, zero)};
  AddRing(&totals, Beside(r3 + 2, r3 + 4), -96, centre, -318);
  // Words hold more than the sums whose quotients lie from 0 to 255.
  const Wide low = ZEL_WIDE(packs_epi32)(totals.sum[0], totals.sum[1]);
  const Wide high = ZEL_WIDE(packs_epi32)(totals.sum[2], totals.sum[3]);
  StoreWide(out + i, ZEL_WIDE(packus_epi16)(RingQuotients(low), RingQuotients(high)));
}
#endif

// The weighted sum of one column, whose upper and lower halves mirror each other.
#define ZEL_COLUMN(x, w3, w2, w1, w0) \
  (w3 * (r0[i + x] + r6[i + x]) + w2 * (r1[i + x] + r5[i + x]) + w1 * (r2[i + x] + r4[i + x]) + w0 * r3[i + x])

static void RingMask(const uint8_t* const rows[7], uint8_t* out, size_t count) {
  const uint8_t *const r0 = rows[0], *const r1 = rows[1], *const r2 = rows[2], *const r3 = rows[3];
  const uint8_t *const r4 = rows[4], *const r5 = rows[5], *const r6 = rows[6];
  size_t i = 0;
#if defined(ZEL_TWINS)
  for (; i + kWideBytes <= count; i += kWideBytes) RingVector(rows, out, i);
#endif
  for (; i < count; ++i) {
    const int32_t sum = ZEL_COLUMN(0, 0, 2, 8, 12) + ZEL_COLUMN(1, 2, 17, 39, 43) + ZEL_COLUMN(2, 8, 39, 0, -96) +
                        ZEL_COLUMN(3, 12, 43, -96, -318) + ZEL_COLUMN(4, 8, 39, 0, -96) + ZEL_COLUMN(5, 2, 17, 39, 43) +
                        ZEL_COLUMN(6, 0, 2, 8, 12);
    // sum / 22 from 0 to 255. 2979 / 65536 exceeds 1 / 22 by so little that quotients up to 5610 / 22 come out exact.
    const int32_t cut = sum < 0 ? 0 : sum > 5610 ? 5610 : sum;
    out[i] = (uint8_t)(cut * 2979 >> 16);
  }
}

#undef ZEL_COLUMN

static const DetailKernels kDetailKernels = {LumaBytes, RingMask};
