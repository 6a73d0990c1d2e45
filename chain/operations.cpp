#include "operations.h"

#include <cmath>
#include <cstring>

namespace zel::chain {

int64_t Coordinate::Pixel(int32_t size) const {
  return static_cast<int64_t>(percent ? std::floor(value * size / 100) : value);
}

const Operation* FindOperation(const std::string& name) {
  for (const Operation& operation : Operations()) {
    if (operation.name == name) return &operation;
  }
  return nullptr;
}

int MarginOf(const Settings& settings) {
  const Operation& operation = *settings.operation;
  return operation.margin ? operation.margin(settings) : operation.reach == Reach::Mask ? -1 : operation.widest;
}

bool Measures(const Settings& settings) {
  // Of those that look at neighbours, a margin says that nothing else is needed.
  return settings.operation->Has(kMeasures) &&
         (settings.operation->reach != Reach::Neighbours || MarginOf(settings) < 0);
}

const Value& Settings::Get(const char* name) const {
  size_t i = 0;
  while (std::strcmp(operation->parameters[i].name, name) != 0) ++i;
  return values[i];
}

const Value* Settings::Given(const char* name) const {
  for (size_t i = 0; i < values.size(); ++i) {
    if (values[i].given && std::strcmp(operation->parameters[i].name, name) == 0) return &values[i];
  }
  return nullptr;
}

std::array<int32_t, 3> Call::Triple(const char* name) const {
  const auto& v = settings.Get(name).numbers;
  return {static_cast<int32_t>(v[0]), static_cast<int32_t>(v[1]), static_cast<int32_t>(v[2])};
}

std::array<float, 3> Call::Reals(const char* name) const {
  const auto& v = settings.Get(name).numbers;
  return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

}  // namespace zel::chain
