// The colourful enhancement: chroma raised until the most colourful pixel is vivid, carried as a colour lattice.
#ifndef ZEL_COLOR_COLORFUL_H_
#define ZEL_COLOR_COLORFUL_H_

#include "core/view.h"

namespace zel {

// Fills an 8-bit lattice of kLatticeSamples bytes with a plain gain of chroma, at most 1.4, that brings the largest one
// of the measured rectangle to 100; pictures that are there already and all-grey ones get gain 1. Large pictures are
// measured at 300 x 300 points. Three channels, 8 and 16 bits. False, with the identity in the lattice, on images that
// cannot be measured or an empty rectangle.
template <class T>
bool EstimateColorfulLattice(const View<const T>& image, const ZelRect* rect, uint8_t* lattice);

// Multiplies the chroma of every node of an 8-bit lattice by the gain; L stays. Gain 1 is not quite the identity.
void RaiseLatticeChroma(uint8_t* lattice, double gain);

// How the strength, meant from 1 to 100, is carried out. Masked: only reddish hues are enriched, the others get plain
// saturation at strengths above 50.
enum class ColorfulStyle { kPlain, kMasked };

// The lattice of a picture at a strength: in the plain style the estimated one, faded towards the identity below 50 and
// beyond itself above, with extra saturation from 76; in the masked one with extra saturation from 51. Strength 0
// gives the identity; so does, with false, a picture that is refused.
bool ColorfulLattice(const ImageDesc* source, const ZelRect* rect, ColorfulStyle style, int32_t strength,
                     uint8_t* lattice);

// Maps the rectangle (reordered and cut) through the lattice; in the masked style mixes it there, by hue weights of at
// most 192 of 256, with the saturated source, which loses up to one level where the weight is 0. Three channels; 8
// bits, in the plain style 16 as well. False, with nothing written, on anything else.
bool ApplyColorful(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, ColorfulStyle style,
                   int32_t strength, const uint8_t* lattice);

// Measures the whole picture and applies its lattice to the rectangle. Strength 0 does nothing, whatever the records.
// On refusal a destination of the same layout holds a copy of the source.
bool Colorful(const ImageDesc* source, const ImageDesc* destination, ColorfulStyle style, int32_t strength,
              const ZelRect* rect);

}  // namespace zel

#endif  // ZEL_COLOR_COLORFUL_H_
