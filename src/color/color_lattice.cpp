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

void LatticeMap::MapBytes(const uint8_t* in, uint8_t* out, size_t pixels, bool blueFirst) const {
  const LatticeKernels& kernels = ActiveKernels().lattice;
  if (cells_) {
    kernels.MapCells(in, out, pixels, cells_.data(), blueFirst);
  } else {
    kernels.MapNodes(in, out, pixels, nodes_, blueFirst);
  }
}

void LatticeMap::MapWords(const uint16_t* in, uint16_t* out, size_t pixels, bool blueFirst) const {
  const LatticeKernels& kernels = ActiveKernels().lattice;
  constexpr size_t kStrip = 256;
  uint8_t bytes[3 * kStrip];
  for (size_t p = 0; p < pixels; p += kStrip) {
    const size_t count = std::min(kStrip, pixels - p);
    kernels.DivideBy257(in + 3 * p, bytes, 3 * count);
    MapBytes(bytes, bytes, count, blueFirst);
    kernels.MultiplyBy257(bytes, out + 3 * p, 3 * count);
  }
}

bool ApplyColorLattice(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                       const void* lattice, int32_t latticeBits) {
  if (source == nullptr || destination == nullptr || lattice == nullptr || !geometry.DescribesMemory()) return false;
  if (geometry.channels != 3 || (latticeBits != 8 && latticeBits != 16)) return false;
  const Region region = ClampedRegion(rect, geometry.width, geometry.height);
  if (latticeBits == 16 || region.IsEmpty()) return true;

  const LatticeMap map(static_cast<const uint8_t*>(lattice), static_cast<int64_t>(region.Width()) * region.Height());
  const size_t pixels = region.Width();
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const size_t offset = geometry.RowOffset(y) + static_cast<size_t>(region.left) * 3;
    if (geometry.bits == 8) {
      map.MapBytes(static_cast<const uint8_t*>(source) + offset, static_cast<uint8_t*>(destination) + offset, pixels,
                   geometry.blueFirst);
    } else {
      map.MapWords(static_cast<const uint16_t*>(source) + offset, static_cast<uint16_t*>(destination) + offset, pixels,
                   geometry.blueFirst);
    }
  }
  return true;
}

bool ApplyColorLatticeToImage(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                              const void* lattice, int32_t latticeBits) {
  if (!SameImageLayout(source, destination)) return false;
  return ApplyColorLattice(source->data, destination->data, GeometryOf(*source), rect, lattice, latticeBits);
}

bool ComposeColorLattices(void* first, int32_t firstBits, const void* second, int32_t secondBits) {
  if (first == nullptr || second == nullptr || firstBits == 16) return false;
  if (firstBits != 8 || secondBits != 8) return true;
  uint8_t* const nodes = static_cast<uint8_t*>(first);
  ActiveKernels().lattice.MapNodes(nodes, nodes, kLatticeNodes, static_cast<const uint8_t*>(second), false);
  return true;
}

}  // namespace zel
