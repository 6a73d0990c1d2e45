// A chain on pixels as the host has them.
#ifndef ZEL_CHAIN_RUN_H_
#define ZEL_CHAIN_RUN_H_

#include <functional>

#include "steps.h"

namespace zel::chain {

// Places the settings in the picture that the options describe. Decisions may be null, or as many as steps.
bool MakePlan(const std::vector<Settings>& steps, const std::vector<Decision>* decisions, const ZelPixels& pixels,
              const ZelApplyOptions* options, Plan* plan, Error* error);

// What is done to pixels, and how much of them it has to see at a time.
struct Treatment {
  int32_t channels = 3;
  bool blueFirst = false;  // has to be
  bool local = true;       // may be done part by part
  bool parts = false;      // should be, also where the whole lies ready
  bool across = false;     // may start from `first` instead of `work`
  // Treats a part in place that starts at row `top`; `from` and `share` of the whole work. Fails before it changes
  // anything in `work`, or sets `changed`.
  std::function<bool(const Work& work, int32_t top, double from, double share, const Work* first, bool* changed)> run;
};

// Brings source to destination by the treatment, in the destination's own memory or through other, and fills in what
// the report says of it.
bool Treat(const Treatment& treatment, const ZelPixels& source, const ZelPixels& destination, ZelReport* report,
           Error* error);

// Runs the plan from source to destination, as ZelChain_Apply says.
bool Run(const Plan& plan, const ZelPixels& source, const ZelPixels& destination, ZelReport* report, Error* error);

// Runs one step in place on a picture in whole. `host`, when given, hears how far it is from `from` to `from` +
// `share`.
bool RunAlone(const Step& step, const Work& work, Error* error, const Plan* host = nullptr, double from = 0,
              double share = 1);

}  // namespace zel::chain

#endif  // ZEL_CHAIN_RUN_H_
