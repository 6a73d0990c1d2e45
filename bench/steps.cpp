// The limits of the memory, and what the mask tools consist of, measured alone: step/<tool>/<step>/24MP/8.
#include <cstring>

#include "core/blend.h"
#include "photo.h"
#include "registration.h"

namespace zel::bench {

namespace {

void RegisterCopies(const Size& size) {
  for (int bits : {8, 16}) {
    const std::string suffix = std::string("/") + size.name + "/" + std::to_string(bits);
    RegisterTimed("step/memcpy" + suffix, [size, bits](benchmark::State& state) {
      Photo& source = Source(size, 3, bits);
      Photo& destination = Destination(size, 3, bits);
      for (auto _ : state) {
        std::memcpy(destination.data(), source.data(), source.Bytes());
        benchmark::ClobberMemory();
      }
    });
  }
}

}  // namespace

void RegisterSteps() {
  RegisterCopies(kLarge);
  RegisterCopies(kSmall);
}

}  // namespace zel::bench
