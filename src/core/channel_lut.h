// Channel tables: one to three tables in the order red, green, blue, 256 bytes each (8-bit block) or 65536 16-bit words
// each (16-bit block), one after the other.
#ifndef ZEL_CORE_CHANNEL_LUT_H_
#define ZEL_CORE_CHANNEL_LUT_H_

#include "core/image.h"

namespace zel {

constexpr size_t kLutEntries8 = 256;
constexpr size_t kLutEntries16 = 65536;

// The 16-bit value of an 8-bit table at a 16-bit sample: entry i stands at 257 * i, a straight line in between.
inline uint16_t Interpolated(const uint8_t* table, int32_t sample) {
  const int32_t i = sample / 257;
  const int32_t step = i == 255 ? 0 : table[i + 1] - table[i];
  return static_cast<uint16_t>(257 * table[i] + step * (sample - 257 * i));
}

// Fills `tables` tables of `block` with the identity; allocates the block (to be given to ReleaseBytes) when there is
// none. Returns the block; null when the allocation failed. Bits other than 8 and 16 return `block` as it came.
void* MakeIdentityLut(void* block, int32_t tables, int32_t bits);

// Maps every sample of the rectangle through its table. Fewer than three tables serve a colour image too: green takes
// table 1 if there are two, blue takes table 2 only if there are three, and table 0 otherwise. Blocks of the other
// depth are brought to the image's for the call: 8 to 16 bits by linear interpolation, 16 to 8 bits by every 257th
// entry.
//
// 1 and 3 channels, 8 and 16 bits; images of any other channel count or depth are left alone with success, so callers
// do not rely on this for four channels. In place works. False, with nothing written, when the records do not fit each
// other, the block is null or its depth is neither 8 nor 16, or memory ran out.
bool ApplyChannelLut(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const void* block,
                     int32_t tables, int32_t blockBits);

// The same on bare samples, for callers that already checked their records.
bool ApplyChannelLutRaw(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                        const void* block, int32_t tables, int32_t blockBits);

// Replaces each target curve by "target, then second". The second block's tables are paired one to one only when it has
// exactly three; otherwise its table 0 serves all. Bits other than 8 count as 16.
//
// An 8-bit second block is brought to a 16-bit target without scaling its values (entry 257 * i + j is
// S[i] + (S[i + 1] - S[i]) * j), so that an identity does not leave a 16-bit target unchanged; this is intended.
// False when a block is null or memory ran out.
bool ComposeChannelLut(void* target, int32_t tables, int32_t targetBits, const void* second, int32_t secondTables,
                       int32_t secondBits);

}  // namespace zel

#endif  // ZEL_CORE_CHANNEL_LUT_H_
