// Table lookups.

#if defined(__AVX2__)

static inline __m256i SixteenEntries(const uint8_t* table, int k) {
  return _mm256_broadcastsi128_si256(_mm_loadu_si128((const __m128i*)(table + 16 * k)));
}

// table[x] for 32 bytes. A byte shuffle looks up by the low four bits and gives 0 where the top bit is set, so that for
// either half of the table eight shuffles with x or with its top bit turned leave candidates for bits 6, 5 and 4, which
// are chosen one bit after the other. Doubling moves the next bit to the top, where a blend looks.
static inline __m256i LookUp(__m256i x, const uint8_t* table) {
  const __m256i turned = _mm256_xor_si256(x, _mm256_set1_epi8((char)0x80));
  const __m256i bit6 = _mm256_add_epi8(x, x);
  const __m256i bit5 = _mm256_add_epi8(bit6, bit6);
  const __m256i bit4 = _mm256_add_epi8(bit5, bit5);
  __m256i quarter[2];
  for (int q = 0; q < 2; ++q) {
    __m256i pair[2];
    for (int p = 0; p < 2; ++p) {
      const int k = 4 * q + 2 * p;
      const __m256i even = _mm256_or_si256(_mm256_shuffle_epi8(SixteenEntries(table, k), x),
                                           _mm256_shuffle_epi8(SixteenEntries(table, k + 8), turned));
      const __m256i odd = _mm256_or_si256(_mm256_shuffle_epi8(SixteenEntries(table, k + 1), x),
                                          _mm256_shuffle_epi8(SixteenEntries(table, k + 9), turned));
      pair[p] = _mm256_blendv_epi8(even, odd, bit4);
    }
    quarter[q] = _mm256_blendv_epi8(pair[0], pair[1], bit5);
  }
  return _mm256_blendv_epi8(quarter[0], quarter[1], bit6);
}

static inline __m256i Load32(const uint8_t* p) {
  return _mm256_loadu_si256((const __m256i*)p);
}
static inline void Store32(uint8_t* p, __m256i v) {
  _mm256_storeu_si256((__m256i*)p, v);
}

// a, b or c at the byte positions whose remainder by 3 is 0, 1 or 2.
static inline __m256i Interwoven(__m256i a, __m256i b, __m256i c) {
  const __m256i first = _mm256_setr_epi8(-1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0,
                                         -1, 0, 0, -1, 0, 0, -1, 0);
  const __m256i second = _mm256_setr_epi8(0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1,
                                          0, 0, -1, 0, 0, -1, 0, 0, -1);
  return _mm256_blendv_epi8(_mm256_blendv_epi8(c, b, second), a, first);
}

#endif

static void MapBytes(const uint8_t* in, uint8_t* out, size_t count, const uint8_t* table) {
  size_t i = 0;
#if defined(__AVX2__)
  for (; i + 32 <= count; i += 32) Store32(out + i, LookUp(Load32(in + i), table));
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
#if defined(__AVX2__)
  // Three vectors hold 32 pixels. Since 32 leaves 2 by division by 3, every byte position has another channel in each
  // of them: one channel of all three fits into one vector without any byte moving, and goes back the same way.
  for (; i + 96 <= 3 * pixels; i += 96) {
    const __m256i a = Load32(in + i), b = Load32(in + i + 32), c = Load32(in + i + 64);
    const __m256i r = LookUp(Interwoven(a, b, c), t0);
    const __m256i g = LookUp(Interwoven(c, a, b), t1);
    const __m256i u = LookUp(Interwoven(b, c, a), t2);
    Store32(out + i, Interwoven(r, g, u));
    Store32(out + i + 32, Interwoven(u, r, g));
    Store32(out + i + 64, Interwoven(g, u, r));
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
