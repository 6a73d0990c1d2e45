// Pictures that people look at: contact sheets and comparisons. 8 bits, sRGB, on light paper.
#ifndef ZEL_TOOL_PICTURES_H_
#define ZEL_TOOL_PICTURES_H_

#include <string>
#include <vector>

#include "photo.h"

namespace tool {

// Upright, three channels of sRGB, transparent parts on paper.
VImage Shown(const VImage& photo);
// The same made smaller until it fits; never larger.
VImage Reduced(const VImage& photo, int maxWidth, int maxHeight);

// A picture with a name and, in grey, details below; text wraps at the picture's width.
VImage Captioned(const VImage& picture, const std::string& name, const std::string& details);

// Cells in rows of `across`, each row as high as its highest cell, with a margin.
VImage Grid(const std::vector<VImage>& cells, int across);

// Histograms of red, green and blue, 256 x 120 each, of one scale.
std::vector<VImage> Histograms(const std::vector<VImage>& pictures);

}  // namespace tool

#endif  // ZEL_TOOL_PICTURES_H_
