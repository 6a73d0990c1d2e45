/* A host that finds the library at run time, as photo applications do with their plug-ins: by name, on Windows by the
 * fixed ordinal. It raises the contrast of a small grey ramp and prints it. */
#include <stdio.h>

#include "zel.h"

typedef int32_t(ZEL_CALL* VersionFunction)(char*);
typedef int32_t(ZEL_CALL* ContrastFunction)(const ImageDesc*, const ImageDesc*, int32_t, int32_t, const ZelRect*);
typedef void (*AnyFunction)(void);

#ifdef _WIN32
#include <windows.h>

static AnyFunction Find(void* library, const char* name, int ordinal) {
  (void)name;
  return (AnyFunction)GetProcAddress((HMODULE)library, (LPCSTR)(ULONG_PTR)ordinal);
}

static void* Load(const char* path) {
  return (void*)LoadLibraryA(path);
}
#define DEFAULT_LIBRARY "zel.dll"
#else
#include <dlfcn.h>
#include <string.h>

static AnyFunction Find(void* library, const char* name, int ordinal) {
  AnyFunction function;
  void* address = dlsym(library, name);
  (void)ordinal;
  memcpy(&function, &address, sizeof function);
  return function;
}

static void* Load(const char* path) {
  return dlopen(path, RTLD_NOW);
}
#define DEFAULT_LIBRARY "libzel.so"
#endif

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : DEFAULT_LIBRARY;
  void* library = Load(path);
  if (library == NULL) {
    fprintf(stderr, "cannot load %s\n", path);
    return 1;
  }
  VersionFunction version = (VersionFunction)Find(library, "GetDLLVersion", 1);
  ContrastFunction contrast = (ContrastFunction)Find(library, "ZelBasicToolFunc_ContrastBrightness", 22);
  if (version == NULL || contrast == NULL) {
    fprintf(stderr, "%s is not Zel\n", path);
    return 1;
  }

  char text[16];
  version(text);
  printf("version %s\n", text);

  uint8_t pixels[8] = {0, 36, 73, 109, 146, 182, 219, 255};
  ImageDesc image = {8, 1, ZEL_FORMAT_GREY8, 8, pixels};
  const int32_t result = contrast(&image, &image, 50, 0, NULL);
  printf("result %d:", (int)result);
  for (int i = 0; i < 8; ++i) printf(" %d", pixels[i]);
  printf("\n");
  return result == ZEL_OK ? 0 : 1;
}
