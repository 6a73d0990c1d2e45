// Colour temperature: warmer or cooler by moving the white point along the colours of daylight.
#ifndef ZEL_TONE_COLOR_TEMPERATURE_H_
#define ZEL_TONE_COLOR_TEMPERATURE_H_

#include "core/view.h"

namespace zel {

// CIE chromaticity of a light of the given temperature, linear between tabulated rows, held constant below 1000 K and
// above 25000 K.
double ChromaticityX(int32_t kelvin);
double ChromaticityY(int32_t kelvin);

// From -100 (4500 K, warmest) to 100 (9000 K, coolest); values beyond go on to 0 K and 25000 K. 0 copies the whole
// image, rectangle or not. Three channels, 8 and 16 bits, by an 8-bit curve. False, with nothing written, on images
// that differ or cannot be processed, or when memory ran out.
bool ColorTemperature(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t temperature);
template <class T>
bool ColorTemperatureRaw(const Source<T>& source, const View<T>& destination, const Region& region,
                         int32_t temperature);

// The temperature behind a level from 0 (warmest) to 100 (coolest).
int32_t TemperatureOfLevel(int32_t level);

// Multiplies the channels by the gains that take the white of one temperature to the white of another.
template <class T>
bool WhiteBalanceShift(const Source<T>& source, const View<T>& destination, const Region& region,
                       int32_t referenceKelvin, int32_t targetKelvin);

}  // namespace zel

#endif  // ZEL_TONE_COLOR_TEMPERATURE_H_
