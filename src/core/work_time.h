// How long an adjustment took, for developers.
#ifndef ZEL_CORE_WORK_TIME_H_
#define ZEL_CORE_WORK_TIME_H_

#include <cstdint>

namespace zel {

class WorkTime {
 public:
  WorkTime();  // starts to count

  // Shows the time since the start when the switch in "zel_ip.ini" asks for it.
  void Report() const;

 private:
  uint32_t start_;
};

}  // namespace zel

#endif  // ZEL_CORE_WORK_TIME_H_
