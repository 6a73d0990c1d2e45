// Single calls for measurements in turns: the same on a native program, which reads lines of "call level" and answers
// with milliseconds, and in a WebAssembly module, whose host reads the clock.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "color/hue_weight_mask.h"
#include "driver/exports.h"
#include "driver/kernel_choice.h"
#include "photo.h"
#include "selective/region_hue_mask.h"

namespace zel::bench {

namespace {

constexpr Size kTwoMegapixels = {"2MP", 1800, 1200};

struct Call {
  std::string name;
  std::function<int32_t()> run;
};

Call ExportCall(const char* wanted, int bits) {
  for (const test::Export& function : test::Exports()) {
    for (const test::Timed& timed : function.timed) {
      if (std::strcmp(timed.name, wanted) != 0) continue;
      return {std::string(wanted) + "/" + std::to_string(bits), [&function, &timed, bits] {
                test::Arguments arguments;
                const ImageDesc* const source = Source(kTwoMegapixels, 3, bits).desc();
                const ZelPoint point = {source->width * (2 * timed.area + 1) / 8, source->height / 8};
                arguments.source = source;
                arguments.destination = Destination(kTwoMegapixels, 3, bits).desc();
                arguments.point = timed.area < 0 ? nullptr : &point;
                arguments.numbers = timed.settings.numbers.data();
                arguments.reals = timed.settings.reals.data();
                return function.call(arguments);
              }};
    }
  }
  return {"", [] { return ZEL_OK; }};
}

const std::vector<Call>& Calls() {
  static const std::vector<Call> calls = [] {
    std::vector<Call> all;
    for (int bits : {8, 16}) {
      for (const char* name : {"blur-1", "blur-3", "blur-10"}) all.push_back(ExportCall(name, bits));
    }
    for (const char* name : {"unsharp", "sharpen", "hue-saturation", "skin-clear", "denoise"}) {
      all.push_back(ExportCall(name, 8));
    }
    const auto photo = [] { return Source(kTwoMegapixels, 3, 8).desc(); };
    const auto mask = [] { return Destination(kTwoMegapixels, 1, 8).desc(); };
    all.push_back({"region-hue-mask/8", [=] {
                     return BuildRegionHueMask(photo(), mask(), nullptr, ColourRegion::kSky, 60, 192) ? ZEL_OK : -1;
                   }});
    all.push_back(
        {"hue-weight-mask/8", [=] { return BuildHueWeightMask(photo(), mask(), nullptr, 255) ? ZEL_OK : -1; }});
    return all;
  }();
  return calls;
}

}  // namespace

}  // namespace zel::bench

#if defined(__EMSCRIPTEN__)
#define ZEL_SHOWN extern "C" __attribute__((used, visibility("default")))

ZEL_SHOWN int RunCall(int call) {
  return zel::bench::Calls()[static_cast<size_t>(call)].run();
}

#else
#include <chrono>

// Without arguments it works; with one it names the calls.
int main(int argc, char**) {
  using zel::Kernels;
  if (argc > 1) {
    for (const auto& call : zel::bench::Calls()) std::puts(call.name.c_str());
    return 0;
  }
  unsigned number = 0;
  char wanted[16];
  while (std::scanf("%u %15s", &number, wanted) == 2 && number < zel::bench::Calls().size()) {
    for (const Kernels* const* level = zel::BuiltKernelLevels(); *level != nullptr; ++level) {
      if (std::strcmp((*level)->level, wanted) == 0) zel::test::UseKernels(*level);
    }
    const auto start = std::chrono::steady_clock::now();
    const int32_t result = zel::bench::Calls()[number].run();
    const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
    if (result != ZEL_OK) return 1;
    std::printf("%.4f\n", spent.count());
    std::fflush(stdout);
  }
  return 0;
}
#endif
