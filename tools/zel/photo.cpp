#include "photo.h"

#include <gio/gio.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <memory>

#include "failure.h"
#include "files.h"
#include "jpeg.h"
#include "profile.h"

namespace tool {
namespace {

// What a JPEG source had and its result takes over; fields of the image beside those of the file.
constexpr const char* kQualityField = "zel-quality";
constexpr const char* kCommentField = "zel-comments";
constexpr const char* kSubsamplingField = "zel-subsampling";
constexpr const char* kProgressiveField = "jpeg-multiscan";

// Everything else that a header holds is either layout or a secret of the loader. The small picture that cameras put
// into EXIF is left out because it would show the old photograph.
bool IsCarried(const std::string& name) {
  static const char* const kFields[] = {VIPS_META_EXIF_NAME,       VIPS_META_XMP_NAME,         VIPS_META_IPTC_NAME,
                                        VIPS_META_ICC_NAME,        VIPS_META_PHOTOSHOP_NAME,   VIPS_META_ORIENTATION,
                                        VIPS_META_RESOLUTION_UNIT, VIPS_META_IMAGEDESCRIPTION, kProgressiveField};
  for (const char* field : kFields) {
    if (name == field) return true;
  }
  return name.rfind("exif-ifd", 0) == 0 || name.rfind("png-comment-", 0) == 0;
}

// What is kept gets memory of its own: some loaders lend theirs only until they are closed.
void DropOtherFields(const VImage& image) {
  char** names = vips_image_get_fields(image.get_image());
  for (char** name = names; *name; ++name) {
    if (!IsCarried(*name)) {
      vips_image_remove(image.get_image(), *name);
    } else if (image.get_typeof(*name) == VIPS_TYPE_BLOB) {
      size_t size = 0;
      const void* bytes = image.get_blob(*name, &size);
      vips_image_set_blob_copy(image.get_image(), *name, bytes, size);
    }
  }
  g_strfreev(names);
}

// What the system said is the cause; the library puts it behind what it was about to do.
std::string VipsMessage() {
  static const std::string kSystem = "unix error: ";
  const std::string text = vips_error_buffer();
  vips_error_clear();
  const size_t system = text.find(kSystem), start = system == std::string::npos ? 0 : system + kSystem.size();
  const std::string line = text.substr(start, text.find('\n', start) - start);
  return line.empty() ? "unknown fault" : line;
}

// What the tool promises to read; anything rarer is a larger door for crafted files.
struct Loader {
  const char* type;  // all loaders whose type begins so
  bool pages;
};
constexpr Loader kLoaders[] = {{"VipsForeignLoadPng", false}, {"VipsForeignLoadJpeg", false},
                               {"VipsForeignLoadTiff", true}, {"VipsForeignLoadPpm", false},
                               {"VipsForeignLoadWebp", true}, {"VipsForeignLoadHeif", true},
                               {"VipsForeignLoadJxl", false}};
constexpr const char* kReadNames = "PNG, JPEG, TIFF, PPM, WebP, HEIC, AVIF or JPEG XL";

void BlockOtherLoaders() {
  vips_operation_block_set("VipsForeignLoad", TRUE);
  for (const Loader& loader : kLoaders) vips_operation_block_set(loader.type, FALSE);
}

// Up to `most` bytes of the beginning, without consuming them.
std::pair<const unsigned char*, size_t> Beginning(const vips::VSource& source, size_t most) {
  unsigned char* data = nullptr;
  const gint64 size = vips_source_sniff_at_most(source.get_source(), &data, most);
  return {data, size > 0 ? static_cast<size_t>(size) : 0};
}

struct ContentType {
  std::string name, words;  // "image/gif", "GIF image"; empty: not known
};

ContentType GuessType(const std::string* path, const vips::VSource& source) {
  const auto [data, size] = Beginning(source, 4096);
  gboolean uncertain = FALSE;
  std::unique_ptr<char, decltype(&g_free)> type(
      g_content_type_guess(path ? path->c_str() : nullptr, data, size, &uncertain), g_free);
  if (!type || uncertain || g_content_type_is_unknown(type.get())) return {};
  std::unique_ptr<char, decltype(&g_free)> words(g_content_type_get_description(type.get()), g_free);
  return {type.get(), words.get()};
}

const Loader& FindLoader(const std::string& path, const vips::VSource& source) {
  const char* found = vips_foreign_find_load_source(source.get_source());
  vips_error_clear();
  for (const Loader& loader : kLoaders) {
    if (!found || std::string(found).rfind(loader.type, 0) != 0) continue;
    const ContentType type = GuessType(&path, source);
    // Raw files are made like TIFF, with a small preview that must not pass for the photograph.
    if (g_content_type_is_a(type.name.c_str(), "image/x-dcraw")) {
      throw NotAPicture("is " + type.words + "; develop it first");
    }
    return loader;
  }
  const ContentType type = GuessType(nullptr, source);
  throw NotAPicture((type.name.empty() ? "is" : "is " + type.words + ",") + std::string(" not a ") + kReadNames +
                    " picture");
}

// An animated PNG says so before its first picture.
bool IsAnimatedPng(const vips::VSource& source) {
  const auto [data, size] = Beginning(source, 1 << 20);
  for (size_t at = 8; at + 8 <= size;) {
    if (std::memcmp(data + at + 4, "acTL", 4) == 0) return true;
    if (std::memcmp(data + at + 4, "IDAT", 4) == 0) return false;
    at += 12 + (size_t{data[at]} << 24 | size_t{data[at + 1]} << 16 | size_t{data[at + 2]} << 8 | data[at + 3]);
  }
  return false;
}

// The most samples that a picture written as text can hold: each takes a digit and a space, of black and white a digit.
// Its loader would read on and on behind the end of a shorter file. Of other files: no limit.
double MostSamples(const vips::VSource& source) {
  const auto [data, size] = Beginning(source, 2);
  if (size < 2 || data[0] != 'P' || data[1] < '1' || data[1] > '3') return HUGE_VAL;
  return static_cast<double>(vips_source_length(source.get_source())) / (data[1] == '1' ? 1 : 2);
}

void CheckHeader(const VImage& image, const ReadOptions& options) {
  const double pixels = static_cast<double>(image.width()) * image.height();
  if (pixels > options.maxPixels) {
    throw Failure("has " + Millions(pixels) + " million pixels, more than the limit of " + Millions(options.maxPixels) +
                  " (raise it with --max-pixels)");
  }
  if (image.interpretation() == VIPS_INTERPRETATION_CMYK && image.get_typeof(VIPS_META_ICC_NAME) == 0) {
    throw Failure("is a CMYK picture without a colour profile; convert it to RGB first");
  }
  if (image.format() != VIPS_FORMAT_UCHAR && image.format() != VIPS_FORMAT_USHORT) {
    throw Failure("has samples that are neither 8 nor 16 bits; convert it first");
  }
  const int most = image.interpretation() == VIPS_INTERPRETATION_CMYK ? 5 : 4;
  if (image.bands() > most) {
    throw Failure("has " + std::to_string(image.bands()) + " channels; only 1 to 4 can be read");
  }
}

void CheckPages(int pages, int page) {
  const std::string count = std::to_string(pages) + (pages == 1 ? " picture" : " pictures");
  if (page < 0 && pages > 1)
    throw Failure("holds " + count + "; choose one with --page 0 to " + std::to_string(pages - 1));
  if (page >= pages) throw Failure("holds " + count + ", so there is no --page " + std::to_string(page));
}

VImage Open(const vips::VSource& source, const Loader& loader, int page) {
  vips::VOption* option = VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL)->set("fail_on", VIPS_FAIL_ON_ERROR);
  if (loader.pages && page >= 0) option->set("page", page);
  return VImage::new_from_source(source, "", option);
}

void NoteJpeg(const vips::VSource& source, JpegHeader* jpeg) {
  const auto [data, size] = Beginning(source, 1 << 20);
  if (size > 2 && data[0] == 0xFF && data[1] == 0xD8) *jpeg = ReadJpegHeader(data, size);
}

VImage Decode(const vips::VSource& source, const std::string& path, const ReadOptions& options,
              std::vector<std::string>* notes) {
  const Loader& loader = FindLoader(path, source);
  JpegHeader jpeg;
  NoteJpeg(source, &jpeg);
  if (options.page < 0 && IsAnimatedPng(source)) throw Failure("is an animated PNG; --page 0 takes its first picture");
  // Looking at the source goes back to its beginning, so it ends here.
  const double mostSamples = MostSamples(source);
  VImage image = Open(source, loader, options.page);
  CheckPages(loader.pages ? vips_image_get_n_pages(image.get_image()) : 1, options.page);
  CheckHeader(image, options);
  if (static_cast<double>(image.width()) * image.height() * image.bands() > mostSamples) {
    throw Failure("is damaged: ends before its last sample");
  }
  if (options.reserve) {
    options.reserve(static_cast<double>(image.width()) * image.height() * image.bands() * Bits(image) / 8);
  }
  const bool cmyk = image.interpretation() == VIPS_INTERPRETATION_CMYK;
  if (cmyk) {
    image = ToSrgb(image);
    notes->push_back("CMYK was converted to sRGB");
  } else if (options.toSrgb) {
    image = InSrgb(image);
  }
  VImage photo = InMemory(image);
  DropOtherFields(photo);
  if (jpeg.quality > 0) {
    photo.set(kQualityField, jpeg.quality);
    photo.set(kSubsamplingField, jpeg.halved ? "4:2:0" : "4:4:4");
  }
  if (!jpeg.comments.empty()) {
    vips_image_set_blob_copy(photo.get_image(), kCommentField, jpeg.comments.data(), jpeg.comments.size());
  }
  return photo;
}

// What the format holds of the photograph.
VImage Fitted(VImage photo, Format format, const WriteOptions& options, std::vector<std::string>* notes) {
  if (options.strip || format == Format::Ppm) {
    photo = InSrgb(photo).autorot();
  }
  if (Bits(photo) == 16 && (format == Format::Jpeg || format == Format::Webp)) {
    photo = To8Bits(photo);
    notes->push_back(std::string(format == Format::Jpeg ? "JPEG" : "WebP") +
                     " holds 8 of the 16 bits; PNG or TIFF keep all");
  }
  if (Bits(photo) == 16 && format == Format::Avif)
    notes->push_back("AVIF holds 12 of the 16 bits; PNG or TIFF keep all");
  if (format == Format::Tiff && !options.strip && photo.get_typeof(VIPS_META_EXIF_NAME) != 0)
    notes->push_back("TIFF is written without the camera's EXIF fields; PNG, JPEG, WebP and AVIF keep them");
  if (HasAlpha(photo) && (format == Format::Jpeg || format == Format::Ppm)) {
    photo = WithoutAlpha(photo);
    notes->push_back("this format holds no alpha channel; PNG or TIFF keep it");
  }
  return photo;
}

vips::VOption* SaveOptions(const VImage& photo, Format format, const WriteOptions& options, const char** suffix) {
  // Without `strip` a PPM would carry the time, and one picture shall give one file.
  vips::VOption* save = VImage::option()->set("strip", options.strip || format == Format::Ppm);
  const int quality = options.quality > 0 ? options.quality : IntField(photo, kQualityField, 95);
  switch (format) {
    case Format::Jpeg: {
      *suffix = ".jpg";
      std::string subsampling = options.subsampling;
      if (subsampling.empty() && photo.get_typeof(kSubsamplingField) != 0)
        subsampling = photo.get_string(kSubsamplingField);
      const bool progressive = options.progressive || IntField(photo, kProgressiveField, 0) != 0;
      save->set("Q", quality)
          ->set("interlace", progressive)
          ->set("optimize_coding", progressive)
          ->set("subsample_mode", subsampling.empty()      ? VIPS_FOREIGN_SUBSAMPLE_AUTO
                                  : subsampling == "4:2:0" ? VIPS_FOREIGN_SUBSAMPLE_ON
                                                           : VIPS_FOREIGN_SUBSAMPLE_OFF);
      break;
    }
    case Format::Tiff:
      *suffix = ".tif";
      save->set("compression", VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE)
          ->set("predictor", VIPS_FOREIGN_TIFF_PREDICTOR_HORIZONTAL);
      break;
    case Format::Webp:
      *suffix = ".webp";
      save->set("Q", quality);
      break;
    case Format::Avif:
      *suffix = ".avif";
      save->set("Q", quality)->set("compression", VIPS_FOREIGN_HEIF_COMPRESSION_AV1);
      break;
    case Format::Ppm:
      *suffix = photo.bands() == 1 ? ".pgm" : ".ppm";
      break;
    default:
      *suffix = ".png";
  }
  return save;
}

}  // namespace

void StartImages(const char* program) {
  if (VIPS_INIT(program)) throw Failure("the image library does not start: " + VipsMessage());
  // What libraries mutter about a damaged file is no message for people.
  g_log_set_default_handler(
      [](const gchar* domain, GLogLevelFlags level, const gchar* text, gpointer) {
        if (level & (G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL)) g_log_default_handler(domain, level, text, nullptr);
      },
      nullptr);
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
  if (lower == "webp") return Format::Webp;
  if (lower == "avif") return Format::Avif;
  return Format::None;
}

static std::string Extension(const std::string& path) {
  const size_t dot = path.rfind('.');
  return dot == std::string::npos || path.find('/', dot) != std::string::npos ? "" : path.substr(dot + 1);
}

Format FormatOf(const std::string& path) {
  return FormatNamed(Extension(path));
}

bool IsReadOnlyName(const std::string& path) {
  std::string lower = Extension(path);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return lower == "heic" || lower == "heif" || lower == "jxl";
}

const char* Suffix(Format format) {
  static const char* const kNames[] = {"", "png", "jpg", "tif", "ppm", "webp", "avif"};
  return kNames[static_cast<int>(format)];
}

VImage ReadPhoto(const std::string& path, const ReadOptions& options, std::vector<std::string>* notes) {
  const Descriptor file = OpenInput(path);
  try {
    return Decode(vips::VSource::new_from_descriptor(file), path, options, notes);
  } catch (const vips::VError&) {
    throw Failure("is damaged: " + VipsMessage());
  } catch (const std::bad_alloc&) {
    throw Failure("does not fit into memory");
  }
}

void EncodePhoto(VImage photo, Format format, const WriteOptions& options, int fd, std::vector<std::string>* notes) {
  try {
    photo = Fitted(std::move(photo), format, options, notes);
    const char* suffix = nullptr;
    vips::VOption* save = SaveOptions(photo, format, options, &suffix);
    if (format == Format::Jpeg && !options.strip && photo.get_typeof(kCommentField) != 0) {
      // Comments follow the two bytes that open the file.
      void* bytes = nullptr;
      size_t size = 0;
      photo.write_to_buffer(suffix, &bytes, &size, save);
      const std::unique_ptr<void, decltype(&g_free)> owner(bytes, g_free);
      size_t length = 0;
      const void* comments = photo.get_blob(kCommentField, &length);
      WriteAll(fd, bytes, 2);
      WriteAll(fd, comments, length);
      WriteAll(fd, static_cast<char*>(bytes) + 2, size - 2);
      return;
    }
    photo.write_to_target(suffix, vips::VTarget::new_to_descriptor(fd), save);
  } catch (const vips::VError&) {
    throw Failure("cannot be written: " + VipsMessage());
  }
}

void SavePicture(const VImage& picture, const std::string& path, const std::string& format, bool overwrite) {
  const Format kind = format.empty() ? FormatOf(path) : FormatNamed(format);
  if (kind == Format::None) throw UsageError("cannot tell the format of " + path + "; end it in " + kSuffixes);
  std::vector<std::string> notes;
  try {
    NewFile file(path, overwrite);
    EncodePhoto(picture, kind, {}, file.fd(), &notes);
    file.Publish();
  } catch (const Failure& failure) {
    throw Failure(path + " " + failure.what());
  }
  for (const std::string& note : notes) std::fprintf(stderr, "zel: note: %s\n", note.c_str());
}

}  // namespace tool
