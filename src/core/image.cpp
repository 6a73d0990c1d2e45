#include "core/image.h"

#include <algorithm>
#include <cstring>

namespace zel {

// Hosts lay the record out by themselves: five fields, 20 bytes, in 32-bit processes, the pointer at its own alignment
// in 64-bit ones.
static_assert(sizeof(ImageDesc) == (sizeof(void*) == 4 ? 20 : 24) && offsetof(ImageDesc, data) == 16);
static_assert(sizeof(ZelRect) == 16 && sizeof(ZelPoint) == 8);

namespace {

// Bytes. No picture's rows are that long, so what is longer is no padding and not worth the time.
constexpr size_t kLongestRowEnd = size_t{1} << 22;

int32_t Clamp(int32_t value, int32_t low, int32_t high) {
  return std::min(std::max(value, low), high);
}

// The first bytes of an image.
void CopyBytes(const ImageDesc& source, const ImageDesc& destination, size_t bytes) {
  const Geometry geometry = GeometryOf(source);
  const size_t sample = geometry.bits / 8;
  CopyRows(source.data, destination.data, static_cast<size_t>(geometry.width) * geometry.channels * sample,
           geometry.stride * sample, bytes);
}

}  // namespace

bool Geometry::DescribesMemory() const {
  if (width <= 0 || height <= 0 || channels <= 0 || (bits != 8 && bits != 16)) return false;
  if (stride < static_cast<int64_t>(width) * channels) return false;
  const uint64_t bytes = static_cast<uint64_t>(height) * static_cast<uint64_t>(stride) * (bits == 16 ? 2 : 1);
  return bytes <= static_cast<uint64_t>(PTRDIFF_MAX);
}

uint32_t MakeFormatCode(int32_t channels, int32_t bits, int32_t orderFlag) {
  uint32_t classBits = 0;
  if (channels == 1) classBits = bits == 1 ? 0x00010000u : 0x00100000u;
  if (channels == 3) classBits = 0x01000000u;
  if (channels == 4) classBits = 0x02000000u;
  return classBits | static_cast<uint32_t>(bits) << 8 | static_cast<uint32_t>(channels) << 4 |
         (orderFlag != 0 ? 1u : 0u);
}

void InitImageDesc(ImageDesc* image, int32_t width, int32_t height, int32_t channels, int32_t bits, int32_t orderFlag,
                   int32_t stride, void* data) {
  image->width = width;
  image->height = height;
  image->format = MakeFormatCode(channels, bits, orderFlag);
  image->stride = stride;
  image->data = static_cast<uint8_t*>(data);
}

int32_t ChannelsOf(FormatCode format) {
  return static_cast<int32_t>(format >> 4 & 0xF);
}
int32_t BitsOf(FormatCode format) {
  return static_cast<int32_t>(format >> 8 & 0xFF);
}
bool IsBlueFirst(FormatCode format) {
  return (format & 0xF) != 0;
}

Geometry GeometryOf(const ImageDesc& image) {
  Geometry geometry;
  geometry.width = image.width;
  geometry.height = image.height;
  geometry.channels = ChannelsOf(image.format);
  geometry.bits = BitsOf(image.format);
  geometry.stride = image.stride;
  geometry.blueFirst = IsBlueFirst(image.format);
  return geometry;
}

bool IsUsable(const ImageDesc* image) {
  if (image == nullptr || image->data == nullptr) return false;
  const Geometry geometry = GeometryOf(*image);
  return geometry.DescribesMemory() && reinterpret_cast<uintptr_t>(image->data) % (geometry.bits / 8) == 0;
}

bool SameImageGeometry(const ImageDesc& a, const ImageDesc& b) {
  return a.width == b.width && a.height == b.height && a.format == b.format;
}

bool SameImageLayout(const ImageDesc* a, const ImageDesc* b) {
  return IsUsable(a) && IsUsable(b) && SameImageGeometry(*a, *b) && a->stride == b->stride;
}

void CopyImageHeader(ImageDesc* destination, const ImageDesc& source) {
  uint8_t* const data = destination->data;
  *destination = source;
  destination->data = data;
}

Region ClampedRegion(const ZelRect* rect, const Region& whole) {
  if (rect == nullptr) return whole;
  const ZelRect ordered = {std::min(rect->left, rect->right), std::min(rect->top, rect->bottom),
                           std::max(rect->left, rect->right), std::max(rect->top, rect->bottom)};
  return GivenRegion(&ordered, whole);
}

Region GivenRegion(const ZelRect* rect, const Region& whole) {
  if (rect == nullptr) return whole;
  return {Clamp(rect->left, whole.left, whole.right), Clamp(rect->top, whole.top, whole.bottom),
          Clamp(rect->right, whole.left, whole.right), Clamp(rect->bottom, whole.top, whole.bottom)};
}

Region Grown(const Region& region, int32_t margin, const Region& whole) {
  return {std::max(region.left - margin, whole.left), std::max(region.top - margin, whole.top),
          std::min(region.right + margin, whole.right), std::min(region.bottom + margin, whole.bottom)};
}

void CopyImageRect(const ImageDesc& destination, const ImageDesc& source, const ZelRect* rect) {
  if (!SameImageGeometry(source, destination) || !IsUsable(&source) || !IsUsable(&destination)) return;
  const Geometry geometry = GeometryOf(source);
  const Region region = ClampedRegion(rect, {0, 0, geometry.width, geometry.height});
  if (region.IsEmpty() || source.data == destination.data) return;
  const size_t sampleBytes = geometry.bits / 8;
  const size_t rowSamples = static_cast<size_t>(region.Width()) * geometry.channels;
  const size_t destinationSamples = GeometryOf(destination).SampleCount();
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const size_t first = geometry.RowOffset(y) + static_cast<size_t>(region.left) * geometry.channels;
    if (first + rowSamples > destinationSamples) return;
    std::memcpy(destination.data + first * sampleBytes, source.data + first * sampleBytes, rowSamples * sampleBytes);
  }
}

bool CopySource(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
  if (!IsUsable(source) || !IsUsable(destination)) return false;
  if (rect != nullptr) {
    CopyImageRect(*destination, *source, rect);
  } else {
    CopyBytes(*source, *destination, std::min(GeometryOf(*source).SampleCount(), GeometryOf(*destination).ByteCount()));
  }
  return true;
}

void CopyRefused(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
  if (!SameImageLayout(source, destination)) return;
  if (rect != nullptr) {
    CopyImageRect(*destination, *source, rect);
  } else {
    CopyBytes(*source, *destination, GeometryOf(*source).ByteCount());
  }
}

void CopyRows(const void* source, void* destination, size_t rowBytes, size_t stepBytes, size_t bytes) {
  if (source == destination) return;
  const size_t row = stepBytes - rowBytes <= kLongestRowEnd ? bytes : rowBytes;
  for (size_t first = 0; first < bytes; first += row < bytes ? stepBytes : bytes) {
    std::memcpy(static_cast<uint8_t*>(destination) + first, static_cast<const uint8_t*>(source) + first,
                std::min(row, bytes - first));
  }
}

}  // namespace zel
