// The first byte chooses a sound file of one of the formats, the others damage it; 255 takes them as the file itself.
// Whatever comes, the reader gives a whole picture or a reason, and a picture that it gives can be shown, stored, and
// read again. The decoders are those of the system: what they do wrong shows where memory is asked for or given back.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "failure.h"
#include "files.h"
#include "photo.h"
#include "pictures.h"
#include "profile.h"
#include "sample.h"

namespace {

using tool::VImage;

void Expect(bool holds) {
  if (!holds) std::abort();
}

// The same fields as cameras and scanners leave.
VImage Described(const VImage& plain, const char* profile) {
  VImage image = tool::InMemory(plain.icc_transform(profile, VImage::option()->set("embedded", false)));
  static const char kText[] = "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>";
  image.set(VIPS_META_XMP_NAME, nullptr, const_cast<char*>(kText), sizeof kText - 1);
  image.set(VIPS_META_ORIENTATION, 6);
  image.set("exif-ifd0-Make", "somebody (somebody, ASCII, 9 components, 9 bytes)");
  return image;
}

std::vector<std::string> MakeFiles() {
  const VImage plain = tool::InMemory(tool::DrawSample(64, 64, 8));
  const VImage wide = Described(plain, "p3"), ink = Described(plain, "cmyk");
  const VImage deep = tool::DrawSample(64, 64, 16).bandjoin(20000), grey = wide.extract_band(1);
  VImage film = plain.join(plain, VIPS_DIRECTION_VERTICAL).copy();
  film.set("page-height", 64);
  const struct {
    VImage image;
    const char* suffix;
  } kinds[] = {{wide, ".png"},
               {deep, ".png[interlace]"},
               {wide, ".jpg"},
               {wide, ".jpg[interlace,subsample-mode=on]"},
               {ink, ".jpg"},
               {grey, ".jpg"},
               {wide, ".tif"},
               {deep, ".tif[compression=lzw,tile]"},
               {ink, ".tif[compression=deflate]"},
               {film, ".tif[compression=jpeg]"},
               {grey, ".tif[compression=ccittfax4,bitdepth=1]"},
               {plain, ".ppm"},
               {plain, ".ppm[ascii]"},
               {deep.extract_band(0), ".pgm"},
               {wide, ".webp"},
               {plain.bandjoin(99), ".webp[lossless]"},
               {film, ".webp"},
               {wide, ".avif[effort=0]"},
               {wide, ".heic"},
               {wide, ".jxl[effort=3]"},
               {deep, ".jxl[lossless,effort=3]"}};
  std::vector<std::string> files;
  for (const auto& kind : kinds) {
    try {
      void* bytes = nullptr;
      size_t size = 0;
      kind.image.write_to_buffer(kind.suffix, &bytes, &size);
      files.emplace_back(static_cast<char*>(bytes), size);
      g_free(bytes);
    } catch (const vips::VError&) {  // a format that is not installed
      vips_error_clear();
    }
  }
  Expect(files.size() >= 12);
  return files;
}

uint32_t Number(const uint8_t* bytes) {
  return static_cast<uint32_t>(bytes[0] | bytes[1] << 8 | bytes[2] << 16);
}

// Five bytes a change: what, where, with which value. Headers are hit more often than the rest.
void Damage(const uint8_t* bytes, size_t count, std::string* file) {
  for (; count >= 5 && !file->empty(); bytes += 5, count -= 5) {
    const size_t reach = bytes[0] & 8 ? file->size() : std::min<size_t>(file->size(), 400);
    const size_t at = Number(bytes + 1) % reach;
    const auto value = static_cast<char>(bytes[4]);
    switch (bytes[0] & 7) {
      case 0:
        file->resize(at + 1);
        break;
      case 1:
        file->erase(at, bytes[4] + 1u);
        break;
      case 2:
        file->insert(at, file->substr(at / 2, bytes[4] + 1u));
        break;
      case 3:
        file->insert(at, 1, value);
        break;
      case 4:
        file->replace(at, 4, 4, value);
        break;
      default:
        (*file)[at] = value;
    }
  }
}

struct MemoryFile {
  tool::Descriptor fd{memfd_create("photograph", MFD_CLOEXEC)};
  std::string path = "/proc/self/fd/" + std::to_string(fd);
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::vector<std::string> files = [] {
    tool::StartImages("fuzz_photographs");
    return MakeFiles();
  }();
  if (size < 3) return 0;
  std::string file(data + 3, data + size);
  if (data[0] != 255) {
    file = files[data[0] % files.size()];
    Damage(data + 3, size - 3, &file);
  }
  const MemoryFile source, result;
  tool::WriteAll(source.fd, file.data(), file.size());
  tool::ReadOptions read;
  read.maxPixels = 1e6;
  read.page = data[1] % 4 - 1;
  read.toSrgb = data[1] & 4;
  const tool::Format formats[] = {tool::Format::Png, tool::Format::Jpeg, tool::Format::Tiff, tool::Format::Ppm,
                                  tool::Format::Webp};
  tool::WriteOptions write;
  write.strip = data[2] & 8;
  std::vector<std::string> notes;
  VImage photo;
  try {
    photo = tool::ReadPhoto(source.path, read, &notes);
  } catch (const tool::Failure& failure) {
    Expect(failure.what()[0] != '\0');
    return 0;
  }
  Expect(static_cast<double>(photo.width()) * photo.height() <= read.maxPixels);
  Expect(photo.bands() >= 1 && photo.bands() <= 4);
  Expect(tool::InMemory(tool::Shown(photo)).bands() == 3);
  try {
    tool::EncodePhoto(photo, formats[data[2] % 5], write, result.fd, &notes);
  } catch (const tool::Failure& failure) {  // too long a side for the format
    Expect(failure.what()[0] != '\0');
    return 0;
  }
  const VImage again = tool::ReadPhoto(result.path, {}, &notes);
  Expect(static_cast<int64_t>(again.width()) * again.height() == static_cast<int64_t>(photo.width()) * photo.height());
  return 0;
}
