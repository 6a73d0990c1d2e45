// What a call through a chain costs above the plain one: at most 3 % and 20 microseconds of processor time. The machine
// may be busy, so the fastest of many runs is taken, both sides in turn: noise only ever adds, so the runs go on until
// the two agree, and a chain that really costs more never gets there.
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "driver/exports.h"
#include "zel_chain.h"

namespace {

double Now() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

struct Case {
  const char* operation;
  const char* words;
  zel::test::Settings settings;  // the same for the plain call
};

const Case kCases[] = {
    {"contrast", "contrast=20", {{20}}},
    {"hue-saturation", "saturation=20", {{0, 20}}},
    {"smart-contrast", "strength=50", {{0, 50}}},
    {"sharpen", "amount=40", {{40}}},
    {"sky-colorful", "amount=50 at=50%,50%", {{50}}},
};

const zel::test::Export& PlainCall(const char* operation) {
  const auto& exports = zel::test::Exports();
  return *std::find_if(exports.begin(), exports.end(),
                       [&](const zel::test::Export& e) { return std::strcmp(e.named.operation, operation) == 0; });
}

bool IsCheap(const Case& c, int width, int height, bool inPlace) {
  std::vector<uint8_t> source(static_cast<size_t>(width) * static_cast<size_t>(height) * 3), destination(source.size());
  for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(i % 3 == 0 ? 220 : 100 + i / 3 % 61);
  const std::vector<uint8_t> kept = source;
  uint8_t* const to = inPlace ? source.data() : destination.data();
  const ImageDesc from = {width, height, ZEL_FORMAT_BGR24, width * 3, source.data()};
  const ImageDesc into = {width, height, ZEL_FORMAT_BGR24, width * 3, to};
  const ZelPixels in = {source.data(), 0, width, height, 3, 8, 1}, out = {to, 0, width, height, 3, 8, 1};
  ZelReport report;
  const std::string line = std::string(c.operation) + " " + c.words;
  ZelChain* const chain = ZelChain_ParseLine(line.data(), line.size(), &report);
  const auto& plainCall = PlainCall(c.operation).call;
  const ZelPoint middleOf = {width / 2, height / 2};
  double plain = 1e9, chained = 1e9;
  bool cheap = false;
  const int least = width > 1 ? 25 : 2000, most = 20 * least;
  for (int i = 0; i < least || (!cheap && i < most); ++i) {
    source = kept;
    const double start = Now();
    plainCall({&from, &into, nullptr, &middleOf, c.settings.numbers.data(), c.settings.reals.data()});
    const double middle = Now();
    source = kept;
    const double again = Now();
    ZelChain_Apply(chain, &in, &out, nullptr, &report);
    plain = std::min(plain, middle - start);
    chained = std::min(chained, Now() - again);
    cheap = chained <= plain * 1.03 + 20e-6;
  }
  ZelChain_Free(chain);
  std::printf("%-34s %4d x %4d %s: %9.1f us plain, %9.1f us as a chain%s\n", line.c_str(), width, height,
              inPlace ? "in place " : "elsewhere", plain * 1e6, chained * 1e6, cheap ? "" : "  TOO MUCH");
  return cheap;
}

}  // namespace

int main() {
  bool good = true;
  for (const Case& c : kCases) {
    for (const int size : {1, 1000}) {
      for (const bool inPlace : {true, false}) {
        good &= IsCheap(c, size, size, inPlace);
      }
    }
  }
  return good ? 0 : 1;
}
