// Takes the colour of the light out of a photograph.
#ifndef ZEL_SELECTIVE_LIGHT_CORRECT_H_
#define ZEL_SELECTIVE_LIGHT_CORRECT_H_

#include "core/image.h"

namespace zel {

// Moves the light to its own grey by `strength` per cent (cut to 0..100), the whole image by one curve per channel.
// Strength 0 copies the source. 3 channels; 1 channel has no colour and is copied. 8 and 16 bits, both orders alike.
// False, with nothing written,
// when the images differ or cannot be processed, or memory ran out.
bool LightCorrect(const ImageDesc* source, const ImageDesc* destination, int32_t strength);

}  // namespace zel

#endif  // ZEL_SELECTIVE_LIGHT_CORRECT_H_
