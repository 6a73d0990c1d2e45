// The table as JSON, chains as texts, and reports.
#include <algorithm>
#include <cstring>

#include "chain.h"

namespace zel::chain {

namespace {

// "hue-saturation" as a title: "Hue saturation".
std::string Title(std::string name) {
  std::replace(name.begin(), name.end(), '-', ' ');
  if (name[0] >= 'a' && name[0] <= 'z') name[0] = static_cast<char>(name[0] - 'a' + 'A');
  return name;
}

const char* NameOf(Kind kind) {
  switch (kind) {
    case Kind::Integer:
      return "integer";
    case Kind::Real:
      return "number";
    case Kind::Choice:
      return "choice";
    case Kind::Triple:
      return "integers";
    case Kind::RealTriple:
      return "numbers";
    case Kind::Rect:
      return "rect";
    default:
      return "point";
  }
}

const char* DepthText(Depth depth) {
  switch (depth) {
    case Depth::Full:
      return "8 and 16 bits, full precision";
    case Depth::Curve:
      return "8 and 16 bits; at 16 bits by an 8-bit curve, straight between its values";
    default:
      return "8 bits; at 16 bits the change found on an 8-bit copy is added";
  }
}

const char* ReachText(const Operation& operation) {
  const bool measures = operation.Has(kMeasures);
  switch (operation.reach) {
    case Reach::Curve:
      return measures ? "measures the photograph, then each channel by a curve" : "each channel by a curve";
    case Reach::Lattice:
      return measures ? "measures the photograph, then each colour by a table" : "each colour by a table";
    case Reach::Neighbours:
      return "looks at neighbouring pixels";
    default:
      return "finds the places where it works";
  }
}

const char* Bool(bool value) {
  return value ? "true" : "false";
}

// A value as a recipe has it.
std::string Stored(const Parameter& p, const Value& value) {
  switch (p.kind) {
    case Kind::Integer:
    case Kind::Real:
      return NumberText(value.numbers[0]);
    case Kind::Triple:
    case Kind::RealTriple: {
      const auto& n = value.numbers;
      if (n[0] == n[1] && n[1] == n[2]) return NumberText(n[0]);
      return "[" + NumberText(n[0]) + ", " + NumberText(n[1]) + ", " + NumberText(n[2]) + "]";
    }
    default:
      return Quoted(value.typed);
  }
}

std::string ParameterJson(const Parameter& p, const Value& fallback) {
  std::string text = "{\"name\": " + Quoted(p.name) + ", \"title\": " + Quoted(Title(p.name)) +
                     ", \"type\": " + Quoted(NameOf(p.kind));
  if (p.step > 0) {
    text += ", \"least\": " + NumberText(p.least) + ", \"most\": " + NumberText(p.most) +
            ", \"step\": " + NumberText(p.step);
  }
  text += ", \"default\": " + (*p.fallback ? Stored(p, fallback) : std::string("null")) +
          ", \"required\": " + Bool(p.required) + ", \"unit\": " + Quoted(p.unit);
  if (!p.choices.empty()) {
    text += ", \"choices\": [";
    for (const char* choice : p.choices) text += (choice == p.choices[0] ? "" : ", ") + Quoted(choice);
    text += "]";
  }
  return text + ", \"meaning\": " + Quoted(p.meaning) + ", \"values\": " + Quoted(RangeText(p)) + "}";
}

// What the table says of the operation and a description of one step.
std::string Nature(const Operation& operation, bool measures, int margin) {
  return std::string("\"reach\": ") + Quoted(NameOf(operation.reach)) + ", \"measures\": " + Bool(measures) +
         ", \"margin\": " + std::to_string(margin) + ", \"blueFirst\": " + Bool(operation.Has(kBlueFirst)) +
         ", \"grey\": " + Bool(operation.Has(kGrey)) + ", \"depth\": " + Quoted(NameOf(operation.depth));
}

std::string OperationJson(const Operation& operation) {
  std::string text = "{\"name\": " + Quoted(operation.name) + ", \"title\": " + Quoted(Title(operation.name)) +
                     ", \"group\": " + Quoted(operation.group) + ",\n   \"purpose\": " + Quoted(operation.purpose) +
                     ",\n   \"more\": " + Quoted(operation.more) + ",\n   \"examples\": [";
  for (const char* example : operation.examples) {
    text += (example == operation.examples[0] ? "" : ", ") + Quoted(example);
  }
  text += "],\n   " +
          Nature(operation, operation.Has(kMeasures), operation.reach == Reach::Mask ? -1 : operation.widest) +
          ",\n   \"depthText\": " + Quoted(DepthText(operation.depth)) +
          ",\n   \"reachText\": " + Quoted(ReachText(operation)) + ",\n   \"channelsText\": " +
          Quoted(operation.Has(kGrey) ? "grey and colour"
                                      : "colour; a grey picture stays grey when all channels come out equal") +
          ",\n   \"parameters\": [";
  const Settings defaults = DefaultSettings(operation);
  for (size_t i = 0; i < operation.parameters.size(); ++i) {
    text += (i == 0 ? "\n     " : ",\n     ") + ParameterJson(operation.parameters[i], defaults.values[i]);
  }
  return text + "]}";
}

std::string TableJson() {
  std::string text = "{\"schema\": 1, \"version\": \"" ZEL_VERSION "\", \"operations\": [";
  for (const Operation& operation : Operations()) {
    text += (text.back() == '[' ? "\n  " : ",\n  ") + OperationJson(operation);
  }
  return text + "]}\n";
}

// The settings in braces: those that were given, or all that hold.
std::string SettingsJson(const Settings& step, bool all, const std::string& before) {
  std::string text = before;
  for (size_t i = 0; i < step.values.size(); ++i) {
    const Parameter& p = step.operation->parameters[i];
    const Value& value = step.values[i];
    if (!value.given && !(all && *p.fallback)) continue;
    text += (text.empty() ? "" : ", ") + Quoted(p.name) + ": " + Stored(p, value);
  }
  return "{" + text + "}";
}

// What of a text may stand in a report: one line of valid UTF-8.
std::string Clean(const std::string& text, size_t room, char forBreaks) {
  std::string result;
  for (size_t i = 0; i < text.size();) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const size_t length = byte < 0x80                   ? 1
                          : byte >= 0xC2 && byte < 0xE0 ? 2
                          : byte >> 4 == 0xE            ? 3
                          : byte >= 0xF0 && byte < 0xF5 ? 4
                                                        : 0;
    bool whole = length > 0 && i + length <= text.size();
    for (size_t k = 1; whole && k < length; ++k) whole = (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
    const std::string piece = !whole                        ? "?"
                              : byte < 0x20 || byte == 0x7F ? std::string(1, forBreaks)
                                                            : text.substr(i, length);
    if (result.size() + piece.size() >= room) break;
    result += piece;
    i += whole ? length : 1;
  }
  return result;
}

}  // namespace

const char* NameOf(Depth depth) {
  return depth == Depth::Full ? "full" : depth == Depth::Curve ? "curve" : "difference";
}

const char* NameOf(Reach reach) {
  switch (reach) {
    case Reach::Curve:
      return "curve";
    case Reach::Lattice:
      return "lattice";
    case Reach::Neighbours:
      return "neighbours";
    default:
      return "mask";
  }
}

void Describe(ZelChain* chain) {
  chain->words.clear();
  chain->recipe = "{\n  \"operations\": [";
  chain->description = "[";
  for (const Settings& step : chain->steps) {
    const bool first = &step == &chain->steps.front();
    const Operation& operation = *step.operation;
    chain->words += (first ? "" : " ") + std::string(operation.name);
    for (size_t i = 0; i < step.values.size(); ++i) {
      if (step.values[i].given) {
        chain->words += std::string(" ") + operation.parameters[i].name + "=" + step.values[i].typed;
      }
    }
    const std::string name = "\"name\": " + Quoted(operation.name);
    chain->recipe += (first ? "\n    " : ",\n    ") + SettingsJson(step, false, name);
    chain->description += std::string(first ? "" : ",\n ") + "{" + name +
                          ", \"given\": " + SettingsJson(step, false, "") +
                          ", \"settings\": " + SettingsJson(step, true, "") + ", " +
                          Nature(operation, Measures(step), MarginOf(step)) + "}";
  }
  chain->recipe += chain->steps.empty() ? "]\n}\n" : "\n  ]\n}\n";
  chain->description += "]";
}

int32_t Tell(const Error& error, ZelReport* report) {
  if (report == nullptr) return error.code;
  report->code = error.code;
  report->step = error.step;
  report->position = error.position;
  report->call = error.call;
#ifdef __cpp_exceptions
  try {
#endif
    // Words of hosts may hold zero bytes.
    const bool noWords = error.code == ZEL_CHAIN_NO_MEMORY && error.text.empty();
    const std::string clean = Clean(noWords ? "memory ran out" : error.text, sizeof report->text, ' ');
    std::memcpy(report->text, clean.c_str(), clean.size() + 1);
#ifdef __cpp_exceptions
  } catch (const std::bad_alloc&) {
    std::strcpy(report->text, "memory ran out");
  }
#endif
  return error.code;
}

void AddNote(ZelReport* report, const std::string& note) {
  if (report == nullptr) return;
  const size_t used = std::strlen(report->notes);
  const std::string line = (used == 0 ? "" : "\n") + Clean(note, sizeof report->notes, ' ');
  if (used + line.size() < sizeof report->notes) std::memcpy(report->notes + used, line.c_str(), line.size() + 1);
}

}  // namespace zel::chain

const char* ZEL_CALL ZelChain_Table() {
  const char* text = nullptr;
  zel::chain::Guarded(nullptr, [&text](zel::chain::Error*) {
    static const std::string table = zel::chain::TableJson();
    text = table.c_str();
    return true;
  });
  return text;
}
