// What age does to a photograph, as recipes for the measuring program.
#ifndef ZEL_TOOLS_MEASURE_RECIPES_H_
#define ZEL_TOOLS_MEASURE_RECIPES_H_

#include <functional>
#include <vector>

#include "photographs.h"

namespace zel::measure {

struct Recipe {
  const char* name;
  std::function<Photograph(const Photograph& photograph, double amount)> age;  // amount 0 to 1
};

// The recipes on which the constants were chosen: dyes lose density (a power of light), paper yellows (a product), a
// veil adds light, contrast goes; one curve for each channel.
const std::vector<Recipe>& RecipesOfTheMaking();

// Others that only judge. Some of them no curve per channel takes back: dyes that absorb in each other's channels,
// colours that have gone, fading that grows across the picture, noise and compression.
const std::vector<Recipe>& OtherRecipes();

}  // namespace zel::measure

#endif  // ZEL_TOOLS_MEASURE_RECIPES_H_
