// Our own test photograph, drawn by code.
#ifndef ZEL_TOOL_SAMPLE_H_
#define ZEL_TOOL_SAMPLE_H_

#include "photo.h"

namespace tool {

// Sky with clouds, hills, a tree, grass, a person, a grey card and colour patches, under warm light and with film
// noise. Integer arithmetic only: the same pixels on every machine. 16 bits hold the same picture more finely. Sizes
// from 64 x 64. Drawn as it is used, part by part.
VImage DrawSample(int width, int height, int bits);

}  // namespace tool

#endif  // ZEL_TOOL_SAMPLE_H_
