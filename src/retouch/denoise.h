// Noise reduction by wavelet shrinkage: every detail of every level is drawn towards zero by a curve whose knee follows
// from the details' own distribution.
#ifndef ZEL_RETOUCH_DENOISE_H_
#define ZEL_RETOUCH_DENOISE_H_

#include "core/image.h"

namespace zel {

// Details are taken by their rounded magnitude; those of 256 and above stay as they are.
constexpr int32_t kDetailEntries = 256;

// The strength behind a user's setting above 0: doubled up to 50, then one for one. Settings whose sign bit is set were
// negative numbers once and give a negative strength, which is refused; the largest ones give the largest strength.
int32_t DenoiseStrength(uint32_t setting);

// How many levels an image of this size is decomposed into: 0 for a shorter side below 8, at most 9, and no more than
// leave every level a strength of at least 2.
int32_t DetailLevels(int32_t width, int32_t height, int32_t strength);

// `size` rounded up to the next multiple of 2^levels.
int64_t PaddedSize(int32_t size, int32_t levels);

// Samples `offset` of all pixels as doubles, `paddedWidth` a row; the last column and the last row are repeated. With
// one or two channels the offset may lead past the end of the memory, where its last byte is read.
void LoadChannelPlane(const uint8_t* source, const Geometry& geometry, int32_t offset, double* plane,
                      size_t paddedWidth, size_t paddedHeight);

// counts[k] += the number of values whose magnitude rounds to k; 255 counts all larger ones.
void CountMagnitudes(const double* values, size_t count, uint64_t counts[kDetailEntries]);

// The shrink curve, new magnitude by rounded magnitude, of `area` details with these counts at a strength above 0.
// Mode 1 puts the knee at a quarter of the largest magnitude that one detail in 2048 exceeds, modes 2 and 3 at half of
// it, mode 4 at three quarters. The identity when nearly all details vanish.
void BuildDetailCurve(const uint64_t counts[kDetailEntries], uint64_t area, int32_t strength, int32_t mode,
                      uint8_t curve[kDetailEntries]);

// Each value becomes its curve entry with its own sign; magnitudes that round to 256 or more stay as they are.
void ApplyDetailCurve(double* values, size_t count, const uint8_t curve[kDetailEntries]);

// Filters the first three samples of every pixel of an 8-bit image. `strength` is 0 or more; from 300 on details below
// the knee vanish. With fewer than three channels the three passes reach into the following pixels, each one reading
// what `source` holds by then and writing over the one before; writes past the end of the memory are dropped. In place
// works. False, with nothing written, when the images differ or cannot be processed, or memory ran out.
bool DenoiseImage(const ImageDesc* source, const ImageDesc* destination, int32_t strength);
bool WaveletDenoisePlanes(const uint8_t* source, uint8_t* destination, const Geometry& geometry, int32_t strength);

}  // namespace zel

#endif  // ZEL_RETOUCH_DENOISE_H_
