// A chain of operations as the command line or a recipe gives it, and running it on a photograph.
#ifndef ZEL_TOOL_CHAIN_H_
#define ZEL_TOOL_CHAIN_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "operations.h"
#include "photo.h"
#include "zel_chain.h"

namespace tool {

// Never null.
using Chain = std::shared_ptr<const ZelChain>;

// Takes over what a function that makes chains returned; throws UsageError with the report's text when that is nothing.
Chain TakeChain(ZelChain* chain, const ZelReport& report);

// Splits words into inputs and chain: the first word that names an operation starts the chain, so a file of that name
// is written ./name. Throws UsageError.
Chain ParseWords(const std::vector<std::string>& words, std::vector<std::string>* inputs);

// What suits a photograph, at a strength from 0 to 100, and why.
Chain AutoChain(const VImage& photo, int strength, std::vector<std::string>* reasons);

// Example 0, 1 or 2 (mild, middle, strong) of an operation, for a photograph.
Chain ExampleChain(const Operation& operation, size_t example, const VImage& photo);

Chain Joined(const Chain& first, const Chain& second);
bool IsEmpty(const Chain& chain);

// The photograph's samples as the library takes them.
ZelPixels PixelsOf(const VImage& photo);
ZelApplyOptions OptionsOf(const VImage& photo);

// Throws UsageError or Failure when the report tells of one, and hands on its notes.
void Check(const ZelReport& report, std::vector<std::string>* notes);

// Runs a call on the photograph in its place; a grey one gets colour when the result needs it.
void Run(const std::function<int32_t(const ZelPixels*, ZelReport*)>& call, VImage* photo,
         std::vector<std::string>* notes);

// Runs all steps, calling `stop`, which may throw, between and within them.
void RunChain(const Chain& chain, VImage* photo, std::vector<std::string>* notes, void (*stop)() = nullptr);

}  // namespace tool

#endif  // ZEL_TOOL_CHAIN_H_
