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

std::vector<VImage> Histograms(const std::vector<VImage>& pictures) {
  constexpr int kHeight = 120;
  const std::vector<double> nine(9, 1.0 / 9);
  // Each channel darkens the paper, mostly in the other two colours.
  const double inks[9] = {-0.04, -0.42, -0.42, -0.42, -0.04, -0.42, -0.42, -0.42, -0.04};
  double most = 1;
  std::vector<VImage> counts, plots;
  for (const VImage& picture : pictures) {
    counts.push_back(picture.hist_find());
    // Clipped black and white, and the spikes that a table leaves, would press down the rest.
    const VImage inner = counts.back().extract_area(1, 0, 254, 1);
    most = std::max(most, inner.conv(VImage::new_matrix(9, 1, const_cast<double*>(nine.data()), 9)).max());
  }
  for (const VImage& count : counts) {
    const VImage bars =
        (count * (kHeight / most)).cast(VIPS_FORMAT_UCHAR).hist_plot().extract_area(0, 256 - kHeight, 256, kHeight);
    plots.push_back(
        (bars.recomb(VImage::new_matrix(3, 3, const_cast<double*>(inks), 9)) + 232).cast(VIPS_FORMAT_UCHAR));
  }
  return plots;
}

}  // namespace tool
