// One level of the two-dimensional transform, taken a strip of columns at a time so that all rows in flight stay in the
// nearest caches. Between measuring and rebuilding, details are kept as what their curves ask of them, the rounded
// magnitude and the sign, in a quarter of their size.
#ifndef ZEL_RETOUCH_WAVELET_STRIP_H_
#define ZEL_RETOUCH_WAVELET_STRIP_H_

#include "core/cache.h"
#include "core/scratch.h"
#include "core/view.h"
#include "retouch/detail_curve.h"
#include "retouch/wavelet.h"

namespace zel {

// Sample `offset` of every pixel of an image, read from `source` and written to `destination`. With one or two channels
// the offset may lead past the end of the memory, where `lastByte` is read and nothing is written.
struct Channel {
  View<const uint8_t> source;
  View<uint8_t> destination;
  size_t offset = 0;
  uint8_t lastByte = 0;

  // How many of `count` samples from column x of row y on lie in memory.
  size_t InMemory(size_t x, size_t y, size_t count) const;
  // Where the row begins that is worth asking for while row y is at hand.
  size_t Ahead(ptrdiff_t y) const;
};

// Pairs of columns in a strip, and columns in a tile. All rows that are in flight at a time take some 50 KB.
constexpr ptrdiff_t kStripPairs = 188;

// Low-pass values in tiles of kStripPairs columns, rows next to each other in each. With fewer tiles than the plane is
// wide, a tile takes the place of an earlier one.
struct TiledPlane {
  static ptrdiff_t Tiles(uint64_t width) { return static_cast<ptrdiff_t>((width + kStripPairs - 1) / kStripPairs); }
  static uint64_t Stride(uint64_t width);

  double* Row(ptrdiff_t tile, ptrdiff_t y) const { return values + (tile % tiles * height + y) * stride; }
  double At(ptrdiff_t x, ptrdiff_t y) const { return Row(x / kStripPairs, y)[x % kStripPairs]; }

  double* values = nullptr;
  ptrdiff_t tiles = 0, height = 0, stride = 0;
};

// What a level transforms: the channel, its last column and row repeated up to the padded size, or, where `plane` has
// values, what the level above leaves in there. Width and height are even and at least 8.
struct Layer {
  ptrdiff_t width = 0, height = 0;
  TiledPlane plane;
  Channel channel;
  // What a strip leaves to the next one: WaveletStrip::kCarried values for each row.
  double* carried = nullptr;
};

// The three quadrants of details: right of the low-pass plane, below it, and diagonally.
enum Quadrant { kRight, kBelow, kDiagonal, kQuadrants };

// New magnitudes by rounded ones.
using DetailCurves = uint8_t[kQuadrants][kDetailEntries];

// The details of a level, from all its strips in the order of their coming: each strip with its margins, row by row.
// Details of 256 and more, which no curve changes, are kept as they are as long as there is room for them; `complete`
// tells whether there was.
struct DetailStore {
  int16_t* rounded = nullptr;
  double* large = nullptr;
  size_t room = 0, taken = 0;  // of the large ones
  bool complete = true;
};

class WaveletStrip {
 public:
  // Tiles of a plane that are in use at a time while strips of the two levels beside it take turns.
  static constexpr ptrdiff_t kLiveTiles = 4;

  // Pairs of columns that must be there on the right of a strip, and values that are carried in each row.
  static constexpr ptrdiff_t kReach = 2 * kLiftMargin;
  static constexpr ptrdiff_t kCarried = 2 * kReach;

  bool Allocate();

  // Rounded details of all strips of a layer of this size.
  static uint64_t StoredDetails(uint64_t width, uint64_t height);

  // Transforms the strip that starts at pair `left`, stores its low-pass values in `low`, keeps and counts its details.
  // Strips are taken from left to right.
  void Measure(const Layer& layer, ptrdiff_t left, const TiledPlane& low, DetailCounts* counts, DetailStore& store);

  // Shrinks the strip's details and writes what the inverse transform makes of them and of the low-pass values in `low`
  // back to the layer. Details of the channel that were not all kept are computed again; those of planes, which are
  // gone by then, must have been. Strips are taken from left to right, from `store.taken` = 0 on.
  void Rebuild(const Layer& layer, ptrdiff_t left, const TiledPlane& low, const DetailCurves& curves,
               DetailStore& store);

 private:
  void Begin(const Layer& layer, ptrdiff_t left);
  template <class Consumer>
  void Transform(const Consumer& consumer);
  int16_t* DetailRows(const DetailStore& store, ptrdiff_t y) const;
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

  Requests requests_;

  // The strip at hand.
  const Layer* layer_ = nullptr;
  ptrdiff_t left_ = 0, pairs_ = 0, wide_ = 0, half_ = 0;
};

}  // namespace zel

#endif  // ZEL_RETOUCH_WAVELET_STRIP_H_
