// Chains whose automatic steps have looked at a picture.
#ifndef ZEL_CHAIN_MEASURED_H_
#define ZEL_CHAIN_MEASURED_H_

#include "run.h"

struct ZelMeasured {
  std::vector<zel::chain::Settings> steps;
  std::vector<zel::chain::Decision> decisions;  // one a step
  int32_t flags = 0, margin = 0;
};

namespace zel::chain {

// Looks at the picture, which stays as it is, and keeps what the steps decided.
bool Measure(const std::vector<Settings>& steps, const ZelPixels& picture, const ZelApplyOptions* options,
             ZelMeasured* measured, Error* error);

}  // namespace zel::chain

#endif  // ZEL_CHAIN_MEASURED_H_
