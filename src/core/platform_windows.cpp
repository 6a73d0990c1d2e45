#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "core/platform.h"

namespace {

// The host may want to know in which module its message boxes live; kept for diagnostics in a debugger.
HINSTANCE moduleHandle;

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD, LPVOID) {
  moduleHandle = instance;
  return TRUE;
}

namespace zel {

uint32_t TickCount() {
  return GetTickCount();
}

int32_t ProfileInt(const char* file, const char* section, const char* key, int32_t fallback) {
  // The system's reader answers 0 for text that is no number; asking twice with different defaults cannot tell, so
  // the text itself is fetched and read by our own rules.
  char value[64];
  const DWORD length = GetPrivateProfileStringA(section, key, "", value, sizeof value, file);
  if (length == 0) return fallback;
  const char* first = value;
  while (*first == ' ' || *first == '\t') ++first;
  if (*first == '-' || *first == '+') ++first;
  if (*first < '0' || *first > '9') return fallback;
  return static_cast<int32_t>(GetPrivateProfileIntA(section, key, fallback, file));
}

void SuggestLargePages(void*, size_t) {}

void ShowMessage(const char* text, const char* caption) {
  MessageBoxA(GetFocus(), text, caption, MB_OK);
}

}  // namespace zel
