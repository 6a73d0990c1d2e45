// What the progress callback sees, that listening changes no byte, and what a cancelled call leaves behind.
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "chain/text.h"
#include "zel_chain.h"

using zel::chain::Json;

namespace {

int faults = 0;

void Expect(bool holds, const std::string& what) {
  if (holds) return;
  if (++faults <= 20) std::printf("FAILED: %s\n", what.c_str());
}

double Now() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Counts calls, and asks to stop at one of them.
struct Listener {
  int calls = 0, stopAt = -1;
  double last = 0, longest = 0, heard = 0;
  bool ordered = true;

  static int32_t ZEL_CALL Hear(void* self, double done) { return static_cast<Listener*>(self)->Count(done); }
  int32_t Count(double done) {
    const double now = Now();
    if (calls > 0) longest = std::max(longest, now - heard);
    heard = now;
    ordered = ordered && done >= last && done <= 1;
    last = done;
    return calls++ == stopAt;
  }
};

struct Picture {
  std::vector<uint16_t> memory;
  ZelPixels pixels;

  Picture(int width, int height, int channels, int bits) {
    const size_t samples = static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(channels);
    memory.resize(bits == 16 ? samples : (samples + 1) / 2);
    pixels = {memory.data(), 0, width, height, channels, bits, 1};
    uint32_t noise = 1;
    for (size_t i = 0; i < samples; ++i) {
      noise = noise * 1664525 + 1013904223;
      const size_t y = i / (static_cast<size_t>(width) * static_cast<size_t>(channels));
      const uint32_t value =
          static_cast<uint32_t>((y / 8 * 37 + i % static_cast<size_t>(channels) * 90) % 200) * 257 + (noise >> 19);
      if (bits == 16) {
        memory[i] = static_cast<uint16_t>(value);
      } else {
        reinterpret_cast<uint8_t*>(memory.data())[i] = static_cast<uint8_t>(value >> 8);
      }
    }
  }
  Picture(const Picture& other) : memory(other.memory), pixels(other.pixels) { pixels.data = memory.data(); }
};

int32_t Apply(const ZelChain* chain, Picture* picture, Listener* listener, ZelReport* report) {
  ZelApplyOptions options{};
  options.size = sizeof options;
  options.progress = Listener::Hear;
  options.user = listener;
  return ZelChain_Apply(chain, &picture->pixels, &picture->pixels, listener != nullptr ? &options : nullptr, report);
}

void Check(const std::string& words, const Picture& picture) {
  const std::string what = words + ", " + std::to_string(picture.pixels.bits) + " bits, " +
                           std::to_string(picture.pixels.channels) + " channels";
  ZelReport report;
  ZelChain* const chain = ZelChain_ParseLine(words.data(), words.size(), &report);
  Expect(chain != nullptr, what + ": " + report.text);
  Picture alone = picture, heard = picture;
  Listener listener;
  Expect(Apply(chain, &alone, nullptr, &report) == ZEL_OK, what + ": " + report.text);
  Expect(Apply(chain, &heard, &listener, &report) == ZEL_OK, what + ": " + report.text);
  Expect(heard.memory == alone.memory, what + ": listening changes the result");
  Expect(listener.ordered && listener.last == 1, what + ": the shares are out of order");
  const bool inside = ZelChain_Margin(chain) >= 0 || words.find("denoise") != std::string::npos;
  Expect(listener.calls >= (inside ? 5 : 2), what + ": called " + std::to_string(listener.calls) + " times");
  for (const int at : {0, 1, listener.calls / 2, listener.calls - 2}) {
    if (at == listener.calls - 1) continue;  // all is done there
    Picture stopped = picture;
    Listener cancelling;
    cancelling.stopAt = at;
    const int32_t code = Apply(chain, &stopped, &cancelling, &report);
    Expect(code == ZEL_CHAIN_CANCELLED && cancelling.calls == at + 1, what + ": does not stop when asked");
    Expect(report.changed != 0 || stopped.memory == picture.memory, what + ": changed, but does not say so");
  }
  ZelChain_Free(chain);
}

// No call is far from the next one, whatever the machine does meanwhile: the best of several runs counts.
void CheckLarge() {
  const Picture picture(6000, 4000, 3, 8);
  ZelReport report;
  ZelChain* const chain = ZelChain_ParseLine("denoise", 7, &report);
  double longest = 1, whole = 0;
  int calls = 0;
  for (int i = 0; i < 5 && longest > 0.1; ++i) {
    Picture copy = picture;
    Listener listener;
    const double start = Now();
    Expect(Apply(chain, &copy, &listener, &report) == ZEL_OK, report.text);
    whole = Now() - start;
    calls = listener.calls;
    longest = std::min(longest, listener.longest / whole);
  }
  std::printf("denoise of 24 megapixels: %.0f ms, %d calls, at most %.1f %% of it between two\n", whole * 1e3, calls,
              longest * 100);
  Expect(calls > 50 && longest <= 0.1, "noise reduction is silent for long");
  ZelChain_Free(chain);
}

}  // namespace

int main() {
  Json table;
  zel::chain::Error error;
  const std::string text = ZelChain_Table();
  if (!zel::chain::ParseJson(text, &table, &error)) return 1;
  // Three parts of a million pixels and some rows.
  const Picture colour(700, 4600, 3, 8), deep(700, 4600, 3, 16), clear(700, 4600, 4, 8);
  for (const Json& operation : table.Find("operations")->items) {
    std::string words = operation.Find("name")->text + " " + operation.Find("examples")->items[1].text;
    const size_t at = words.find(" at=");
    Check(at != std::string::npos ? words.substr(0, at) + " at=5,5" : words, colour);
  }
  for (const char* words : {"blur radius=40", "blur radius=9 rect=30,2,650,99%", "sharpen rect=0,1497,700,1498",
                            "unsharp amount=200 radius=3 threshold=4 rect=5,1400,690,3100", "vivid strength=80",
                            "contrast contrast=20 blur radius=2 hue-saturation saturation=20", "denoise vivid"}) {
    for (const Picture* picture : {&colour, &deep, &clear}) Check(words, *picture);
  }
  CheckLarge();
  std::printf("%d faults\n", faults);
  return faults == 0 ? 0 : 1;
}
