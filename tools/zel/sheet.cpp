// zel sheet and zel compare: pictures for looking.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "canvas.h"
#include "chain.h"
#include "commands.h"
#include "failure.h"

namespace tool {
namespace {

Photo Read(const std::string& path, const ReadLimits& limits) {
  try {
    return ReadPhoto(path, limits);
  } catch (const Failure& failure) {
    throw Failure(path + ": " + failure.what());
  }
}

void Write(Photo canvas, const std::string& path, const std::string& format, bool overwrite) {
  const Format kind = format.empty() ? FormatOf(path) : FormatNamed(format);
  if (kind == Format::None)
    throw UsageError("cannot tell the format of " + path + "; end it in .png, .jpg, .tif or .ppm");
  std::vector<std::string> notes;
  try {
    const std::vector<uint8_t> bytes = EncodePhoto(std::move(canvas), kind, {}, &notes);
    WriteFile(path, bytes.data(), bytes.size(), overwrite);
  } catch (const Failure& failure) {
    throw Failure(path + " " + failure.what());
  }
}

// A caption in one line, cut where the cell ends.
void Caption(Photo* canvas, int left, int top, int width, const std::string& text, Ink ink) {
  DrawText(canvas, left, top, text.substr(0, static_cast<size_t>(width / 6)), 1, ink);
}

void DrawHistogram(Photo* canvas, const Photo& picture, int left, int top, int width, int height) {
  std::vector<std::array<int64_t, 3>> bins(static_cast<size_t>(width));
  for (size_t i = 0; i < picture.samples.size(); ++i) {
    ++bins[static_cast<size_t>(picture.samples[i] * width / 256)][i % 3];
  }
  int64_t most = 1;
  for (int x = 1; x < width - 1; ++x) {
    for (int64_t count : bins[static_cast<size_t>(x)]) most = std::max(most, count);
  }
  Fill(canvas, left, top, left + width, top + height, {232, 232, 230});
  // Each channel takes its own light away, so that overlapping bars darken to grey.
  for (int x = 0; x < width; ++x) {
    int bars[3];
    for (size_t k = 0; k < 3; ++k) {
      bars[k] = static_cast<int>(std::min<int64_t>(bins[static_cast<size_t>(x)][k] * height / most, height));
    }
    for (int y = 0; y < height; ++y) {
      const int from = height - y;
      const bool blue = bars[0] >= from, green = bars[1] >= from, red = bars[2] >= from;
      if (!blue && !green && !red) continue;
      const auto light = [](bool own) -> uint8_t { return own ? 200 : 60; };
      const Ink ink = red && green && blue ? Ink{96, 96, 96} : Ink{light(red), light(green), light(blue)};
      Fill(canvas, left + x, top + y, left + x + 1, top + y + 1, ink);
    }
  }
}

struct Difference {
  double psnr, mean;
  int most;
};

Difference Measure(const Photo& a, const Photo& b) {
  double squares = 0, sum = 0;
  int most = 0;
  const int bytes = a.bits / 8, top = a.bits == 16 ? 65535 : 255;
  const size_t count = a.samples.size() / static_cast<size_t>(bytes);
  const auto at = [&](const Photo& p, size_t i) -> int {
    return bytes == 1 ? p.samples[i] : reinterpret_cast<const uint16_t*>(p.samples.data())[i];
  };
  for (size_t i = 0; i < count; ++i) {
    const int d = std::abs(at(a, i) - at(b, i));
    squares += double(d) * d;
    sum += d;
    most = std::max(most, d);
  }
  const double mean = squares / static_cast<double>(count);
  return {10 * std::log10(double(top) * top / mean), sum / static_cast<double>(count), most};
}

}  // namespace

int Sheet(int argc, char** argv) {
  CLI::App app("Draws one picture with the effect of every operation and its name.");
  std::string input, output, format;
  int size = 320;
  bool overwrite = false;
  app.add_option("input", input, "the photograph, or -")->required()->type_name("IN");
  app.add_option("-o,--output", output, "the picture to write, or -")->required()->type_name("OUT");
  app.add_option("--cell", size, "width of one picture; 320")->check(CLI::Range(64, 2000))->type_name("PIXELS");
  app.add_option("--format", format, "png, jpg, tif or ppm, whatever the output is called")->type_name("NAME");
  app.add_flag("--overwrite", overwrite, "replace a file that exists");
  return Parse(&app, argc, argv, [&] {
    StartImages(argv[0]);
    const Photo source = Reduced(Read(input, {}), size, size);
    const int count = static_cast<int>(Operations().size()) + 1;
    const int columns = std::min(6, count), rows = (count + columns - 1) / columns;
    const int gap = 12, cellHeight = source.height + 26;
    Photo canvas = NewCanvas(gap + columns * (size + gap), gap + rows * (cellHeight + gap), kPaper);
    for (int i = 0; i < count; ++i) {
      const int left = gap + i % columns * (size + gap), top = gap + i / columns * (cellHeight + gap);
      Photo cell = source;
      std::string name = "before", detail;
      Ink ink = kText;
      if (i > 0) {
        const Operation& operation = Operations()[static_cast<size_t>(i - 1)];
        name = operation.name;
        detail = operation.examples[1];
        std::vector<std::string> notes;
        try {
          RunChain(ExampleChain(operation, 1), &cell, &notes);
        } catch (const Failure&) {
          cell = source;
          detail = "refused this picture";
        }
        if (cell.channels == 1) GreyToColour(&cell);
        if (!notes.empty()) detail += "  (no change)";
      }
      Paste(&canvas, cell, left, top);
      Caption(&canvas, left, top + source.height + 4, size, name, ink);
      Caption(&canvas, left, top + source.height + 15, size, detail, {110, 110, 114});
    }
    Write(std::move(canvas), output, format, overwrite);
    return kAllDone;
  });
}

int Compare(int argc, char** argv) {
  CLI::App app("Compares two photographs of one size: draws both with their histograms, prints how far they differ.");
  std::string before, after, output, format;
  bool split = false, overwrite = false;
  int size = 800;
  app.add_option("before", before, "the first photograph")->required()->type_name("A");
  app.add_option("after", after, "the second photograph")->required()->type_name("B");
  app.add_option("-o,--output", output, "the picture to write; left out: only numbers")->type_name("OUT");
  app.add_flag("--split", split, "one picture, left half before, right half after");
  app.add_option("--width", size, "largest width of one picture; 800")
      ->check(CLI::Range(64, 8000))
      ->type_name("PIXELS");
  app.add_option("--format", format, "png, jpg, tif or ppm, whatever the output is called")->type_name("NAME");
  app.add_flag("--overwrite", overwrite, "replace a file that exists");
  return Parse(&app, argc, argv, [&] {
    StartImages(argv[0]);
    Photo a = Read(before, {}), b = Read(after, {});
    if (a.width != b.width || a.height != b.height || a.bits != b.bits) {
      const auto text = [](const Photo& p) {
        return std::to_string(p.width) + " x " + std::to_string(p.height) + ", " + std::to_string(p.bits) + " bits";
      };
      throw Failure(before + " (" + text(a) + ") and " + after + " (" + text(b) + ") cannot be compared");
    }
    if (a.channels == 1 && b.channels == 3) GreyToColour(&a);
    if (b.channels == 1 && a.channels == 3) GreyToColour(&b);
    const Difference d = Measure(a, b);
    const char* none = "no difference\n";
    if (output != "-") {
      d.most == 0 ? static_cast<void>(std::fputs(none, stdout))
                  : static_cast<void>(std::printf("PSNR %.2f dB, mean difference %.3f, largest %d of %d\n", d.psnr,
                                                  d.mean, d.most, a.bits == 16 ? 65535 : 255));
    }
    if (output.empty()) return kAllDone;
    Photo left = Reduced(a, size, size), right = Reduced(b, size, size);
    const int gap = 16, graph = 256, strip = 120, between = split ? 0 : left.width + gap;
    const int width = std::max(2 * gap + between + left.width, 3 * gap + 2 * graph);
    Photo canvas = NewCanvas(width, left.height + strip + 4 * gap + 8, kPaper);
    const int top = gap;
    Paste(&canvas, left, gap, top);
    if (split) {
      const int middle = gap + right.width / 2;
      Photo half = NewCanvas(right.width - right.width / 2, right.height, kPaper);
      for (int y = 0; y < right.height; ++y) {
        std::copy_n(&right.samples[static_cast<size_t>(y * right.width + right.width / 2) * 3], half.width * 3,
                    &half.samples[static_cast<size_t>(y * half.width) * 3]);
      }
      Paste(&canvas, half, middle, top);
      Fill(&canvas, middle - 1, top, middle + 1, top + right.height, {255, 255, 255});
    } else {
      Paste(&canvas, right, gap + between, top);
    }
    const int second = split ? width - gap - graph : gap + between, text = top + left.height + gap / 2 + 4;
    DrawText(&canvas, gap, text, "before", 2, kText);
    DrawText(&canvas, second, text, "after", 2, kText);
    DrawHistogram(&canvas, left, gap, text + 24, graph, strip);
    DrawHistogram(&canvas, right, second, text + 24, graph, strip);
    Write(std::move(canvas), output, format, overwrite);
    return kAllDone;
  });
}

}  // namespace tool
