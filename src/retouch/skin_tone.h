// Moves the colour of skin to a colour described by three sliders.
#ifndef ZEL_RETOUCH_SKIN_TONE_H_
#define ZEL_RETOUCH_SKIN_TONE_H_

#include "core/pixel.h"

namespace zel {

// The skin colour that is assumed without a point.
constexpr Rgb kTypicalSkin{189, 140, 131};

// The sliders, in per cent: lightness from the green sample, the balances from how far green is from white compared
// with blue and with red.
struct SkinPercentages {
  int32_t lightness, blueBalance, redBalance;
};

// The sliders that describe a colour; of each sample the low eight bits count.
SkinPercentages PercentagesOf(const Rgb& skin);

// The colour that sliders describe, 0 to 255 each; any values are taken.
Rgb ComplementTarget(const SkinPercentages& percentages);

// The colour of a pixel at full depth, for one channel three times the same. False, with nothing written, outside the
// image and for other than one or three channels of 8 or 16 bits.
bool SamplePixel(const ImageDesc* image, int32_t x, int32_t y, Rgb* colour);

// The sliders that describe the colour of the skin at `point`, or typical skin without one, which no image is needed
// for. False, with nothing written, as SamplePixel.
bool InitialPercentages(const ImageDesc* image, const ZelPoint* point, SkinPercentages* percentages);

// Carries that colour to the one that the sliders describe, as SkinToneCorrect does. False when it cannot be sampled;
// whether the image could be corrected is not reported.
bool SkinTone(const ImageDesc* source, const ImageDesc* destination, const ZelPoint* point,
              const SkinPercentages& percentages, const ZelRect* rect);

// Carries `skin` to `target` by one gain per channel, through a softened mask of the colour around `point`, or of
// skin-like hues without one. A reversed rectangle is empty. 8 bits, three channels. False when the records differ,
// for anything else and without memory, with nothing written; at 16 bits a separate destination then holds the colour
// change without a mask.
bool SkinToneCorrect(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const ZelPoint* point,
                     const Rgb& skin, const Rgb& target);

// The gains alone, over the region. `maximum` is the scale of the two colours: 255 or 65535. Those of the other scale
// are brought to the image's: divided by 257, or multiplied by 257, of which the low 16 bits count. A strength other
// than 100 averages table and identity, times that many fiftieths. Three channels; in place works. False, with nothing
// written, for anything else and without memory.
template <class T>
bool SkinToneShift(const Source<T>& source, const View<T>& output, const Region& region, const Rgb& skin,
                   const Rgb& target, int32_t maximum, int32_t strength);

// Fills a table with i * target / skin, rounded and limited; all `target` for a skin of 0. The last entry of an 8-bit
// table does not follow the strength.
template <class T>
void BuildSkinGainLut(T* table, int32_t skin, int32_t target, int32_t strength);

}  // namespace zel

#endif  // ZEL_RETOUCH_SKIN_TONE_H_
