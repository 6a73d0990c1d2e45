// Every export at every kernel level, under names of the form zel/<operation>/<size>/<bits>/<level>.
#include <benchmark/benchmark.h>

#include "driver/exports.h"
#include "driver/kernel_choice.h"
#include "photo.h"
#include "registration.h"
#include "simd/kernels.h"

namespace zel::bench {

namespace {

// A pixel of the area that a tool wants: 0 sky, 1 foliage, 2 skin.
ZelPoint PointIn(const ImageDesc* image, int area) {
  return {image->width * (2 * area + 1) / 8, image->height / 8};
}

void Register(const test::Export& function, const test::Timed& timed, const Size& size, int bits,
              const Kernels* kernels) {
  const std::string name =
      std::string("zel/") + timed.name + "/" + size.name + "/" + std::to_string(bits) + "/" + kernels->level;
  RegisterTimed(name, [&function, &timed, size, bits, kernels](benchmark::State& state) {
    ImageDesc* const source = Source(size, 3, bits).desc();
    ImageDesc* const destination = Destination(size, 3, bits).desc();
    test::UseKernels(kernels);
    // What functions that take a table find there.
    alignas(16) static uint8_t table[test::kTableBytes];
    int32_t result = ZelTavoraFunc_Colorful_Get3DLut(source, 0, 60, nullptr, table);
    const ZelPoint point = PointIn(source, timed.area);
    const test::Arguments arguments = {source,
                                       destination,
                                       nullptr,
                                       timed.area < 0 ? nullptr : &point,
                                       timed.settings.numbers.data(),
                                       timed.settings.reals.data(),
                                       table,
                                       false};
    result |= function.call(arguments);
    for (auto _ : state) result |= function.call(arguments);
    test::UseKernels(nullptr);
    if (result != ZEL_OK) state.SkipWithError("refused");
  });
}

}  // namespace

void RegisterExports() {
  for (const test::Export& function : test::Exports()) {
    for (const test::Timed& timed : function.timed) {
      for (int bits : {8, 16}) {
        if (bits == 16 && !timed.deep) continue;
        for (const Size& size : {kLarge, kOneMegapixel, kSmall, kThumbnail}) {
          Register(function, timed, size, bits, &scalar::kKernels);
          for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
            Register(function, timed, size, bits, *level);
          }
        }
      }
    }
  }
}

}  // namespace zel::bench
