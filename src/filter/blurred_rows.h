// The separable blur as a stream of rows, for operations that go on with the blurred samples at once.
#ifndef ZEL_FILTER_BLURRED_ROWS_H_
#define ZEL_FILTER_BLURRED_ROWS_H_

#include "core/scratch.h"
#include "core/view.h"
#include "simd/kernels.h"

namespace zel {

// Columns worth summing at a time, so that the rows of a block stay in the first-level cache.
constexpr size_t kBlurTile = 768;

constexpr int32_t kMaxBlockRows = 16;

// Walks the rows of a region from top to bottom in blocks. A block is first blurred along its rows, those within reach
// above and below it included; any part of it can then be summed along the columns. Only a ring of such rows is kept.
//
//   while (const int32_t ready = rows.NextBlock())
//     for (every tile of columns) for (i = 0, 2 .. ready - 1) rows.Sum(i, first, count, out, next);
//
// Two rows summed at once take less than two sums of one. The source rows of a block are not read again by later
// blocks, so the source may be overwritten with the results.
template <class T>
class BlurredRows {
 public:
  // What is blurred in place of the source's own rows.
  class Rows {
   public:
    // Writes pixels of row y from column `left` on; those around the region that the blur looks at are asked for too.
    virtual void Fill(int32_t y, int32_t left, T* samples, int32_t pixels) const = 0;

   protected:
    ~Rows() = default;
  };

  // The region is not empty and lies inside the image; `changed` may be null. False without memory.
  bool Start(const View<const T>& source, const Region& region, const BlurWeights& weights,
             const Rows* changed = nullptr);

  // Goes on to the next rows and returns how many they are, 0 at the end.
  int32_t NextBlock();

  // Blurred samples first to first + count - 1 of the region's part of row i of the block, and of row i + 1 unless
  // `next` is null.
  void Sum(int32_t i, size_t first, size_t count, T* out, T* next = nullptr) const {
    sum_(rows_ + i, first, weights_, out, next, count);
  }

  size_t RowSamples() const { return rowSamples_; }
  // Where the region's part of row i of the block starts in the image.
  size_t Offset(int32_t i) const { return source_.Offset(region_.left, blockTop_ + i); }

 private:
  T* Row(int32_t y) const { return rowsStart_ + y % ringRows_ * stride_; }
  void FilterRow(int32_t y);
  void FilterPart(int32_t y, int32_t left, int32_t right, T* out);

  View<const T> source_;
  const Rows* changed_ = nullptr;
  // The kernels of the depth.
  void (*sum_)(const T* const* rows, size_t first, const BlurWeights& weights, T* out, T* next, size_t count) = nullptr;
  void (*sumAlong_)(const T* in, size_t step, const BlurWeights& weights, T* out, size_t count) = nullptr;
  Region region_;
  BlurWeights weights_;
  size_t rowSamples_ = 0, stride_ = 0;  // of a row, and from one row in the ring to the next
  int32_t blockTop_ = 0, blockRows_ = 0;
  int32_t ringRows_ = 0, filteredEnd_ = 0;
  Scratch<T> ring_;  // rows blurred along themselves, row y in slot y % ringRows_
  T* rowsStart_ = nullptr;
  Scratch<T> line_;                                       // a part of a source row with its surroundings
  const T* rows_[2 * kMaxBlurReach + kMaxBlockRows + 1];  // the block's rows in the ring, those within reach, one more
};

}  // namespace zel

#endif  // ZEL_FILTER_BLURRED_ROWS_H_
