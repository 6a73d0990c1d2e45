#include "tone/gamma.h"

#include <cmath>
#include <cstring>

#include "core/channel_lut.h"
#include "core/formula_map.h"

namespace zel {

namespace {

// The reciprocal is a printed constant rather than a quotient: the curves are defined with it.
double Power(int32_t i, double gamma, double reciprocal, int32_t last) {
  return std::exp(std::log(i * reciprocal) / gamma) * last + 0.5;
}

// Entry i of the curve. Inside the range the power lies between 0 and 1 whatever the gamma, 0 included.
uint8_t Entry8(int32_t i, double gamma) {
  return i == 0 || i == 255 ? static_cast<uint8_t>(i) : static_cast<uint8_t>(Power(i, gamma, 0.00392156862745098, 255));
}
uint16_t Entry16(int32_t i, double gamma) {
  return i == 0 || i == 65535 ? static_cast<uint16_t>(i)
                              : static_cast<uint16_t>(Power(i, gamma, 1.5259021896696422e-5, 65535));
}

float Sanitised(float gamma) {
  return gamma > 10.0f ? 10.0f : gamma > 0.0f ? gamma : 1.0f;
}

}  // namespace

bool MakeGammaLut(void* block, int32_t tables, int32_t bits, const float* gamma) {
  if (block == nullptr || gamma == nullptr || (bits != 8 && bits != 16) || (tables != 1 && tables != 3)) return false;
  for (int32_t k = 0; k < tables; ++k) {
    const double g = gamma[k] >= 0.0f ? gamma[k] : 1.0;
    if (bits == 8) {
      uint8_t* const table = static_cast<uint8_t*>(block) + k * kLutEntries8;
      for (int32_t i = 0; i <= 255; ++i) table[i] = Entry8(i, g);
    } else {
      uint16_t* const table = static_cast<uint16_t*>(block) + k * kLutEntries16;
      for (int32_t i = 0; i <= 65535; ++i) table[i] = Entry16(i, g);
    }
  }
  return true;
}

bool GammaCorrect(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const float* gamma) {
  if (!SameImageLayout(source, destination)) return false;
  return GammaCorrectRaw(source->data, destination->data, GeometryOf(*source), rect, gamma);
}

bool GammaCorrectRaw(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                     const float* gamma) {
  if (source == nullptr || destination == nullptr || gamma == nullptr || !geometry.DescribesMemory()) return false;
  if (geometry.channels != 1 && geometry.channels != 3) return false;
  const float g[3] = {Sanitised(gamma[0]), Sanitised(gamma[1]), Sanitised(gamma[2])};
  const int32_t curves = geometry.channels == 1 || (g[0] == g[1] && g[0] == g[2]) ? 1 : 3;
  if (geometry.bits == 8) {
    uint8_t block[3 * kLutEntries8];
    MakeGammaLut(block, curves, 8, g);
    return ApplyChannelLutRaw(source, destination, geometry, rect, block, curves, 8);
  }
  const auto entry = [&g](int32_t k, int32_t i) { return Entry16(i, g[k]); };
  if (MapWordsByFormula(source, destination, geometry, rect, curves, entry)) return true;
  if (source != destination) std::memcpy(destination, source, geometry.SampleCount());
  return false;
}

}  // namespace zel
