#include "recipe.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "failure.h"

namespace tool {

Chain ReadRecipe(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw UsageError("the recipe " + path + " cannot be read: " + std::strerror(errno));
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  ZelReport report;
  ZelChain* const chain = ZelChain_ParseRecipe(text.data(), text.size(), &report);
  if (chain == nullptr) throw UsageError("the recipe " + path + ": " + report.text);
  return TakeChain(chain, report);
}

void SaveRecipe(const Chain& chain, const std::string& path, bool overwrite) {
  const std::string text = ZelChain_Recipe(chain.get());
  try {
    WriteFile(path, text.data(), text.size(), overwrite);
  } catch (const Failure& failure) {
    throw Failure("the recipe " + path + " " + failure.what());
  }
}

}  // namespace tool
