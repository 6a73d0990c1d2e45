// Bytes become the words of a command line, and the text of a recipe. What is accepted must survive being written down
// and read again; what is not must be refused by a usage error and nothing else.
#include <cstdint>
#include <cstdlib>

#include "chain.h"
#include "failure.h"
#include "recipe.h"

namespace {

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> words(1);
  for (const char c : text) {
    if (c == ' ' || c == '\n' || c == '\0') {
      if (!words.back().empty()) words.emplace_back();
    } else {
      words.back() += c;
    }
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

void ExpectSurvives(const tool::Chain& chain) {
  const std::string text = tool::RecipeText(chain);
  if (tool::RecipeText(tool::ParseRecipe(text)) != text) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(data, data + size);
  try {
    std::vector<std::string> inputs;
    ExpectSurvives(tool::ParseWords(Split(text), &inputs));
  } catch (const tool::UsageError&) {
  }
  try {
    ExpectSurvives(tool::ParseRecipe(text));
  } catch (const tool::UsageError&) {
  }
  return 0;
}
