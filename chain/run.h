// Running steps on pixels.
#ifndef ZEL_CHAIN_RUN_H_
#define ZEL_CHAIN_RUN_H_

#include <functional>

#include "chain.h"
#include "pixels.h"

namespace zel::chain {

// What an automatic step decided: a curve for each channel, red first, or the nodes of a lattice; or nothing that can
// be kept.
struct Decision {
  enum class Kind { None, Curves, Lattice };
  Kind kind = Kind::None;
  std::vector<uint8_t> block;
};

// One operation in one picture.
struct Step {
  const Settings* settings;
  Placed placed;                       // in pixels of the whole picture
  const Decision* decision = nullptr;  // what to apply instead of measuring; null: run the operation itself
};

// Steps ready for a picture, and what the host wants to know meanwhile.
struct Plan {
  std::vector<Step> steps;
  bool grey = false;         // every step takes one channel
  bool blueFirst = false;    // some step wants blue first
  bool local = true;         // every step makes each pixel of that pixel alone: parts may be treated one after another
  bool differences = false;  // some step needs an 8-bit copy of 16-bit pictures
  int32_t wholeWidth = 0, wholeHeight = 0, left = 0, top = 0;
  int32_t(ZEL_CALL* progress)(void* user, double done) = nullptr;
  void* user = nullptr;

  // False, with the code, when the host cancels.
  bool Advance(double done, Error* error) const;
};

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

// Runs one step in place on a picture in whole.
bool RunAlone(const Step& step, const Work& work, Error* error);

// Maps the samples of a rectangle (null: all) through curves of a decision.
void MapCurves(const std::vector<uint8_t>& curves, const Work& work, const ZelRect* rect);

}  // namespace zel::chain

#endif  // ZEL_CHAIN_RUN_H_
