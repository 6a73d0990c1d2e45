// The detail mask: luma, and how much darker a pixel is than a ring around it.

static void LumaBytes(const uint8_t* in, uint8_t* out, size_t pixels, bool blueFirst) {
  const uint32_t first = blueFirst ? 29 : 77, last = blueFirst ? 77 : 29;
  for (size_t p = 0; p < pixels; ++p) {
    out[p] = (uint8_t)((first * in[3 * p] + 150u * in[3 * p + 1] + last * in[3 * p + 2]) >> 8);
  }
}

// The weighted sum of one column, whose upper and lower halves mirror each other.
#define ZEL_COLUMN(x, w3, w2, w1, w0) \
  (w3 * (r0[i + x] + r6[i + x]) + w2 * (r1[i + x] + r5[i + x]) + w1 * (r2[i + x] + r4[i + x]) + w0 * r3[i + x])

static void RingMask(const uint8_t* const rows[7], uint8_t* out, size_t count) {
  const uint8_t *const r0 = rows[0], *const r1 = rows[1], *const r2 = rows[2], *const r3 = rows[3];
  const uint8_t *const r4 = rows[4], *const r5 = rows[5], *const r6 = rows[6];
  for (size_t i = 0; i < count; ++i) {
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
