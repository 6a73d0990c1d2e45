#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "failure.h"
#include "operations.h"

namespace tool {
namespace {

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts(1);
  for (char c : text) {
    if (c == separator) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

bool ParseNumber(const std::string& text, double* value) {
  if (text.empty() || text.find_first_not_of("0123456789+-.eE") != std::string::npos) return false;
  char* end = nullptr;
  *value = std::strtod(text.c_str(), &end);
  return *end == '\0' && std::isfinite(*value);
}

std::string Short(double value) {
  std::string text = std::to_string(value);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

[[noreturn]] void Wrong(const Operation& operation, const Parameter& parameter, const std::string& text) {
  throw UsageError(std::string(operation.name) + ": " + parameter.name + "=" + text + " must be " +
                   RangeText(parameter));
}

std::vector<Coordinate> ParseCoordinates(const std::string& text, size_t count) {
  std::vector<Coordinate> coordinates;
  for (std::string part : Split(text, ',')) {
    Coordinate c;
    c.percent = !part.empty() && part.back() == '%';
    if (c.percent) part.pop_back();
    if (!ParseNumber(part, &c.value) || std::fabs(c.value) > 1e9) return {};
    if (!c.percent && c.value != std::floor(c.value)) return {};
    coordinates.push_back(c);
  }
  return coordinates.size() == count ? coordinates : std::vector<Coordinate>();
}

int EditDistance(const std::string& a, const std::string& b) {
  std::vector<int> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = static_cast<int>(j);
  for (size_t i = 1; i <= a.size(); ++i) {
    int diagonal = row[0];
    row[0] = static_cast<int>(i);
    for (size_t j = 1; j <= b.size(); ++j) {
      const int keep = diagonal + (a[i - 1] != b[j - 1]);
      diagonal = row[j];
      row[j] = std::min({keep, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

}  // namespace

int Coordinate::Pixel(int size) const {
  return static_cast<int>(percent ? std::floor(value * size / 100) : value);
}

std::array<int32_t, 3> Settings::Triple(const char* name) const {
  const std::vector<double>& v = numbers.at(name);
  return {static_cast<int32_t>(v[0]), static_cast<int32_t>(v[1]), static_cast<int32_t>(v[2])};
}

std::array<float, 3> Settings::Reals(const char* name) const {
  const std::vector<double>& v = numbers.at(name);
  return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

void Settings::Place(int width, int height, int orientation) {
  // Orientations 5 to 8 store the picture on its side; within each half the two bits tell which axes run backwards.
  const bool sideways = orientation >= 5 && orientation <= 8;
  const int shownWidth = sideways ? height : width, shownHeight = sideways ? width : height;
  const bool flipX = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
  const bool flipY = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  const auto edge = [&](int64_t x, int64_t y) {
    if (sideways) std::swap(x, y);
    return std::array<int64_t, 2>{flipX ? width - x : x, flipY ? height - y : y};
  };
  if (!point.empty()) {
    const int x = point[0].Pixel(shownWidth), y = point[1].Pixel(shownHeight);
    if (x < 0 || y < 0 || x >= shownWidth || y >= shownHeight) {
      throw Failure("the point " + given["at"] + " lies outside the picture of " + std::to_string(shownWidth) + " x " +
                    std::to_string(shownHeight) + " pixels");
    }
    const auto corner = edge(x, y), opposite = edge(x + 1, y + 1);
    placedPoint = {static_cast<int32_t>(std::min(corner[0], opposite[0])),
                   static_cast<int32_t>(std::min(corner[1], opposite[1]))};
  }
  if (!rect.empty()) {
    const auto clamp = [](int64_t v, int size) { return static_cast<int32_t>(std::clamp<int64_t>(v, 0, size)); };
    const auto a = edge(rect[0].Pixel(shownWidth), rect[1].Pixel(shownHeight));
    const auto b = edge(rect[2].Pixel(shownWidth), rect[3].Pixel(shownHeight));
    placedRect = {clamp(std::min(a[0], b[0]), width), clamp(std::min(a[1], b[1]), height),
                  clamp(std::max(a[0], b[0]), width), clamp(std::max(a[1], b[1]), height)};
    if (placedRect.left == placedRect.right || placedRect.top == placedRect.bottom) {
      throw Failure("the rectangle " + given["rect"] + " lies outside the picture of " + std::to_string(shownWidth) +
                    " x " + std::to_string(shownHeight) + " pixels");
    }
  }
}

std::string RangeText(const Parameter& parameter) {
  switch (parameter.kind) {
    case Kind::Rect:
      return "left,top,right,bottom in pixels or per cent (10%,10%,50%,90%)";
    case Kind::Point:
      return "x,y in pixels or per cent (50%,30%)";
    case Kind::Choice: {
      std::string text = "one of";
      for (const char* choice : parameter.choices) text += std::string(text == "one of" ? " " : ", ") + choice;
      return text;
    }
    default: {
      const bool triple = parameter.kind == Kind::Triple || parameter.kind == Kind::RealTriple;
      const bool whole = parameter.kind == Kind::Integer || parameter.kind == Kind::Triple;
      std::string text = triple  ? "one number or three (red,green,blue) from "
                         : whole ? "a whole number from "
                                 : "from ";
      text += Short(parameter.least) + " to " + Short(parameter.most);
      if (*parameter.unit) text += std::string(" ") + parameter.unit;
      return text;
    }
  }
}

void SetParameter(const Operation& operation, const std::string& name, const std::string& text, Settings* settings) {
  const auto found = std::find_if(operation.parameters.begin(), operation.parameters.end(),
                                  [&](const Parameter& p) { return p.name == name; });
  if (found == operation.parameters.end()) {
    std::string names;
    for (const Parameter& p : operation.parameters) names += std::string(names.empty() ? "" : ", ") + p.name;
    throw UsageError(std::string(operation.name) + " has no parameter " + name + "; it has " + names);
  }
  const Parameter& p = *found;
  if (p.kind == Kind::Rect || p.kind == Kind::Point) {
    const bool isRect = p.kind == Kind::Rect;
    std::vector<Coordinate> coordinates = ParseCoordinates(text, isRect ? 4 : 2);
    if (coordinates.empty()) Wrong(operation, p, text);
    (isRect ? settings->rect : settings->point) = std::move(coordinates);
  } else if (p.kind == Kind::Choice) {
    const auto choice = std::find(p.choices.begin(), p.choices.end(), text);
    if (choice == p.choices.end()) Wrong(operation, p, text);
    settings->numbers[name] = {static_cast<double>(choice - p.choices.begin())};
  } else {
    const bool triple = p.kind == Kind::Triple || p.kind == Kind::RealTriple;
    const bool whole = p.kind == Kind::Integer || p.kind == Kind::Triple;
    std::vector<double> values;
    for (const std::string& part : Split(text, ',')) {
      double value;
      if (!ParseNumber(part, &value) || value < p.least || value > p.most) Wrong(operation, p, text);
      if (whole && value != std::floor(value)) Wrong(operation, p, text);
      values.push_back(value);
    }
    if (triple && values.size() == 1) values.resize(3, values[0]);
    if (values.size() != (triple ? 3u : 1u)) Wrong(operation, p, text);
    settings->numbers[name] = values;
  }
  settings->given[name] = text;
}

void FillDefaults(const Operation& operation, Settings* settings) {
  for (const Parameter& p : operation.parameters) {
    if (settings->Given(p.name) || !*p.fallback) continue;
    SetParameter(operation, p.name, p.fallback, settings);
    settings->given.erase(p.name);
  }
}

std::string Nearest(const std::string& name, const std::vector<std::string>& names) {
  std::string best;
  int distance = std::max<int>(2, static_cast<int>(name.size()) / 3) + 1;
  for (const std::string& candidate : names) {
    const int d = EditDistance(name, candidate);
    if (d < distance) {
      distance = d;
      best = candidate;
    }
  }
  return best;
}

const Operation* FindOperation(const std::string& name) {
  for (const Operation& operation : Operations()) {
    if (operation.name == name) return &operation;
  }
  return nullptr;
}

}  // namespace tool
