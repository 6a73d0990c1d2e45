#include "simd/prepare.h"

namespace zel {

// Weights up to 64 stay whole: a sum of two bytes times 64 is the most that a signed 16-bit product holds. Greater ones
// are split so that the coarse sum over all taps stays below 2^16; the fine sum is folded before it would not. The
// centre is summed first.
void SplitBlurWeights(BlurWeights* weights) {
  const int32_t fineBits = weights->shift - 7, reach = weights->reach;
  const auto split = [&](int32_t k) {
    const int32_t coarse = weights->taps[k] > 64 ? weights->taps[k] >> fineBits : 0;
    const int32_t fine = weights->taps[k] - (coarse << fineBits);
    weights->coarse[k] = 0x01010101u * static_cast<uint32_t>(coarse);
    weights->fine[k] = 0x01010101u * static_cast<uint32_t>(fine);
    return fine;
  };
  int32_t most = 255 * split(reach);  // of the fine sum so far
  weights->runs = 0;
  for (int32_t k = 0; k < reach; ++k) {
    const int32_t share = 2 * 255 * split(k);
    const bool coarse = weights->coarse[k] != 0, fold = most + share > 65535;
    if (k == 0 || fold || coarse != weights->run[weights->runs - 1].coarse) {
      weights->run[weights->runs++] = {k, coarse, fold};
    }
    weights->run[weights->runs - 1].end = k + 1;
    most = share + (fold ? (1 << fineBits) - 1 : most);
  }
}

void PackLatticeCells(const uint8_t* nodes, uint8_t* cells) {
  for (size_t i = 0; i < 4096; ++i, nodes += 3, cells += kLatticeCellBytes) {
    // Behind the last index there is no neighbour, and its weight will be 0.
    const size_t red = i % 16 < 15 ? 3 : 0, green = i / 16 % 16 < 15 ? 48 : 0;
    for (size_t k = 0; k < 3; ++k) {
      cells[4 * k] = nodes[k];
      cells[4 * k + 1] = nodes[k + red];
      cells[4 * k + 2] = nodes[k + green];
      cells[4 * k + 3] = nodes[k + red + green];
    }
  }
}

void PackWeightCells(const uint8_t* weights, bool blueFirst, uint8_t* cells) {
  const size_t firstStep = blueFirst ? 256 : 1, thirdStep = blueFirst ? 1 : 256;
  // Behind the last level there is no neighbour, and its share will be 0.
  const auto above = [](size_t level) { return level < 15 ? level + 1 : level; };
  for (size_t third = 0; third < 16; ++third) {
    for (size_t second = 0; second < 16; ++second) {
      for (size_t first = 0; first < 16; ++first) {
        for (size_t corner = 0; corner < 8; ++corner) {
          const size_t a = (corner & 1) != 0 ? above(first) : first;
          const size_t b = (corner & 2) != 0 ? above(second) : second;
          const size_t c = (corner & 4) != 0 ? above(third) : third;
          *cells++ = weights[a * firstStep + 16 * b + c * thirdStep];
        }
      }
    }
  }
}

}  // namespace zel
