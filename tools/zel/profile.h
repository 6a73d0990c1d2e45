// Colour profiles of photographs.
#ifndef ZEL_TOOL_PROFILE_H_
#define ZEL_TOOL_PROFILE_H_

#include <string>
#include <vips/vips8>

namespace tool {

// The name of the photograph's profile when it means other colours than sRGB; empty for sRGB, for no profile and for
// one that cannot be read.
std::string OtherProfile(const vips::VImage& photo);

// The same colours in sRGB, tagged so; grey stays grey, depth and alpha stay. CMYK becomes colour.
vips::VImage ToSrgb(const vips::VImage& photo);
// The same where OtherProfile names a profile; else the photograph itself.
vips::VImage InSrgb(const vips::VImage& photo);

}  // namespace tool

#endif  // ZEL_TOOL_PROFILE_H_
