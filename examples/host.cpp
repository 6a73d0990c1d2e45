// A C++ host: draws a dull picture with a blue cast, corrects it in three calls and shows what a refusal says.
#include <cstdio>
#include <vector>

#include "zel.hpp"

int main() {
  constexpr int kWidth = 320, kHeight = 240;
  std::vector<std::uint8_t> pixels(kWidth * kHeight * 3);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      std::uint8_t* const bgr = &pixels[(y * kWidth + x) * 3];
      bgr[0] = static_cast<std::uint8_t>(90 + x / 3);
      bgr[1] = static_cast<std::uint8_t>(70 + x / 4);
      bgr[2] = static_cast<std::uint8_t>(60 + y / 3);
    }
  }

  const auto photo = zel::ImageView::Over(pixels.data(), pixels.size(), kWidth, kHeight, ZEL_FORMAT_BGR24);
  if (!photo) return 1;

  const ZelRect left = {0, 0, kWidth / 2, kHeight};
  const zel::Result steps[] = {
      zel::Call(ZelTavoraFunc_SmartContrast, *photo, *photo, 0, 50, nullptr),
      zel::Call(ZelBasicToolFunc_ColorTemperature, *photo, *photo, -20, &left),
      zel::Call(ZelBasicToolFunc_Sharpen, *photo, *photo, 30, nullptr),
  };
  for (const zel::Result& step : steps) {
    if (!step) std::printf("refused: %s\n", zel::explain(step));
  }
  std::printf("middle pixel: %d %d %d\n", pixels[115682], pixels[115681], pixels[115680]);

  std::vector<std::uint8_t> smaller(kWidth * 3);
  const auto row = zel::ImageView::Over(smaller.data(), smaller.size(), kWidth, 1, ZEL_FORMAT_BGR24);
  const zel::Result refused = zel::Call(ZelBasicToolFunc_Sharpen, *photo, *row, 30, nullptr);
  std::printf("expected refusal: %s\n", zel::explain(refused));
  return steps[0] && steps[1] && steps[2] && !refused ? 0 : 1;
}
