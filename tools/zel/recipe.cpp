#include "recipe.h"

#include "failure.h"
#include "files.h"

namespace tool {

Chain ReadRecipe(const std::string& path) {
  std::string text;
  try {
    text = ReadText(path);
  } catch (const Failure& failure) {
    throw UsageError("the recipe " + path + " " + failure.what());
  }
  ZelReport report;
  ZelChain* const chain = ZelChain_ParseRecipe(text.data(), text.size(), &report);
  if (chain == nullptr) throw UsageError("the recipe " + path + ": " + report.text);
  return TakeChain(chain, report);
}

void SaveRecipe(const Chain& chain, const std::string& path, bool overwrite) {
  try {
    WriteFile(path, ZelChain_Recipe(chain.get()), overwrite);
  } catch (const Failure& failure) {
    throw Failure("the recipe " + path + " " + failure.what());
  }
}

}  // namespace tool
