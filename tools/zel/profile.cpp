#include "profile.h"

#include <lcms2.h>

#include <memory>

#include "photo.h"

namespace tool {

using vips::VImage;

namespace {

bool IsGrey(const VImage& image) {
  return image.bands() <= 2;
}

std::string Description(const VImage& photo) {
  size_t size = 0;
  const void* data = photo.get_blob(VIPS_META_ICC_NAME, &size);
  cmsHPROFILE profile = cmsOpenProfileFromMem(data, static_cast<cmsUInt32Number>(size));
  if (!profile) return "";
  char text[128] = "";
  cmsGetProfileInfoASCII(profile, cmsInfoDescription, "en", "US", text, sizeof text);
  cmsCloseProfile(profile);
  std::string name;
  for (const char* c = text; *c; ++c) name += *c >= ' ' && *c <= '~' ? *c : ' ';
  return name.empty() ? "a colour profile without a name" : name;
}

}  // namespace

std::string OtherProfile(const VImage& photo) {
  if (photo.get_typeof(VIPS_META_ICC_NAME) == 0) return "";
  const std::string name = Description(photo);
  if (name.empty()) return "";
  // Names say little: what counts is where the profile puts some colours.
  static const uint8_t kColours[] = {255, 0,  0,   0,  255, 0,  0,   0,   255, 200, 90,
                                     60,  60, 160, 90, 40,  80, 170, 128, 128, 128};
  const int bands = IsGrey(photo) ? 1 : 3;
  try {
    VImage patches = VImage::new_from_memory(const_cast<uint8_t*>(kColours), sizeof kColours,
                                             static_cast<int>(sizeof kColours) / bands, 1, bands, VIPS_FORMAT_UCHAR)
                         .copy(VImage::option()->set("interpretation",
                                                     bands == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB));
    size_t size = 0;
    const void* data = photo.get_blob(VIPS_META_ICC_NAME, &size);
    VImage tagged = patches.copy();
    tagged.set(VIPS_META_ICC_NAME, nullptr, const_cast<void*>(data), size);
    return (ToSrgb(tagged.copy_memory()) - patches).abs().max() <= 2 ? "" : name;
  } catch (const vips::VError&) {
    vips_error_clear();
    return "";
  }
}

VImage ToSrgb(const VImage& photo) {
  if (photo.get_typeof(VIPS_META_ICC_NAME) == 0) return photo;
  const bool deep = photo.format() == VIPS_FORMAT_USHORT;
  VImage converted = photo.icc_transform(
      "srgb",
      VImage::option()->set("embedded", true)->set("intent", VIPS_INTENT_RELATIVE)->set("depth", deep ? 16 : 8));
  if (!IsGrey(photo)) return converted;
  // A grey picture keeps one channel, and no profile that describes three.
  converted =
      converted.extract_band(2, VImage::option()->set("n", photo.bands()))
          .copy(VImage::option()->set("interpretation", deep ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W));
  converted.remove(VIPS_META_ICC_NAME);
  return converted;
}

VImage InSrgb(const VImage& photo) {
  return OtherProfile(photo).empty() ? photo : ToSrgb(photo);
}

}  // namespace tool
