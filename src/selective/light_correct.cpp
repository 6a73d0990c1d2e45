#include "selective/light_correct.h"

#include <algorithm>

#include "color/linear_light.h"
#include "core/channel_lut.h"
#include "core/reduce.h"
#include "core/scratch.h"

namespace zel {

namespace {

constexpr int32_t kMeasuredExtent = 300;

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
bool Apply(const ImageDesc* source, const ImageDesc* destination, const Move moves[3], size_t entries) {
  Scratch<T> block(3 * entries);
  if (!block) return false;
  for (int32_t k = 0; k < 3; ++k) {
    double nodes[256];
    FillNodes(moves[k], nodes);
    FillTable(nodes, block.data() + k * entries);
  }
  return ApplyChannelLut(source, destination, nullptr, block.data(), 3, sizeof(T) * 8);
}

}  // namespace

bool LightCorrect(const ImageDesc* source, const ImageDesc* destination, int32_t strength) {
  if (strength == 0) return CopySource(source, destination, nullptr);
  if (!SameImageLayout(source, destination)) return false;
  const Geometry geometry = GeometryOf(*source);
  if (geometry.channels != 1 && geometry.channels != 3) return false;
  if (geometry.channels == 1) {
    CopyImageRect(*destination, *source, nullptr);
    return true;
  }
  SampledCopy copy;
  if (!PointSample(source->data, geometry, nullptr, kMeasuredExtent, &copy)) return false;
  BringTo8Bits(&copy);
  const LightColour light = EstimateLight(copy.pixels.data(), copy.geometry);

  const double grey = 0.2126 * light.red + 0.7152 * light.green + 0.0722 * light.blue;
  const double share = std::min(std::max(strength, 0), 100) / 100.0;
  const auto moved = [&](double level) { return Move{level, level + (grey - level) * share}; };
  const Move moves[3] = {moved(light.red), moved(light.green), moved(light.blue)};
  return geometry.bits == 8 ? Apply<uint8_t>(source, destination, moves, kLutEntries8)
                            : Apply<uint16_t>(source, destination, moves, kLutEntries16);
}

}  // namespace zel
