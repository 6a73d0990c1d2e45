// Channel tables: one to three tables in the order red, green, blue, 256 bytes each (8-bit block) or 65536 16-bit words
// each (16-bit block), one after the other.
#ifndef ZEL_CORE_CHANNEL_LUT_H_
#define ZEL_CORE_CHANNEL_LUT_H_

#include "core/view.h"

namespace zel {

constexpr size_t kLutEntries8 = 256;
constexpr size_t kLutEntries16 = 65536;

// A block of tables, its depth that of T. Who may only read the tables gets it as a constant.
template <class T>
struct Curves {
  static constexpr size_t kEntries = sizeof(T) == 1 ? kLutEntries8 : kLutEntries16;

  T* block = nullptr;
  int32_t tables = 0;

  T* Table(int32_t k) { return block + static_cast<size_t>(k) * kEntries; }
  const T* Table(int32_t k) const { return block + static_cast<size_t>(k) * kEntries; }
  // The table of a colour, 0 to 2: fewer than three serve a colour image too, the first one those that have none.
  const T* Of(int32_t colour) const { return Table(colour < tables ? colour : 0); }
  size_t Count() const { return static_cast<size_t>(tables) * kEntries; }
};

// The 16-bit value of an 8-bit table at a 16-bit sample: entry i stands at 257 * i, a straight line in between.
inline uint16_t Interpolated(const uint8_t* table, int32_t sample) {
  const int32_t i = sample / 257;
  const int32_t step = i == 255 ? 0 : table[i + 1] - table[i];
  return static_cast<uint16_t>(257 * table[i] + step * (sample - 257 * i));
}

template <class T>
void FillIdentity(Curves<T> curves) {
  for (int32_t k = 0; k < curves.tables; ++k) {
    T* const table = curves.Table(k);
    for (int32_t i = 0; i <= kLast<T>; ++i) table[i] = static_cast<T>(i);
  }
}

// The identity in a block whose depth is known only when the program runs; allocates the block (to be given to
// ReleaseBytes) when there is none. Returns the block; null when the allocation failed. Bits other than 8 and 16 return
// `block` as it came. No export comes here: for programs that are linked with the static library.
void* MakeIdentityLut(void* block, int32_t tables, int32_t bits);

// Maps every sample of the region through its table, at least one of which there is. Blocks of the other depth are
// brought to the image's for the call: 8 to 16 bits by linear interpolation, 16 to 8 bits by every 257th entry.
//
// 1 and 3 channels; images of any other channel count are left alone with success, so callers do not rely on this for
// four channels. In place works. False, with nothing written, when memory ran out.
template <class T, class B>
bool ApplyChannelLutRaw(const Source<T>& source, const View<T>& destination, const Region& region,
                        const Curves<B>& curves);

// The same to a rectangle (reordered and cut). Images of other depths are left alone with success too. False, with
// nothing written, when the records do not fit each other, the block is null or memory ran out.
template <class B>
bool ApplyChannelLut(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                     const Curves<B>& curves);

// Replaces each target curve by "target, then second". The second block's tables are paired one to one only when it has
// exactly three; otherwise its table 0 serves all.
//
// An 8-bit second block is brought to a 16-bit target without scaling its values (entry 257 * i + j is
// S[i] + (S[i + 1] - S[i]) * j), so that an identity does not leave a 16-bit target unchanged; this is intended.
// False when a block is null or memory ran out.
template <class T, class B>
bool ComposeChannelLut(Curves<T> target, const Curves<B>& second);

}  // namespace zel

#endif  // ZEL_CORE_CHANNEL_LUT_H_
