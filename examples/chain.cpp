// Named operations on red-green-blue-alpha pixels through the C++ view: a chain, its mistakes, and a measured preview.
#include <cstdio>
#include <vector>
#include <zel.hpp>

int main() {
  std::vector<unsigned char> pixels(640 * 480 * 4, 100);
  for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<unsigned char>(60 + i / 4 % 130 + i % 4 * 8);
  const ZelPixels photo = zel::Pixels(pixels.data(), 640, 480, 4, 8);

  const zel::Chain wrong = zel::Chain::Words("vivd strength=20");
  std::printf("%s (word at byte %d)\n", wrong.report().text, static_cast<int>(wrong.report().position));

  const zel::Chain chain = zel::Chain::Recipe(R"({"operations": [{"name": "smart-contrast", "strength": 40}]})");
  const zel::Measured measured = chain.Measure(photo);
  std::vector<unsigned char> strips = pixels;
  for (int top = 0; measured.AllowsTiles() && top < 480; top += 120) {
    const ZelPixels strip = zel::Pixels(strips.data() + top * 640 * 4, 640, 120, 4, 8);
    ZelApplyOptions options{};
    options.size = sizeof options;
    options.wholeWidth = 640;
    options.wholeHeight = 480;
    options.top = top;
    measured.Apply(strip, strip, &options);
  }
  const ZelReport report = chain.Apply(photo, photo);
  if (report.code != ZEL_OK) std::puts(report.text);
  std::printf("strips and whole are equal: %s\n", strips == pixels ? "yes" : "no");
  return report.code == ZEL_OK && strips == pixels ? 0 : 1;
}
