#include "pixels.h"

#include <cstdio>
#include <cstring>

#include "failure.h"
#include "profile.h"

namespace tool {

int IntField(const VImage& photo, const char* name, int fallback) {
  return photo.get_typeof(name) == G_TYPE_INT ? photo.get_int(name) : fallback;
}

std::string Millions(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", number / 1e6);
  return text;
}

int Bits(const VImage& photo) {
  return photo.format() == VIPS_FORMAT_USHORT ? 16 : 8;
}

bool HasAlpha(const VImage& photo) {
  return photo.bands() == 2 || photo.bands() == 4;
}

int Orientation(const VImage& photo) {
  return IntField(photo, VIPS_META_ORIENTATION, 1);
}

uint8_t* Samples(const VImage& photo) {
  return VIPS_IMAGE_ADDR(photo.get_image(), 0, 0);
}

VImage InMemory(const VImage& image) {
  VImage memory = VImage::new_memory();
  try {
    image.write(memory);
  } catch (const vips::VError&) {
    if (!std::strstr(vips_error_buffer(), "out of memory")) throw;
    vips_error_clear();
    throw Failure("does not fit into memory: " + std::to_string(image.width()) + " x " +
                  std::to_string(image.height()) + " pixels take " +
                  Millions(static_cast<double>(image.width()) * image.height() * image.bands() * Bits(image) / 8) +
                  " MB");
  }
  return memory;
}

VImage WithoutAlpha(const VImage& photo) {
  return HasAlpha(photo) ? photo.extract_band(0, VImage::option()->set("n", photo.bands() - 1)) : photo;
}

VImage To8Bits(const VImage& photo) {
  if (Bits(photo) == 8) return photo;
  return photo.linear(1 / 257.0, 0.5, VImage::option()->set("uchar", true))
      .copy(VImage::option()->set("interpretation",
                                  photo.bands() <= 2 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB));
}

VImage InColour(const VImage& photo) {
  if (photo.bands() > 2) return photo;
  // A profile of grey fits no colours.
  const VImage plain = InSrgb(photo), grey = plain.extract_band(0);
  VImage colour = VImage::bandjoin(std::vector<VImage>{grey, grey, grey});
  if (HasAlpha(photo)) colour = colour.bandjoin(plain.extract_band(1));
  colour.remove(VIPS_META_ICC_NAME);
  return colour.copy(VImage::option()->set("interpretation",
                                           Bits(photo) == 16 ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB));
}

}  // namespace tool
