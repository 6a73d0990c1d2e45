// Table lookups.

static void MapBytes(const uint8_t* in, uint8_t* out, size_t count, const uint8_t* table) {
  for (size_t i = 0; i < count; ++i) out[i] = table[in[i]];
}

static void MapWords(const uint16_t* in, uint16_t* out, size_t count, const uint16_t* table) {
  for (size_t i = 0; i < count; ++i) out[i] = table[in[i]];
}

static void MapBytes3(const uint8_t* in, uint8_t* out, size_t pixels, const uint8_t* const tables[3]) {
  const uint8_t* const t0 = tables[0];
  const uint8_t* const t1 = tables[1];
  const uint8_t* const t2 = tables[2];
  for (size_t i = 0; i < 3 * pixels; i += 3) {
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
