#include "run.h"

#include <algorithm>
#include <cstring>

namespace zel::chain {

namespace {

// Names the operations that do not keep all 16 bits.
void NoteDepth(const Plan& plan, ZelReport* report) {
  std::string names;
  for (const Step& step : plan.steps) {
    const Operation& operation = *step.settings->operation;
    const std::string name = std::string(names.empty() ? "" : ", ") + operation.name;
    if (operation.depth != Depth::Full &&
        (", " + names + ",").find(", " + std::string(operation.name) + ",") == std::string::npos) {
      names += name;
    }
  }
  if (!names.empty()) AddNote(report, "works with 8 of the 16 bits: " + names);
}

int32_t BandRows(const ZelPixels& pixels) {
  return PartRows(pixels.width, pixels.height, pixels.bits, 0);
}

// Whether source and destination have the same form without padding, which the library would copy along.
bool AreAlike(const ZelPixels& source, const Work& work) {
  return IsDirect(source, work.channels) && work.rowBytes == work.RowSamples() * work.SampleBytes() &&
         DirectWork(source).rowBytes == work.rowBytes &&
         (work.channels == 1 || (source.blueFirst != 0) == work.blueFirst);
}

// In the destination's own memory.
bool TreatThere(const Treatment& treatment, const ZelPixels& source, const ZelPixels& destination, ZelReport* report) {
  Work work = DirectWork(destination);
  const bool swapped = work.channels == 3 && treatment.blueFirst && !work.blueFirst;
  work.blueFirst = work.blueFirst || swapped;
  bool done = true, changed = false;
  if (treatment.across && !SameMemory(source, destination) && AreAlike(source, work)) {
    const Work from = DirectWork(source);
    changed = true;
    done = treatment.run(work, 0, 0, 1, &from, &changed);
  } else {
    changed = !SameMemory(source, destination);
    if (changed) {
      Unpack(source, 0, work);
    } else if (swapped) {
      SwapOrder(work);
    }
    const int32_t rows = treatment.local && treatment.parts ? BandRows(destination) : work.height;
    for (int32_t top = 0; done && top < work.height; top += rows) {
      const Work band = work.Band(top, std::min(rows, work.height - top));
      done = treatment.run(band, top, static_cast<double>(top) / work.height,
                           static_cast<double>(band.height) / work.height, nullptr, &changed);
    }
  }
  if (swapped) SwapOrder(work);
  if (report != nullptr) {
    report->changed = !done && changed;
    report->grey = done && IsGrey(source) && IsColourless(work);
  }
  return done;
}

// Through memory of our own: part by part, or as a whole.
bool TreatAside(const Treatment& treatment, const ZelPixels& source, const ZelPixels& destination, ZelReport* report,
                Error* error) {
  Work work;
  work.width = source.width;
  work.channels = treatment.channels;
  work.bits = source.bits;
  work.blueFirst = treatment.blueFirst || (IsGrey(source) ? destination : source).blueFirst != 0;
  // Whether a grey destination can take the result is known when all of it is there.
  const bool mustWait = work.channels == 3 && IsGrey(destination);
  const int32_t rows = treatment.local && !mustWait ? BandRows(source) : source.height;
  work.height = rows;
  Buffer buffer;
  if (!work.Allocate(&buffer)) return error->Fail(ZEL_CHAIN_NO_MEMORY, "");
  bool grey = IsGrey(source);
  for (int32_t top = 0; top < source.height; top += rows) {
    work.height = std::min(rows, source.height - top);
    Unpack(source, top, work);
    bool changed = false;
    if (!treatment.run(work, top, static_cast<double>(top) / source.height,
                       static_cast<double>(work.height) / source.height, nullptr, &changed)) {
      if (report != nullptr) report->changed = top > 0;
      return false;
    }
    grey = grey && IsColourless(work);
    if (mustWait && !grey) {
      return error->Fail(ZEL_CHAIN_NEEDS_COLOUR, "the result has colours and the destination has none");
    }
    Pack(work, destination, top, source);
  }
  if (report != nullptr) report->grey = grey;
  return true;
}

}  // namespace

bool MakePlan(const std::vector<Settings>& steps, const std::vector<Decision>* decisions, const ZelPixels& pixels,
              const ZelApplyOptions* options, Plan* plan, Error* error) {
  int32_t orientation = 1;
  plan->wholeWidth = pixels.width;
  plan->wholeHeight = pixels.height;
  if (options != nullptr) {
    // Older hosts know fewer fields; what they do not know is 0.
    ZelApplyOptions known{};
    std::memcpy(&known, options, std::min<size_t>(options->size, sizeof known));
    if (known.orientation != 0) orientation = known.orientation;
    plan->progress = known.progress;
    plan->user = known.user;
    if (known.wholeWidth != 0 || known.wholeHeight != 0) {
      plan->wholeWidth = known.wholeWidth;
      plan->wholeHeight = known.wholeHeight;
      plan->left = known.left;
      plan->top = known.top;
    }
  }
  if (orientation < 1 || orientation > 8) return error->Fail(ZEL_CHAIN_BAD_PIXELS, "the orientation is not 1 to 8");
  if (plan->left < 0 || plan->top < 0 || plan->wholeWidth - plan->left < pixels.width ||
      plan->wholeHeight - plan->top < pixels.height) {
    return error->Fail(ZEL_CHAIN_BAD_PIXELS, "the part does not lie in the whole picture");
  }
  const bool isPart = plan->wholeWidth != pixels.width || plan->wholeHeight != pixels.height;
  plan->grey = true;
  for (size_t i = 0; i < steps.size(); ++i) {
    const Operation& operation = *steps[i].operation;
    Step step{&steps[i], {}, decisions != nullptr ? &(*decisions)[i] : nullptr};
    const bool kept = step.decision != nullptr && step.decision->kind != Decision::Kind::None;
    if (!kept) step.decision = nullptr;
    // A rectangle that was measured need not lie in what its decision is applied to.
    const bool placed = kept && operation.Has(kMeasuresRect);
    if (!placed && !Place(steps[i], {plan->wholeWidth, plan->wholeHeight, orientation}, &step.placed, error)) {
      error->step = static_cast<int32_t>(i);
      return false;
    }
    if (isPart && !kept && (Measures(steps[i]) || MarginOf(steps[i]) < 0)) {
      error->step = static_cast<int32_t>(i);
      return error->Fail(ZEL_CHAIN_BAD_PIXELS, std::string(operation.name) + " needs the whole picture");
    }
    plan->grey = plan->grey && operation.Has(kGrey);
    plan->blueFirst = plan->blueFirst || (operation.Has(kBlueFirst) && !kept);
    plan->local = plan->local && step.Margin() == 0;
    plan->differences = plan->differences || operation.depth == Depth::Difference;
    plan->steps.push_back(step);
  }
  return true;
}

bool Treat(const Treatment& treatment, const ZelPixels& source, const ZelPixels& destination, ZelReport* report,
           Error* error) {
  // Swapping all of the destination to and fro is worth it where the alternative is a copy of the whole.
  const bool swaps = treatment.channels == 3 && treatment.blueFirst && destination.blueFirst == 0;
  return IsDirect(destination, treatment.channels) && !(swaps && treatment.local)
             ? TreatThere(treatment, source, destination, report)
             : TreatAside(treatment, source, destination, report, error);
}

bool Run(const Plan& plan, const ZelPixels& source, const ZelPixels& destination, ZelReport* report, Error* error) {
  Treatment treatment;
  treatment.channels = IsGrey(source) && plan.grey ? 1 : 3;
  treatment.blueFirst = plan.blueFirst;
  treatment.local = plan.local;
  // Parts let the host follow, and spare an 8-bit copy of the whole.
  treatment.parts = plan.progress != nullptr || (source.bits == 16 && plan.differences);
  if (!plan.steps.empty()) {
    const Step& first = plan.steps[0];
    treatment.across = plan.progress == nullptr && source.bits == 8 && first.decision == nullptr &&
                       !first.placed.hasRect && !first.settings->operation->Has(kPartly);
  }
  Runner runner(plan, report, error);
  treatment.run = [&](const Work& work, int32_t top, double from, double share, const Work* first, bool* changed) {
    const bool done = runner.Run(work, plan.left, plan.top + top, from, share, first);
    *changed = *changed || runner.changed();
    return done;
  };
  if (!Treat(treatment, source, destination, report, error)) return false;
  if (source.bits == 16) NoteDepth(plan, report);
  if (plan.progress != nullptr) plan.progress(plan.user, 1);
  return true;
}

bool RunAlone(const Step& step, const Work& work, Error* error, const Plan* host, double from, double share) {
  Plan plan;
  plan.steps.push_back(step);
  if (host != nullptr) {
    plan.progress = host->progress;
    plan.user = host->user;
  }
  return Runner(plan, nullptr, error).Run(work, 0, 0, from, share, nullptr);
}

}  // namespace zel::chain

using namespace zel::chain;

int32_t ZEL_CALL ZelChain_Apply(const ZelChain* chain, const ZelPixels* source, const ZelPixels* destination,
                                const ZelApplyOptions* options, ZelReport* report) {
  return Guarded(report, [&](Error* error) {
    Plan plan;
    if (chain == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "the chain is null");
    return CheckPair(source, destination, error) && MakePlan(chain->steps, nullptr, *source, options, &plan, error) &&
           Run(plan, *source, *destination, report, error);
  });
}

int32_t ZEL_CALL ZelChain_Where(const ZelChain* chain, int32_t step, const ZelPixels* picture,
                                const ZelApplyOptions* options, ZelRect* rect, ZelPoint* point, ZelReport* report) {
  int32_t found = 0;
  Guarded(report, [&](Error* error) {
    if (chain == nullptr || picture == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "the chain or picture is null");
    if (step < 0 || step >= ZelChain_Steps(chain)) return error->Fail(ZEL_REFUSED, "the chain has no such step");
    Plan plan;
    const std::vector<Settings> one{chain->steps[static_cast<size_t>(step)]};
    if (!CheckPixels(picture, "picture", error) || !MakePlan(one, nullptr, *picture, options, &plan, error))
      return false;
    const Placed& placed = plan.steps[0].placed;
    if (placed.hasRect && rect != nullptr) *rect = placed.rect;
    if (placed.hasPoint && point != nullptr) *point = placed.point;
    found = placed.hasRect + 2 * placed.hasPoint;
    return true;
  });
  return found;
}
