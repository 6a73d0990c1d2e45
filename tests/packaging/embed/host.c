/* A host in C alone: one function of the library, one chain. */
#include <stdio.h>
#include <zel_chain.h>

int main(void) {
  uint8_t pixels[12] = {40, 60, 80, 90, 110, 130, 140, 160, 180, 190, 210, 230};
  const ZelPixels photo = {pixels, 0, 4, 1, 3, 8, 1};
  ZelReport report;
  char version[16];
  ZelChain* chain = ZelChain_ParseLine("contrast contrast=30 brightness=5", 33, &report);
  const int32_t code = ZelChain_Apply(chain, &photo, &photo, NULL, &report);
  GetDLLVersion(version);
  printf("%s: result %d, first pixel %d %d %d\n", version, (int)code, pixels[0], pixels[1], pixels[2]);
  ZelChain_Free(chain);
  return 0;
}
