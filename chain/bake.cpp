// Turning chains into tables.
#include <algorithm>
#include <cmath>

#include "measured.h"
#include "table.h"

namespace zel::chain {

namespace {

bool Refuse(size_t step, const std::string& what, Error* error) {
  error->Fail(ZEL_CHAIN_NO_TABLE, what);
  error->step = static_cast<int32_t>(step);
  return false;
}

bool CheckBakeable(const std::vector<Settings>& steps, bool hasPhoto, Error* error) {
  for (size_t i = 0; i < steps.size(); ++i) {
    const Operation& operation = *steps[i].operation;
    const std::string name = operation.name;
    if (operation.reach == Reach::Neighbours) {
      return Refuse(i, name + " looks at neighbouring pixels and cannot become a table", error);
    }
    if (operation.reach == Reach::Mask) {
      return Refuse(i, name + " works in places of the picture and cannot become a table", error);
    }
    if (steps[i].Given("rect") && !operation.Has(kMeasuresRect)) {
      return Refuse(i, name + ": rect cannot become part of a table", error);
    }
    if (Measures(steps[i]) && !hasPhoto) {
      return Refuse(i, name + " measures a photograph; give one", error);
    }
  }
  return true;
}

// Where the rows or nodes of an axis lie: between whole levels, of which each is computed once.
struct Axis {
  std::vector<uint8_t> levels;
  struct Node {
    size_t below;     // index among the levels
    double fraction;  // of the way to the next
  };
  std::vector<Node> nodes;
};

Axis MakeAxis(int32_t size) {
  Axis axis;
  const auto add = [&axis](int32_t level) {
    if (axis.levels.empty() || axis.levels.back() < level) axis.levels.push_back(static_cast<uint8_t>(level));
  };
  for (int32_t i = 0; i < size; ++i) {
    // Whole 255ths are exact in these integers.
    const int64_t scaled = int64_t{i} * 255;
    const int32_t below = static_cast<int32_t>(scaled / (size - 1));
    const int64_t rest = scaled % (size - 1);
    add(below);
    const size_t index =
        static_cast<size_t>(std::lower_bound(axis.levels.begin(), axis.levels.end(), below) - axis.levels.begin());
    if (rest != 0) add(below + 1);
    axis.nodes.push_back({index, static_cast<double>(rest) / (size - 1)});
  }
  return axis;
}

ZelPixels Pixels(std::vector<uint8_t>* bytes, int32_t width, int32_t height) {
  bytes->resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
  return {bytes->data(), 0, width, height, 3, 8, 1};
}

// What the measured chain makes of every combination of levels with one level of blue.
bool RunSlab(const ZelMeasured& measured, const Axis& axis, size_t blue, std::vector<uint8_t>* slab, Error* error) {
  const size_t n = axis.levels.size();
  const ZelPixels pixels = Pixels(slab, static_cast<int32_t>(n), static_cast<int32_t>(n));
  for (size_t i = 0; i < n * n; ++i) {
    uint8_t* const pixel = slab->data() + 3 * i;
    pixel[0] = axis.levels[blue];
    pixel[1] = axis.levels[i / n];
    pixel[2] = axis.levels[i % n];
  }
  Plan plan;
  return MakePlan(measured.steps, &measured.decisions, pixels, nullptr, &plan, error) &&
         Run(plan, pixels, pixels, nullptr, error);
}

bool BakeLattice(const ZelMeasured& measured, ZelTable* table, Error* error) {
  const Axis axis = MakeAxis(table->size);
  const size_t n = axis.levels.size();
  std::vector<uint8_t> slabs[2];
  size_t held[2] = {SIZE_MAX, SIZE_MAX};  // the blue level of each
  table->rows.reserve(RowCount(*table));
  for (const Axis::Node& b : axis.nodes) {
    const size_t needed = b.fraction > 0 ? 2 : 1;
    for (size_t k = 0; k < needed; ++k) {
      // The upper slab of one node is often the lower of the next.
      if (k == 0 && held[1] == b.below) {
        slabs[0].swap(slabs[1]);
        std::swap(held[0], held[1]);
      }
      if (held[k] == b.below + k) continue;
      if (!RunSlab(measured, axis, b.below + k, &slabs[k], error)) return false;
      held[k] = b.below + k;
    }
    for (const Axis::Node& g : axis.nodes) {
      for (const Axis::Node& r : axis.nodes) {
        Row sum{};
        for (size_t corner = 0; corner < 8; ++corner) {
          const size_t dr = corner & 1, dg = corner >> 1 & 1, db = corner >> 2;
          const double weight = (dr ? r.fraction : 1 - r.fraction) * (dg ? g.fraction : 1 - g.fraction) *
                                (db ? b.fraction : 1 - b.fraction);
          if (weight == 0) continue;
          const uint8_t* const pixel = slabs[db].data() + 3 * ((g.below + dg) * n + r.below + dr);
          for (size_t c = 0; c < 3; ++c) sum[c] += pixel[2 - c] * weight;
        }
        table->rows.push_back({sum[0] / 255.0, sum[1] / 255.0, sum[2] / 255.0});
      }
    }
  }
  return true;
}

bool BakeCurves(const ZelMeasured& measured, ZelTable* table, Error* error) {
  std::vector<uint8_t> ramp;
  const ZelPixels pixels = Pixels(&ramp, 256, 1);
  for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<uint8_t>(i / 3);
  Plan plan;
  if (!MakePlan(measured.steps, &measured.decisions, pixels, nullptr, &plan, error)) return false;
  if (!Run(plan, pixels, pixels, nullptr, error)) return false;
  for (size_t i = 0; i < ramp.size(); i += 3) {
    table->rows.push_back({ramp[i + 2] / 255.0, ramp[i + 1] / 255.0, ramp[i] / 255.0});
  }
  return true;
}

// The photograph, or colours spread over all, at 8 bits.
ZelPixels Judged(const ZelPixels* photo, std::vector<uint8_t>* bytes) {
  if (photo == nullptr) {
    const ZelPixels pixels = Pixels(bytes, 33, 33 * 33);
    for (size_t i = 0; i < bytes->size() / 3; ++i) {
      for (size_t c = 0, rest = i; c < 3; ++c, rest /= 33) {
        (*bytes)[3 * i + 2 - c] = static_cast<uint8_t>((rest % 33 * 255 + 16) / 32);
      }
    }
    return pixels;
  }
  const ZelPixels pixels = Pixels(bytes, photo->width, photo->height);
  Work to;
  to.data = bytes->data();
  to.width = photo->width;
  to.height = photo->height;
  to.rowBytes = to.RowSamples();
  if (photo->bits == 8) {
    Unpack(*photo, 0, to);
    return pixels;
  }
  std::vector<uint16_t> wide(to.RowSamples());
  Work row = to;
  row.data = reinterpret_cast<uint8_t*>(wide.data());
  row.rowBytes *= 2;
  row.bits = 16;
  row.height = 1;
  for (int32_t y = 0; y < photo->height; ++y) {
    Unpack(*photo, y, row);
    Narrow(row, to.Band(y, 1));
  }
  return pixels;
}

bool Compare(const ZelMeasured& measured, const ZelTable& table, const ZelPixels* photo, ZelBakeError* distance,
             Error* error) {
  std::vector<uint8_t> direct;
  const ZelPixels judged = Judged(photo, &direct);
  std::vector<uint8_t> mapped = direct;
  ZelPixels other = judged;
  other.data = mapped.data();
  Plan plan;
  if (!MakePlan(measured.steps, &measured.decisions, judged, nullptr, &plan, error)) return false;
  if (!Run(plan, judged, judged, nullptr, error)) return false;
  ZelReport report;
  if (ZelTable_Apply(&table, &other, &other, nullptr, &report) != ZEL_OK) return error->Fail(report.code, report.text);
  int64_t sum = 0, overOne = 0;
  int most = 0;
  for (size_t i = 0; i < direct.size(); ++i) {
    const int apart = std::abs(direct[i] - mapped[i]);
    most = std::max(most, apart);
    sum += apart;
    overOne += apart > 1;
  }
  const auto count = static_cast<double>(direct.size());
  *distance = {static_cast<double>(most), static_cast<double>(sum) / count, static_cast<double>(overOne) / count};
  return true;
}

bool Bake(const std::vector<Settings>& steps, const ZelPixels* photo, int32_t nodes, const ZelApplyOptions* options,
          ZelBakeError* distance, ZelTable* table, Error* error) {
  if (nodes != 0 && (nodes < 2 || nodes > kMostNodes)) {
    return error->Fail(ZEL_CHAIN_NO_TABLE, "a lattice has 2 to 129 nodes");
  }
  ZelMeasured measured;
  if (!CheckBakeable(steps, photo != nullptr, error)) return false;
  if (photo != nullptr) {
    if (!Measure(steps, *photo, options, &measured, error)) return false;
  } else {
    measured.steps = steps;
    measured.decisions.resize(steps.size());
  }
  table->lattice = nodes != 0;
  for (size_t i = 0; i < steps.size(); ++i) {
    if (Measures(steps[i]) && measured.decisions[i].kind == Decision::Kind::None) {
      return Refuse(i, std::string(steps[i].operation->name) + " does on this picture what no table can", error);
    }
    table->lattice = table->lattice || steps[i].operation->reach == Reach::Lattice;
  }
  // A lattice of the library has its nodes where 16 of the table lie; only colorful for skin bends between them.
  const bool isLattice = steps.size() == 1 && !steps[0].Given("style");
  table->size = !table->lattice ? 256 : nodes != 0 ? nodes : isLattice ? 16 : 52;
  if (!(table->lattice ? BakeLattice(measured, table, error) : BakeCurves(measured, table, error))) return false;
  return distance == nullptr || Compare(measured, *table, photo, distance, error);
}

}  // namespace

}  // namespace zel::chain

using namespace zel::chain;

ZelTable* ZEL_CALL ZelChain_Bake(const ZelChain* chain, const ZelPixels* photo, int32_t nodes,
                                 const ZelApplyOptions* options, ZelBakeError* error, ZelReport* report) {
  return Made<ZelTable>(report, [&](ZelTable* table, Error* failure) {
    if (chain == nullptr) return failure->Fail(ZEL_NULL_ARGUMENT, "the chain is null");
    return Bake(chain->steps, photo, nodes, options, error, table, failure);
  });
}
