// Smart contrast: a levels stretch whose points are measured on the picture.
#ifndef ZEL_TONE_SMART_CONTRAST_H_
#define ZEL_TONE_SMART_CONTRAST_H_

#include "tone/histogram.h"

namespace zel {

// Fills 1 to 3 tables with the stretch for the pixels of the rectangle. Level 0 is the identity, 100 the full stretch
// to the darkest and brightest half per cent, 400 (the most) a threshold at mid-grey. 1 and 3 channels, 8 and 16 bits;
// the points of a 16-bit block are scaled to its range. False when the image cannot be measured or the block is null;
// the block may then hold the identity. `through` measures the image as if those curves had been applied to it.
template <class B>
bool SmartContrastLut(const ImageDesc* source, const ZelRect* rect, int32_t level, Curves<B> curves);
template <class T, class B>
bool SmartContrastCurve(const View<const T>& image, const Region& measured, int32_t level, Curves<B> curves,
                        const AppliedCurves* through = nullptr);

// The level behind a host's strength of 1 to 100: doubled up to the full stretch at 50, then steeper.
int32_t SmartContrastLevel(int32_t strength);

// Three 8-bit tables for a host's strength, measured on the rectangle; the identity at 0 and, with false, where the
// image cannot be measured.
bool SmartContrastTables(const ImageDesc* source, int32_t strength, const ZelRect* rect, uint8_t* block);

// Measures the whole image and applies the tables to the rectangle. Strength 0 copies the source.
bool SmartContrast(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect);

}  // namespace zel

#endif  // ZEL_TONE_SMART_CONTRAST_H_
