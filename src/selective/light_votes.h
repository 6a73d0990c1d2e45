// What the colours of a picture say about the colour of its light, before any light is tried.
#ifndef ZEL_SELECTIVE_LIGHT_VOTES_H_
#define ZEL_SELECTIVE_LIGHT_VOTES_H_

#include "core/scratch.h"
#include "core/view.h"

namespace zel {

// Where a colour lies beside neutral, in natural logarithms of linear red and blue against green. Light of another
// colour moves every surface by the same step.
struct Chroma {
  double red, blue;
};

// Votes know it in steps of 1/16, from -3 to 3 on both axes.
constexpr int32_t kPerUnit = 16;
constexpr int32_t kAxis = 96;
constexpr int32_t kSpan = 2 * kAxis;  // of the difference between two

// The place of a difference of chroma in a square of kSpan x kSpan.
constexpr int32_t PlaceOfDifference(int32_t red, int32_t blue) {
  return (red + kAxis) * kSpan + blue + kAxis;
}

enum Clip : int32_t { kRed = 1, kGreen = 2, kBlue = 4 };
constexpr int32_t kClips = 7;  // which channels of a colour are clipped: none, one or two of them

// One colour of the picture.
struct Vote {
  uint32_t weight;
  int32_t place;  // of its chroma, in a square of differences
};
constexpr int32_t kVoteUnit = 1 << 16;

enum Kind : int32_t { kBright, kDark, kEdge };
constexpr int32_t kKinds = 3;
constexpr double kEdgesSay = 16.5;  // what the votes of all edges weigh together, in units

struct LightVotes {
  Scratch<Vote> votes;
  int32_t begins[kKinds * kClips + 1] = {};  // of each kind, those of each way to be clipped one after the other
  int32_t surfaces = 0;                      // colours that were seen
  double high[3] = {};                       // light that one in 200 pixels exceeds, in each channel
  double blown = 0.0;                        // share of the pixels that ran over in all channels
  Chroma shade = {};                         // the mean of the dark surfaces
  bool hasEdges = false;
  Chroma strongest = {};  // of the differences at edges, most of the strongest
};

// Counts them in an image of three channels. False when memory ran out; an image without colour that can be measured
// has no votes.
bool CountLightVotes(const View<const uint8_t>& image, LightVotes* votes);

}  // namespace zel

#endif  // ZEL_SELECTIVE_LIGHT_VOTES_H_
