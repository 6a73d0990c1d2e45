// One level of the two-dimensional transform, taken a strip of columns at a time so that all rows in flight stay in the
// nearest caches. Detail values are never stored: they are computed once to be measured and once more to be shrunk,
// which costs less than moving them through memory.
#ifndef ZEL_RETOUCH_WAVELET_STRIP_H_
#define ZEL_RETOUCH_WAVELET_STRIP_H_

#include "core/image.h"
#include "core/scratch.h"
#include "retouch/detail_curve.h"
#include "retouch/wavelet.h"

namespace zel {

// Sample `offset` of every pixel of an image, read from `source` and written to `destination`. With one or two channels
// the offset may lead past the end of the memory, where `lastByte` is read and nothing is written.
struct Channel {
  const uint8_t* source = nullptr;
  uint8_t* destination = nullptr;
  Geometry geometry;
  size_t offset = 0;
  uint8_t lastByte = 0;

  // How many of `count` samples from column x of row y on lie in memory.
  size_t InMemory(size_t x, size_t y, size_t count) const;
};

// What a level transforms: the channel, its last column and row repeated up to the padded size, or, where `plane` is
// set, the low-pass plane of the level above, rows next to each other. Width and height are even and at least 8.
struct Layer {
  ptrdiff_t width = 0, height = 0;
  double* plane = nullptr;
  Channel channel;
  // What a strip leaves to the next one: WaveletStrip::kCarried values for each row.
  double* carried = nullptr;
};

// The three quadrants of details: right of the low-pass plane, below it, and diagonally.
enum Quadrant { kRight, kBelow, kDiagonal, kQuadrants };

// Curve entries by rounded magnitude, already scaled for the inverse transform of the columns.
using DetailTables = double[kQuadrants][kDetailEntries];

class WaveletStrip {
 public:
  // Pairs of columns in a strip: all rows in flight together take some 50 KB.
  static constexpr ptrdiff_t kPairs = 128;

  // Pairs of columns that must be there on the right of a strip, and values that are carried in each row.
  static constexpr ptrdiff_t kReach = 2 * kLiftMargin;
  static constexpr ptrdiff_t kCarried = 2 * kReach;

  bool Allocate();

  // Transforms the strip that starts at pair `left`, stores its low-pass values in `low` (half as wide and high as the
  // layer) and counts its details. Strips are taken from left to right.
  void Measure(const Layer& layer, ptrdiff_t left, double* low, DetailCounts* counts);

  // Transforms the strip again, replaces its low-pass values by those in `low`, shrinks its details and writes what the
  // inverse transform makes of them back to the layer.
  void Rebuild(const Layer& layer, ptrdiff_t left, const double* low, const DetailTables& tables);

 private:
  struct Span {
    const char* begin;
    size_t bytes;
  };

  void Begin(const Layer& layer, ptrdiff_t left);
  template <class Consumer>
  void Transform(const Consumer& consumer);
  Span SpanOf(ptrdiff_t y) const;
  void LoadRow(ptrdiff_t y);
  void StoreRow(ptrdiff_t y, const double* row);
  // Sample x of the row at hand.
  double& At(ptrdiff_t x) {
    // In two statements: under the sanitizers g++ 12 computes a wrong address for the subscript of a choice.
    double* const samples = x % 2 != 0 ? high_ : low_;
    return samples[(x >> 1) - left_];
  }

  const WaveletKernels* kernels_ = nullptr;
  Scratch<double> memory_;
  double *low_ = nullptr, *high_ = nullptr;  // even and odd samples of a row, from the strip's first pair on
  double *forwardRows_ = nullptr, *inverseRows_ = nullptr, *lastRow_ = nullptr;

  // The strip at hand.
  const Layer* layer_ = nullptr;
  ptrdiff_t left_ = 0, pairs_ = 0, wide_ = 0;
};

}  // namespace zel

#endif  // ZEL_RETOUCH_WAVELET_STRIP_H_
