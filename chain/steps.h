// The steps of a chain at work on a picture in the library's shape.
#ifndef ZEL_CHAIN_STEPS_H_
#define ZEL_CHAIN_STEPS_H_

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

  // Pixels around it that a result pixel depends on; -1 for all.
  int32_t Margin() const;
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

// Rows that are treated at a time where parts serve, and where `margin` rows around them are needed too.
int32_t PartRows(int32_t width, int32_t height, int32_t bits, int32_t margin);

// The steps of a plan on one picture or part, one after another. 16-bit pictures get an 8-bit copy when the first step
// needs one; what changed there is added when the next one works at 16 bits, and at the end.
class Runner {
 public:
  Runner(const Plan& plan, ZelReport* report, Error* error) : plan_(plan), report_(report), error_(error) {}

  // Whether work.data may have changed; also after a failure.
  bool changed() const { return changed_; }

  // All steps on a part whose first pixel is (left, top) of the whole picture. `from` and `share` are for progress.
  // When `first` is given, it holds the picture and the work is still empty: the first step writes from one to the
  // other.
  bool Run(const Work& work, int32_t left, int32_t top, double from, double share, const Work* first);

 private:
  bool RunStep(size_t index, const Work* first);
  int32_t Call(const Step& step, const Work& source, const Work& work, int32_t top, bool* changed);
  int32_t CallByBands(const Step& step, const Work& work, int32_t rows, int32_t margin, bool* changed);
  bool Hear(double done);
  bool Refused(int32_t index, int32_t code);
  bool MakeNarrow();
  void Widen();

  const Plan& plan_;
  ZelReport* report_;
  Error* error_;
  int32_t left_ = 0, top_ = 0;
  double from_ = 0, share_ = 1;  // of the step at hand
  Work work_, narrow_;
  Buffer narrowBuffer_;
  bool narrowed_ = false, changed_ = false;
};

// Maps the samples of a rectangle (null: all) through curves of a decision.
void MapCurves(const std::vector<uint8_t>& curves, const Work& work, const ZelRect* rect);

}  // namespace zel::chain

#endif  // ZEL_CHAIN_STEPS_H_
