// A chain of operations in a file: {"operations": [{"name": "contrast", "contrast": 30}, ...]}.
#ifndef ZEL_TOOL_RECIPE_H_
#define ZEL_TOOL_RECIPE_H_

#include <string>

#include "chain.h"

namespace tool {

// Throws UsageError for text that is no recipe, an unknown key or a value out of range.
Chain ReadRecipe(const std::string& path);
void SaveRecipe(const Chain& chain, const std::string& path, bool overwrite);

}  // namespace tool

#endif  // ZEL_TOOL_RECIPE_H_
