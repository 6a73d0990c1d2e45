// The pixels of a photograph.
#ifndef ZEL_TOOL_PIXELS_H_
#define ZEL_TOOL_PIXELS_H_

#include <cstdint>
#include <string>
#include <vips/vips8>

namespace tool {

// A photograph is an image in memory: the file's samples, red first, alpha last, 8 or 16 bits, with the header's
// fields.
using vips::VImage;

int Bits(const VImage& photo);
bool HasAlpha(const VImage& photo);
int Orientation(const VImage& photo);
// A whole number among the fields of the header.
int IntField(const VImage& photo, const char* name, int fallback);
uint8_t* Samples(const VImage& photo);

// A copy of its own, decoded or computed now, in one piece of memory that may be written to. Throws Failure when it
// does not fit.
VImage InMemory(const VImage& image);

VImage WithoutAlpha(const VImage& photo);

// Keeps the upper 8 of 16 bits, rounded.
VImage To8Bits(const VImage& photo);

// Three equal channels of a grey picture's one.
VImage InColour(const VImage& photo);

// A number in millions, for people.
std::string Millions(double number);

}  // namespace tool

#endif  // ZEL_TOOL_PIXELS_H_
