#include "table.h"

#include <zel_chain.h>

#include <nlohmann/json.hpp>

namespace zel_gegl {
namespace {

using Json = nlohmann::json;

Property Share(const Parameter& parameter, const char* part, const char* nick, const Json& from, double fallback,
               const char* axis) {
  Property p;
  p.name = parameter.name + "-" + part;
  p.nick = nick;
  p.blurb = from.at("meaning").get<std::string>();
  p.kind = Kind::Share;
  p.fallback = fallback;
  if (*axis) {  // dialogs then offer to pick it on the canvas
    p.unit = "relative-coordinate";
    p.axis = axis;
  }
  return p;
}

// Numbers and choices: one property, or one for each channel.
void AddValues(const Json& from, const Operation& operation, GTypeModule* module, Parameter* parameter,
               std::vector<Property>* properties) {
  Property p;
  p.name = parameter->name;
  p.nick = from.at("title").get<std::string>();
  p.blurb = from.at("meaning").get<std::string>();
  p.unit = from.at("unit").get<std::string>();
  if (parameter->type == "choice") {
    p.kind = Kind::Choice;
    parameter->words = from.at("choices").get<std::vector<std::string>>();
    const std::string type = "Zel-" + operation.name + "-" + parameter->name;
    // GLib keeps the list and its texts for as long as the process lives.
    GEnumValue* values = g_new0(GEnumValue, parameter->words.size() + 1);
    for (size_t i = 0; i < parameter->words.size(); ++i) {
      const gchar* word = g_intern_string(parameter->words[i].c_str());
      values[i] = {static_cast<gint>(i), word, word};
      if (from.at("default") == parameter->words[i]) p.fallback = static_cast<double>(i);
    }
    p.choices = g_type_module_register_enum(module, type.c_str(), values);
    properties->push_back(p);
    return;
  }
  p.kind = parameter->type.compare(0, 7, "integer") == 0 ? Kind::Integer : Kind::Number;
  p.least = from.at("least");
  p.most = from.at("most");
  const Json& fallback = from.at("default");
  if (fallback.is_null()) {
    parameter->optional = true;
    p.least -= 1;
    p.fallback = p.least;
    p.blurb += "; " + Number(p.least) + ": as it is";
  }
  if (parameter->type == "integer" || parameter->type == "number") {
    if (fallback.is_number()) p.fallback = fallback;
    properties->push_back(p);
    return;
  }
  size_t channel = 0;
  for (const char* name : {"red", "green", "blue"}) {
    Property part = p;
    part.name += std::string("-") + name;
    part.nick += std::string(": ") + name;
    part.fallback = fallback.is_array() ? fallback.at(channel).get<double>() : fallback.get<double>();
    properties->push_back(part);
    ++channel;
  }
}

void AddParameter(const Json& from, GTypeModule* module, Operation* operation) {
  Parameter parameter;
  parameter.name = from.at("name");
  parameter.type = from.at("type");
  std::vector<Property>& properties = operation->properties;
  parameter.first = properties.size();
  if (parameter.type == "rect") {
    properties.push_back(Share(parameter, "left", "Left edge", from, 0, ""));
    properties.push_back(Share(parameter, "top", "Top edge", from, 0, ""));
    properties.push_back(Share(parameter, "right", "Right edge", from, 1, ""));
    properties.push_back(Share(parameter, "bottom", "Bottom edge", from, 1, ""));
  } else if (parameter.type == "point") {
    Property use;
    use.name = "use-" + parameter.name;
    use.nick = "Use a point";
    use.blurb = from.at("meaning").get<std::string>();
    use.kind = Kind::Switch;
    use.fallback = from.value("required", false);
    properties.push_back(use);
    properties.push_back(Share(parameter, "x", "X", from, 0.5, "x"));
    properties.push_back(Share(parameter, "y", "Y", from, 0.5, "y"));
  } else {
    AddValues(from, *operation, module, &parameter, &properties);
  }
  operation->parameters.push_back(parameter);
}

}  // namespace

std::string Number(double value) {
  char text[G_ASCII_DTOSTR_BUF_SIZE];
  // Ten digits: what a person typed as a share of the picture comes back as the hundredths that were meant.
  g_ascii_formatd(text, sizeof text, "%.10g", value);
  return text;
}

std::vector<Operation> ReadTable(GTypeModule* module) {
  std::vector<Operation> operations;
  const char* table = ZelChain_Table();
  if (!table) return operations;
  const Json json = Json::parse(table, nullptr, false);
  if (json.is_discarded()) return operations;
  for (const Json& from : json.at("operations")) {
    Operation operation;
    operation.name = from.at("name");
    operation.title = from.at("title").get<std::string>() + " (Zel)";
    operation.purpose = from.at("purpose").get<std::string>() + " " + from.at("more").get<std::string>();
    operation.group = from.at("group");
    operation.whole = from.at("measures") == true || from.at("margin") == -1;
    for (const Json& parameter : from.at("parameters")) AddParameter(parameter, module, &operation);
    operations.push_back(std::move(operation));
  }
  return operations;
}

}  // namespace zel_gegl
