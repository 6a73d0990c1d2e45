// Vectors of 16 bytes for processors whose own names differ from those of x86: 64-bit ARM and WebAssembly. A function
// does what the x86 instruction of its name does, within the ranges that the kernels need.

#if defined(ZEL_NEON)
#define ZEL_EITHER(arm, wasm) arm
typedef uint8x16_t Wide;
typedef float32x4_t WideFloats;
typedef float64x2_t WideDoubles;
#else
#define ZEL_EITHER(arm, wasm) wasm
typedef v128_t Wide, WideFloats, WideDoubles;
#endif

typedef uint8_t LanesU8 __attribute__((vector_size(16)));
typedef int8_t LanesI8 __attribute__((vector_size(16)));
typedef uint16_t LanesU16 __attribute__((vector_size(16)));
typedef int16_t LanesI16 __attribute__((vector_size(16)));
typedef uint32_t LanesU32 __attribute__((vector_size(16)));
typedef int32_t LanesI32 __attribute__((vector_size(16)));
typedef float LanesF32 __attribute__((vector_size(16)));
typedef double LanesF64 __attribute__((vector_size(16)));

#define ZEL_V(signature) static inline Wide v_##signature
#define ZEL_LANEWISE(name, Lanes, Vector, operator)   \
  static inline Vector v_##name(Vector a, Vector b) { \
    return (Vector)((Lanes)a operator(Lanes) b);      \
  }
ZEL_LANEWISE(add_epi8, LanesU8, Wide, +)
ZEL_LANEWISE(add_epi16, LanesU16, Wide, +)
ZEL_LANEWISE(add_epi32, LanesU32, Wide, +)
ZEL_LANEWISE(sub_epi8, LanesU8, Wide, -)
ZEL_LANEWISE(sub_epi16, LanesU16, Wide, -)
ZEL_LANEWISE(sub_epi32, LanesU32, Wide, -)
ZEL_LANEWISE(mullo_epi16, LanesU16, Wide, *)
ZEL_LANEWISE(cmpeq_epi8, LanesU8, Wide, ==)
ZEL_LANEWISE(cmpeq_epi32, LanesU32, Wide, ==)
ZEL_LANEWISE(cmpgt_epi8, LanesI8, Wide, >)
ZEL_LANEWISE(and, LanesU32, Wide, &)
ZEL_LANEWISE(or, LanesU32, Wide, |)
ZEL_LANEWISE(xor, LanesU32, Wide, ^)
ZEL_LANEWISE(add_ps, LanesF32, WideFloats, +)
ZEL_LANEWISE(mul_ps, LanesF32, WideFloats, *)
ZEL_LANEWISE(div_ps, LanesF32, WideFloats, /)
ZEL_LANEWISE(add_pd, LanesF64, WideDoubles, +)
ZEL_LANEWISE(sub_pd, LanesF64, WideDoubles, -)
ZEL_LANEWISE(mul_pd, LanesF64, WideDoubles, *)
#undef ZEL_LANEWISE

// clang-format off
ZEL_V(setzero()) { return ZEL_EITHER(vdupq_n_u8(0), wasm_i32x4_const_splat(0)); }
ZEL_V(set1_epi8(char x)) { return ZEL_EITHER(vdupq_n_u8((uint8_t)x), wasm_i8x16_splat(x)); }
ZEL_V(set1_epi16(short x)) { return ZEL_EITHER((Wide)vdupq_n_s16(x), wasm_i16x8_splat(x)); }
ZEL_V(set1_epi32(int x)) { return ZEL_EITHER((Wide)vdupq_n_s32(x), wasm_i32x4_splat(x)); }
ZEL_V(setr_epi8(char a, char b, char c, char d, char e, char f, char g, char h, char i, char j, char k, char l, char m,
                char n, char o, char p)) {
  const LanesU8 lanes = {(uint8_t)a, (uint8_t)b, (uint8_t)c, (uint8_t)d, (uint8_t)e, (uint8_t)f, (uint8_t)g, (uint8_t)h,
                         (uint8_t)i, (uint8_t)j, (uint8_t)k, (uint8_t)l, (uint8_t)m, (uint8_t)n, (uint8_t)o, (uint8_t)p};
  return (Wide)lanes;
}
ZEL_V(loadu(const Wide* in)) { return ZEL_EITHER(vld1q_u8((const uint8_t*)in), wasm_v128_load(in)); }
static inline void v_storeu(Wide* out, Wide v) { ZEL_EITHER(vst1q_u8((uint8_t*)out, v), wasm_v128_store(out, v)); }

ZEL_V(srli_epi16(Wide a, int bits)) { return ZEL_EITHER((Wide)((LanesU16)a >> (LanesU16)v_set1_epi16((short)bits)), wasm_u16x8_shr(a, (uint32_t)bits)); }
ZEL_V(srli_epi32(Wide a, int bits)) { return ZEL_EITHER((Wide)((LanesU32)a >> (LanesU32)v_set1_epi32(bits)), wasm_u32x4_shr(a, (uint32_t)bits)); }
ZEL_V(slli_epi16(Wide a, int bits)) { return ZEL_EITHER((Wide)((LanesU16)a << (LanesU16)v_set1_epi16((short)bits)), wasm_i16x8_shl(a, (uint32_t)bits)); }
ZEL_V(slli_epi32(Wide a, int bits)) { return ZEL_EITHER((Wide)((LanesU32)a << (LanesU32)v_set1_epi32(bits)), wasm_i32x4_shl(a, (uint32_t)bits)); }
ZEL_V(srai_epi16(Wide a, int bits)) { return ZEL_EITHER((Wide)((LanesI16)a >> (LanesI16)v_set1_epi16((short)bits)), wasm_i16x8_shr(a, (uint32_t)bits)); }
ZEL_V(srai_epi32(Wide a, int bits)) { return ZEL_EITHER((Wide)((LanesI32)a >> (LanesI32)v_set1_epi32(bits)), wasm_i32x4_shr(a, (uint32_t)bits)); }

ZEL_V(adds_epu8(Wide a, Wide b)) { return ZEL_EITHER(vqaddq_u8(a, b), wasm_u8x16_add_sat(a, b)); }
ZEL_V(subs_epu8(Wide a, Wide b)) { return ZEL_EITHER(vqsubq_u8(a, b), wasm_u8x16_sub_sat(a, b)); }
ZEL_V(min_epu8(Wide a, Wide b)) { return ZEL_EITHER(vminq_u8(a, b), wasm_u8x16_min(a, b)); }
ZEL_V(max_epu8(Wide a, Wide b)) { return ZEL_EITHER(vmaxq_u8(a, b), wasm_u8x16_max(a, b)); }
ZEL_V(min_epu16(Wide a, Wide b)) { return ZEL_EITHER((Wide)vminq_u16((uint16x8_t)a, (uint16x8_t)b), wasm_u16x8_min(a, b)); }
ZEL_V(min_epi16(Wide a, Wide b)) { return ZEL_EITHER((Wide)vminq_s16((int16x8_t)a, (int16x8_t)b), wasm_i16x8_min(a, b)); }
ZEL_V(max_epi16(Wide a, Wide b)) { return ZEL_EITHER((Wide)vmaxq_s16((int16x8_t)a, (int16x8_t)b), wasm_i16x8_max(a, b)); }
ZEL_V(min_epi32(Wide a, Wide b)) { return ZEL_EITHER((Wide)vminq_s32((int32x4_t)a, (int32x4_t)b), wasm_i32x4_min(a, b)); }
ZEL_V(max_epi32(Wide a, Wide b)) { return ZEL_EITHER((Wide)vmaxq_s32((int32x4_t)a, (int32x4_t)b), wasm_i32x4_max(a, b)); }
ZEL_V(abs_epi16(Wide a)) { return ZEL_EITHER((Wide)vabsq_s16((int16x8_t)a), wasm_i16x8_abs(a)); }
ZEL_V(andnot(Wide a, Wide b)) { return ZEL_EITHER(vbicq_u8(b, a), wasm_v128_andnot(b, a)); }
// Masks have all bits of a byte set or none.
ZEL_V(blendv_epi8(Wide a, Wide b, Wide mask)) { return ZEL_EITHER(vbslq_u8(mask, b, a), wasm_v128_bitselect(b, a, mask)); }
// Places have their top bit set or lie below 16.
ZEL_V(shuffle_epi8(Wide a, Wide places)) { return ZEL_EITHER(vqtbl1q_u8(a, places), wasm_i8x16_swizzle(a, places)); }

ZEL_V(unpacklo_epi8(Wide a, Wide b)) { return ZEL_EITHER(vzip1q_u8(a, b), wasm_i8x16_shuffle(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23)); }
ZEL_V(unpackhi_epi8(Wide a, Wide b)) { return ZEL_EITHER(vzip2q_u8(a, b), wasm_i8x16_shuffle(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31)); }
ZEL_V(unpacklo_epi16(Wide a, Wide b)) { return ZEL_EITHER((Wide)vzip1q_u16((uint16x8_t)a, (uint16x8_t)b), wasm_i16x8_shuffle(a, b, 0, 8, 1, 9, 2, 10, 3, 11)); }
ZEL_V(unpackhi_epi16(Wide a, Wide b)) { return ZEL_EITHER((Wide)vzip2q_u16((uint16x8_t)a, (uint16x8_t)b), wasm_i16x8_shuffle(a, b, 4, 12, 5, 13, 6, 14, 7, 15)); }
ZEL_V(unpacklo_epi32(Wide a, Wide b)) { return ZEL_EITHER((Wide)vzip1q_u32((uint32x4_t)a, (uint32x4_t)b), wasm_i32x4_shuffle(a, b, 0, 4, 1, 5)); }
ZEL_V(unpackhi_epi32(Wide a, Wide b)) { return ZEL_EITHER((Wide)vzip2q_u32((uint32x4_t)a, (uint32x4_t)b), wasm_i32x4_shuffle(a, b, 2, 6, 3, 7)); }
ZEL_V(unpacklo_epi64(Wide a, Wide b)) { return ZEL_EITHER((Wide)vzip1q_u64((uint64x2_t)a, (uint64x2_t)b), wasm_i64x2_shuffle(a, b, 0, 2)); }
ZEL_V(unpackhi_epi64(Wide a, Wide b)) { return ZEL_EITHER((Wide)vzip2q_u64((uint64x2_t)a, (uint64x2_t)b), wasm_i64x2_shuffle(a, b, 1, 3)); }
ZEL_V(packus_epi16(Wide a, Wide b)) { return ZEL_EITHER(vqmovun_high_s16(vqmovun_s16((int16x8_t)a), (int16x8_t)b), wasm_u8x16_narrow_i16x8(a, b)); }
ZEL_V(packus_epi32(Wide a, Wide b)) { return ZEL_EITHER((Wide)vqmovun_high_s32(vqmovun_s32((int32x4_t)a), (int32x4_t)b), wasm_u16x8_narrow_i32x4(a, b)); }
ZEL_V(packs_epi32(Wide a, Wide b)) { return ZEL_EITHER((Wide)vqmovn_high_s32(vqmovn_s32((int32x4_t)a), (int32x4_t)b), wasm_i16x8_narrow_i32x4(a, b)); }

ZEL_V(cvttps_epi32(WideFloats a)) { return ZEL_EITHER((Wide)vcvtq_s32_f32(a), wasm_i32x4_trunc_sat_f32x4(a)); }
static inline WideFloats v_cvtepi32_ps(Wide a) { return ZEL_EITHER(vcvtq_f32_s32((int32x4_t)a), wasm_f32x4_convert_i32x4(a)); }
static inline WideFloats v_set1_ps(float x) { return ZEL_EITHER(vdupq_n_f32(x), wasm_f32x4_splat(x)); }
static inline WideFloats v_max_ps(WideFloats a, WideFloats b) { return ZEL_EITHER(vmaxq_f32(a, b), wasm_f32x4_pmax(a, b)); }
static inline WideDoubles v_setzero_pd() { return ZEL_EITHER(vdupq_n_f64(0), wasm_f64x2_const_splat(0)); }
static inline WideDoubles v_set1_pd(double x) { return ZEL_EITHER(vdupq_n_f64(x), wasm_f64x2_splat(x)); }
static inline WideDoubles v_loadu_pd(const double* in) { return ZEL_EITHER(vld1q_f64(in), wasm_v128_load(in)); }
static inline void v_storeu_pd(double* out, WideDoubles v) { ZEL_EITHER(vst1q_f64(out, v), wasm_v128_store(out, v)); }

// The upper halves of 32-bit products, from both halves of the vectors.
ZEL_V(mulhi_epu16(Wide a, Wide b)) {
  return ZEL_EITHER((Wide)vuzp2q_u16((uint16x8_t)vmull_u16(vget_low_u16((uint16x8_t)a), vget_low_u16((uint16x8_t)b)),
                                     (uint16x8_t)vmull_high_u16((uint16x8_t)a, (uint16x8_t)b)),
                    wasm_i16x8_shuffle(wasm_u32x4_extmul_low_u16x8(a, b), wasm_u32x4_extmul_high_u16x8(a, b), 1, 3, 5, 7, 9, 11, 13, 15));
}
ZEL_V(madd_epi16(Wide a, Wide b)) {
  return ZEL_EITHER((Wide)vpaddq_s32(vmull_s16(vget_low_s16((int16x8_t)a), vget_low_s16((int16x8_t)b)),
                                     vmull_high_s16((int16x8_t)a, (int16x8_t)b)),
                    wasm_i32x4_dot_i16x8(a, b));
}
// Bytes of b are not negative, and no sum passes 32767.
ZEL_V(maddubs_epi16(Wide a, Wide b)) {
  return ZEL_EITHER((Wide)vpaddq_u16(vmull_u8(vget_low_u8(a), vget_low_u8(b)), vmull_high_u8(a, b)),
                    v_add_epi16(v_mullo_epi16(v_and(a, v_set1_epi16(255)), v_and(b, v_set1_epi16(255))),
                                v_mullo_epi16(v_srli_epi16(a, 8), v_srli_epi16(b, 8))));
}
// clang-format on
#undef ZEL_V
