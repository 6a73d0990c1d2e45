#include "simd/prepare.h"

#include <algorithm>

namespace zel {

namespace {

constexpr int32_t kMostUnfoldedReach = 16;

// The taps of a kernel as pairs see them: from 0 to 2 * reach, 0 beyond.
int32_t TapOf(const BlurWeights& weights, int32_t k) {
  const int32_t mirrored = k <= weights.reach ? k : 2 * weights.reach - k;
  return mirrored < 0 ? 0 : weights.taps[mirrored];
}

// What stays of a tap when its coarse part is taken.
int32_t RestOf(const BlurWeights& weights, int32_t tap) {
  return tap & ((1 << (weights.shift - 7)) - 1);
}

// Whether fine sums need no folding when the taps from 2 * edge to its mirror are split and no others. Two bytes times
// 128 in all are the most that a signed 16-bit product holds.
bool FitsWithEdge(const BlurWeights& weights, int32_t edge) {
  int32_t total = 0, before = 0;
  for (int32_t k = 0; k <= 2 * weights.reach; ++k) {
    const int32_t tap = TapOf(weights, k);
    const bool splits = k >= 2 * edge && k <= 2 * (weights.reach - edge);
    const int32_t fine = splits ? RestOf(weights, tap) : tap;
    if (before + fine > 128) return false;
    total += fine;
    before = fine;
  }
  return 255 * total <= 65535;
}

// The largest edge that fits, or -1. In long kernels folding costs less than coarse parts of many taps.
int32_t EdgeOf(const BlurWeights& weights) {
  int32_t edge = weights.reach <= kMostUnfoldedReach ? weights.reach / 2 : -1;
  while (edge >= 0 && !FitsWithEdge(weights, edge)) --edge;
  return edge;
}

// Enters tap or pair m into the runs, and whether the fine sum must be folded before it.
bool EndRun(int32_t m, bool coarse, bool fold, BlurWeights::Run* run, int32_t* runs) {
  if (m == 0 || fold || coarse != run[*runs - 1].coarse) run[(*runs)++] = {m, coarse, fold};
  run[*runs - 1].end = m + 1;
  return fold;
}

// How many taps before the centre must have coarse parts so that fine sums need no folding, or -1 where that is more
// than half.
int32_t MirroredSplitOf(const BlurWeights& weights) {
  const int32_t reach = weights.reach, split = (reach + 1) / 2;
  int32_t total = RestOf(weights, weights.taps[reach]);
  for (int32_t k = 0; k < reach; ++k) {
    total += 2 * (k < reach - split ? weights.taps[k] : RestOf(weights, weights.taps[k]));
  }
  return 255 * total <= 65535 ? split : -1;
}

// Without a split taps up to 64 stay whole here too.
void SplitMirrored(BlurWeights* weights) {
  const int32_t fineBits = weights->shift - 7, reach = std::min(weights->reach, kMaxBlurReach);
  BlurWeights::Mirrored& mirrored = weights->mirrored;
  mirrored.split = MirroredSplitOf(*weights);
  for (int32_t k = 0; k <= reach; ++k) {
    const int32_t tap = weights->taps[k];
    const bool splits = mirrored.split < 0 ? tap > 64 : k >= reach - mirrored.split;
    const int32_t fine = splits ? RestOf(*weights, tap) : tap;
    mirrored.tap[k] = {static_cast<uint8_t>(fine), static_cast<uint8_t>((tap - fine) >> fineBits)};
  }
  int32_t most = 255 * mirrored.tap[reach].fine;
  mirrored.runs = 0;
  for (int32_t k = 0; k < reach; ++k) {
    const BlurWeights::Tap& tap = mirrored.tap[k];
    const int32_t share = 2 * 255 * tap.fine;
    const bool fold = EndRun(k, tap.coarse != 0, most + share > 65535, mirrored.run, &mirrored.runs);
    most = share + (fold ? (1 << fineBits) - 1 : most);
  }
}

void PairWords(BlurWeights* weights) {
  const int32_t reach = weights->reach;
  const auto word = [&](int32_t k) {
    return static_cast<uint32_t>(TapOf(*weights, k)) << (kWordPairShift - weights->shift);
  };
  const auto side = [&](int32_t k) { return k > reach ? 0 : k == reach && k % 2 != 0 ? word(k) : 2 * word(k); };
  for (int32_t m = 0; m <= reach; ++m) {
    for (int32_t row = 0; row < 2; ++row) weights->wordPair[row][m] = word(2 * m - row) | word(2 * m - row + 1) << 16;
  }
  for (int32_t m = 0; m <= reach / 2; ++m) weights->sidePair[m] = side(2 * m) | side(2 * m + 1) << 16;
}

}  // namespace

// Without an edge taps up to 64 stay whole. Greater ones are split so that the coarse sum over all taps stays below
// 2^16; the fine sum is folded before it would not.
void SplitBlurWeights(BlurWeights* weights) {
  const int32_t fineBits = weights->shift - 7, reach = weights->reach;
  weights->edge = EdgeOf(*weights);
  const auto splits = [&](int32_t k) {
    const int32_t first = 2 * weights->edge;
    return weights->edge < 0 ? TapOf(*weights, k) > 64 : k >= first && k <= 2 * reach - first;
  };
  int32_t most[2] = {0, 0};  // of the fine sums so far
  weights->runs = 0;
  for (int32_t m = 0; m <= reach; ++m) {
    int32_t share[2] = {0, 0};
    bool coarse = false;
    for (int32_t row = 0; row < 2; ++row) {
      BlurWeights::Pair& pair = weights->pair[row][m];
      for (int32_t i = 0; i < 8; ++i) {
        const int32_t k = 2 * m - row + i % 2, tap = TapOf(*weights, k);
        const int32_t fine = splits(k) ? RestOf(*weights, tap) : tap;
        pair.fine[i] = static_cast<uint8_t>(fine);
        pair.coarse[i] = static_cast<uint8_t>((tap - fine) >> fineBits);
        coarse = coarse || fine != tap;
        if (i < 2) share[row] += 255 * fine;
      }
    }
    const bool fold =
        EndRun(m, coarse, most[0] + share[0] > 65535 || most[1] + share[1] > 65535, weights->run, &weights->runs);
    for (int32_t row = 0; row < 2; ++row) most[row] = share[row] + (fold ? (1 << fineBits) - 1 : most[row]);
  }
  PairWords(weights);
  SplitMirrored(weights);
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
