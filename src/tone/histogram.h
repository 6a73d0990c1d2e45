// Histograms and what the automatic corrections read off them.
#ifndef ZEL_TONE_HISTOGRAM_H_
#define ZEL_TONE_HISTOGRAM_H_

#include "core/channel_lut.h"

namespace zel {

constexpr int32_t kBins = 256;  // per channel, at both depths: a 16-bit sample v counts in bin v / 257

// Zeroes `channels` tables of kBins floats. False without a block.
bool ClearHistogram(float* block, int32_t channels);

// Three 8-bit tables and the pixels that they have been applied to.
struct AppliedCurves {
  Curves<uint8_t> curves;
  Region region;
};

// How ComputeHistogram looks: at every pixel, or at a grid of about columns x rows; and through which curves, if any.
// Looking through curves counts what an image would hold after ApplyChannelLut, without that image being made.
struct Sampling {
  bool everyPixel = false;
  int32_t columns = 0;
  int32_t rows = 0;
  const AppliedCurves* through = nullptr;
};

// The pixels that a rectangle measures: here its right column and bottom row are included; corners in any order, cut to
// the image, the whole image for null. Never empty.
Region MeasuredRegion(const ZelRect* rect, const Region& whole);

// Counts the samples of a region that is not empty in one table per channel, red first. With `normalise` every bin is
// divided by the number of pixels visited, which is the result. 0 when the image has not 1 or 3 channels or there is no
// block.
template <class T>
int32_t ComputeHistogram(const View<const T>& image, const Region& region, float* block, bool normalise,
                         const Sampling& sampling);

// Walks up a histogram of kBins bins, shareOf(i) in bin i.
template <class ShareOf>
class PercentileWalk {
 public:
  explicit PercentileWalk(const ShareOf& shareOf) : shareOf_(shareOf) {}

  // The next bin at which all bins so far hold more than `limit`; kBins when there is none.
  int32_t To(double limit) {
    while (bin_ < kBins) {
      sum_ += shareOf_(bin_++);
      if (sum_ > limit) return bin_ - 1;
    }
    return kBins;
  }

 private:
  const ShareOf& shareOf_;
  int32_t bin_ = 0;
  double sum_ = 0.0;
};

// Per channel, the first bins at which the cumulative share exceeds the low and then the high fraction; the high index
// is always above the low one. Fractions outside [0, 1) and [0, 1] count as 0.01 and 0.99. `high` and `low` may be
// null. A block of counts is given with normalised = false and the pixel count. An empty histogram answers 0 and 255.
// False, with nothing written, without a block, without pixels, or unless channels is 1 or 3.
bool HistogramPercentiles(const float* block, bool normalised, int32_t count, int32_t channels, int32_t* high,
                          int32_t* low, double highFraction, double lowFraction);

// Channel means on the scale 0 to 255 at both depths, from a grid of 100 x 100 pixels or from every pixel. Outputs may
// be null, not all. False, with nothing written, when there is nothing to measure.
template <class T>
bool ChannelMeans(const View<const T>& image, const Region& region, float* red, float* green, float* blue,
                  bool everyPixel, const AppliedCurves* through = nullptr);

}  // namespace zel

#endif  // ZEL_TONE_HISTOGRAM_H_
