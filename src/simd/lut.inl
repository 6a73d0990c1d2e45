// Table lookups.

// Where a vector of bytes looks up faster than its bytes one by one.
#if defined(ZEL_TWINS) && !defined(__wasm_simd128__)
#define ZEL_TABLES
#endif

#if !defined(ZEL_TABLES)
#elif defined(__AVX512VBMI__)

typedef struct {
  __m512i quarter[4];
} Table;

static inline Table LoadTable(const uint8_t* table) {
  return {{LoadWide(table), LoadWide(table + 64), LoadWide(table + 128), LoadWide(table + 192)}};
}

// table[x] for 64 bytes: a shuffle of two registers looks up by the low seven bits, the top bit chooses between two.
static inline __m512i LookUp(__m512i x, const Table& table) {
  const __m512i lower = _mm512_permutex2var_epi8(table.quarter[0], x, table.quarter[1]);
  const __m512i upper = _mm512_permutex2var_epi8(table.quarter[2], x, table.quarter[3]);
  return _mm512_mask_blend_epi8(_mm512_movepi8_mask(x), lower, upper);
}

// a, b or c at the byte positions whose remainder by 3 is 0, 1 or 2.
static inline __m512i Interwoven(__m512i a, __m512i b, __m512i c) {
  const __mmask64 first = 0x9249249249249249ULL, second = 0x2492492492492492ULL;
  return _mm512_mask_blend_epi8(first, _mm512_mask_blend_epi8(second, c, b), a);
}

#elif defined(__SSE4_1__)

typedef const uint8_t* Table;

static inline Table LoadTable(const uint8_t* table) {
  return table;
}

static inline Wide SixteenEntries(const uint8_t* table, int k) {
#if defined(__AVX2__)
  return _mm256_broadcastsi128_si256(LoadHalf(table + 16 * k));
#else
  return LoadHalf(table + 16 * k);
#endif
}

// table[x] for a vector of bytes. A byte shuffle looks up by the low four bits and gives 0 where the top bit is set, so
// that for either half of the table eight shuffles with x or with its top bit turned leave candidates for bits 6, 5 and
// 4, which are chosen one bit after the other. Doubling moves the next bit to the top, where a blend looks.
static inline Wide LookUp(Wide x, const uint8_t* table) {
  const Wide turned = ZEL_WIDE_BITS(xor)(x, ZEL_WIDE(set1_epi8)((char)0x80));
  const Wide bit6 = ZEL_WIDE(add_epi8)(x, x);
  const Wide bit5 = ZEL_WIDE(add_epi8)(bit6, bit6);
  const Wide bit4 = ZEL_WIDE(add_epi8)(bit5, bit5);
  Wide quarter[2];
  for (int q = 0; q < 2; ++q) {
    Wide pair[2];
    for (int p = 0; p < 2; ++p) {
      const int k = 4 * q + 2 * p;
      const Wide even = ZEL_WIDE_BITS(or)(ZEL_WIDE(shuffle_epi8)(SixteenEntries(table, k), x),
                                          ZEL_WIDE(shuffle_epi8)(SixteenEntries(table, k + 8), turned));
      const Wide odd = ZEL_WIDE_BITS(or)(ZEL_WIDE(shuffle_epi8)(SixteenEntries(table, k + 1), x),
                                         ZEL_WIDE(shuffle_epi8)(SixteenEntries(table, k + 9), turned));
      pair[p] = ZEL_WIDE(blendv_epi8)(even, odd, bit4);
    }
    quarter[q] = ZEL_WIDE(blendv_epi8)(pair[0], pair[1], bit5);
  }
  return ZEL_WIDE(blendv_epi8)(quarter[0], quarter[1], bit6);
}

#elif defined(ZEL_NEON)

typedef struct {
  uint8x16x4_t quarter[4];
} Table;

static inline Table LoadTable(const uint8_t* table) {
  return {{vld1q_u8_x4(table), vld1q_u8_x4(table + 64), vld1q_u8_x4(table + 128), vld1q_u8_x4(table + 192)}};
}

// A look-up in 64 entries gives 0, or leaves what was there, where there is no such entry.
static inline Wide LookUp(Wide x, const Table& table) {
  const Wide quarter = vdupq_n_u8(64);
  const Wide second = vsubq_u8(x, quarter), third = vsubq_u8(second, quarter), fourth = vsubq_u8(third, quarter);
  const Wide lower = vqtbx4q_u8(vqtbl4q_u8(table.quarter[0], x), table.quarter[1], second);
  return vqtbx4q_u8(vqtbx4q_u8(lower, table.quarter[2], third), table.quarter[3], fourth);
}

#endif

#if defined(ZEL_TABLES)
// The same for bytes of which most vectors have none above 15: one shuffle looks those up.
static inline Wide LookUpSmall(Wide x, const Table& table) {
#if defined(__SSE4_1__) && !defined(__AVX512VBMI__)
  if (ZEL_WIDE_BITS(testz)(x, ZEL_WIDE(set1_epi8)((char)0xF0))) {
    return ZEL_WIDE(shuffle_epi8)(SixteenEntries(table, 0), x);
  }
#endif
  return LookUp(x, table);
}
#endif

#if defined(ZEL_TABLES) && !defined(__AVX512VBMI__)
// a, b or c at the byte positions whose remainder by 3 is 0, 1 or 2.
static inline Wide Interwoven(Wide a, Wide b, Wide c) {
#if defined(__AVX2__)
  const Wide first = _mm256_setr_epi8(-1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1,  //
                                      0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0);
  const Wide second = _mm256_setr_epi8(0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0,  //
                                       -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1);
#else
  const Wide first = ZEL_WIDE(setr_epi8)(-1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1);
  const Wide second = ZEL_WIDE(setr_epi8)(0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0);
#endif
  return ZEL_WIDE(blendv_epi8)(ZEL_WIDE(blendv_epi8)(c, b, second), a, first);
}
#endif

#if defined(ZEL_TABLES)
// Three vectors hold as many pixels as one holds bytes. That number is not divisible by 3, so every byte position has
// another channel in each of the three: one channel of all fits into one vector without any byte moving, and goes back
// the same way.
static inline void MapThreeVectors(const uint8_t* in, uint8_t* out, const Table& t0, const Table& t1, const Table& t2) {
  const Wide a = LoadWide(in);
  // In the order of their channels at a position: 64 and 16 leave 1 by division by 3, 32 leaves 2.
  const bool ascending = kWideBytes % 3 == 1;
  const Wide b = LoadWide(in + (ascending ? 1 : 2) * kWideBytes), c = LoadWide(in + (ascending ? 2 : 1) * kWideBytes);
  const Wide r = LookUp(Interwoven(a, c, b), t0);
  const Wide g = LookUp(Interwoven(b, a, c), t1);
  const Wide u = LookUp(Interwoven(c, b, a), t2);
  StoreWide(out, Interwoven(r, g, u));
  StoreWide(out + (ascending ? 1 : 2) * kWideBytes, Interwoven(g, u, r));
  StoreWide(out + (ascending ? 2 : 1) * kWideBytes, Interwoven(u, r, g));
}
#endif

static void MapBytes(const uint8_t* in, uint8_t* out, size_t count, const uint8_t* table) {
  size_t i = 0;
#if defined(ZEL_TABLES)
  const Table entries = LoadTable(table);
  for (; i + kWideBytes <= count; i += kWideBytes) {
    AskAhead(in + i, kWideBytes);
    StoreWide(out + i, LookUp(LoadWide(in + i), entries));
  }
#endif
  for (; i < count; ++i) out[i] = table[in[i]];
}

static void MapWords(const uint16_t* in, uint16_t* out, size_t count, const uint16_t* table) {
  for (size_t i = 0; i < count; ++i) out[i] = table[in[i]];
}

static void MapBytes3(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* const tables[3]) {
  const uint8_t* const t0 = tables[0];
  const uint8_t* const t1 = tables[1];
  const uint8_t* const t2 = tables[2];
  size_t i = 0;
#if defined(ZEL_TABLES)
  const Table table0 = LoadTable(t0), table1 = LoadTable(t1), table2 = LoadTable(t2);
  for (; i + 3 * kWideBytes <= 3 * pixels; i += 3 * kWideBytes) {
    AskAhead(in + i, 3 * kWideBytes);
    MapThreeVectors(in + i, out + i, table0, table1, table2);
  }
#endif
  for (; i < 3 * pixels; i += 3) {
    out[i] = t0[in[i]];
    out[i + 1] = t1[in[i + 1]];
    out[i + 2] = t2[in[i + 2]];
  }
}

static void MapWords3(const uint16_t* in, uint16_t* out, size_t pixels, const uint16_t* const tables[3]) {
  const uint16_t* const t0 = tables[0];
  const uint16_t* const t1 = tables[1];
  const uint16_t* const t2 = tables[2];
  for (size_t i = 0; i < 3 * pixels; i += 3) {
    out[i] = t0[in[i]];
    out[i + 1] = t1[in[i + 1]];
    out[i + 2] = t2[in[i + 2]];
  }
}

static const LutKernels kLutKernels = {MapBytes, MapWords, MapBytes3, MapWords3};
