#include "operations.h"

#include <nlohmann/json.hpp>

#include "zel_chain.h"

namespace tool {
namespace {

using nlohmann::json;

Parameter ToParameter(const json& from) {
  Parameter parameter{from["name"], from["type"], from["meaning"],          from["values"],
                      "",           {},           from.value("least", 0.0), from.value("most", 0.0)};
  const json& fallback = from["default"];
  if (!fallback.is_null()) parameter.fallback = fallback.is_string() ? fallback.get<std::string>() : fallback.dump();
  if (from.contains("choices")) from["choices"].get_to(parameter.choices);
  return parameter;
}

Operation ToOperation(const json& from) {
  Operation operation{from["name"],      from["group"],        from["purpose"],  from["more"],     from["depthText"],
                      from["reachText"], from["channelsText"], from["examples"], from["measures"], {}};
  for (const json& parameter : from["parameters"]) operation.parameters.push_back(ToParameter(parameter));
  return operation;
}

}  // namespace

const std::vector<Operation>& Operations() {
  static const std::vector<Operation> operations = [] {
    std::vector<Operation> all;
    const json table = json::parse(ZelChain_Table());
    for (const json& operation : table["operations"]) all.push_back(ToOperation(operation));
    return all;
  }();
  return operations;
}

const Operation* FindOperation(const std::string& name) {
  const int32_t index = ZelChain_Find(name.c_str());
  return index < 0 ? nullptr : &Operations()[static_cast<size_t>(index)];
}

const std::vector<Operation>& TypedOperations() {
  static const std::vector<Operation> typed = [] {
    std::vector<Operation> all = Operations();
    all.insert(
        all.begin(),
        {"auto",
         "first",
         "Looks at the photograph and chooses light, tone, colour and a little sharpness.",
         "A good photograph stays as it is or nearly so; --verbose and --json tell what was chosen and why. Stands "
         "first; other operations may follow.",
         "as the operations that are chosen",
         "the whole picture is measured",
         "grey and colour, alpha is carried",
         {"strength=30", "strength=50", "strength=100"},
         true,
         {{"strength", "integer", "how far", "a whole number from 0 to 100 per cent", "50", {}, 0, 100}}});
    return all;
  }();
  return typed;
}

std::string Nearest(const std::string& name, const std::vector<std::string>& names) {
  std::vector<const char*> texts;
  for (const std::string& text : names) texts.push_back(text.c_str());
  const int32_t index = ZelChain_Nearest(name.c_str(), texts.data(), texts.size());
  return index < 0 ? "" : names[static_cast<size_t>(index)];
}

}  // namespace tool
