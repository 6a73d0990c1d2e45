#include "tone/highlight_shadow.h"

#include <algorithm>

#include "core/channel_lut.h"
#include "core/formula_map.h"
#include "tone/levels.h"

namespace zel {

namespace {

int32_t OnScale(int32_t point, int32_t last, int32_t max) {
  return static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(static_cast<int64_t>(point) * last / max, 0), last));
}

}  // namespace

bool HighlightShadow(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                     const int32_t* highlight, const int32_t* shadow, int32_t max) {
  if (!SameImageLayout(source, destination)) return false;
  return HighlightShadowRaw(source->data, destination->data, GeometryOf(*source), rect, highlight, shadow, max);
}

bool HighlightShadowRaw(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                        const int32_t* highlight, const int32_t* shadow, int32_t max) {
  if (source == nullptr || destination == nullptr || highlight == nullptr || shadow == nullptr || max < 1) return false;
  if ((geometry.channels != 1 && geometry.channels != 3) || !geometry.DescribesMemory()) return false;
  const int32_t last = geometry.bits == 8 ? 255 : 65535;
  int32_t white[3], black[3];
  for (int32_t k = 0; k < 3; ++k) {
    white[k] = OnScale(highlight[k], last, max);
    black[k] = OnScale(shadow[k], last, max);
  }
  if (geometry.bits == 8) {
    uint8_t block[3 * kLutEntries8];
    MakeLevelsLut(block, geometry.channels, 8, white, black);
    return ApplyChannelLutRaw(source, destination, geometry, rect, block, geometry.channels, 8);
  }
  const bool oneCurve = geometry.channels == 1 ||
                        (white[0] == white[1] && white[0] == white[2] && black[0] == black[1] && black[0] == black[2]);
  const LevelsCurve curves[3] = {{last, white[0], black[0]}, {last, white[1], black[1]}, {last, white[2], black[2]}};
  const auto entry = [&curves](int32_t k, int32_t i) { return static_cast<uint16_t>(curves[k](i)); };
  return MapWordsByFormula(source, destination, geometry, rect, oneCurve ? 1 : 3, entry);
}

}  // namespace zel
