#include "recipe.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

#include "failure.h"

namespace tool {
namespace {

using Json = nlohmann::ordered_json;

// A setting as it would be typed.
std::string Typed(const Json& value, const std::string& where) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number()) return value.dump();
  if (value.is_array() && !value.empty()) {
    std::string text;
    for (const Json& part : value) text += (text.empty() ? "" : ",") + Typed(part, where);
    return text;
  }
  throw UsageError(where + " must be a number, a text or a list of numbers");
}

// Numbers go as numbers, so that other programs can read and change them.
Json Stored(const std::string& typed) {
  const Json number = Json::parse(typed, nullptr, false);
  return number.is_number() ? number : Json(typed);
}

}  // namespace

Chain ParseRecipe(const std::string& text) {
  Json recipe;
  try {
    recipe = Json::parse(text);
  } catch (const Json::exception& error) {  // no JSON, or a number beyond all ranges
    const std::string words = error.what();
    throw UsageError("is no JSON: " + words.substr(words.find("] ") + 2));
  }
  if (!recipe.is_object()) throw UsageError("must hold {\"operations\": [...]}");
  for (const auto& [key, value] : recipe.items()) {
    if (key != "operations") throw UsageError("has an unknown key " + key + "; the only one is operations");
  }
  if (!recipe.contains("operations") || !recipe["operations"].is_array()) {
    throw UsageError("must hold {\"operations\": [...]}");
  }
  Chain chain;
  for (const Json& entry : recipe["operations"]) {
    if (!entry.is_object() || !entry.contains("name") || !entry["name"].is_string()) {
      throw UsageError("operation " + std::to_string(chain.size() + 1) + " must be an object with a name");
    }
    const std::string name = entry["name"];
    const Operation* operation = FindOperation(name);
    if (!operation) throw UsageError("holds an unknown operation " + name + "; zel ops lists them");
    Step step{operation, {}};
    for (const auto& [key, value] : entry.items()) {
      if (key != "name") SetParameter(*operation, key, Typed(value, name + ": " + key), &step.settings);
    }
    FillDefaults(*operation, &step.settings);
    chain.push_back(step);
  }
  return chain;
}

std::string RecipeText(const Chain& chain) {
  Json operations = Json::array();
  for (const Step& step : chain) {
    Json entry = {{"name", step.operation->name}};
    for (const auto& [name, value] : step.settings.given) entry[name] = Stored(value);
    operations.push_back(entry);
  }
  return Json({{"operations", operations}}).dump(2) + "\n";
}

Chain ReadRecipe(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw UsageError("the recipe " + path + " cannot be read: " + std::strerror(errno));
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  try {
    return ParseRecipe(text);
  } catch (const UsageError& error) {
    throw UsageError("the recipe " + path + ": " + error.what());
  }
}

void SaveRecipe(const Chain& chain, const std::string& path, bool overwrite) {
  const std::string text = RecipeText(chain);
  try {
    WriteFile(path, text.data(), text.size(), overwrite);
  } catch (const Failure& failure) {
    throw Failure("the recipe " + path + " " + failure.what());
  }
}

}  // namespace tool
