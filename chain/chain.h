// A chain as the C interface hands it out, and the boundary that every exported function ends at.
#ifndef ZEL_CHAIN_CHAIN_H_
#define ZEL_CHAIN_CHAIN_H_

#include <new>

#include "settings.h"
#include "text.h"

struct ZelChain {
  std::vector<zel::chain::Settings> steps;
  std::string words, recipe, description;
};

namespace zel::chain {

// Fills in the texts of a chain whose steps are complete.
void Describe(ZelChain* chain);

const char* NameOf(Depth depth);
const char* NameOf(Reach reach);

// Writes an error, or success, into the report; `changed` and what else stands there is left to the caller.
int32_t Tell(const Error& error, ZelReport* report);
void AddNote(ZelReport* report, const std::string& note);

// Runs the body of an exported function. What the standard library throws when memory runs out ends here.
template <class Body>
int32_t Guarded(ZelReport* report, const Body& body) {
  if (report != nullptr) *report = ZelReport{};
  Error error;
#ifdef __cpp_exceptions
  try {
    body(&error);
  } catch (const std::bad_alloc&) {
    error = {ZEL_CHAIN_NO_MEMORY, -1, -1, 0, {}};
    if (report != nullptr) report->changed = 1;  // nobody knows
  }
#else
  body(&error);
#endif
  return Tell(error, report);
}

// The same for functions that return a new object: `body` fills it in, or fails.
template <class T, class Body>
T* Made(ZelReport* report, const Body& body) {
  T* made = new (std::nothrow) T();
  const int32_t code = Guarded(
      report, [&](Error* error) { return made != nullptr ? body(made, error) : error->Fail(ZEL_CHAIN_NO_MEMORY, ""); });
  if (code == ZEL_OK) return made;
  delete made;
  return nullptr;
}

}  // namespace zel::chain

#endif  // ZEL_CHAIN_CHAIN_H_
