// zel compare: two photographs side by side, as a whole and where they differ most, and how far they differ.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "commands.h"
#include "failure.h"
#include "pictures.h"
#include "profile.h"

namespace tool {
namespace {

struct Difference {
  double psnr, mean;
  int most, top;
};

VImage Colour(const VImage& photo) {
  return InColour(photo).extract_band(0, VImage::option()->set("n", 3));
}

Difference Measure(const VImage& a, const VImage& b) {
  const VImage d = (Colour(a) - Colour(b)).abs();
  const int top = Bits(a) == 16 ? 65535 : 255;
  const double squares = (d * d).avg();
  return {10 * std::log10(double(top) * top / squares), d.avg(), static_cast<int>(d.max()), top};
}

struct Place {
  int x, y;
};

// Where a part of this size differs most and has most to see.
Place Busiest(const VImage& a, const VImage& b, int width, int height) {
  const VImage detail = (b - b.gaussblur(1.5)).abs().bandmean() + 1, change = (a - b).abs().bandmean() + 1;
  const VImage d = (detail * change).shrink(std::max(1.0, width / 4.0), std::max(1.0, height / 4.0));
  double ones[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
  int x = 0, y = 0;
  d.conv(VImage::new_matrix(3, 3, ones, 9)).max(VImage::option()->set("x", &x)->set("y", &y));
  const auto centred = [](int at, int of, int part, int whole) {
    return std::clamp(static_cast<int>((at + 0.5) * whole / of) - part / 2, 0, whole - part);
  };
  return {centred(x, d.width(), width, a.width()), centred(y, d.height(), height, a.height())};
}

Place ParsePlace(const std::string& text, int width, int height, int partWidth, int partHeight) {
  double x, y;
  char percentX[2] = "", percentY[2] = "";
  int used = 0;
  const bool perCent = std::sscanf(text.c_str(), "%lf%1[%%],%lf%1[%%]%n", &x, percentX, &y, percentY, &used) == 4;
  if (!perCent && std::sscanf(text.c_str(), "%lf,%lf%n", &x, &y, &used) != 2) used = -1;
  if (used != static_cast<int>(text.size()) || !(x >= 0 && y >= 0 && x <= 1e6 && y <= 1e6)) {
    throw UsageError("--at " + text + " must be x,y in pixels or per cent (50%,30%)");
  }
  if (perCent) {
    x *= width / 100.0;
    y *= height / 100.0;
  }
  return {std::clamp(static_cast<int>(x) - partWidth / 2, 0, width - partWidth),
          std::clamp(static_cast<int>(y) - partHeight / 2, 0, height - partHeight)};
}

// One up to a column, the other from there.
VImage Split(const VImage& a, const VImage& b, int middle) {
  const VImage right = b.extract_area(middle, 0, b.width() - middle, b.height());
  const VImage line = right.extract_area(0, 0, std::min(2, right.width()), right.height()) * 0 + 255;
  return a.insert(right, middle, 0).insert(line.cast(VIPS_FORMAT_UCHAR), middle - 1, 0);
}

struct CompareArguments {
  std::string before, after, output, format, at;
  bool split = false, overwrite = false;
  int size = 800, page = -1;
};

VImage Draw(const VImage& a, const VImage& b, const CompareArguments& arguments) {
  const VImage wholeA = InMemory(Shown(a)), wholeB = InMemory(Shown(b));
  const VImage left = Reduced(wholeA, arguments.size, arguments.size),
               right = Reduced(wholeB, arguments.size, arguments.size);
  // The part at 100 % is as wide as the picture above it; where that would be most of the picture, half of it at 200 %.
  const int zoom = 3 * left.width() > 2 * wholeA.width() ? 2 : 1;
  const int width = left.width() / zoom;
  const int height = std::max(1, std::min(left.height(), std::max(64, left.width() * 5 / 8)) / zoom);
  std::vector<VImage> cells;
  const auto add = [&](const VImage& one, const VImage& other, int middle, const char* what) {
    if (arguments.split) {
      cells.push_back(Captioned(Split(one, other, middle), std::string("before | after") + what, ""));
    } else {
      cells.push_back(Captioned(one, std::string("before") + what, ""));
      cells.push_back(Captioned(other, std::string("after") + what, ""));
    }
  };
  const bool reduced = left.width() < wholeA.width();
  if (!reduced) {
    add(left, right, left.width() / 2, "");
  } else {
    Place part{(wholeA.width() - width) / 2, 0};
    if (!arguments.at.empty()) {
      part = ParsePlace(arguments.at, wholeA.width(), wholeA.height(), width, height);
    } else if (arguments.split) {
      // The line between before and after runs through the same place in the whole and in the part.
      const auto strip = [&](const VImage& whole) { return whole.extract_area(part.x, 0, width, whole.height()); };
      part.y = Busiest(strip(wholeA), strip(wholeB), width, height).y;
    } else {
      part = Busiest(wholeA, wholeB, width, height);
    }
    const auto framed = [&](const VImage& small) {
      const double scale = double(small.width()) / wholeA.width();
      VImage drawn = InMemory(small);
      for (int inset : {0, 1}) {
        drawn.draw_rect({255, 255, 255}, static_cast<int>(part.x * scale) + inset,
                        static_cast<int>(part.y * scale) + inset, static_cast<int>(width * scale) - 2 * inset,
                        static_cast<int>(height * scale) - 2 * inset);
      }
      return drawn;
    };
    add(framed(left), framed(right), (part.x + width / 2) * left.width() / wholeA.width(), "");
    const auto enlarged = [&](const VImage& whole) {
      return whole.extract_area(part.x, part.y, width, height).zoom(zoom, zoom);
    };
    add(enlarged(wholeA), enlarged(wholeB), width / 2 * zoom,
        zoom == 1 ? ", the frame at 100 %" : ", the frame at 200 %");
  }
  // Of a split picture both histograms share the one column.
  const std::vector<VImage> histograms = Histograms({wholeA, wholeB});
  const VImage before = Captioned(histograms[0], "before", ""), after = Captioned(histograms[1], "after", "");
  if (arguments.split) {
    cells.push_back(Grid({before, after}, 2));
    return Grid(cells, 1);
  }
  cells.push_back(before);
  cells.push_back(after);
  return Grid(cells, 2);
}

}  // namespace

int Compare(int argc, char** argv) {
  CLI::App app(
      "Compares two photographs of one size: draws both, a part at full size and their histograms, prints how far they "
      "differ.");
  CompareArguments arguments;
  app.add_option("before", arguments.before, "the first photograph")->required()->type_name("A");
  app.add_option("after", arguments.after, "the second photograph")->required()->type_name("B");
  app.add_option("-o,--output", arguments.output, "the picture to write; left out: only numbers")->type_name("OUT");
  app.add_flag("--split", arguments.split, "one picture, left of a line before, right of it after");
  app.add_option("--at", arguments.at,
                 "middle of the part at full size, x,y in pixels or per cent; where most is to be seen")
      ->type_name("X,Y");
  app.add_option("--width", arguments.size, "longer side of one picture; 800")
      ->check(CLI::Range(64, 8000))
      ->type_name("PIXELS");
  app.add_option("--page", arguments.page, "which picture of files that hold several, from 0")->type_name("N");
  app.add_option("--format", arguments.format, "png, jpg, tif, ppm, webp or avif, whatever the output is called")
      ->type_name("NAME");
  app.add_flag("--overwrite", arguments.overwrite, "replace a file that exists");
  return Parse(&app, argc, argv, [&] {
    StartImages(argv[0]);
    ReadOptions read;
    read.page = arguments.page;
    // Samples are compared as they are, unless they mean different things.
    VImage a = ReadInput(arguments.before, read).autorot(), b = ReadInput(arguments.after, read).autorot();
    if (OtherProfile(a) != OtherProfile(b)) {
      a = InSrgb(a);
      b = InSrgb(b);
    }
    if (a.width() != b.width() || a.height() != b.height() || Bits(a) != Bits(b)) {
      const auto text = [](const VImage& p) {
        return std::to_string(p.width()) + " x " + std::to_string(p.height()) + ", " + std::to_string(Bits(p)) +
               " bits";
      };
      throw Failure(arguments.before + " (" + text(a) + ") and " + arguments.after + " (" + text(b) +
                    ") cannot be compared");
    }
    const Difference d = Measure(a, b);
    if (arguments.output != "-") {
      if (d.most == 0) {
        std::puts("no difference");
      } else {
        std::printf("PSNR %.2f dB, mean difference %.3f, largest %d of %d\n", d.psnr, d.mean, d.most, d.top);
      }
    }
    if (!arguments.output.empty())
      SavePicture(Draw(a, b, arguments), arguments.output, arguments.format, arguments.overwrite);
    return kAllDone;
  });
}

}  // namespace tool
