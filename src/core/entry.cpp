#include "core/entry.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/platform.h"

namespace zel {

int32_t ZeroStrengthCopy(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
  if (!IsUsable(source) || !IsUsable(destination)) return ZEL_REFUSED;
  if (source->data == destination->data) return ZEL_OK;
  if (rect != nullptr) {
    CopyImageRect(*destination, *source, rect);
    return ZEL_OK;
  }
  const Geometry from = GeometryOf(*source);
  std::memcpy(destination->data, source->data, std::min(from.SampleCount(), GeometryOf(*destination).ByteCount()));
  return ZEL_OK;
}

void CopyOfRefused(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
  if (!SameImageLayout(source, destination)) return;
  if (rect != nullptr) {
    CopyImageRect(*destination, *source, rect);
  } else {
    CopySamples(source->data, destination->data, GeometryOf(*source));
  }
}

void ReportTime(uint32_t startTick) {
  const uint32_t elapsed = TickCount() - startTick;
  if (ProfileInt("zel_ip.ini", "TavoraDemo", "TimeCalculation", 0) == 0) return;
  char text[64];
  std::snprintf(text, sizeof text, "Time = %f", elapsed * 0.001);
  ShowMessage(text, "Working Time");
}

}  // namespace zel
