#include "measured.h"

#include <algorithm>
#include <cstring>

namespace zel::chain {

namespace {

// An 8-bit copy in the shape that the steps take.
bool CopyOf(const ZelPixels& picture, int32_t channels, Work* work, Buffer* buffer, Error* error) {
  work->width = picture.width;
  work->height = picture.height;
  work->channels = channels;
  work->bits = 8;
  work->blueFirst = true;
  if (!work->Allocate(buffer)) return error->Fail(ZEL_CHAIN_NO_MEMORY, "");
  if (picture.bits == 8) {
    Unpack(picture, 0, *work);
    return true;
  }
  Work row = *work;
  row.bits = 16;
  row.height = 1;
  Buffer rowBuffer;
  if (!row.Allocate(&rowBuffer)) return error->Fail(ZEL_CHAIN_NO_MEMORY, "");
  for (int32_t y = 0; y < picture.height; ++y) {
    Unpack(picture, y, row);
    Narrow(row, work->Band(y, 1));
  }
  return true;
}

// The curves of an operation that hands none out, read off what it makes of the picture. Values that the picture does
// not hold follow the straight line between those it holds. False when the operation is no curve after all.
bool Observe(const Work& before, const Work& after, std::vector<uint8_t>* curves) {
  const auto channels = static_cast<size_t>(before.channels);
  for (size_t c = 0; c < 3; ++c) {
    const size_t sample = channels == 1 ? 0 : 2 - c;
    int32_t seen[256];
    std::fill(seen, seen + 256, -1);
    for (int32_t y = 0; y < before.height; ++y) {
      const uint8_t* const in = before.Row(y);
      const uint8_t* const out = after.Row(y);
      for (size_t i = sample; i < before.RowSamples(); i += channels) {
        if (seen[in[i]] >= 0 && seen[in[i]] != out[i]) return false;
        seen[in[i]] = out[i];
      }
    }
    uint8_t* const curve = curves->data() + 256 * c;
    int32_t last = -1;
    for (int32_t v = 0; v < 256; ++v) {
      if (seen[v] < 0) continue;
      for (int32_t gap = last + 1; gap < v; ++gap) {
        const int32_t value =
            last < 0 ? seen[v] + gap - v : seen[last] + (seen[v] - seen[last]) * (gap - last) / (v - last);
        curve[gap] = static_cast<uint8_t>(std::clamp(value, 0, 255));
      }
      curve[v] = static_cast<uint8_t>(seen[v]);
      last = v;
    }
    for (int32_t v = last + 1; v < 256; ++v) {
      curve[v] = static_cast<uint8_t>(std::clamp(seen[last] + v - last, 0, 255));
    }
  }
  return true;
}

// Asks an operation that hands its decision out. ZEL_OK and no block for those that do not.
int32_t Ask(const Settings& s, const Work& work, Decision* decision) {
  const ImageDesc record = work.Record();
  const std::string name = s.operation->name;
  const auto block = [&](Decision::Kind kind, size_t bytes) {
    decision->kind = kind;
    decision->block.resize(bytes);
    return decision->block.data();
  };
  if (name == "colorful") {
    return ZelTavoraFunc_Colorful_Get3DLut(&record, s.Int("style"), s.Int("strength"), nullptr,
                                           block(Decision::Kind::Lattice, ZEL_LUT3D_BYTES));
  }
  if (name == "tone") {
    return ZelTavoraFunc_ToneEnhancement_Get1DLut(&record, s.Int("gentle"), s.Int("style"), s.Int("strength"), nullptr,
                                                  block(Decision::Kind::Curves, ZEL_LUT1D_BYTES));
  }
  if (name == "smart-contrast") {
    return ZelTavoraFunc_SmartContrast_Get1DLut(&record, 0, s.Int("strength"), nullptr,
                                                block(Decision::Kind::Curves, ZEL_LUT1D_BYTES));
  }
  if (name == "color-cast") {
    return ZelTavoraFunc_ColorCast_Get1DLut(&record, 0, s.Int("strength"),
                                            block(Decision::Kind::Curves, ZEL_LUT1D_BYTES));
  }
  return ZEL_OK;
}

// Decides one automatic step on the copy.
bool Decide(const Step& step, const Work& work, Decision* decision, Error* error) {
  const Settings& s = *step.settings;
  if (s.operation->reach == Reach::Lattice && s.Int("strength") == 0) {
    // Even a lattice without effect may lower a value by one.
    decision->kind = Decision::Kind::Curves;
    for (int32_t i = 0; i < ZEL_LUT1D_BYTES; ++i) decision->block.push_back(static_cast<uint8_t>(i % 256));
    return true;
  }
  const int32_t code = Ask(s, work, decision);
  if (code != ZEL_OK) {
    error->call = code;
    return error->Fail(ZEL_REFUSED,
                       std::string(s.operation->name) + " refused this picture (code " + std::to_string(code) + ")");
  }
  if (decision->kind != Decision::Kind::None || s.operation->reach != Reach::Curve) return true;
  Work after = work;
  Buffer buffer;
  if (!after.Allocate(&buffer)) return error->Fail(ZEL_CHAIN_NO_MEMORY, "");
  for (int32_t y = 0; y < work.height; ++y) std::memcpy(after.Row(y), work.Row(y), work.rowBytes);
  Step whole = step;
  whole.placed.hasRect = step.placed.hasRect && s.operation->Has(kMeasuresRect);
  if (!RunAlone(whole, after, error)) return false;
  decision->block.resize(ZEL_LUT1D_BYTES);
  if (Observe(work, after, &decision->block)) decision->kind = Decision::Kind::Curves;
  return true;
}

}  // namespace

bool Measure(const std::vector<Settings>& steps, const ZelPixels& picture, const ZelApplyOptions* options,
             ZelMeasured* measured, Error* error) {
  Plan plan;
  if (!CheckPixels(&picture, "picture", error)) return false;
  if (!MakePlan(steps, nullptr, picture, options, &plan, error)) return false;
  measured->steps = steps;
  measured->decisions.resize(steps.size());
  measured->flags = ZEL_MEASURED_EXACT | ZEL_MEASURED_TILES;

  // What comes after the last step that decides something need not be run.
  size_t last = 0;
  for (size_t i = 0; i < steps.size(); ++i) {
    const Reach reach = steps[i].operation->reach;
    if (Measures(steps[i]) && (reach == Reach::Curve || reach == Reach::Lattice)) last = i + 1;
  }
  Work work;
  Buffer buffer;
  if (last > 0 && !CopyOf(picture, IsGrey(picture) && plan.grey ? 1 : 3, &work, &buffer, error)) return false;
  for (size_t i = 0; i < last; ++i) {
    error->step = static_cast<int32_t>(i);
    const double share = 1 / static_cast<double>(last), from = share * static_cast<double>(i);
    if (!plan.Advance(from, error)) return false;
    Step step = plan.steps[i];
    Decision& decision = measured->decisions[i];
    if (Measures(steps[i]) && !Decide(step, work, &decision, error)) return false;
    if (i + 1 == last) break;
    if (decision.kind != Decision::Kind::None) step.decision = &decision;
    if (!RunAlone(step, work, error, &plan, from, share)) return false;
  }
  error->step = -1;
  for (size_t i = 0; i < steps.size(); ++i) {
    if (measured->decisions[i].kind != Decision::Kind::None) continue;
    if (Measures(steps[i]) || MarginOf(steps[i]) < 0) {
      measured->flags &= ~ZEL_MEASURED_TILES;
      measured->margin = -1;
    } else if (measured->margin >= 0) {
      measured->margin += MarginOf(steps[i]);
    }
  }
  return plan.Advance(1, error);
}

}  // namespace zel::chain

using namespace zel::chain;

ZelMeasured* ZEL_CALL ZelChain_Measure(const ZelChain* chain, const ZelPixels* picture, const ZelApplyOptions* options,
                                       ZelReport* report) {
  return Made<ZelMeasured>(report, [&](ZelMeasured* measured, Error* error) {
    if (chain == nullptr || picture == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "the chain or picture is null");
    return Measure(chain->steps, *picture, options, measured, error);
  });
}

void ZEL_CALL ZelMeasured_Free(ZelMeasured* measured) {
  delete measured;
}

int32_t ZEL_CALL ZelMeasured_Flags(const ZelMeasured* measured) {
  return measured != nullptr ? measured->flags : 0;
}

int32_t ZEL_CALL ZelMeasured_Margin(const ZelMeasured* measured) {
  return measured != nullptr ? measured->margin : 0;
}

int32_t ZEL_CALL ZelMeasured_Block(const ZelMeasured* measured, int32_t step, uint8_t* block) {
  if (measured == nullptr || block == nullptr || step < 0 || static_cast<size_t>(step) >= measured->decisions.size()) {
    return 0;
  }
  const Decision& decision = measured->decisions[static_cast<size_t>(step)];
  if (decision.kind == Decision::Kind::None) return 0;
  std::memcpy(block, decision.block.data(), decision.block.size());
  return static_cast<int32_t>(decision.block.size());
}

int32_t ZEL_CALL ZelMeasured_Apply(const ZelMeasured* measured, const ZelPixels* source, const ZelPixels* destination,
                                   const ZelApplyOptions* options, ZelReport* report) {
  return Guarded(report, [&](Error* error) {
    Plan plan;
    if (measured == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "the measured chain is null");
    return CheckPair(source, destination, error) &&
           MakePlan(measured->steps, &measured->decisions, *source, options, &plan, error) &&
           Run(plan, *source, *destination, report, error);
  });
}
