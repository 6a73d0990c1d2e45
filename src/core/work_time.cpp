#include "core/work_time.h"

#include <cstdio>

#include "core/platform.h"

namespace zel {

WorkTime::WorkTime() : start_(TickCount()) {}

void WorkTime::Report() const {
  const uint32_t elapsed = TickCount() - start_;
  if (ProfileInt("zel_ip.ini", "TavoraDemo", "TimeCalculation", 0) == 0) return;
  char text[64];
  std::snprintf(text, sizeof text, "Time = %f", elapsed * 0.001);
  ShowMessage(text, "Working Time");
}

}  // namespace zel
