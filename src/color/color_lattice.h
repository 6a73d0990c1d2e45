// The colour lattice: a table of 16 x 16 x 16 colours through which an image is mapped by tetrahedral interpolation.
//
// Node (r, g, b) is entry (b * 16 + g) * 16 + r, three samples in the order red, green, blue, and stands for the input
// colour (r * 17, g * 17, b * 17), or r * 4369 and so on in a lattice of 16 bits. Only 8-bit lattices map images.
#ifndef ZEL_COLOR_COLOR_LATTICE_H_
#define ZEL_COLOR_COLOR_LATTICE_H_

#include "core/scratch.h"
#include "core/view.h"
#include "simd/kernels.h"

namespace zel {

constexpr size_t kLatticeNodes = 4096;
constexpr size_t kLatticeSamples = 3 * kLatticeNodes;

void FillIdentityLattice(uint8_t* lattice);

// The identity in a block whose depth is known only when the program runs; allocates the block (to be given to
// ReleaseBytes) when there is none. Null when bits is neither 8 nor 16 or memory ran out. No export comes here: for
// programs that are linked with the static library.
void* MakeColorLattice(void* block, int32_t bits);

// Maps the region through the lattice. Divisions by 17 are done as x 15 / 256, so that even the identity lowers the
// values 16, 33, 50 ... 254 by one; this is promised. 16-bit samples are divided by 257, mapped and multiplied again,
// which keeps 8 bits of precision. In place works. False, with nothing written, for other than three channels.
template <class T>
bool ApplyColorLattice(const Source<T>& source, const View<T>& destination, const Region& region,
                       const uint8_t* lattice);

// The same to the rectangle (reordered and cut). A lattice of 16 bits is accepted and changes nothing. False, with
// nothing written, for records that differ, other lattices or none.
bool ApplyColorLatticeToImage(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                              const void* lattice, int32_t latticeBits);

// Replaces every node of `first` by its colour in `second`: an image mapped through the result goes through `first`,
// then through `second`.
void ComposeColorLattices(uint8_t* first, const uint8_t* second);

// A lattice made ready to map rows. Many pixels repay a table of 68 kilobytes; few, or too little memory for it, do
// with the lattice itself, which must then outlive this.
class LatticeMap {
 public:
  LatticeMap(const uint8_t* lattice, int64_t pixels);

  // Three samples a pixel; `out` may be `in`.
  void Map(const uint8_t* in, uint8_t* out, size_t pixels, bool blueFirst) const;
  void Map(const uint16_t* in, uint16_t* out, size_t pixels, bool blueFirst) const;

 private:
  const LatticeKernels& kernels_ = ActiveKernels().lattice;
  const uint8_t* nodes_;
  Scratch<uint8_t> cells_;
};

}  // namespace zel

#endif  // ZEL_COLOR_COLOR_LATTICE_H_
