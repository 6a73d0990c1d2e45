// Colour tables: curves and lattices of any size.
#ifndef ZEL_CHAIN_TABLE_H_
#define ZEL_CHAIN_TABLE_H_

#include <array>

#include "text.h"

namespace zel::chain {

using Row = std::array<double, 3>;

constexpr int32_t kMostRows = 65536, kMostNodes = 129;

}  // namespace zel::chain

// Rows of red, green and blue from 0 to 1. Curves: each channel has its own column of `size` rows. A lattice: size x
// size x size nodes, red varies fastest.
struct ZelTable {
  bool lattice = false;
  int32_t size = 0;
  std::vector<zel::chain::Row> rows;
  zel::chain::Row domainMin{0, 0, 0}, domainMax{1, 1, 1};
};

namespace zel::chain {

size_t RowCount(const ZelTable& table);

// The result for one colour from 0 to 1: linear between rows, tetrahedral between nodes.
Row Look(const ZelTable& table, const Row& colour);

// Whether a table can have this size, all numbers are of a sensible magnitude and the domains ascend.
bool CheckTable(const ZelTable& table, Error* error);

// Whether every value is a whole 255th.
bool IsWhole(const ZelTable& table);

void Resample(const ZelTable& table, int32_t nodes, ZelTable* result);

}  // namespace zel::chain

#endif  // ZEL_CHAIN_TABLE_H_
