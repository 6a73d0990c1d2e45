// A chain of operations as the command line or a recipe gives it, and running it on a photograph.
#ifndef ZEL_TOOL_CHAIN_H_
#define ZEL_TOOL_CHAIN_H_

#include <string>
#include <vector>

#include "operations.h"
#include "photo.h"

namespace tool {

struct Step {
  const Operation* operation;
  Settings settings;
};
using Chain = std::vector<Step>;

// Splits words into inputs and chain: the first word that names an operation starts the chain, so a file of that name
// is written ./name. Throws UsageError.
Chain ParseWords(const std::vector<std::string>& words, std::vector<std::string>* inputs);

// Example 0, 1 or 2 (mild, middle, strong) of an operation.
Chain ExampleChain(const Operation& operation, size_t example);

// The chain as it would be typed, only with what was given.
std::string ChainText(const Chain& chain);

// Runs one step in place. Throws Failure with a reason when the library refuses. Adds a note when a step around a point
// changed nothing.
void RunStep(Step* step, Photo* photo, std::vector<std::string>* notes);

// Runs all steps, calling `beforeStep`, which may throw, before each. Adds one note that names the operations which
// keep only 8 of 16 bits.
void RunChain(Chain chain, Photo* photo, std::vector<std::string>* notes, void (*beforeStep)() = nullptr);

}  // namespace tool

#endif  // ZEL_TOOL_CHAIN_H_
