#include "run.h"

#include <algorithm>
#include <cstring>

namespace zel::chain {

namespace {

// Pixels treated at a time where parts serve: enough that making an operation's tables anew costs little, 65,536
// entries at 16 bits.
constexpr int64_t kBandPixels8 = 1 << 20, kBandPixels16 = 1 << 22;

bool IsLocal(const Step& step) {
  if (step.decision != nullptr && step.decision->kind != Decision::Kind::None) return true;
  return !Measures(*step.settings) && MarginOf(*step.settings) == 0;
}

// Samples around the point and all over the picture, to see whether a step did anything. It may read from one picture
// and write to another.
class Watch {
 public:
  bool Start(const Work& before, const Work& after, const Placed& placed) {
    work_ = before;
    place_ = placed;
    return buffer_.Allocate(Each([](const uint8_t*, size_t) {})) &&
           (Each([this](const uint8_t* at, size_t offset) { std::memcpy(buffer_.data() + offset, at, Bytes()); }),
            work_ = after, true);
  }
  bool SawChange() const {
    bool changed = false;
    Each([&](const uint8_t* at, size_t offset) { changed |= std::memcmp(buffer_.data() + offset, at, Bytes()) != 0; });
    return changed;
  }

 private:
  size_t Bytes() const { return static_cast<size_t>(work_.channels) * work_.SampleBytes(); }

  // Calls with every watched pixel and the bytes before it; returns the bytes of all.
  template <class F>
  size_t Each(const F& visit) const {
    size_t offset = 0;
    const auto field = [&](int32_t left, int32_t top, int32_t right, int32_t bottom, int32_t stepX, int32_t stepY) {
      for (int32_t y = std::max(top, 0); y < std::min(bottom, work_.height); y += stepY) {
        for (int32_t x = std::max(left, 0); x < std::min(right, work_.width); x += stepX) {
          visit(work_.Row(y) + static_cast<size_t>(x) * Bytes(), offset);
          offset += Bytes();
        }
      }
    };
    const ZelPoint& p = place_.point;
    field(p.x - 8, p.y - 8, p.x + 9, p.y + 9, 1, 1);
    const ZelRect all = place_.hasRect ? place_.rect : ZelRect{0, 0, work_.width, work_.height};
    field(all.left, all.top, all.right, all.bottom, 1 + (all.right - all.left) / 64, 1 + (all.bottom - all.top) / 64);
    return offset;
  }

  Work work_;
  Placed place_;
  Buffer buffer_;
};

int32_t RunLattice(const Step& step, const ImageDesc& record, const ZelRect* rect) {
  const Settings& s = *step.settings;
  return ZelTavoraFunc_Colorful_Apply3DLut(&record, &record, s.Int("style"), s.Int("strength"), rect,
                                           step.decision->block.data());
}

// A step's rectangle in the part that starts at (left, top); empty when it lies elsewhere.
ZelRect InPart(const ZelRect& rect, int32_t left, int32_t top, const Work& part) {
  const auto cut = [](int64_t v, int32_t size) { return static_cast<int32_t>(std::clamp<int64_t>(v, 0, size)); };
  return {cut(int64_t{rect.left} - left, part.width), cut(int64_t{rect.top} - top, part.height),
          cut(int64_t{rect.right} - left, part.width), cut(int64_t{rect.bottom} - top, part.height)};
}

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
  bool Run(const Work& work, int32_t left, int32_t top, double from, double share, const Work* first) {
    work_ = work;
    narrowed_ = false;
    if (plan_.steps.empty() && !plan_.Advance(from, error_)) return false;
    const double each = share / static_cast<double>(std::max<size_t>(plan_.steps.size(), 1));
    for (size_t i = 0; i < plan_.steps.size(); ++i) {
      if (!plan_.Advance(from + each * static_cast<double>(i), error_)) return false;
      if (!RunStep(i, left, top, i == 0 ? first : nullptr)) return false;
    }
    Widen();
    return true;
  }

 private:
  bool RunStep(size_t index, int32_t left, int32_t top, const Work* first) {
    const Step& step = plan_.steps[index];
    const Operation& operation = *step.settings->operation;
    // Curves that stand for an operation run as deep as it does.
    const bool difference = work_.bits == 16 && operation.depth == Depth::Difference;
    if (!difference) Widen();
    if (difference && !MakeNarrow()) return error_->Fail(ZEL_CHAIN_NO_MEMORY, "");
    const Work& work = difference ? narrow_ : work_;

    const bool hasRect = step.placed.hasRect;
    const ZelRect rect = hasRect ? InPart(step.placed.rect, left, top, work) : ZelRect{};
    if (hasRect && (rect.left >= rect.right || rect.top >= rect.bottom)) return true;
    const ZelRect* const where = hasRect ? &rect : nullptr;
    const ZelPoint point = {step.placed.point.x - left, step.placed.point.y - top};

    Watch watch;
    const bool watched = step.placed.hasPoint && report_ != nullptr;
    if (watched && !watch.Start(first != nullptr ? *first : work, work, step.placed))
      return error_->Fail(ZEL_CHAIN_NO_MEMORY, "");
    const ImageDesc record = work.Record();
    int32_t code = ZEL_OK;
    if (step.decision != nullptr && step.decision->kind == Decision::Kind::Curves) {
      MapCurves(step.decision->block, work, where);
    } else if (step.decision != nullptr && step.decision->kind == Decision::Kind::Lattice) {
      code = RunLattice(step, record, where);
    } else {
      const ImageDesc source = first != nullptr ? first->Record() : record;
      code = operation.run({&source, &record, *step.settings, where, step.placed.hasPoint ? &point : nullptr});
    }
    if (code != ZEL_OK) return Refused(static_cast<int32_t>(index), code);
    changed_ = changed_ || !difference;
    if (watched && !watch.SawChange()) {
      AddNote(report_, std::string(operation.name) + " changed nothing; does the pixel at " +
                           step.settings->Given("at")->typed + " show what it is for?");
    }
    return true;
  }

  bool Refused(int32_t index, int32_t code) {
    error_->step = index;
    error_->call = code;
    return error_->Fail(ZEL_REFUSED, std::string(plan_.steps[static_cast<size_t>(index)].settings->operation->name) +
                                         " refused this picture of " + std::to_string(work_.width) + " x " +
                                         std::to_string(work_.height) + " pixels with these settings (code " +
                                         std::to_string(code) + ")");
  }

  bool MakeNarrow() {
    if (narrowed_) return true;
    if (narrow_.data == nullptr || narrow_.height < work_.height) {
      narrow_ = work_;
      narrow_.bits = 8;
      narrow_.data = nullptr;
      if (!narrow_.Allocate(&narrowBuffer_)) return false;
    }
    narrow_.height = work_.height;
    Narrow(work_, narrow_);
    return narrowed_ = true;
  }

  void Widen() {
    if (!narrowed_) return;
    narrowed_ = false;
    changed_ = true;
    AddDifference(narrow_, work_);
  }

  const Plan& plan_;
  ZelReport* report_;
  Error* error_;
  Work work_, narrow_;
  Buffer narrowBuffer_;
  bool narrowed_ = false, changed_ = false;
};

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
  const int64_t rows = (pixels.bits == 8 ? kBandPixels8 : kBandPixels16) / pixels.width;
  return static_cast<int32_t>(std::clamp<int64_t>(rows, 1, pixels.height));
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

bool Plan::Advance(double done, Error* error) const {
  return progress == nullptr || progress(user, done) == 0 || error->Fail(ZEL_CHAIN_CANCELLED, "cancelled");
}

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
    plan->local = plan->local && IsLocal(step);
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

bool RunAlone(const Step& step, const Work& work, Error* error) {
  Plan plan;
  plan.steps.push_back(step);
  return Runner(plan, nullptr, error).Run(work, 0, 0, 0, 1, nullptr);
}

void MapCurves(const std::vector<uint8_t>& curves, const Work& work, const ZelRect* rect) {
  const ZelRect all = {0, 0, work.width, work.height};
  const ZelRect& r = rect != nullptr ? *rect : all;
  const auto channels = static_cast<size_t>(work.channels);
  const size_t count = static_cast<size_t>(r.right - r.left) * channels;
  const uint8_t* tables[3];
  for (size_t k = 0; k < 3; ++k) tables[k] = curves.data() + 256 * (work.blueFirst ? 2 - k : k);
  if (channels == 1) tables[0] = curves.data();
  // Between entries i and i + 1, which stand at 257 i and 257 (i + 1), runs a straight line.
  const auto between = [](const uint8_t* table, int32_t sample) {
    const int32_t i = sample / 257;
    const int32_t step = i == 255 ? 0 : table[i + 1] - table[i];
    return static_cast<uint16_t>(257 * table[i] + step * (sample - 257 * i));
  };
  for (int32_t y = r.top; y < r.bottom; ++y) {
    uint8_t* const row = work.Row(y) + static_cast<size_t>(r.left) * channels * work.SampleBytes();
    for (size_t k = 0; k < channels; ++k) {
      const uint8_t* const table = tables[k];
      if (work.bits == 8) {
        for (size_t i = k; i < count; i += channels) row[i] = table[row[i]];
      } else {
        auto* const samples = reinterpret_cast<uint16_t*>(row);
        for (size_t i = k; i < count; i += channels) samples[i] = between(table, samples[i]);
      }
    }
  }
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
