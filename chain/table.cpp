#include "table.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "run.h"

namespace zel::chain {

namespace {

// The position of a value among the rows: index below, and the fraction above it.
struct Position {
  int32_t index;
  double fraction;
};

Position Locate(const ZelTable& table, double value, size_t channel) {
  const double low = table.domainMin[channel], high = table.domainMax[channel];
  const double scaled = std::clamp((value - low) / (high - low), 0.0, 1.0) * (table.size - 1);
  const int32_t index = std::min(static_cast<int32_t>(scaled), table.size - 2);
  return {index, scaled - index};
}

Row Between(const ZelTable& table, const Position places[3]) {
  const size_t size = static_cast<size_t>(table.size);
  const size_t steps[3] = {1, size, size * size};
  // The axes from the largest fraction to the smallest, equal ones in their order.
  size_t order[3] = {0, 1, 2};
  const auto swapIfLess = [&](size_t a, size_t b) {
    if (places[order[a]].fraction < places[order[b]].fraction) std::swap(order[a], order[b]);
  };
  swapIfLess(0, 1);
  swapIfLess(1, 2);
  swapIfLess(0, 1);
  size_t node = 0;
  for (size_t c = 0; c < 3; ++c) node += static_cast<size_t>(places[c].index) * steps[c];
  Row result = table.rows[node];
  for (size_t axis : order) {
    const Row& from = table.rows[node];
    node += steps[axis];
    const Row& to = table.rows[node];
    for (size_t c = 0; c < 3; ++c) result[c] += (to[c] - from[c]) * places[axis].fraction;
  }
  return result;
}

double AlongCurve(const ZelTable& table, const Position& place, size_t channel) {
  const double low = table.rows[static_cast<size_t>(place.index)][channel];
  return low + (table.rows[static_cast<size_t>(place.index) + 1][channel] - low) * place.fraction;
}

template <class T>
T Level(double value) {
  constexpr int kTop = sizeof(T) == 1 ? 255 : 65535;
  return static_cast<T>(std::clamp(value, 0.0, 1.0) * kTop + 0.5);
}

// What a table makes of every level, channel by channel in the order of the samples: results of curves, places in a
// lattice.
template <class T>
class Mapper {
 public:
  static constexpr size_t kLevels = sizeof(T) == 1 ? 256 : 65536;

  Mapper(const ZelTable& table, bool blueFirst) : table_(table), blueFirst_(blueFirst) {
    constexpr double kTop = kLevels - 1;
    for (size_t k = 0; k < 3; ++k) {
      const size_t channel = blueFirst ? 2 - k : k;
      if (table.lattice) {
        places_[k].reserve(kLevels);
        for (size_t v = 0; v < kLevels; ++v)
          places_[k].push_back(Locate(table, static_cast<double>(v) / kTop, channel));
      } else {
        curves_[k].reserve(kLevels);
        for (size_t v = 0; v < kLevels; ++v) {
          const Position place = Locate(table, static_cast<double>(v) / kTop, channel);
          curves_[k].push_back(Level<T>(AlongCurve(table, place, channel)));
        }
      }
    }
  }

  void Map(const Work& work) const {
    for (int32_t y = 0; y < work.height; ++y) {
      T* const row = reinterpret_cast<T*>(work.Row(y));
      if (table_.lattice) {
        MapNodes(row, work.RowSamples());
      } else {
        for (size_t k = 0; k < 3; ++k) {
          const T* const curve = curves_[k].data();
          for (size_t i = k; i < work.RowSamples(); i += 3) row[i] = curve[row[i]];
        }
      }
    }
  }

 private:
  void MapNodes(T* row, size_t samples) const {
    // Neighbours often have one colour.
    T last[3] = {}, mapped[3] = {};
    bool known = false;
    for (T* pixel = row; pixel < row + samples; pixel += 3) {
      if (!known || std::memcmp(last, pixel, sizeof last) != 0) {
        std::memcpy(last, pixel, sizeof last);
        known = true;
        const size_t red = blueFirst_ ? 2 : 0, blue = 2 - red;
        const Position places[3] = {places_[red][pixel[red]], places_[1][pixel[1]], places_[blue][pixel[blue]]};
        const Row result = Between(table_, places);
        mapped[red] = Level<T>(result[0]);
        mapped[1] = Level<T>(result[1]);
        mapped[blue] = Level<T>(result[2]);
      }
      std::memcpy(pixel, mapped, sizeof mapped);
    }
  }

  const ZelTable& table_;
  bool blueFirst_;
  std::vector<Position> places_[3];
  std::vector<T> curves_[3];
};

// The table as the library's own lattice, when it is one; empty when not.
std::vector<uint8_t> AsLattice(const ZelTable& table) {
  std::vector<uint8_t> bytes;
  if (!table.lattice || table.size != 16 || table.domainMin != Row{0, 0, 0} || table.domainMax != Row{1, 1, 1} ||
      !IsWhole(table)) {
    return bytes;
  }
  for (const Row& row : table.rows) {
    for (double value : row) bytes.push_back(static_cast<uint8_t>(std::lround(value * 255)));
  }
  return bytes;
}

bool ApplyTable(const ZelTable& table, const ZelPixels& source, const ZelPixels& destination,
                const ZelApplyOptions* options, ZelReport* report, Error* error) {
  Plan plan;
  if (!MakePlan({}, nullptr, source, options, &plan, error)) return false;
  Treatment treatment;
  treatment.parts = plan.progress != nullptr;
  const bool blueFirst = (IsGrey(source) ? destination : source).blueFirst != 0;
  const bool there = IsDirect(destination, 3);
  const bool order = there ? destination.blueFirst != 0 : blueFirst;
  const std::vector<uint8_t> lattice = source.bits == 8 ? AsLattice(table) : std::vector<uint8_t>();
  std::unique_ptr<Mapper<uint8_t>> bytes;
  std::unique_ptr<Mapper<uint16_t>> words;
  if (source.bits == 16) {
    words = std::make_unique<Mapper<uint16_t>>(table, order);
  } else if (lattice.empty()) {
    bytes = std::make_unique<Mapper<uint8_t>>(table, order);
  }
  treatment.run = [&](const Work& work, int32_t, double from, double, const Work*, bool* changed) {
    if (!plan.Advance(from, error)) return false;
    if (words) {
      words->Map(work);
    } else if (bytes) {
      bytes->Map(work);
    } else {
      const ImageDesc record = work.Record();
      error->call = ZelTavoraFunc_Colorful_Apply3DLut(&record, &record, 0, 100, nullptr, lattice.data());
      if (error->call != ZEL_OK) return error->Fail(ZEL_REFUSED, "the table cannot be applied to this picture");
    }
    return *changed = true;
  };
  return Treat(treatment, source, destination, report, error) && plan.Advance(1, error);
}

}  // namespace

size_t RowCount(const ZelTable& table) {
  const size_t n = static_cast<size_t>(table.size);
  return table.lattice ? n * n * n : n;
}

Row Look(const ZelTable& table, const Row& colour) {
  Position places[3];
  for (size_t c = 0; c < 3; ++c) places[c] = Locate(table, colour[c], c);
  if (table.lattice) return Between(table, places);
  return {AlongCurve(table, places[0], 0), AlongCurve(table, places[1], 1), AlongCurve(table, places[2], 2)};
}

bool CheckTable(const ZelTable& table, Error* error) {
  const auto sensible = [](double v) { return std::fabs(v) <= 1e9; };
  if (table.size < 2 || table.size > (table.lattice ? kMostNodes : kMostRows)) {
    return error->Fail(ZEL_CHAIN_WRONG_TEXT, "tables of size " + std::to_string(table.size) + " cannot be used");
  }
  for (size_t c = 0; c < 3; ++c) {
    if (!sensible(table.domainMin[c]) || !sensible(table.domainMax[c]) ||
        !(table.domainMax[c] - table.domainMin[c] > 1e-9)) {
      return error->Fail(ZEL_CHAIN_WRONG_TEXT, "the domain's minimum must lie below its maximum");
    }
  }
  for (const Row& row : table.rows) {
    if (!sensible(row[0]) || !sensible(row[1]) || !sensible(row[2])) {
      return error->Fail(ZEL_CHAIN_WRONG_TEXT, "holds numbers far from any colour");
    }
  }
  return true;
}

bool IsWhole(const ZelTable& table) {
  for (const Row& row : table.rows) {
    for (double value : row) {
      const double level = std::round(value * 255);
      if (level < 0 || level > 255 || std::fabs(value * 255 - level) > 1e-5) return false;
    }
  }
  return true;
}

void Resample(const ZelTable& table, int32_t nodes, ZelTable* result) {
  result->lattice = true;
  result->size = nodes;
  const double top = nodes - 1;
  result->rows.reserve(RowCount(*result));
  for (int32_t b = 0; b < nodes; ++b) {
    for (int32_t g = 0; g < nodes; ++g) {
      for (int32_t r = 0; r < nodes; ++r) result->rows.push_back(Look(table, {r / top, g / top, b / top}));
    }
  }
}

}  // namespace zel::chain

using namespace zel::chain;

ZelTable* ZEL_CALL ZelTable_FromRows(const double* rows, int32_t size, int32_t lattice, const double* domainMin,
                                     const double* domainMax, ZelReport* report) {
  return Made<ZelTable>(report, [&](ZelTable* table, Error* error) {
    if (rows == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "the rows are null");
    table->lattice = lattice != 0;
    table->size = size;
    for (size_t c = 0; c < 3; ++c) {
      if (domainMin != nullptr) table->domainMin[c] = domainMin[c];
      if (domainMax != nullptr) table->domainMax[c] = domainMax[c];
    }
    if (!CheckTable(*table, error)) return false;
    table->rows.resize(RowCount(*table));
    for (size_t i = 0; i < table->rows.size(); ++i) table->rows[i] = {rows[3 * i], rows[3 * i + 1], rows[3 * i + 2]};
    return CheckTable(*table, error);
  });
}

ZelTable* ZEL_CALL ZelTable_Resample(const ZelTable* table, int32_t nodes, ZelReport* report) {
  return Made<ZelTable>(report, [&](ZelTable* result, Error* error) {
    if (table == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "the table is null");
    if (nodes < 2 || nodes > kMostNodes) return error->Fail(ZEL_CHAIN_NO_TABLE, "a lattice has 2 to 129 nodes");
    Resample(*table, nodes, result);
    return true;
  });
}

void ZEL_CALL ZelTable_Free(ZelTable* table) {
  delete table;
}

int32_t ZEL_CALL ZelTable_Size(const ZelTable* table) {
  return table != nullptr ? table->size : 0;
}

int32_t ZEL_CALL ZelTable_IsLattice(const ZelTable* table) {
  return table != nullptr && table->lattice;
}

const double* ZEL_CALL ZelTable_Rows(const ZelTable* table) {
  static_assert(sizeof(Row) == 3 * sizeof(double));
  return table != nullptr ? table->rows[0].data() : nullptr;
}

int32_t ZEL_CALL ZelTable_Apply(const ZelTable* table, const ZelPixels* source, const ZelPixels* destination,
                                const ZelApplyOptions* options, ZelReport* report) {
  return Guarded(report, [&](Error* error) {
    if (table == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "the table is null");
    return CheckPair(source, destination, error) && ApplyTable(*table, *source, *destination, options, report, error);
  });
}
