#include "bake.h"

#include <algorithm>
#include <cstring>

#include "failure.h"

namespace tool {
namespace {

// Three tables of 256 bytes: red, green, blue.
using Curves = std::array<uint8_t, ZEL_LUT1D_BYTES>;

void Check(const Chain& chain, bool hasPhoto) {
  for (const Step& step : chain) {
    const Operation& operation = *step.operation;
    const std::string name = operation.name;
    if (operation.reach == Reach::Neighbours) {
      throw UsageError(name + " looks at neighbouring pixels and cannot become a table");
    }
    if (operation.reach == Reach::Mask)
      throw UsageError(name + " works in places of the picture and cannot become a table");
    if (!step.settings.rect.empty() && name != "cast-manual") {
      throw UsageError(name + ": rect cannot become part of a table");
    }
    if (operation.automatic && !hasPhoto) {
      throw UsageError(name + " measures a photograph; give one: zel bake IN -o OUT " + name);
    }
  }
}

void RefuseUnlessOk(int32_t result, const Operation& operation) {
  if (result != ZEL_OK) {
    throw Failure(std::string(operation.name) + " refused this picture (code " + std::to_string(result) + ")");
  }
}

// The curves of an operation that hands none back, read off its effect. Values the photograph does not hold follow the
// straight line between those it holds.
Curves Observe(const Photo& before, const Photo& after) {
  Curves curves;
  for (size_t c = 0; c < 3; ++c) {
    int seen[256];
    std::fill(seen, seen + 256, -1);
    for (size_t i = 2 - c; i < before.samples.size(); i += 3) seen[before.samples[i]] = after.samples[i];
    int last = -1;
    for (int v = 0; v < 256; ++v) {
      if (seen[v] < 0) continue;
      for (int gap = last + 1; gap < v; ++gap) {
        const int value =
            last < 0 ? seen[v] + gap - v : seen[last] + (seen[v] - seen[last]) * (gap - last) / (v - last);
        curves[256 * c + static_cast<size_t>(gap)] = static_cast<uint8_t>(std::clamp(value, 0, 255));
      }
      curves[256 * c + static_cast<size_t>(v)] = static_cast<uint8_t>(seen[v]);
      last = v;
    }
    for (int v = last + 1; v < 256; ++v) {
      curves[256 * c + static_cast<size_t>(v)] = static_cast<uint8_t>(std::clamp(seen[last] + v - last, 0, 255));
    }
  }
  return curves;
}

void ApplyCurves(const Curves& curves, Photo* picture) {
  for (size_t i = 0; i < picture->samples.size(); ++i) {
    picture->samples[i] = curves[256 * (2 - i % 3) + picture->samples[i]];
  }
}

// Measures the photograph, brings the table's colours where the photograph's go, and the photograph along.
void RunAutomatic(Step* step, Photo* photo, Photo* colours) {
  const Operation& operation = *step->operation;
  const Settings& s = step->settings;
  const std::string name = operation.name;
  step->settings.Place(photo->width, photo->height, photo->orientation);
  const ImageDesc record = photo->Record();
  if (name == "colorful") {
    std::vector<uint8_t> lattice(ZEL_LUT3D_BYTES);
    RefuseUnlessOk(ZelTavoraFunc_Colorful_Get3DLut(&record, s.Int("style"), s.Int("strength"), nullptr, lattice.data()),
                   operation);
    for (Photo* picture : {photo, colours}) {
      const ImageDesc target = picture->Record();
      RefuseUnlessOk(ZelTavoraFunc_Colorful_Apply3DLut(&target, &target, s.Int("style"), s.Int("strength"), nullptr,
                                                       lattice.data()),
                     operation);
    }
    return;
  }
  Curves curves;
  if (name == "tone") {
    RefuseUnlessOk(ZelTavoraFunc_ToneEnhancement_Get1DLut(&record, s.Int("gentle"), s.Int("style"), s.Int("strength"),
                                                          nullptr, curves.data()),
                   operation);
  } else if (name == "smart-contrast") {
    RefuseUnlessOk(ZelTavoraFunc_SmartContrast_Get1DLut(&record, 0, s.Int("strength"), nullptr, curves.data()),
                   operation);
  } else if (name == "color-cast") {
    RefuseUnlessOk(ZelTavoraFunc_ColorCast_Get1DLut(&record, 0, s.Int("strength"), curves.data()), operation);
  } else {
    const Photo before = *photo;
    RefuseUnlessOk(operation.run(&record, s), operation);
    curves = Observe(before, *photo);
    ApplyCurves(curves, colours);
    return;
  }
  ApplyCurves(curves, photo);
  ApplyCurves(curves, colours);
}

// Every colour of the table once, blue first.
Photo TableColours(bool cube, int size) {
  Photo colours;
  colours.width = size;
  colours.height = cube ? size * size : 1;
  for (int i = 0; i < colours.width * colours.height; ++i) {
    const int r = i % size, g = cube ? i / size % size : r, b = cube ? i / (size * size) : r;
    for (int index : {b, g, r}) colours.samples.push_back(static_cast<uint8_t>(index * 255 / (size - 1)));
  }
  return colours;
}

}  // namespace

Table Bake(const Chain& chain, const Photo* photo, int nodes) {
  Check(chain, photo != nullptr);
  Table table;
  for (const Step& step : chain) table.cube |= step.operation->reach == Reach::Lattice;
  table.cube |= nodes != 0;
  // A lattice of the library has its nodes where 16 of the table lie; only colorful for skin bends between them.
  const bool isLattice = chain.size() == 1 && !chain[0].settings.Given("style");
  table.size = !table.cube ? 256 : nodes != 0 ? nodes : isLattice ? 16 : 52;
  Photo colours = TableColours(table.cube, table.size);
  Photo measured;
  if (photo) measured = *photo;
  for (Step step : chain) {
    if (step.operation->automatic) {
      RunAutomatic(&step, &measured, &colours);
      continue;
    }
    std::vector<std::string> notes;
    RunStep(&step, &colours, &notes);
    if (photo) RunStep(&step, &measured, &notes);
  }
  for (size_t i = 0; i < colours.samples.size(); i += 3) {
    table.rows.push_back({colours.samples[i + 2] / 255.0, colours.samples[i + 1] / 255.0, colours.samples[i] / 255.0});
  }
  return table;
}

}  // namespace tool
