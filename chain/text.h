// Numbers and JSON as texts, the same in every locale, and how functions say what went wrong.
#ifndef ZEL_CHAIN_TEXT_H_
#define ZEL_CHAIN_TEXT_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zel_chain.h"

namespace zel::chain {

// What a call that fails puts into the report.
struct Error {
  int32_t code = ZEL_OK, step = -1, position = -1, call = 0;
  std::string text;

  // Returns false, so that a function can end with it.
  bool Fail(int32_t newCode, std::string newText, int32_t newPosition = -1) {
    code = newCode;
    text = std::move(newText);
    position = newPosition;
    return false;
  }
};

// A whole decimal number: digits, sign, dot, exponent; finite.
bool ParseNumber(std::string_view text, double* value);
// The shortest text that reads back as the same number.
std::string NumberText(double value);
// With `digits` behind the dot.
std::string FixedText(double value, int digits);

// The words between separators, empty ones included.
std::vector<std::string> Split(std::string_view text, char separator);

struct Json {
  enum class Type { Null, Bool, Number, Text, List, Object };
  Type type = Type::Null;
  std::string text;  // Text: decoded; Number: as written; Bool: true or false
  std::vector<Json> items;
  std::vector<std::pair<std::string, Json>> members;  // Object, in order; no name twice
  size_t position = 0;                                // byte where it starts

  const Json* Find(std::string_view name) const;
};

// Reads one JSON value. Depth and names of an object are limited, so that no text exhausts the stack or takes for ever.
constexpr int kMostDepth = 16;
constexpr size_t kMostMembers = 256;
bool ParseJson(std::string_view text, Json* value, Error* error);

// The text in quotes, with what JSON escapes.
std::string Quoted(std::string_view text);

}  // namespace zel::chain

#endif  // ZEL_CHAIN_TEXT_H_
