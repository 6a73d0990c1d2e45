#include "color/color_lattice.h"

#include <algorithm>
#include <cstring>

#include "core/scratch.h"
#include "simd/kernels.h"

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

// The lattice with the bytes behind it that the kernels read along.
struct PaddedLattice {
  explicit PaddedLattice(const void* lattice) {
    std::memcpy(nodes, lattice, kLatticeSamples);
    std::memset(nodes + kLatticeSamples, 0, sizeof nodes - kLatticeSamples);
  }
  uint8_t nodes[kPaddedLatticeBytes];
};

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

bool ApplyColorLattice(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                       const void* lattice, int32_t latticeBits) {
  if (source == nullptr || destination == nullptr || lattice == nullptr || !geometry.DescribesMemory()) return false;
  if (geometry.channels != 3 || (latticeBits != 8 && latticeBits != 16)) return false;
  const Region region = ClampedRegion(rect, geometry.width, geometry.height);
  if (latticeBits == 16 || region.IsEmpty()) return true;

  const LatticeKernels& kernels = ActiveKernels().lattice;
  const PaddedLattice padded(lattice);
  const size_t pixels = region.Width();
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const size_t offset = geometry.RowOffset(y) + static_cast<size_t>(region.left) * 3;
    if (geometry.bits == 8) {
      kernels.MapLatticeBytes(static_cast<const uint8_t*>(source) + offset, static_cast<uint8_t*>(destination) + offset,
                              pixels, padded.nodes, geometry.blueFirst);
    } else {
      kernels.MapLatticeWords(static_cast<const uint16_t*>(source) + offset,
                              static_cast<uint16_t*>(destination) + offset, pixels, padded.nodes, geometry.blueFirst);
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
  const PaddedLattice padded(second);
  uint8_t* const nodes = static_cast<uint8_t*>(first);
  ActiveKernels().lattice.MapLatticeBytes(nodes, nodes, kLatticeNodes, padded.nodes, false);
  return true;
}

}  // namespace zel
