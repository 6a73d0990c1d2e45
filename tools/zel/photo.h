// A photograph in memory, and how it is read and written.
#ifndef ZEL_TOOL_PHOTO_H_
#define ZEL_TOOL_PHOTO_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "zel.h"

namespace tool {

struct Metadata;  // EXIF, XMP, IPTC, colour profile, resolution: carried from the source to the result

// Pixels tightly packed, blue first. Alpha lies apart and is never touched.
struct Photo {
  int width = 0, height = 0;
  int channels = 3;  // 1 or 3
  int bits = 8;      // 8 or 16
  int orientation = 1;
  std::vector<uint8_t> samples;
  std::vector<uint8_t> alpha;  // empty: none
  std::shared_ptr<const Metadata> metadata;

  size_t Pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
  ImageDesc Record();
};

enum class Format { None, Png, Jpeg, Tiff, Ppm };

struct ReadLimits {
  double maxPixels = 300e6;
};

struct WriteOptions {
  int quality = 95;    // JPEG
  bool strip = false;  // no metadata; the picture is turned upright first
};

// Starts the image library. Called once, by commands that read or write pictures, before any thread exists.
void StartImages(const char* program);

// By suffix; Format::None when it is unknown.
Format FormatOf(const std::string& path);
// "png", "jpg", "jpeg", "tif", "tiff", "ppm", "pgm" in any case; Format::None otherwise.
Format FormatNamed(const std::string& name);

// Reads PNG, JPEG, TIFF or PPM by content, whatever the name says; "-" reads standard input. Throws Failure.
Photo ReadPhoto(const std::string& path, const ReadLimits& limits);

// The encoded file. `notes` receives what the format cannot hold (16 bits, alpha). Throws Failure.
std::vector<uint8_t> EncodePhoto(Photo photo, Format format, const WriteOptions& options,
                                 std::vector<std::string>* notes);

// Writes bytes so that `path` is either the old file or the complete new one at every moment, also when the process is
// killed. Without `overwrite` an existing file is a Failure. "-" writes standard output.
void WriteFile(const std::string& path, const void* bytes, size_t count, bool overwrite);

// Keeps the upper 8 of 16 bits, rounded.
void To8Bits(Photo* photo);

// Turns the samples so that orientation 1 shows them as before.
void TurnUpright(Photo* photo);

// Makes three equal channels of one; and one of three when no pixel has colour beyond rounding, 2 of 255.
void GreyToColour(Photo* photo);
bool ColourToGrey(Photo* photo);

}  // namespace tool

#endif  // ZEL_TOOL_PHOTO_H_
