#include "tone/highlight_shadow.h"

#include <algorithm>

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
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    return HighlightShadowRaw(in, out, ClampedRegion(rect, in.Whole()), highlight, shadow, max);
  });
}

template <class T>
bool HighlightShadowRaw(const Source<T>& source, const View<T>& destination, const Region& region,
                        const int32_t* highlight, const int32_t* shadow, int32_t max) {
  if (highlight == nullptr || shadow == nullptr || max < 1) return false;
  if (source.channels != 1 && source.channels != 3) return false;
  int32_t white[3], black[3];
  for (int32_t k = 0; k < 3; ++k) {
    white[k] = OnScale(highlight[k], kLast<T>, max);
    black[k] = OnScale(shadow[k], kLast<T>, max);
  }
  const bool oneCurve = source.channels == 1 ||
                        (white[0] == white[1] && white[0] == white[2] && black[0] == black[1] && black[0] == black[2]);
  const int32_t count = oneCurve ? 1 : 3;
  if constexpr (sizeof(T) == 1) {
    uint8_t block[3 * kLutEntries8];
    const Curves<uint8_t> curves{block, count};
    MakeLevelsLut(curves, white, black);
    return ApplyChannelLutRaw(source, destination, region, curves);
  } else {
    const LevelsCurve curves[3] = {
        {kLast<T>, white[0], black[0]}, {kLast<T>, white[1], black[1]}, {kLast<T>, white[2], black[2]}};
    const auto entry = [&curves](int32_t k, int32_t i) { return static_cast<T>(curves[k](i)); };
    return MapWordsByFormula(source, destination, region, count, entry);
  }
}

template bool HighlightShadowRaw(const Source<uint8_t>&, const View<uint8_t>&, const Region&, const int32_t*,
                                 const int32_t*, int32_t);
template bool HighlightShadowRaw(const Source<uint16_t>&, const View<uint16_t>&, const Region&, const int32_t*,
                                 const int32_t*, int32_t);

}  // namespace zel
