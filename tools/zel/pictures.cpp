#include "pictures.h"

#include <glib.h>

#include <algorithm>
#include <memory>

#include "profile.h"

namespace tool {
namespace {

const std::vector<double> kPaper{250, 250, 248}, kText{40, 40, 44}, kGrey{100, 100, 104};
constexpr int kGap = 12;

VImage Text(const std::string& text, int width, const char* font, const std::vector<double>& ink) {
  const std::unique_ptr<char, decltype(&g_free)> plain(g_markup_escape_text(text.c_str(), -1), g_free);
  const VImage letters = VImage::text(
      plain.get(),
      VImage::option()->set("font", font)->set("width", width)->set("wrap", VIPS_TEXT_WRAP_WORD_CHAR)->set("dpi", 96));
  return letters.ifthenelse(ink, kPaper, VImage::option()->set("blend", true))
      .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

VImage Below(const VImage& upper, const VImage& lower) {
  return upper.join(lower, VIPS_DIRECTION_VERTICAL,
                    VImage::option()->set("expand", true)->set("shim", 4)->set("background", kPaper));
}

}  // namespace

VImage Shown(const VImage& photo) {
  VImage shown = To8Bits(InSrgb(photo).autorot());
  if (HasAlpha(shown)) {
    shown = shown.flatten(
        VImage::option()->set("background", shown.bands() == 2 ? std::vector<double>{kPaper[0]} : kPaper));
  }
  return shown.bands() == 1 ? shown.colourspace(VIPS_INTERPRETATION_sRGB) : shown;
}

VImage Reduced(const VImage& photo, int maxWidth, int maxHeight) {
  return InMemory(Shown(photo).thumbnail_image(
      maxWidth, VImage::option()->set("height", maxHeight)->set("size", VIPS_SIZE_DOWN)->set("no_rotate", true)));
}

VImage Captioned(const VImage& picture, const std::string& name, const std::string& details) {
  const VImage cell = Below(picture, Text(name, picture.width(), "sans bold 9", kText));
  return InMemory(details.empty() ? cell : Below(cell, Text(details, picture.width(), "sans 8", kGrey)));
}

VImage Grid(const std::vector<VImage>& cells, int across) {
  int width = 0;
  for (const VImage& cell : cells) width = std::max(width, cell.width());
  std::vector<VImage> rows;
  for (size_t at = 0; at < cells.size(); at += static_cast<size_t>(across)) {
    const size_t end = std::min(cells.size(), at + static_cast<size_t>(across));
    rows.push_back(VImage::arrayjoin(
        {cells.begin() + static_cast<ptrdiff_t>(at), cells.begin() + static_cast<ptrdiff_t>(end)},
        VImage::option()->set("across", across)->set("hspacing", width)->set("shim", kGap)->set("background", kPaper)));
  }
  VImage grid = rows[0];
  for (size_t i = 1; i < rows.size(); ++i) {
    grid = grid.join(rows[i], VIPS_DIRECTION_VERTICAL,
                     VImage::option()->set("expand", true)->set("shim", kGap)->set("background", kPaper));
  }
  return grid.embed(kGap, kGap, grid.width() + 2 * kGap, grid.height() + 2 * kGap,
                    VImage::option()->set("extend", VIPS_EXTEND_BACKGROUND)->set("background", kPaper));
}

VImage Histogram(const VImage& picture) {
  constexpr int kHeight = 120;
  const VImage counts = picture.hist_find();
  // Clipped black and white would press down the rest.
  const double most = std::max(1.0, counts.extract_area(1, 0, 254, 1).max());
  const VImage bars = (counts * (kHeight / most)).cast(VIPS_FORMAT_UCHAR);
  return bars.hist_plot().extract_area(0, 256 - kHeight, 256, kHeight);
}

}  // namespace tool
