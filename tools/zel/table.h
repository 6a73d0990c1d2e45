// Colour tables in the files that other programs read: .cube, HaldCLUT pictures and CLF.
#ifndef ZEL_TOOL_TABLE_H_
#define ZEL_TOOL_TABLE_H_

#include <array>
#include <string>
#include <vector>

#include "photo.h"

namespace tool {

// Rows of red, green and blue from 0 to 1. One dimension: each channel has its own column of `size` rows. Three
// dimensions: size x size x size nodes, red varies fastest.
struct Table {
  bool cube = false;
  int size = 0;
  std::vector<std::array<double, 3>> rows;
  std::array<double, 3> domainMin{0, 0, 0}, domainMax{1, 1, 1};
};

// The result for one colour from 0 to 1: linear between rows, tetrahedral between nodes.
std::array<double, 3> Look(const Table& table, const std::array<double, 3>& colour);

// Throws Failure when memory runs out. A table of 16 nodes in whole 255ths runs through the library, like the operation
// it came from.
void ApplyTable(const Table& table, Photo* photo);

// Nodes anew, by tetrahedral interpolation; also makes nodes of a one-dimensional table.
Table Resampled(const Table& table, int size);

// Every value to a file of its own kind, by suffix: .cube, .clf, .png (HaldCLUT). Throws UsageError for other suffixes.
std::vector<uint8_t> EncodeTable(const Table& table, const std::string& path, const std::string& comment);
// Throws Failure that names the line.
Table ReadTable(const std::string& path);

// Text forms, for tests and fuzzing.
Table ParseCube(const std::string& text);
Table ParseClf(const std::string& text);

}  // namespace tool

#endif  // ZEL_TOOL_TABLE_H_
