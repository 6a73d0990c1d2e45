// Photographs and colour arithmetic for the measuring programs.
#ifndef ZEL_TOOLS_MEASURE_PHOTOGRAPHS_H_
#define ZEL_TOOLS_MEASURE_PHOTOGRAPHS_H_

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "zel.h"

namespace zel::measure {

using Rgb = std::array<double, 3>;

// Eight bits, three channels, blue first, rows next to each other.
struct Photograph {
  std::string name;
  int32_t width = 0, height = 0;
  std::vector<uint8_t> samples;

  size_t Pixels() const { return samples.size() / 3; }
  ImageDesc Record() const;
  int Level(size_t pixel, int colour) const { return samples[pixel * 3 + 2 - colour]; }
  void SetLevel(size_t pixel, int colour, double level);  // rounds and cuts to 0..255
};

// Constants are chosen on the pictures of one fold alone and judged on those of the other; a picture's name decides its
// fold, and no run sees both. A third, kCheck, is for folders of photographs that played no part: all of them, and no
// drawn scene.
enum class Fold { kTune, kHeldBack, kCheck };
Fold FoldOf(const std::string& name);

// What the programs take from their command line: photographs or folders, and --fold tune|held-back|check (held-back
// when it is not given), --clip, --blown, --save FOLDER. Anything else that begins with two dashes ends the program
// with a message.
struct Options {
  Fold fold = Fold::kHeldBack;
  bool clip = false, blown = false;
  std::string folder;
  std::vector<char*> paths;
};
Options OptionsOf(int count, char** arguments);
const char* NameOf(Fold fold);

// The photographs of the options' fold, and scenes drawn by code: a table of patches, fog, a sunset, a red room, a
// forest, snow, a night.
std::vector<Photograph> PicturesOf(const Options& options);

// The readable pictures among the arguments; a folder gives all of its own. Others are named on standard error.
std::vector<Photograph> LoadPhotographs(int count, char** paths);
bool SavePng(const Photograph& photograph, const std::string& path);

// sRGB levels 0..255 to linear light 0..1 and back.
double Linear(double level);
double Level(double linear);

// Mean CIEDE2000 colour difference of two pictures of the same size.
double MeanDeltaE(const Photograph& a, const Photograph& b);

// Degrees between two colours of light.
double Angle(const Rgb& a, const Rgb& b);

}  // namespace zel::measure

#endif  // ZEL_TOOLS_MEASURE_PHOTOGRAPHS_H_
