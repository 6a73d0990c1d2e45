// Chains from words and recipes, and back.
#include <algorithm>

#include "chain.h"

namespace zel::chain {

namespace {

constexpr size_t kMostText = 1u << 24, kMostSteps = 1000;

bool IsSetting(const std::string& word) {
  const size_t equals = word.find('=');
  return equals != std::string::npos && equals > 0;
}

bool Unknown(const std::string& word, Error* error) {
  std::vector<std::string> names;
  std::string owner;
  for (const Operation& operation : Operations()) {
    names.push_back(operation.name);
    for (const Parameter& p : operation.parameters) {
      if (owner.empty() && p.name == word) owner = operation.name;
    }
  }
  if (!owner.empty()) {
    return error->Fail(ZEL_CHAIN_WRONG_TEXT, word + " is no operation but a setting: " + owner + " " + word + "=...");
  }
  const int32_t nearest = Nearest(word, names);
  return error->Fail(
      ZEL_CHAIN_WRONG_TEXT,
      word + " is no operation" +
          (nearest < 0 ? "; zel ops lists them" : "; did you mean " + names[static_cast<size_t>(nearest)] + "?"));
}

bool AddWord(const std::string& word, ZelChain* chain, Error* error) {
  if (const Operation* operation = FindOperation(word)) {
    if (!chain->steps.empty() && !CheckComplete(chain->steps.back(), error)) return false;
    if (chain->steps.size() == kMostSteps) return error->Fail(ZEL_CHAIN_WRONG_TEXT, "too many operations");
    chain->steps.push_back(DefaultSettings(*operation));
    return true;
  }
  if (!IsSetting(word)) return Unknown(word, error);
  if (chain->steps.empty()) {
    return error->Fail(ZEL_CHAIN_WRONG_TEXT, "the setting " + word + " stands before the first operation");
  }
  const size_t equals = word.find('=');
  return SetParameter(word.substr(0, equals), word.substr(equals + 1), &chain->steps.back(), error);
}

// Adds step and position to an error of one word; completes the chain after the last.
bool Finish(bool added, int32_t position, ZelChain* chain, Error* error) {
  added = added && (chain->steps.empty() || CheckComplete(chain->steps.back(), error));
  if (added) {
    Describe(chain);
    return true;
  }
  error->position = position;
  error->step = static_cast<int32_t>(chain->steps.size()) - 1;
  return false;
}

// A setting as it would be typed.
bool Typed(const Json& value, const std::string& where, std::string* typed, Error* error) {
  if (value.type == Json::Type::Text || value.type == Json::Type::Number) {
    *typed = value.text;
    return true;
  }
  bool fits = value.type == Json::Type::List && !value.items.empty() && value.items.size() <= 4;
  for (size_t i = 0; fits && i < value.items.size(); ++i) {
    const Json& item = value.items[i];
    fits = item.type == Json::Type::Text || item.type == Json::Type::Number;
    *typed += (i == 0 ? "" : ",") + item.text;
  }
  return fits || error->Fail(ZEL_CHAIN_WRONG_TEXT, where + " must be a number, a text or a list of numbers");
}

bool AddEntry(const Json& entry, ZelChain* chain, Error* error, size_t* position) {
  *position = entry.position;
  const Json* name = entry.Find("name");
  if (name == nullptr || name->type != Json::Type::Text) {
    return error->Fail(ZEL_CHAIN_WRONG_TEXT,
                       "operation " + std::to_string(chain->steps.size() + 1) + " must be an object with a name");
  }
  const Operation* operation = FindOperation(name->text);
  if (operation == nullptr) {
    *position = name->position;
    return error->Fail(ZEL_CHAIN_WRONG_TEXT, "holds an unknown operation " + name->text + "; zel ops lists them");
  }
  if (chain->steps.size() == kMostSteps) return error->Fail(ZEL_CHAIN_WRONG_TEXT, "holds too many operations");
  chain->steps.push_back(DefaultSettings(*operation));
  for (const auto& [key, value] : entry.members) {
    if (key == "name") continue;
    *position = value.position;
    std::string typed;
    if (!Typed(value, name->text + ": " + key, &typed, error)) return false;
    if (!SetParameter(key, typed, &chain->steps.back(), error)) return false;
  }
  *position = entry.position;
  return CheckComplete(chain->steps.back(), error);
}

bool ReadRecipe(std::string_view text, ZelChain* chain, Error* error, size_t* position) {
  Json recipe;
  if (text.size() > kMostText) return error->Fail(ZEL_CHAIN_WRONG_TEXT, "is larger than any recipe");
  if (!ParseJson(text, &recipe, error)) {
    *position = static_cast<size_t>(error->position);
    return false;
  }
  const Json* operations = recipe.Find("operations");
  for (const auto& [key, value] : recipe.members) {
    *position = value.position;
    if (key != "operations") {
      return error->Fail(ZEL_CHAIN_WRONG_TEXT, "has an unknown key " + key + "; the only one is operations");
    }
  }
  if (operations == nullptr || operations->type != Json::Type::List) {
    return error->Fail(ZEL_CHAIN_WRONG_TEXT, "must hold {\"operations\": [...]}");
  }
  for (const Json& entry : operations->items) {
    if (!AddEntry(entry, chain, error, position)) return false;
  }
  return true;
}

}  // namespace

}  // namespace zel::chain

using namespace zel::chain;

ZelChain* ZEL_CALL ZelChain_ParseWords(const char* const* words, size_t count, ZelReport* report) {
  return Made<ZelChain>(report, [&](ZelChain* chain, Error* error) {
    for (size_t i = 0; i < count; ++i) {
      if (words == nullptr || words[i] == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "a word is null");
      // A setting that is missing belongs to the word before the one that shows it.
      if (!AddWord(words[i], chain, error)) return Finish(false, static_cast<int32_t>(i), chain, error);
    }
    return Finish(true, static_cast<int32_t>(count) - 1, chain, error);
  });
}

ZelChain* ZEL_CALL ZelChain_ParseLine(const char* text, size_t bytes, ZelReport* report) {
  return Made<ZelChain>(report, [&](ZelChain* chain, Error* error) {
    if (text == nullptr && bytes > 0) return error->Fail(ZEL_NULL_ARGUMENT, "the text is null");
    if (bytes > kMostText) return error->Fail(ZEL_CHAIN_WRONG_TEXT, "the text is longer than any chain");
    const auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    size_t start = 0;
    for (size_t i = 0; i < bytes;) {
      if (isSpace(text[i])) {
        ++i;
        continue;
      }
      start = i;
      while (i < bytes && !isSpace(text[i])) ++i;
      if (!AddWord(std::string(text + start, i - start), chain, error)) {
        return Finish(false, static_cast<int32_t>(start), chain, error);
      }
    }
    return Finish(true, static_cast<int32_t>(start), chain, error);
  });
}

ZelChain* ZEL_CALL ZelChain_ParseRecipe(const char* json, size_t bytes, ZelReport* report) {
  return Made<ZelChain>(report, [&](ZelChain* chain, Error* error) {
    if (json == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "the recipe is null");
    size_t position = 0;
    const bool read = ReadRecipe({json, bytes}, chain, error, &position);
    return Finish(read, static_cast<int32_t>(position), chain, error);
  });
}

ZelChain* ZEL_CALL ZelChain_Join(const ZelChain* first, const ZelChain* second, ZelReport* report) {
  return Made<ZelChain>(report, [&](ZelChain* chain, Error* error) {
    if (first == nullptr || second == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "a chain is null");
    chain->steps = first->steps;
    chain->steps.insert(chain->steps.end(), second->steps.begin(), second->steps.end());
    Describe(chain);
    return true;
  });
}

void ZEL_CALL ZelChain_Free(ZelChain* chain) {
  delete chain;
}

const char* ZEL_CALL ZelChain_Words(const ZelChain* chain) {
  return chain != nullptr ? chain->words.c_str() : "";
}

const char* ZEL_CALL ZelChain_Recipe(const ZelChain* chain) {
  return chain != nullptr ? chain->recipe.c_str() : "";
}

const char* ZEL_CALL ZelChain_Describe(const ZelChain* chain) {
  return chain != nullptr ? chain->description.c_str() : "";
}

int32_t ZEL_CALL ZelChain_Steps(const ZelChain* chain) {
  return chain != nullptr ? static_cast<int32_t>(chain->steps.size()) : 0;
}

int32_t ZEL_CALL ZelChain_Operation(const ZelChain* chain, int32_t step) {
  if (step < 0 || step >= ZelChain_Steps(chain)) return -1;
  return static_cast<int32_t>(chain->steps[static_cast<size_t>(step)].operation - Operations().data());
}

int32_t ZEL_CALL ZelChain_Margin(const ZelChain* chain) {
  int64_t margin = 0;
  if (chain == nullptr) return 0;
  for (const Settings& step : chain->steps) {
    if (Measures(step) || MarginOf(step) < 0) return -1;
    margin += MarginOf(step);
  }
  return static_cast<int32_t>(margin);
}

int32_t ZEL_CALL ZelChain_Nearest(const char* name, const char* const* names, size_t count) {
  int32_t nearest = -1;
  Guarded(nullptr, [&](Error*) {
    if (name != nullptr && names != nullptr) nearest = Nearest(name, std::vector<std::string>(names, names + count));
    return true;
  });
  return nearest;
}

int32_t ZEL_CALL ZelChain_Find(const char* operation) {
  int32_t index = -1;
  Guarded(nullptr, [&](Error*) {
    if (const Operation* found = operation != nullptr ? FindOperation(operation) : nullptr) {
      index = static_cast<int32_t>(found - Operations().data());
    }
    return true;
  });
  return index;
}
