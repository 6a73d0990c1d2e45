// Noise reduction by wavelet shrinkage: every detail of every level is drawn towards zero by a curve whose knee follows
// from the details' own distribution.
#ifndef ZEL_RETOUCH_DENOISE_H_
#define ZEL_RETOUCH_DENOISE_H_

#include "core/listener.h"
#include "core/view.h"

namespace zel {

// The strength behind a user's setting above 0: doubled up to 50, then one for one. Settings whose sign bit is set were
// negative numbers once and give a negative strength, which is refused; the largest ones give the largest strength.
int32_t DenoiseStrength(uint32_t setting);

// How many levels an image of this size is decomposed into: 0 for a shorter side below 8, at most 9, and no more than
// leave every level a strength of at least 2.
int32_t DetailLevels(int32_t width, int32_t height, int32_t strength);

// `size` rounded up to the next multiple of 2^levels.
int64_t PaddedSize(int32_t size, int32_t levels);

// Filters the first three samples of every pixel of an 8-bit image. `strength` is 0 or more; from 300 on details below
// the knee vanish. With fewer than three channels the three passes reach into the following pixels, each one reading
// what `source` holds by then and writing over the one before; beyond the end of the memory its last byte is read and
// nothing is written. In place works. False, with nothing written, when the images differ or cannot be processed, or
// memory ran out; false with a part of the result written when the listener gives up.
bool DenoiseImage(const ImageDesc* source, const ImageDesc* destination, int32_t strength,
                  const Listener* listener = nullptr);
bool WaveletDenoisePlanes(const View<const uint8_t>& source, const View<uint8_t>& destination, int32_t strength,
                          const Listener* listener = nullptr);

// The same for a user's setting, of which 0 copies the source.
bool Denoise(const ImageDesc* source, const ImageDesc* destination, uint32_t setting, const ZelRect* rect,
             const Listener* listener = nullptr);

}  // namespace zel

#endif  // ZEL_RETOUCH_DENOISE_H_
