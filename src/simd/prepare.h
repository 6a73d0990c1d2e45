// Data in the shapes that the row kernels want.
#ifndef ZEL_SIMD_PREPARE_H_
#define ZEL_SIMD_PREPARE_H_

#include "simd/kernels.h"

namespace zel {

// Fills the runs and the coarse and fine parts from reach, shift and taps.
void SplitBlurWeights(BlurWeights* weights);

// The cells of MapCells from the nodes of MapNodes, kLatticeCellBytes each. The cells behind the last node stay as they
// are.
constexpr size_t kLatticeCellBytes = 16;
void PackLatticeCells(const uint8_t* nodes, uint8_t* cells);

// The cells of WeighPixels, kWeightCellBytes in all, from 16 x 16 x 16 weights: entry r + 16 * g + 256 * b for the
// levels r, g and b of red, green and blue. With `blueFirst` the axes change places, so that the kernel takes samples
// in memory order.
constexpr size_t kWeightCellBytes = 8 * 4096;
void PackWeightCells(const uint8_t* weights, bool blueFirst, uint8_t* cells);

}  // namespace zel

#endif  // ZEL_SIMD_PREPARE_H_
