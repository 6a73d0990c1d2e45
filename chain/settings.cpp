#include "settings.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace zel::chain {

namespace {

bool IsTriple(Kind kind) {
  return kind == Kind::Triple || kind == Kind::RealTriple;
}

bool IsWhole(Kind kind) {
  return kind == Kind::Integer || kind == Kind::Triple;
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

bool ParseNumbers(const Parameter& p, const std::string& typed, Value* value) {
  std::vector<double> numbers;
  for (const std::string& part : Split(typed, ',')) {
    double number;
    if (!ParseNumber(part, &number) || number < p.least || number > p.most) return false;
    if (IsWhole(p.kind) && number != std::floor(number)) return false;
    numbers.push_back(number);
  }
  if (IsTriple(p.kind) && numbers.size() == 1) numbers.resize(3, numbers[0]);
  if (numbers.size() != (IsTriple(p.kind) ? 3u : 1u)) return false;
  std::copy(numbers.begin(), numbers.end(), value->numbers.begin());
  return true;
}

bool ParseValue(const Parameter& p, std::string typed, Value* value) {
  if (p.kind == Kind::Rect || p.kind == Kind::Point) {
    value->place = ParseCoordinates(typed, p.kind == Kind::Rect ? 4 : 2);
    if (value->place.empty()) return false;
  } else if (p.kind == Kind::Choice) {
    const auto choice = std::find(p.choices.begin(), p.choices.end(), typed);
    if (choice == p.choices.end()) return false;
    value->numbers[0] = static_cast<double>(choice - p.choices.begin());
  } else {
    if (std::string(p.unit) == "per cent" && !typed.empty() && typed.back() == '%') typed.pop_back();
    if (!ParseNumbers(p, typed, value)) return false;
  }
  value->typed = std::move(typed);
  return true;
}

}  // namespace

Settings DefaultSettings(const Operation& operation) {
  Settings settings;
  settings.operation = &operation;
  for (const Parameter& p : operation.parameters) {
    settings.values.emplace_back();
    if (*p.fallback) ParseValue(p, p.fallback, &settings.values.back());
  }
  return settings;
}

bool SetParameter(const std::string& name, const std::string& typed, Settings* settings, Error* error) {
  const Operation& operation = *settings->operation;
  const std::vector<Parameter>& all = operation.parameters;
  const auto found = std::find_if(all.begin(), all.end(), [&](const Parameter& p) { return p.name == name; });
  if (found == all.end()) {
    std::string names;
    for (const Parameter& p : all) names += std::string(names.empty() ? "" : ", ") + p.name;
    return error->Fail(ZEL_CHAIN_WRONG_TEXT,
                       std::string(operation.name) + " has no parameter " + name + "; it has " + names);
  }
  Value& value = settings->values[static_cast<size_t>(found - all.begin())];
  if (value.given) {
    return error->Fail(ZEL_CHAIN_WRONG_TEXT, std::string(operation.name) + ": " + name + " is given twice");
  }
  if (!ParseValue(*found, typed, &value)) {
    return error->Fail(ZEL_CHAIN_WRONG_TEXT,
                       std::string(operation.name) + ": " + name + "=" + typed + " must be " + RangeText(*found));
  }
  value.given = true;
  return true;
}

bool CheckComplete(const Settings& settings, Error* error) {
  const Operation& operation = *settings.operation;
  for (size_t i = 0; i < settings.values.size(); ++i) {
    const Parameter& p = operation.parameters[i];
    if (p.required && !settings.values[i].given) {
      return error->Fail(ZEL_CHAIN_WRONG_TEXT,
                         std::string(operation.name) + " needs " + p.name + "=, " + p.meaning + ": " + RangeText(p));
    }
  }
  return true;
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
      std::string text = IsTriple(parameter.kind)  ? "one number or three (red,green,blue) from "
                         : IsWhole(parameter.kind) ? "a whole number from "
                                                   : "from ";
      text += NumberText(parameter.least) + " to " + NumberText(parameter.most);
      if (*parameter.unit) text += std::string(" ") + parameter.unit;
      return text;
    }
  }
}

int32_t Nearest(const std::string& name, const std::vector<std::string>& names) {
  // Words longer than any name are no misspelling, and comparing them would take long.
  if (name.size() > 64) return -1;
  int32_t best = -1;
  size_t distance = std::max<size_t>(2, name.size() / 3) + 1;
  for (size_t n = 0; n < names.size(); ++n) {
    const std::string& other = names[n];
    std::vector<size_t> row(other.size() + 1);  // of the edit distance
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= name.size(); ++i) {
      size_t diagonal = row[0];
      row[0] = i;
      for (size_t j = 1; j <= other.size(); ++j) {
        const size_t keep = diagonal + (name[i - 1] != other[j - 1]);
        diagonal = row[j];
        row[j] = std::min({keep, row[j] + 1, row[j - 1] + 1});
      }
    }
    if (row.back() >= distance) continue;
    distance = row.back();
    best = static_cast<int32_t>(n);
  }
  return best;
}

bool Place(const Settings& settings, const Shown& shown, Placed* placed, Error* error) {
  const int64_t width = shown.width, height = shown.height;
  // Orientations 5 to 8 store the picture on its side; within each half the two bits tell which axes run backwards.
  const int orientation = shown.orientation;
  const bool sideways = orientation >= 5 && orientation <= 8;
  const int32_t upWidth = sideways ? shown.height : shown.width, upHeight = sideways ? shown.width : shown.height;
  const bool flipX = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
  const bool flipY = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  const auto edge = [&](int64_t x, int64_t y) {
    if (sideways) std::swap(x, y);
    return std::array<int64_t, 2>{flipX ? width - x : x, flipY ? height - y : y};
  };
  const auto outside = [&](const char* what, const std::string& typed) {
    return error->Fail(ZEL_CHAIN_OUTSIDE, std::string(settings.operation->name) + ": the " + what + " " + typed +
                                              " lies outside the picture of " + std::to_string(upWidth) + " x " +
                                              std::to_string(upHeight) + " pixels");
  };
  *placed = {};
  if (const Value* at = settings.Given("at")) {
    const int64_t x = at->place[0].Pixel(upWidth), y = at->place[1].Pixel(upHeight);
    if (x < 0 || y < 0 || x >= upWidth || y >= upHeight) return outside("point", at->typed);
    const auto corner = edge(x, y), opposite = edge(x + 1, y + 1);
    placed->hasPoint = true;
    placed->point = {static_cast<int32_t>(std::min(corner[0], opposite[0])),
                     static_cast<int32_t>(std::min(corner[1], opposite[1]))};
  }
  if (const Value* given = settings.Given("rect")) {
    const auto clamp = [](int64_t v, int64_t size) { return static_cast<int32_t>(std::clamp<int64_t>(v, 0, size)); };
    const auto& p = given->place;
    const auto a = edge(p[0].Pixel(upWidth), p[1].Pixel(upHeight));
    const auto b = edge(p[2].Pixel(upWidth), p[3].Pixel(upHeight));
    ZelRect& rect = placed->rect;
    rect = {clamp(std::min(a[0], b[0]), width), clamp(std::min(a[1], b[1]), height), clamp(std::max(a[0], b[0]), width),
            clamp(std::max(a[1], b[1]), height)};
    if (rect.left == rect.right || rect.top == rect.bottom) return outside("rectangle", given->typed);
    placed->hasRect = true;
  }
  return true;
}

}  // namespace zel::chain
