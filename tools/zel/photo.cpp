#include "photo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vips/vips8>

#include "failure.h"

namespace tool {

// The header fields of the source, carried by an image of one pixel.
struct Metadata {
  vips::VImage fields;
  double xres = 1, yres = 1;
};

namespace {

// Everything else that a header holds is either layout or a secret of the loader.
bool IsCarried(const std::string& name) {
  static const char* const kFields[] = {VIPS_META_EXIF_NAME,       VIPS_META_XMP_NAME,        VIPS_META_IPTC_NAME,
                                        VIPS_META_ICC_NAME,        VIPS_META_PHOTOSHOP_NAME,  VIPS_META_ORIENTATION,
                                        VIPS_META_RESOLUTION_UNIT, VIPS_META_IMAGEDESCRIPTION};
  for (const char* field : kFields) {
    if (name == field) return true;
  }
  return name.rfind("exif-ifd", 0) == 0 || name.rfind("png-comment-", 0) == 0;
}

void CopyFields(VipsImage* from, VipsImage* to) {
  char** names = vips_image_get_fields(from);
  for (char** name = names; *name; ++name) {
    GValue value = G_VALUE_INIT;
    if (IsCarried(*name) && vips_image_get(from, *name, &value) == 0) {
      vips_image_set(to, *name, &value);
      g_value_unset(&value);
    }
  }
  g_strfreev(names);
}

std::string VipsMessage() {
  std::string text = vips_error_buffer();
  vips_error_clear();
  text = text.substr(0, text.find('\n'));
  return text.empty() ? "unknown fault" : text;
}

// What the tool promises to read; anything rarer is a larger door for crafted files.
constexpr const char* kLoaders[] = {"VipsForeignLoadPng", "VipsForeignLoadJpeg", "VipsForeignLoadTiff",
                                    "VipsForeignLoadPpm"};

void BlockOtherLoaders() {
  vips_operation_block_set("VipsForeignLoad", TRUE);
  for (const char* name : kLoaders) vips_operation_block_set(name, FALSE);
}

bool IsReadable(const vips::VSource& source) {
  const char* found = vips_foreign_find_load_source(source.get_source());
  vips_error_clear();
  for (const char* name : kLoaders) {
    if (found && std::string(found).rfind(name, 0) == 0) return true;
  }
  return false;
}

struct Descriptor {
  int fd = -1;
  ~Descriptor() {
    if (fd > 2) close(fd);
  }
};

void OpenInput(const std::string& path, Descriptor* file) {
  if (path == "-") {
    file->fd = 0;
    return;
  }
  file->fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file->fd < 0) throw Failure(std::string("cannot be read: ") + std::strerror(errno));
  struct stat status;
  if (fstat(file->fd, &status) != 0) throw Failure(std::string("cannot be read: ") + std::strerror(errno));
  if (S_ISDIR(status.st_mode)) throw Failure("is a folder, not a photograph");
  if (!S_ISREG(status.st_mode)) throw Failure("is not a file");
  if (status.st_size == 0) throw Failure("is empty");
}

std::string Thousands(double pixels) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", pixels / 1e6);
  return text;
}

void CheckHeader(const vips::VImage& image, const ReadLimits& limits) {
  const double pixels = static_cast<double>(image.width()) * image.height();
  if (pixels > limits.maxPixels) {
    throw Failure("has " + Thousands(pixels) + " million pixels, more than the limit of " +
                  Thousands(limits.maxPixels) + " (raise it with --max-pixels)");
  }
  if (image.interpretation() == VIPS_INTERPRETATION_CMYK) throw Failure("is a CMYK picture; convert it to RGB first");
  if (image.format() != VIPS_FORMAT_UCHAR && image.format() != VIPS_FORMAT_USHORT) {
    throw Failure("has samples that are neither 8 nor 16 bits; convert it first");
  }
  if (image.bands() > 4) throw Failure("has " + std::to_string(image.bands()) + " channels; only 1 to 4 can be read");
}

// Splits rows of interleaved samples, red first, into colour, blue first, and alpha.
template <typename T>
void Separate(const T* source, size_t pixels, int bands, T* colour, int channels, T* alpha) {
  for (size_t i = 0; i < pixels; ++i, source += bands, colour += channels) {
    for (int c = 0; c < channels; ++c) colour[c] = source[channels - 1 - c];
    if (alpha) *alpha++ = source[channels];
  }
}

template <typename T>
void Join(const T* colour, size_t pixels, int channels, const T* alpha, T* out) {
  const int bands = channels + (alpha ? 1 : 0);
  for (size_t i = 0; i < pixels; ++i, colour += channels, out += bands) {
    for (int c = 0; c < channels; ++c) out[c] = colour[channels - 1 - c];
    if (alpha) out[channels] = *alpha++;
  }
}

Photo FromVips(const vips::VImage& image) {
  Photo photo;
  photo.width = image.width();
  photo.height = image.height();
  const int bands = image.bands();
  photo.channels = bands <= 2 ? 1 : 3;
  photo.bits = image.format() == VIPS_FORMAT_USHORT ? 16 : 8;
  if (image.get_typeof(VIPS_META_ORIENTATION) != 0) photo.orientation = image.get_int(VIPS_META_ORIENTATION);

  size_t size = 0;
  std::unique_ptr<void, decltype(&g_free)> memory(image.write_to_memory(&size), g_free);
  const size_t pixels = photo.Pixels(), bytes = static_cast<size_t>(photo.bits / 8);
  photo.samples.resize(pixels * photo.channels * bytes);
  if (bands != photo.channels) photo.alpha.resize(pixels * bytes);
  if (photo.bits == 8) {
    Separate(static_cast<uint8_t*>(memory.get()), pixels, bands, photo.samples.data(), photo.channels,
             photo.alpha.empty() ? nullptr : photo.alpha.data());
  } else {
    Separate(static_cast<uint16_t*>(memory.get()), pixels, bands, reinterpret_cast<uint16_t*>(photo.samples.data()),
             photo.channels, photo.alpha.empty() ? nullptr : reinterpret_cast<uint16_t*>(photo.alpha.data()));
  }
  auto metadata = std::make_shared<Metadata>();
  metadata->fields = vips::VImage::black(1, 1).copy_memory();
  CopyFields(image.get_image(), metadata->fields.get_image());
  metadata->xres = image.xres();
  metadata->yres = image.yres();
  photo.metadata = metadata;
  return photo;
}

// Written here because the image library stamps the time into the header, and one picture shall give one file.
std::vector<uint8_t> EncodePpm(const Photo& photo) {
  const std::string header = std::string(photo.channels == 1 ? "P5\n" : "P6\n") + std::to_string(photo.width) + " " +
                             std::to_string(photo.height) + (photo.bits == 16 ? "\n65535\n" : "\n255\n");
  std::vector<uint8_t> bytes(header.size() + photo.samples.size());
  std::copy(header.begin(), header.end(), bytes.begin());
  uint8_t* out = bytes.data() + header.size();
  const size_t count = photo.samples.size() / static_cast<size_t>(photo.bits / 8);
  for (size_t i = 0; i < count; ++i) {
    const size_t from = photo.channels == 1 ? i : i - i % 3 + (2 - i % 3);
    if (photo.bits == 8) {
      *out++ = photo.samples[from];
      continue;
    }
    uint16_t wide;
    std::memcpy(&wide, &photo.samples[2 * from], 2);
    *out++ = static_cast<uint8_t>(wide >> 8);
    *out++ = static_cast<uint8_t>(wide & 255);
  }
  return bytes;
}

}  // namespace

ImageDesc Photo::Record() {
  static const FormatCode kFormats[2][2] = {{ZEL_FORMAT_GREY8, ZEL_FORMAT_BGR24},
                                            {ZEL_FORMAT_GREY16, ZEL_FORMAT_BGR48}};
  return {width, height, kFormats[bits == 16][channels == 3], width * channels, samples.data()};
}

void StartImages(const char* program) {
  if (VIPS_INIT(program)) throw Failure("the image library does not start: " + VipsMessage());
  g_log_set_handler(
      "VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_INFO),
      [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
  BlockOtherLoaders();
  vips_cache_set_max(0);
  vips_concurrency_set(1);
}

Format FormatNamed(const std::string& name) {
  std::string lower = name;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  if (lower == "png") return Format::Png;
  if (lower == "jpg" || lower == "jpeg") return Format::Jpeg;
  if (lower == "tif" || lower == "tiff") return Format::Tiff;
  if (lower == "ppm" || lower == "pgm" || lower == "pnm") return Format::Ppm;
  return Format::None;
}

Format FormatOf(const std::string& path) {
  const size_t dot = path.rfind('.');
  return dot == std::string::npos || path.find('/', dot) != std::string::npos ? Format::None
                                                                              : FormatNamed(path.substr(dot + 1));
}

Photo ReadPhoto(const std::string& path, const ReadLimits& limits) {
  Descriptor file;
  OpenInput(path, &file);
  try {
    const vips::VSource source = vips::VSource::new_from_descriptor(file.fd);
    if (!IsReadable(source)) throw Failure("is not a PNG, JPEG, TIFF or PPM picture");
    const vips::VImage image = vips::VImage::new_from_source(
        source, "", vips::VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL)->set("fail_on", VIPS_FAIL_ON_ERROR));
    CheckHeader(image, limits);
    return FromVips(image);
  } catch (const vips::VError&) {
    throw Failure("is damaged: " + VipsMessage());
  } catch (const std::bad_alloc&) {
    throw Failure("does not fit into memory");
  }
}

std::vector<uint8_t> EncodePhoto(Photo photo, Format format, const WriteOptions& options,
                                 std::vector<std::string>* notes) {
  if (format == Format::Jpeg && photo.bits == 16) {
    To8Bits(&photo);
    notes->push_back("JPEG holds 8 of the 16 bits; PNG or TIFF keep all");
  }
  if ((format == Format::Jpeg || format == Format::Ppm) && !photo.alpha.empty()) {
    photo.alpha.clear();
    notes->push_back("this format holds no alpha channel; PNG or TIFF keep it");
  }
  if (options.strip || format == Format::Ppm) TurnUpright(&photo);
  if (format == Format::Ppm) return EncodePpm(photo);
  const bool hasAlpha = !photo.alpha.empty();
  const int bands = photo.channels + (hasAlpha ? 1 : 0);
  std::vector<uint8_t> joined(photo.samples.size() + photo.alpha.size());
  if (photo.bits == 8) {
    Join(photo.samples.data(), photo.Pixels(), photo.channels, hasAlpha ? photo.alpha.data() : nullptr, joined.data());
  } else {
    Join(reinterpret_cast<const uint16_t*>(photo.samples.data()), photo.Pixels(), photo.channels,
         hasAlpha ? reinterpret_cast<const uint16_t*>(photo.alpha.data()) : nullptr,
         reinterpret_cast<uint16_t*>(joined.data()));
  }
  photo.samples = {};
  photo.alpha = {};
  try {
    const bool deep = photo.bits == 16, grey = photo.channels == 1;
    const VipsInterpretation meaning = grey ? (deep ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W)
                                            : (deep ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB);
    vips::VImage image = vips::VImage::new_from_memory(joined.data(), joined.size(), photo.width, photo.height, bands,
                                                       deep ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR);
    image = image.copy(vips::VImage::option()->set("interpretation", meaning));
    if (photo.metadata && !options.strip) {
      image = image.copy(vips::VImage::option()->set("xres", photo.metadata->xres)->set("yres", photo.metadata->yres));
      CopyFields(photo.metadata->fields.get_image(), image.get_image());
    }
    vips::VOption* save = vips::VImage::option()->set("strip", options.strip);
    const char* suffix = ".png";
    if (format == Format::Jpeg) {
      suffix = ".jpg";
      save->set("Q", options.quality)->set("optimize_coding", true);
    } else if (format == Format::Tiff) {
      suffix = ".tif";
      save->set("compression", VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE)
          ->set("predictor", VIPS_FOREIGN_TIFF_PREDICTOR_HORIZONTAL);
    }
    void* bytes = nullptr;
    size_t size = 0;
    image.write_to_buffer(suffix, &bytes, &size, save);
    std::unique_ptr<void, decltype(&g_free)> owner(bytes, g_free);
    return std::vector<uint8_t>(static_cast<uint8_t*>(bytes), static_cast<uint8_t*>(bytes) + size);
  } catch (const vips::VError&) {
    throw Failure("cannot be encoded: " + VipsMessage());
  } catch (const std::bad_alloc&) {
    throw Failure("does not fit into memory");
  }
}

void To8Bits(Photo* photo) {
  if (photo->bits == 8) return;
  for (std::vector<uint8_t>* plane : {&photo->samples, &photo->alpha}) {
    const auto* wide = reinterpret_cast<const uint16_t*>(plane->data());
    const size_t count = plane->size() / 2;
    for (size_t i = 0; i < count; ++i) (*plane)[i] = static_cast<uint8_t>((wide[i] + 128u) / 257u);
    plane->resize(count);
  }
  photo->bits = 8;
}

void TurnUpright(Photo* photo) {
  const int o = photo->orientation;
  if (o <= 1 || o > 8) return;
  const bool sideways = o >= 5, flipX = o == 2 || o == 3 || o == 7 || o == 8,
             flipY = o == 3 || o == 4 || o == 6 || o == 7;
  const size_t bytes = static_cast<size_t>(photo->bits / 8);
  const int width = sideways ? photo->height : photo->width, height = sideways ? photo->width : photo->height;
  for (std::vector<uint8_t>* plane : {&photo->samples, &photo->alpha}) {
    if (plane->empty()) continue;
    const size_t size = plane == &photo->alpha ? bytes : bytes * static_cast<size_t>(photo->channels);
    std::vector<uint8_t> turned(plane->size());
    uint8_t* out = turned.data();
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x, out += size) {
        int u = sideways ? y : x, v = sideways ? x : y;
        if (flipX) u = photo->width - 1 - u;
        if (flipY) v = photo->height - 1 - v;
        const size_t pixel = static_cast<size_t>(v) * static_cast<size_t>(photo->width) + static_cast<size_t>(u);
        std::memcpy(out, &(*plane)[pixel * size], size);
      }
    }
    *plane = std::move(turned);
  }
  photo->width = width;
  photo->height = height;
  photo->orientation = 1;
}

void GreyToColour(Photo* photo) {
  const size_t bytes = static_cast<size_t>(photo->bits / 8), pixels = photo->Pixels();
  std::vector<uint8_t> colour(pixels * 3 * bytes);
  for (size_t i = 0; i < pixels; ++i) {
    for (size_t c = 0; c < 3; ++c) std::memcpy(&colour[(3 * i + c) * bytes], &photo->samples[i * bytes], bytes);
  }
  photo->samples = std::move(colour);
  photo->channels = 3;
}

bool ColourToGrey(Photo* photo) {
  const size_t count = photo->Pixels() * 3;
  const auto reduce = [&](auto* s, int tolerance) {
    for (size_t i = 0; i < count; i += 3) {
      const auto [least, most] = std::minmax({s[i], s[i + 1], s[i + 2]});
      if (most - least > tolerance) return false;
    }
    for (size_t i = 0; i < count; i += 3) s[i / 3] = s[i + 1];
    return true;
  };
  const bool grey = photo->bits == 8 ? reduce(photo->samples.data(), 2)
                                     : reduce(reinterpret_cast<uint16_t*>(photo->samples.data()), 2 * 257);
  if (!grey) return false;
  photo->samples.resize(photo->samples.size() / 3);
  photo->channels = 1;
  return true;
}

}  // namespace tool
