// What a JPEG file says about how it was made, and the image library does not tell.
#ifndef ZEL_TOOL_JPEG_H_
#define ZEL_TOOL_JPEG_H_

#include <cstddef>
#include <string>

namespace tool {

struct JpegHeader {
  int quality = 0;       // 1 to 100, whose tables come nearest; 0: not known
  bool halved = false;   // chroma has half the resolution in both directions
  std::string comments;  // the comment segments as they stand in the file
};

// Reads the beginning of a JPEG file up to the first scan. What cannot be read stays empty.
JpegHeader ReadJpegHeader(const void* bytes, size_t count);

}  // namespace tool

#endif  // ZEL_TOOL_JPEG_H_
