// What the library needs from the system besides memory.
#ifndef ZEL_CORE_PLATFORM_H_
#define ZEL_CORE_PLATFORM_H_

#include <cstddef>
#include <cstdint>

namespace zel {

// Milliseconds from some fixed moment; wraps around.
uint32_t TickCount();

// The integer under `key` in `section` of an INI file, or `fallback` when the file, the section, the key or a number is
// missing. Names are compared without regard to case, only the first match counts. The file is looked up anew on every
// call: on Windows in the system's profile directory, elsewhere in $XDG_CONFIG_HOME/zel, or ~/.config/zel when that is
// not set, or /etc/zel when there is no home either.
int32_t ProfileInt(const char* file, const char* section, const char* key, int32_t fallback);

// The same lookup in the text of an INI file that is already in memory.
int32_t ProfileIntFromText(const char* text, size_t length, const char* section, const char* key, int32_t fallback);

// Suggests large pages for memory that is not yet touched, where the system knows them. Mapping page after page costs
// noise reduction an eighth of its time.
void SuggestLargePages(void* memory, size_t bytes);

// Shows a message and waits until it is dismissed: a message box on Windows, a line on standard error elsewhere.
void ShowMessage(const char* text, const char* caption);

}  // namespace zel

#endif  // ZEL_CORE_PLATFORM_H_
