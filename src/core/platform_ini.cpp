#include <cstring>

#include "core/platform.h"

namespace zel {

namespace {

struct Span {
  const char* begin;
  const char* end;
};

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\0';
}

Span Trimmed(Span span) {
  while (span.begin < span.end && IsBlank(*span.begin)) ++span.begin;
  while (span.begin < span.end && IsBlank(span.end[-1])) --span.end;
  return span;
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool Equals(Span span, const char* name) {
  for (; span.begin < span.end; ++span.begin, ++name) {
    if (*name == '\0' || Lower(*span.begin) != Lower(*name)) return false;
  }
  return *name == '\0';
}

// An optional sign and digits; what follows them is ignored, as in the system's own reader. Numbers that do not fit are
// no numbers.
int32_t Number(Span span, int32_t fallback) {
  span = Trimmed(span);
  const bool negative = span.begin < span.end && *span.begin == '-';
  if (span.begin < span.end && (*span.begin == '-' || *span.begin == '+')) ++span.begin;
  if (span.begin == span.end || *span.begin < '0' || *span.begin > '9') return fallback;
  int64_t value = 0;
  for (; span.begin < span.end && *span.begin >= '0' && *span.begin <= '9'; ++span.begin) {
    value = value * 10 + (*span.begin - '0');
    if (value > INT32_MAX) return fallback;
  }
  return static_cast<int32_t>(negative ? -value : value);
}

const char* Find(const char* begin, const char* end, char c) {
  const void* found = begin < end ? std::memchr(begin, c, static_cast<size_t>(end - begin)) : nullptr;
  return found != nullptr ? static_cast<const char*>(found) : end;
}

}  // namespace

int32_t ProfileIntFromText(const char* text, size_t length, const char* section, const char* key, int32_t fallback) {
  const char* const end = text + length;
  const char* line = text;
  if (length >= 3 && std::memcmp(text, "\xEF\xBB\xBF", 3) == 0) line += 3;
  bool inSection = false;
  while (line < end) {
    const char* const lineEnd = Find(line, end, '\n');
    const Span content = Trimmed({line, lineEnd});
    line = lineEnd < end ? lineEnd + 1 : end;
    // Comments are lines that no key equals.
    if (content.begin == content.end) continue;
    if (*content.begin == '[') {
      const char* const close = Find(content.begin, content.end, ']');
      inSection = close < content.end && Equals(Trimmed({content.begin + 1, close}), section);
      continue;
    }
    const char* const equals = Find(content.begin, content.end, '=');
    if (inSection && equals < content.end && Equals(Trimmed({content.begin, equals}), key)) {
      return Number({equals + 1, content.end}, fallback);
    }
  }
  return fallback;
}

}  // namespace zel
