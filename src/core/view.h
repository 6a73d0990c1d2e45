// Samples in memory as operations see them once the records are checked, typed by their depth.
#ifndef ZEL_CORE_VIEW_H_
#define ZEL_CORE_VIEW_H_

#include <cstring>
#include <type_traits>

#include "core/image.h"

namespace zel {

// The largest sample, and how far levels of 8 bits lie apart.
template <class T>
constexpr int32_t kLast = sizeof(T) == 1 ? 255 : 65535;
template <class T>
constexpr int32_t kLevelStep = sizeof(T) == 1 ? 1 : 257;

// Samples T, or const T where they are only read.
template <class T>
struct View {
  T* data = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  int32_t channels = 0;
  int32_t stride = 0;  // samples from row to row
  bool blueFirst = false;

  View() = default;
  View(T* samples, int32_t columns, int32_t rows, int32_t samplesPerPixel, int32_t step, bool isBlueFirst)
      : data(samples), width(columns), height(rows), channels(samplesPerPixel), stride(step), blueFirst(isBlueFirst) {}
  // What may be written may be read.
  template <class U, class = std::enable_if_t<std::is_same<const U, T>::value && !std::is_same<U, T>::value>>
  View(const View<U>& other)
      : View(other.data, other.width, other.height, other.channels, other.stride, other.blueFirst) {}

  size_t RowOffset(int32_t y) const { return static_cast<size_t>(y) * static_cast<size_t>(stride); }
  size_t Offset(int32_t x, int32_t y) const { return RowOffset(y) + static_cast<size_t>(x) * channels; }
  T* At(int32_t x, int32_t y) const { return data + Offset(x, y); }

  size_t SampleCount() const { return RowOffset(height); }
  Region Whole() const { return {0, 0, width, height}; }
  // Where red, green and blue stand in a pixel of three channels.
  int32_t PlaceOf(int32_t colour) const { return blueFirst ? 2 - colour : colour; }
};

// A view to read from where T follows from another argument.
template <class T>
using Source = View<const std::common_type_t<T>>;

// Rows next to each other.
template <class T>
View<T> PackedView(T* data, int32_t width, int32_t height, int32_t channels, bool blueFirst = false) {
  return {data, width, height, channels, width * channels, blueFirst};
}

// Of a record that IsUsable at this depth.
template <class T>
View<T> ViewOf(const ImageDesc& image) {
  return {reinterpret_cast<T*>(image.data), image.width,  image.height,
          ChannelsOf(image.format),         image.stride, IsBlueFirst(image.format)};
}

// The result of work(view) at the record's depth; false for a record that cannot be used.
template <class Work>
bool WithView(const ImageDesc* image, const Work& work) {
  if (!IsUsable(image)) return false;
  return BitsOf(image->format) == 8 ? work(ViewOf<const uint8_t>(*image)) : work(ViewOf<const uint16_t>(*image));
}

// The result of work(in, out) at the records' depth; false, without a call, for records that do not agree in layout.
template <class Work>
bool WithViews(const ImageDesc* source, const ImageDesc* destination, const Work& work) {
  if (!SameImageLayout(source, destination)) return false;
  return BitsOf(source->format) == 8 ? work(ViewOf<const uint8_t>(*source), ViewOf<uint8_t>(*destination))
                                     : work(ViewOf<const uint16_t>(*source), ViewOf<uint16_t>(*destination));
}

// The same for operations of 8 bits alone; false at 16 bits too.
template <class Work>
bool WithByteViews(const ImageDesc* source, const ImageDesc* destination, const Work& work) {
  return SameImageLayout(source, destination) && BitsOf(source->format) == 8 &&
         work(ViewOf<const uint8_t>(*source), ViewOf<uint8_t>(*destination));
}

// The result of work(image, mask), each at its own depth; false for records that cannot be used.
template <class Work>
bool WithImageAndMask(const ImageDesc* image, const ImageDesc* mask, const Work& work) {
  return IsUsable(mask) && WithView(image, [&](const auto& in) {
           return BitsOf(mask->format) == 8 ? work(in, ViewOf<uint8_t>(*mask)) : work(in, ViewOf<uint16_t>(*mask));
         });
}

// Copies the region's samples, unless both are the same memory.
template <class T>
void CopyRegion(Source<T> source, const View<T>& destination, const Region& region) {
  if (source.data == destination.data || region.IsEmpty()) return;
  for (int32_t y = region.top; y < region.bottom; ++y) {
    std::memcpy(destination.At(region.left, y), source.At(region.left, y),
                static_cast<size_t>(region.Width()) * source.channels * sizeof(T));
  }
}

// Copies the first bytes of an image, or all its height x stride samples, as CopyRows does.
template <class T>
void CopyBytes(const Source<T>& source, const View<T>& destination, size_t bytes) {
  CopyRows(source.data, destination.data, source.Offset(source.width, 0) * sizeof(T), source.RowOffset(1) * sizeof(T),
           bytes);
}
template <class T>
void CopySamples(const Source<T>& source, const View<T>& destination) {
  CopyBytes(source, destination, source.SampleCount() * sizeof(T));
}

}  // namespace zel

#endif  // ZEL_CORE_VIEW_H_
