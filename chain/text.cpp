#include "text.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace zel::chain {

namespace {

// Everything between one value and the next is read by one of these.
class Reader {
 public:
  Reader(std::string_view text, Error* error) : text_(text), error_(error) {}

  bool ReadAll(Json* value) {
    if (!ReadValue(value, 0)) return false;
    SkipSpace();
    return at_ == text_.size() || Fail("something follows the end");
  }

 private:
  bool Fail(const std::string& what) {
    size_t line = 1, column = 1;
    for (size_t i = 0; i < at_ && i < text_.size(); ++i) {
      column = text_[i] == '\n' ? 1 : column + 1;
      line += text_[i] == '\n';
    }
    return error_->Fail(ZEL_CHAIN_WRONG_TEXT,
                        "is no JSON: line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + what,
                        static_cast<int32_t>(at_));
  }

  char Peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  bool Take(char c) {
    if (at_ >= text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }
  void SkipSpace() {
    while (at_ < text_.size() && (Peek() == ' ' || Peek() == '\t' || Peek() == '\n' || Peek() == '\r')) ++at_;
  }

  bool ReadValue(Json* value, int depth) {
    SkipSpace();
    value->position = at_;
    if (depth > kMostDepth) return Fail("nested deeper than " + std::to_string(kMostDepth) + " levels");
    if (Take('{')) return ReadObject(value, depth);
    if (Take('[')) return ReadList(value, depth);
    if (Peek() == '"') {
      value->type = Json::Type::Text;
      return ReadText(&value->text);
    }
    if (Peek() == '-' || (Peek() >= '0' && Peek() <= '9')) return ReadNumber(value);
    for (const char* word : {"true", "false", "null"}) {
      const std::string_view name = word;
      if (text_.substr(at_, name.size()) != name) continue;
      at_ += name.size();
      value->type = name == "null" ? Json::Type::Null : Json::Type::Bool;
      value->text = name;
      return true;
    }
    return Fail(at_ < text_.size() ? "a value was expected" : "the text ends too early");
  }

  bool ReadObject(Json* value, int depth) {
    value->type = Json::Type::Object;
    SkipSpace();
    if (Take('}')) return true;
    do {
      SkipSpace();
      std::string name;
      if (Peek() != '"') return Fail("a name in quotes was expected");
      if (!ReadText(&name)) return false;
      if (value->Find(name)) return Fail(name + " is given twice");
      if (value->members.size() == kMostMembers) return Fail("too many names");
      SkipSpace();
      if (!Take(':')) return Fail("a colon was expected");
      value->members.emplace_back(std::move(name), Json());
      if (!ReadValue(&value->members.back().second, depth + 1)) return false;
      SkipSpace();
    } while (Take(','));
    return Take('}') || Fail("a comma or } was expected");
  }

  bool ReadList(Json* value, int depth) {
    value->type = Json::Type::List;
    SkipSpace();
    if (Take(']')) return true;
    do {
      value->items.emplace_back();
      if (!ReadValue(&value->items.back(), depth + 1)) return false;
      SkipSpace();
    } while (Take(','));
    return Take(']') || Fail("a comma or ] was expected");
  }

  bool ReadNumber(Json* value) {
    const size_t start = at_;
    const auto digits = [this] {
      const size_t first = at_;
      while (Peek() >= '0' && Peek() <= '9') ++at_;
      return at_ > first;
    };
    Take('-');
    if (!Take('0') && !digits()) return Fail("a digit was expected");
    if (Take('.') && !digits()) return Fail("a digit was expected");
    if (Take('e') || Take('E')) {
      if (!Take('+')) Take('-');
      if (!digits()) return Fail("a digit was expected");
    }
    value->type = Json::Type::Number;
    value->text = text_.substr(start, at_ - start);
    double number;
    return ParseNumber(value->text, &number) || Fail(value->text + " is beyond all numbers");
  }

  bool ReadHex(uint32_t* code) {
    if (text_.size() - at_ < 4) return Fail("four hexadecimal digits were expected");
    const char* const first = text_.data() + at_;
    const auto [end, result] = std::from_chars(first, first + 4, *code, 16);
    if (result != std::errc() || end != first + 4) return Fail("four hexadecimal digits were expected");
    at_ += 4;
    return true;
  }

  bool ReadEscape(std::string* text) {
    static const char kNames[] = "\"\\/bfnrt", kMeant[] = "\"\\/\b\f\n\r\t";
    if (Take('u')) {
      uint32_t code, low;
      if (!ReadHex(&code)) return false;
      if (code >= 0xDC00 && code < 0xE000) return Fail("half a character");
      if (code >= 0xD800 && code < 0xDC00) {
        if (!Take('\\') || !Take('u')) return Fail("half a character");
        if (!ReadHex(&low)) return false;
        if (low < 0xDC00 || low > 0xDFFF) return Fail("half a character");
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
      }
      const int more = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
      static const uint32_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
      *text += static_cast<char>(kLead[more] | code >> 6 * more);
      for (int i = more - 1; i >= 0; --i) *text += static_cast<char>(0x80 | (code >> 6 * i & 0x3F));
      return true;
    }
    for (size_t i = 0; kNames[i] != '\0'; ++i) {
      if (!Take(kNames[i])) continue;
      *text += kMeant[i];
      return true;
    }
    return Fail("an unknown escape");
  }

  bool ReadText(std::string* text) {
    Take('"');
    while (true) {
      if (at_ >= text_.size()) return Fail("a text does not end");
      if (Take('"')) return true;
      if (static_cast<unsigned char>(Peek()) < 0x20) return Fail("a control character in a text");
      if (Take('\\')) {
        if (!ReadEscape(text)) return false;
      } else {
        *text += text_[at_++];
      }
    }
  }

  std::string_view text_;
  size_t at_ = 0;
  Error* error_;
};

}  // namespace

bool ParseNumber(std::string_view text, double* value) {
  if (!text.empty() && text[0] == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text[0] == '-') return false;
  }
  if (text.empty() || text.find_first_not_of("0123456789+-.eE") != std::string_view::npos) return false;
#ifdef __cpp_lib_to_chars
  const auto [end, result] = std::from_chars(text.data(), text.data() + text.size(), *value);
  // What is too small for a number is 0.
  if (result == std::errc::result_out_of_range) {
    const size_t exponent = text.find_first_of("eE");
    if (exponent == std::string_view::npos || text.substr(exponent + 1, 1) != "-") return false;
    *value = 0;
    return true;
  }
  return result == std::errc() && end == text.data() + text.size() && std::isfinite(*value);
#else  // libraries that have no such function are those whose programs have but one locale
  const std::string copy(text);
  char* end = nullptr;
  *value = std::strtod(copy.c_str(), &end);
  return end == copy.c_str() + copy.size() && std::isfinite(*value);
#endif
}

std::string NumberText(double value) {
  char text[32];
#ifdef __cpp_lib_to_chars
  return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
#else
  double back = 0;
  for (int digits = 15; digits <= 17; ++digits) {
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    if (ParseNumber(text, &back) && back == value) break;
  }
  return text;
#endif
}

std::string FixedText(double value, int digits) {
  char text[352];
#ifdef __cpp_lib_to_chars
  return std::string(text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, digits).ptr);
#else
  std::snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
#endif
}

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts(1);
  for (char c : text) {
    if (c == separator) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

const Json* Json::Find(std::string_view name) const {
  for (const auto& [key, value] : members) {
    if (key == name) return &value;
  }
  return nullptr;
}

bool ParseJson(std::string_view text, Json* value, Error* error) {
  return Reader(text, error).ReadAll(value);
}

std::string Quoted(std::string_view text) {
  std::string result = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') {
      result += '\\';
      result += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      static const char kDigits[] = "0123456789abcdef";
      result += std::string("\\u00") + kDigits[c >> 4 & 1] + kDigits[c & 15];
    } else {
      result += c;
    }
  }
  return result + "\"";
}

}  // namespace zel::chain
