// Reading and writing photographs.
#ifndef ZEL_TOOL_PHOTO_H_
#define ZEL_TOOL_PHOTO_H_

#include <functional>
#include <string>
#include <vector>

#include "pixels.h"

namespace tool {

enum class Format { None, Png, Jpeg, Tiff, Ppm, Webp, Avif };

// The formats that can be written, for messages.
constexpr const char* kFormatNames = "png, jpg, tif, ppm, webp or avif";
constexpr const char* kSuffixes = ".png, .jpg, .tif, .ppm, .webp or .avif";

struct ReadOptions {
  double maxPixels = 300e6;
  int page = -1;        // of files that hold several pictures; -1: such files are refused
  bool toSrgb = false;  // a picture with another colour profile is converted
  // Called with the bytes that the picture will take before it is decoded; may wait.
  std::function<void(double)> reserve;
};

struct WriteOptions {
  int quality = 0;  // of JPEG, WebP and AVIF, 1 to 100; 0: that of a JPEG source, else 95
  // Of JPEG: "4:4:4" or "4:2:0". Empty: that of a JPEG source, where one that halves in one direction becomes 4:4:4 and
  // loses nothing; of others 4:4:4 from quality 90 on.
  std::string subsampling;
  bool progressive = false;  // JPEG; also when the source is
  bool strip = false;        // no metadata; the picture is turned upright and converted to sRGB first
};

// Starts the image library. Called once, by commands that read or write pictures, before any thread exists.
void StartImages(const char* program);

// By suffix; Format::None when it is unknown.
Format FormatOf(const std::string& path);
// "png", "jpg", "jpeg", "tif", "tiff", "ppm", "pgm", "pnm", "webp", "avif" in any case; Format::None otherwise.
Format FormatNamed(const std::string& name);
// The suffix without its dot.
const char* Suffix(Format format);
// By suffix: what may be read but not be written.
bool IsReadOnlyName(const std::string& path);

// Reads by content, whatever the name says: PNG, JPEG, TIFF, PPM, WebP, HEIC, AVIF and JPEG XL, as far as the installed
// image library does. "-" is standard input. `notes` receives what was converted. Throws Failure, NotAPicture for files
// of other kinds.
VImage ReadPhoto(const std::string& path, const ReadOptions& options, std::vector<std::string>* notes);

// Writes the encoded file to a descriptor. `notes` receives what the format cannot hold (16 bits, alpha). Throws
// Failure.
void EncodePhoto(VImage photo, Format format, const WriteOptions& options, int fd, std::vector<std::string>* notes);

// Encodes and publishes a picture that a command has drawn; the format is the one named, or that of the suffix.
// Prints notes. Throws Failure, and UsageError when there is no format.
void SavePicture(const VImage& picture, const std::string& path, const std::string& format, bool overwrite);

}  // namespace tool

#endif  // ZEL_TOOL_PHOTO_H_
