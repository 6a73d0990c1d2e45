#include "steps.h"

#include <algorithm>
#include <cstring>

#include "core/listener.h"

namespace zel::chain {

namespace {

// Pixels treated at a time where parts serve: enough that making an operation's tables anew costs little, 65,536
// entries at 16 bits.
constexpr int64_t kPartPixels8 = 1 << 20, kPartPixels16 = 1 << 22;
// The same with a margin: copies to and fro stay in the cache.
constexpr int64_t kWindowPixels = 1 << 18;

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

// A step's rectangle in the part that starts at (left, top); empty when it lies elsewhere.
ZelRect InPart(const ZelRect& rect, int32_t left, int32_t top, const Work& part) {
  const auto cut = [](int64_t v, int32_t size) { return static_cast<int32_t>(std::clamp<int64_t>(v, 0, size)); };
  return {cut(int64_t{rect.left} - left, part.width), cut(int64_t{rect.top} - top, part.height),
          cut(int64_t{rect.right} - left, part.width), cut(int64_t{rect.bottom} - top, part.height)};
}

bool IsEmpty(const ZelRect& rect) {
  return rect.left >= rect.right || rect.top >= rect.bottom;
}

void CopyRows(const Work& from, int32_t fromTop, const Work& to, int32_t toTop, int32_t rows) {
  const size_t bytes = from.RowSamples() * from.SampleBytes();
  for (int32_t i = 0; i < rows; ++i) std::memcpy(to.Row(toTop + i), from.Row(fromTop + i), bytes);
}

}  // namespace

int32_t Step::Margin() const {
  if (decision != nullptr) return 0;
  return Measures(*settings) ? -1 : MarginOf(*settings);
}

bool Plan::Advance(double done, Error* error) const {
  return progress == nullptr || progress(user, done) == 0 || error->Fail(ZEL_CHAIN_CANCELLED, "cancelled");
}

int32_t PartRows(int32_t width, int32_t height, int32_t bits, int32_t margin) {
  const int64_t rows = (margin > 0 ? kWindowPixels : bits == 8 ? kPartPixels8 : kPartPixels16) / width;
  return static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(rows, 1 + 8 * int64_t{margin}), height));
}

bool Runner::Run(const Work& work, int32_t left, int32_t top, double from, double share, const Work* first) {
  work_ = work;
  left_ = left;
  top_ = top;
  narrowed_ = false;
  if (plan_.steps.empty() && !plan_.Advance(from, error_)) return false;
  share_ = share / static_cast<double>(std::max<size_t>(plan_.steps.size(), 1));
  for (size_t i = 0; i < plan_.steps.size(); ++i) {
    from_ = from + share_ * static_cast<double>(i);
    if (!plan_.Advance(from_, error_)) return false;
    if (!RunStep(i, i == 0 ? first : nullptr)) return false;
  }
  Widen();
  return true;
}

bool Runner::RunStep(size_t index, const Work* first) {
  const Step& step = plan_.steps[index];
  const Operation& operation = *step.settings->operation;
  // Curves that stand for an operation run as deep as it does.
  const bool difference = work_.bits == 16 && operation.depth == Depth::Difference;
  if (!difference) Widen();
  if (difference && !MakeNarrow()) return error_->Fail(ZEL_CHAIN_NO_MEMORY, "");
  const Work& work = difference ? narrow_ : work_;
  if (step.placed.hasRect && IsEmpty(InPart(step.placed.rect, left_, top_, work))) return true;

  const Work& source = first != nullptr ? *first : work;
  Watch watch;
  const bool watched = step.placed.hasPoint && report_ != nullptr;
  if (watched && !watch.Start(source, work, step.placed)) return error_->Fail(ZEL_CHAIN_NO_MEMORY, "");
  const int32_t margin = step.Margin();
  const int32_t rows = margin < 0 ? work.height : PartRows(work.width, work.height, work.bits, margin);
  bool changed = false;
  const int32_t code = plan_.progress != nullptr && rows < work.height ? CallByBands(step, work, rows, margin, &changed)
                                                                       : Call(step, source, work, top_, &changed);
  changed_ = changed_ || (changed && !difference);
  if (error_->code != ZEL_OK) return false;
  if (code != ZEL_OK) return Refused(static_cast<int32_t>(index), code);
  if (watched && !watch.SawChange()) {
    AddNote(report_, std::string(operation.name) + " changed nothing; does the pixel at " +
                         step.settings->Given("at")->typed + " show what it is for?");
  }
  return true;
}

// The operation on a picture or part that starts at row `top` of the whole. Noise reduction tells how far it is.
int32_t Runner::Call(const Step& step, const Work& source, const Work& work, int32_t top, bool* changed) {
  const bool hasRect = step.placed.hasRect;
  const ZelRect rect = hasRect ? InPart(step.placed.rect, left_, top, work) : ZelRect{};
  if (hasRect && IsEmpty(rect)) return ZEL_OK;
  const ZelRect* const where = hasRect ? &rect : nullptr;
  const ZelPoint point = {step.placed.point.x - left_, step.placed.point.y - top};
  const Listener listener = {[](void* self, double done) { return static_cast<Runner*>(self)->Hear(done); }, this};
  const ImageDesc from = source.Record(), to = work.Record();
  const Settings& settings = *step.settings;
  int32_t code = ZEL_OK;
  if (step.decision != nullptr && step.decision->kind == Decision::Kind::Curves) {
    MapCurves(step.decision->block, work, where);
  } else if (step.decision != nullptr) {
    code = ZelTavoraFunc_Colorful_Apply3DLut(&to, &to, settings.Int("style"), settings.Int("strength"), where,
                                             step.decision->block.data());
  } else {
    code = settings.operation->run({&from, &to, settings, where, step.placed.hasPoint ? &point : nullptr,
                                    plan_.progress != nullptr ? &listener : nullptr});
  }
  *changed = *changed || code == ZEL_OK || error_->code == ZEL_CHAIN_CANCELLED;
  return code;
}

// The operation by bands of rows, so that the host can follow and cancel. Where results depend on pixels around, a band
// is worked on beside the picture, together with the rows above and below it; those above hold results by then, and are
// kept from before.
int32_t Runner::CallByBands(const Step& step, const Work& work, int32_t rows, int32_t margin, bool* changed) {
  Work window = work, above = work;
  Buffer windowBuffer, aboveBuffer;
  window.height = rows + 2 * margin;
  above.height = margin;
  if (margin > 0 && !(window.Allocate(&windowBuffer) && above.Allocate(&aboveBuffer))) {
    error_->Fail(ZEL_CHAIN_NO_MEMORY, "");
    return ZEL_REFUSED;
  }
  for (int32_t top = 0; top < work.height; top += rows) {
    const int32_t bottom = std::min(top + rows, work.height), before = std::min(top, margin);
    if (top > 0 && !Hear(static_cast<double>(top) / work.height)) return ZEL_REFUSED;
    Work band = work.Band(top, bottom - top);
    if (margin > 0) {
      band = window.Band(0, std::min(bottom + margin, work.height) - top + before);
      CopyRows(above, margin - before, band, 0, before);
      CopyRows(work, top, band, before, band.height - before);
      // The last band may be lower than the margin, but keeps nothing for a next one.
      if (bottom < work.height) CopyRows(band, before + rows - margin, above, 0, margin);
    }
    const int32_t code = Call(step, band, band, top_ + top - (margin > 0 ? before : 0), changed);
    if (code != ZEL_OK) return code;
    if (margin > 0) CopyRows(band, before, work, top, bottom - top);
  }
  return ZEL_OK;
}

bool Runner::Hear(double done) {
  return plan_.Advance(from_ + share_ * done, error_);
}

bool Runner::Refused(int32_t index, int32_t code) {
  error_->step = index;
  error_->call = code;
  return error_->Fail(ZEL_REFUSED, std::string(plan_.steps[static_cast<size_t>(index)].settings->operation->name) +
                                       " refused this picture of " + std::to_string(work_.width) + " x " +
                                       std::to_string(work_.height) + " pixels with these settings (code " +
                                       std::to_string(code) + ")");
}

bool Runner::MakeNarrow() {
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

void Runner::Widen() {
  if (!narrowed_) return;
  narrowed_ = false;
  changed_ = true;
  AddDifference(narrow_, work_);
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
