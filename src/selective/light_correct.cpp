#include "selective/light_correct.h"

#include <algorithm>

#include "color/linear_light.h"
#include "core/channel_lut.h"
#include "core/reduce.h"
#include "core/scratch.h"
#include "selective/light_estimate.h"

namespace zel {

namespace {

// In linear light: a gain up to the colour of the light, and from there a straight line to white, which so stays white.
// When the light itself reaches white there is nothing above it to keep, and the gain goes on.
struct Move {
  double from, to;

  double operator()(double light) const {
    constexpr double kNearWhite = 0.9;
    if (from <= 0.0 || light <= from || (from > kNearWhite && to < from)) return from > 0.0 ? light * to / from : light;
    return to + (light - from) * (1.0 - to) / (1.0 - from);
  }
};

// 256 nodes of the curve, 0 to 1.
void FillNodes(const Move& move, double* nodes) {
  for (int32_t i = 0; i < 256; ++i) nodes[i] = LevelOfLight(move(LightOfLevel(i / 255.0)));
}

void FillTable(const double* nodes, uint8_t* table) {
  for (int32_t i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(nodes[i] * 255.0 + 0.5);
}

void FillTable(const double* nodes, uint16_t* table) {
  for (int32_t i = 0; i < 255; ++i) {
    const double start = nodes[i] * 65535.0, step = (nodes[i + 1] * 65535.0 - start) / 257.0;
    for (int32_t j = 0; j < 257; ++j) *table++ = static_cast<uint16_t>(start + step * j + 0.5);
  }
  *table = static_cast<uint16_t>(nodes[255] * 65535.0 + 0.5);
}

template <class T>
bool Correct(const View<const T>& source, const View<T>& destination, int32_t strength) {
  if (source.channels == 1) {
    CopyRegion(source, destination, source.Whole());
    return true;
  }
  if (source.channels != 3) return false;
  SampledCopy<uint8_t> copy;
  LightColour light;
  if (!PointSample(source, source.Whole(), kMeasuredExtent, &copy) || !EstimateLight(copy.view, &light)) return false;

  const double grey = 0.2126 * light.red + 0.7152 * light.green + 0.0722 * light.blue;
  const double share = std::min(std::max(strength, 0), 100) / 100.0;
  const auto moved = [&](double level) { return Move{level, level + (grey - level) * share}; };
  const Move moves[3] = {moved(light.red), moved(light.green), moved(light.blue)};
  const Scratch<T> block(3 * Curves<T>::kEntries);
  if (!block) return false;
  Curves<T> curves{block.data(), 3};
  for (int32_t k = 0; k < 3; ++k) {
    double nodes[256];
    FillNodes(moves[k], nodes);
    FillTable(nodes, curves.Table(k));
  }
  return ApplyChannelLutRaw(source, destination, source.Whole(), curves);
}

}  // namespace

bool LightCorrect(const ImageDesc* source, const ImageDesc* destination, int32_t strength) {
  if (strength == 0) return CopySource(source, destination, nullptr);
  return WithViews(source, destination, [&](const auto& in, const auto& out) { return Correct(in, out, strength); });
}

}  // namespace zel
