#include "table.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "failure.h"

namespace tool {
namespace {

using Row = std::array<double, 3>;

// The position of a value among `size` rows: index below, and the fraction above it.
struct Place {
  int index;
  double fraction;
};

Place Locate(const Table& table, double value, size_t channel) {
  const double low = table.domainMin[channel], high = table.domainMax[channel];
  const double scaled = std::clamp((value - low) / (high - low), 0.0, 1.0) * (table.size - 1);
  const int index = std::min(static_cast<int>(scaled), table.size - 2);
  return {index, scaled - index};
}

Row LookCube(const Table& table, const Row& colour) {
  Place places[3];
  for (size_t c = 0; c < 3; ++c) places[c] = Locate(table, colour[c], c);
  const size_t steps[3] = {1, static_cast<size_t>(table.size), static_cast<size_t>(table.size) * table.size};
  size_t order[3] = {0, 1, 2};
  std::stable_sort(order, order + 3, [&](size_t a, size_t b) { return places[a].fraction > places[b].fraction; });
  size_t node = 0;
  for (size_t c = 0; c < 3; ++c) node += static_cast<size_t>(places[c].index) * steps[c];
  Row result = table.rows[node];
  for (size_t axis : order) {
    const Row& from = table.rows[node];
    node += steps[axis];
    for (size_t c = 0; c < 3; ++c) result[c] += (table.rows[node][c] - from[c]) * places[axis].fraction;
  }
  return result;
}

template <typename T>
void Map(const Table& table, T* samples, size_t pixels, int top) {
  // Cubes cost three hundred operations a pixel; neighbours often have one colour.
  T last[3] = {};
  T mapped[3] = {};
  bool known = false;
  for (size_t i = 0; i < pixels; ++i, samples += 3) {
    if (!known || std::memcmp(last, samples, sizeof last) != 0) {
      std::memcpy(last, samples, sizeof last);
      known = true;
      const Row out = Look(table, {double(samples[2]) / top, double(samples[1]) / top, double(samples[0]) / top});
      for (size_t c = 0; c < 3; ++c) {
        mapped[2 - c] = static_cast<T>(std::clamp(out[c], 0.0, 1.0) * top + 0.5);
      }
    }
    std::memcpy(samples, mapped, sizeof mapped);
  }
}

// The table as the library's own lattice, when it is one.
bool AsLattice(const Table& table, std::vector<uint8_t>* lattice) {
  if (!table.cube || table.size != 16 || table.domainMin != Row{0, 0, 0} || table.domainMax != Row{1, 1, 1})
    return false;
  lattice->clear();
  for (const Row& row : table.rows) {
    for (double value : row) {
      const double level = std::round(value * 255);
      if (level < 0 || level > 255 || std::fabs(value * 255 - level) > 1e-5) return false;
      lattice->push_back(static_cast<uint8_t>(level));
    }
  }
  return true;
}

}  // namespace

Row Look(const Table& table, const Row& colour) {
  if (table.cube) return LookCube(table, colour);
  Row result;
  for (size_t c = 0; c < 3; ++c) {
    const Place place = Locate(table, colour[c], c);
    const double low = table.rows[static_cast<size_t>(place.index)][c];
    result[c] = low + (table.rows[static_cast<size_t>(place.index) + 1][c] - low) * place.fraction;
  }
  return result;
}

void ApplyTable(const Table& table, Photo* photo) {
  const bool grey = photo->channels == 1;
  if (grey) GreyToColour(photo);
  std::vector<uint8_t> lattice;
  if (photo->bits == 8 && AsLattice(table, &lattice)) {
    const ImageDesc record = photo->Record();
    if (ZelTavoraFunc_Colorful_Apply3DLut(&record, &record, 0, 100, nullptr, lattice.data()) != ZEL_OK) {
      throw Failure("the table cannot be applied to this picture");
    }
  } else if (photo->bits == 8) {
    Map(table, photo->samples.data(), photo->Pixels(), 255);
  } else {
    Map(table, reinterpret_cast<uint16_t*>(photo->samples.data()), photo->Pixels(), 65535);
  }
  if (grey) ColourToGrey(photo);
}

Table Resampled(const Table& table, int size) {
  Table result;
  result.cube = true;
  result.size = size;
  const double top = size - 1;
  for (int b = 0; b < size; ++b) {
    for (int g = 0; g < size; ++g) {
      for (int r = 0; r < size; ++r) result.rows.push_back(Look(table, {r / top, g / top, b / top}));
    }
  }
  return result;
}

}  // namespace tool
