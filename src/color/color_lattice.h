// The colour lattice: a table of 16 x 16 x 16 colours through which an image is mapped by tetrahedral interpolation.
//
// Node (r, g, b) is entry (b * 16 + g) * 16 + r, three samples in the order red, green, blue, and stands for the input
// colour (r * 17, g * 17, b * 17), or r * 4369 and so on in a lattice of 16 bits. Only 8-bit lattices map images.
#ifndef ZEL_COLOR_COLOR_LATTICE_H_
#define ZEL_COLOR_COLOR_LATTICE_H_

#include "core/image.h"
#include "core/scratch.h"

namespace zel {

constexpr size_t kLatticeNodes = 4096;
constexpr size_t kLatticeSamples = 3 * kLatticeNodes;

// Fills the block with the identity; allocates it (to be given to ReleaseBytes) when there is none. Null when bits is
// neither 8 nor 16 or memory ran out.
void* MakeColorLattice(void* block, int32_t bits);

// Maps the rectangle (reordered and cut) through the lattice. Divisions by 17 are done as x 15 / 256, so that even the
// identity lowers the values 16, 33, 50 ... 254 by one; this is promised. 16-bit samples are divided by 257, mapped and
// multiplied again, which keeps 8 bits of precision.
//
// Three channels, 8 and 16 bits; in place works. A lattice of 16 bits is accepted and changes nothing. False, with
// nothing written, for anything else.
bool ApplyColorLattice(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                       const void* lattice, int32_t latticeBits);
bool ApplyColorLatticeToImage(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                              const void* lattice, int32_t latticeBits);

// Replaces every node of `first` by its colour in `second`: an image mapped through the result goes through `first`,
// then through `second`. 8 bits; with other depths nothing changes, and 16 bits in `first` fail like a null lattice.
bool ComposeColorLattices(void* first, int32_t firstBits, const void* second, int32_t secondBits);

// A lattice made ready to map rows. Many pixels repay a table of 68 kilobytes; few, or too little memory for it, do
// with the lattice itself, which must then outlive this.
class LatticeMap {
 public:
  LatticeMap(const uint8_t* lattice, int64_t pixels);

  // Three samples a pixel, 8 or 16 bits; `out` may be `in`.
  void MapBytes(const uint8_t* in, uint8_t* out, size_t pixels, bool blueFirst) const;
  void MapWords(const uint16_t* in, uint16_t* out, size_t pixels, bool blueFirst) const;

 private:
  const uint8_t* nodes_;
  Scratch<uint8_t> cells_;
};

}  // namespace zel

#endif  // ZEL_COLOR_COLOR_LATTICE_H_
