// The image record: formats, checks, rectangles and copies.
#ifndef ZEL_CORE_IMAGE_H_
#define ZEL_CORE_IMAGE_H_

#include <cstddef>
#include <cstdint>

#include "zel.h"

namespace zel {

// How samples lie in memory: what a record says, unpacked.
struct Geometry {
  int32_t width = 0;
  int32_t height = 0;
  int32_t channels = 0;
  int32_t bits = 0;    // per sample
  int32_t stride = 0;  // samples from row to row
  bool blueFirst = false;

  // Samples and bytes of height x stride. Only for a geometry that describes memory.
  size_t SampleCount() const { return static_cast<size_t>(height) * static_cast<size_t>(stride); }
  size_t ByteCount() const { return SampleCount() * (bits > 8 ? 2 : 1); }
  size_t RowOffset(int32_t y) const { return static_cast<size_t>(y) * static_cast<size_t>(stride); }

  // Positive sizes, a stride that holds a row, 8 or 16 bits, a total below the address space.
  bool DescribesMemory() const;
};

// Half-open ranges of columns and rows inside an image.
struct Region {
  int32_t left = 0, top = 0, right = 0, bottom = 0;

  int32_t Width() const { return right - left; }
  int32_t Height() const { return bottom - top; }
  bool IsEmpty() const { return right <= left || bottom <= top; }
};

// No export comes here: for programs that are linked with the static library and make records of their own.
uint32_t MakeFormatCode(int32_t channels, int32_t bits, int32_t orderFlag);
void InitImageDesc(ImageDesc* image, int32_t width, int32_t height, int32_t channels, int32_t bits, int32_t orderFlag,
                   int32_t stride, void* data);

int32_t ChannelsOf(FormatCode format);
int32_t BitsOf(FormatCode format);
bool IsBlueFirst(FormatCode format);

Geometry GeometryOf(const ImageDesc& image);

// Whether the record is present, has data and describes memory (at any channel count, 8 or 16 bits, words at even
// addresses).
bool IsUsable(const ImageDesc* image);

// Width, height and format are equal; stride and data are not compared.
bool SameImageGeometry(const ImageDesc& a, const ImageDesc& b);

// Both usable and equal in width, height, stride and format: the test with which most operations start.
bool SameImageLayout(const ImageDesc* a, const ImageDesc* b);

// Width, height, format and stride; the data pointer stays. No export comes here either.
void CopyImageHeader(ImageDesc* destination, const ImageDesc& source);

// The rectangle reordered and cut to the whole image; all of it for null. May be empty.
Region ClampedRegion(const ZelRect* rect, const Region& whole);

// The rectangle as given, never reordered, cut to the whole image. A reversed one is empty.
Region GivenRegion(const ZelRect* rect, const Region& whole);

// The region widened by `margin` on every side, cut to the whole image.
Region Grown(const Region& region, int32_t margin, const Region& whole);

// Copies the rectangle's pixels. Nothing happens when the images differ in geometry. Both sides are addressed with the
// source's stride, so the destination must have the same; rows beyond a smaller destination are left out.
void CopyImageRect(const ImageDesc& destination, const ImageDesc& source, const ZelRect* rect);

// What "copies the source" means to a host. Without a rectangle that is height x stride bytes at any depth (the upper
// half of a 16-bit image), cut to what both records hold; with one its pixels. False when a record cannot be used.
bool CopySource(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect);

// What a separate destination gets from some functions that refuse: the source, its rectangle or all height x stride
// samples. Nothing when the records do not agree.
void CopyRefused(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect);

// The first `bytes` of an image whose rows lie `stepBytes` apart, unless both are the same memory. Here and above, row
// ends of more than 4 MiB are left out: the time of a call must not hang on a stride that no pixel lies in.
void CopyRows(const void* source, void* destination, size_t rowBytes, size_t stepBytes, size_t bytes);

}  // namespace zel

#endif  // ZEL_CORE_IMAGE_H_
