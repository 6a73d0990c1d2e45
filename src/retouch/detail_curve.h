// How strongly the details of one quadrant are shrunk.
#ifndef ZEL_RETOUCH_DETAIL_CURVE_H_
#define ZEL_RETOUCH_DETAIL_CURVE_H_

#include <cstddef>
#include <cstdint>

namespace zel {

// Details are taken by their rounded magnitude; those of 256 and above stay as they are.
constexpr int32_t kDetailEntries = 256;

// The largest magnitudes of a quadrant. The curve asks for the magnitude that only one detail in 2048 exceeds, so
// counting can leave out whatever more details than that are known to reach.
class DetailCounts {
 public:
  explicit DetailCounts(uint64_t area = 0) : cut_(area < 2048 ? 1 : area >> 11) {}

  // Counts details by their rounded magnitudes, none of which is above `most`. Those from 255 on are counted as one.
  void Add(const int16_t* rounded, size_t count, int32_t most);

  // The largest magnitude that more than one in 2048 details reach, at least two of them; 0 when that is below 1.
  int32_t RobustMaximum() const;

 private:
  void Count(int32_t magnitude);

  uint64_t cut_;
  uint64_t counts_[kDetailEntries] = {};
  uint64_t reached_ = 0;  // sum of the counts from floor_ on
  int32_t floor_ = 1;     // magnitudes below it are not counted any more
};

// The shrink curve, new magnitude by rounded magnitude, for details with this robust maximum at a strength above 0.
// Mode 1 puts the knee at a quarter of the maximum, modes 2 and 3 at half of it, mode 4 at three quarters. The identity
// when the knee would be 0. Noise reduction uses modes 1 and 2; the others are for programs that shrink more.
void BuildDetailCurve(int32_t robustMaximum, int32_t strength, int32_t mode, uint8_t curve[kDetailEntries]);

}  // namespace zel

#endif  // ZEL_RETOUCH_DETAIL_CURVE_H_
