// Pixels as hosts have them, and as the library takes them: rows of one or three samples.
#ifndef ZEL_CHAIN_PIXELS_H_
#define ZEL_CHAIN_PIXELS_H_

#include <memory>

#include "text.h"

namespace zel::chain {

// Memory that is asked for without throwing.
class Buffer {
 public:
  bool Allocate(size_t bytes) {
    memory_.reset(new (std::nothrow) uint8_t[bytes]);
    return memory_ != nullptr;
  }
  uint8_t* data() const { return memory_.get(); }

 private:
  std::unique_ptr<uint8_t[]> memory_;
};

// A picture in the shape of the library's records.
struct Work {
  uint8_t* data = nullptr;
  size_t rowBytes = 0;  // a multiple of the sample's size
  int32_t width = 0, height = 0, channels = 3, bits = 8;
  bool blueFirst = true;

  size_t SampleBytes() const { return bits > 8 ? 2 : 1; }
  size_t RowSamples() const { return static_cast<size_t>(width) * static_cast<size_t>(channels); }
  uint8_t* Row(int32_t y) const { return data + static_cast<size_t>(y) * rowBytes; }
  ImageDesc Record() const;
  // `rows` rows from `top` on.
  Work Band(int32_t top, int32_t rows) const;
  // Memory for rows without a gap, kept by `buffer`. False when there is none.
  bool Allocate(Buffer* buffer);
};

bool CheckPixels(const ZelPixels* pixels, const char* which, Error* error);
// Both sound, equal in size and depth.
bool CheckPair(const ZelPixels* source, const ZelPixels* destination, Error* error);

inline bool IsGrey(const ZelPixels& pixels) {
  return pixels.channels < 3;
}
// Whether the library can work right there; order aside.
bool IsDirect(const ZelPixels& pixels, int32_t channels);
Work DirectWork(const ZelPixels& pixels);
bool SameMemory(const ZelPixels& a, const ZelPixels& b);

// Colour of `work.height` rows from row `top` of the pixels into the work, or back; grey becomes three equal samples,
// and three become grey by their middle one. Alpha is left alone by the first and comes from `alpha` in the second,
// which may be the destination itself; full where it has none.
void Unpack(const ZelPixels& source, int32_t top, const Work& work);
void Pack(const Work& work, const ZelPixels& destination, int32_t top, const ZelPixels& alpha);

// Swaps first and third sample in place.
void SwapOrder(const Work& work);

// Whether no pixel has colour beyond rounding, 2 of 255.
bool IsColourless(const Work& work);

// 16 bits to the nearest of 8, and the difference of two 8-bit pictures added to 16 bits.
void Narrow(const Work& wide, const Work& narrow);
void AddDifference(const Work& narrow, const Work& wide);

}  // namespace zel::chain

#endif  // ZEL_CHAIN_PIXELS_H_
