#include "color/color_lattice.h"

#include <algorithm>

#include "core/scratch.h"
#include "simd/prepare.h"

namespace zel {

namespace {

template <class T>
void FillIdentity(T* sample, int32_t step) {
  for (int32_t b = 0; b < 16; ++b) {
    for (int32_t g = 0; g < 16; ++g) {
      for (int32_t r = 0; r < 16; ++r) {
        *sample++ = static_cast<T>(r * step);
        *sample++ = static_cast<T>(g * step);
        *sample++ = static_cast<T>(b * step);
      }
    }
  }
}

// Below this many pixels the table of cells costs more than it saves.
constexpr int64_t kFewPixels = 8192;

}  // namespace

void FillIdentityLattice(uint8_t* lattice) {
  FillIdentity(lattice, 17);
}

void* MakeColorLattice(void* block, int32_t bits) {
  if (bits != 8 && bits != 16) return nullptr;
  if (block == nullptr) block = AllocateBytes(kLatticeSamples * (bits / 8), false);
  if (block == nullptr) return nullptr;
  if (bits == 8) {
    FillIdentity(static_cast<uint8_t*>(block), 17);
  } else {
    FillIdentity(static_cast<uint16_t*>(block), 4369);
  }
  return block;
}

LatticeMap::LatticeMap(const uint8_t* lattice, int64_t pixels) : nodes_(lattice) {
  if (pixels < kFewPixels || !cells_.AllocateZeroed(kLatticeCellBytes * kLatticeCells)) return;
  PackLatticeCells(lattice, cells_.data());
}

void LatticeMap::Map(const uint8_t* in, uint8_t* out, size_t pixels, bool blueFirst) const {
  if (cells_) {
    kernels_.MapCells(in, out, pixels, cells_.data(), blueFirst);
  } else {
    kernels_.MapNodes(in, out, pixels, nodes_, blueFirst);
  }
}

void LatticeMap::Map(const uint16_t* in, uint16_t* out, size_t pixels, bool blueFirst) const {
  constexpr size_t kStrip = 256;
  uint8_t bytes[3 * kStrip];
  for (size_t p = 0; p < pixels; p += kStrip) {
    const size_t count = std::min(kStrip, pixels - p);
    kernels_.DivideBy257(in + 3 * p, bytes, 3 * count);
    Map(bytes, bytes, count, blueFirst);
    kernels_.MultiplyBy257(bytes, out + 3 * p, 3 * count);
  }
}

template <class T>
bool ApplyColorLattice(const Source<T>& source, const View<T>& destination, const Region& region,
                       const uint8_t* lattice) {
  if (source.channels != 3) return false;
  if (region.IsEmpty()) return true;
  const LatticeMap map(lattice, static_cast<int64_t>(region.Width()) * region.Height());
  for (int32_t y = region.top; y < region.bottom; ++y) {
    map.Map(source.At(region.left, y), destination.At(region.left, y), static_cast<size_t>(region.Width()),
            source.blueFirst);
  }
  return true;
}

bool ApplyColorLatticeToImage(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                              const void* lattice, int32_t latticeBits) {
  if (lattice == nullptr || (latticeBits != 8 && latticeBits != 16)) return false;
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    if (latticeBits == 16) return in.channels == 3;
    return ApplyColorLattice(in, out, ClampedRegion(rect, in.Whole()), static_cast<const uint8_t*>(lattice));
  });
}

void ComposeColorLattices(uint8_t* first, const uint8_t* second) {
  ActiveKernels().lattice.MapNodes(first, first, kLatticeNodes, second, false);
}

template bool ApplyColorLattice(const Source<uint8_t>&, const View<uint8_t>&, const Region&, const uint8_t*);
template bool ApplyColorLattice(const Source<uint16_t>&, const View<uint16_t>&, const Region&, const uint8_t*);

}  // namespace zel
