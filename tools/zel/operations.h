// The table of operations: names, parameters, ranges, words for people, and the library call behind each. Help, manual
// page, completion, documentation, recipes and checks are all made from it.
#ifndef ZEL_TOOL_OPERATIONS_H_
#define ZEL_TOOL_OPERATIONS_H_

#include <array>
#include <map>
#include <string>
#include <vector>

#include "zel.h"

namespace tool {

enum class Kind { Integer, Real, Choice, Triple, RealTriple, Rect, Point };

struct Parameter {
  const char* name;
  Kind kind;
  double least, most;
  const char* fallback;  // as a person would type it; empty: the parameter may be left out
  const char* unit;
  const char* meaning;
  std::vector<const char*> choices;  // Kind::Choice: names of 0, 1, 2...
};

// What becomes of 16-bit photographs.
enum class Depth {
  Sixteen,  // full precision
  Steps,    // runs at 16 bits through a table of 8-bit values
  Eight     // runs on an 8-bit copy whose changes are added to the 16-bit samples
};

// What an output pixel depends on, apart from settings and automatic measurement.
enum class Reach {
  Curve,       // each channel on itself
  Lattice,     // the pixel's three channels
  Neighbours,  // pixels around it
  Mask         // where in the picture a kind of thing is
};

// A place or an area as given: pixels, or hundredths of the picture's width and height.
struct Coordinate {
  double value = 0;
  bool percent = false;
  int Pixel(int size) const;
};

// The checked settings of one operation, defaults filled in.
class Settings {
 public:
  int Int(const char* name) const { return static_cast<int>(Number(name)); }
  double Number(const char* name) const { return numbers.at(name)[0]; }
  std::array<int32_t, 3> Triple(const char* name) const;
  std::array<float, 3> Reals(const char* name) const;
  bool Given(const char* name) const { return given.count(name) != 0; }

  // Null when none was given. Valid for the photograph that Place was called with.
  const ZelRect* Rect() const { return rect.empty() ? nullptr : &placedRect; }
  const ZelPoint* Point() const { return point.empty() ? nullptr : &placedPoint; }
  // Turns coordinates of the upright picture into stored pixels; throws Failure when a point lies outside.
  void Place(int width, int height, int orientation);

  std::map<std::string, std::vector<double>> numbers;
  std::map<std::string, std::string> given;  // as typed
  std::vector<Coordinate> rect, point;

 private:
  ZelRect placedRect{};
  ZelPoint placedPoint{};
};

struct Operation {
  const char* name;
  const char* group;
  const char* purpose;                  // one sentence
  const char* more;                     // what else a user should know; may be empty
  std::array<const char*, 3> examples;  // settings: mild, middle, strong
  Depth depth;
  bool grey;  // takes one channel; otherwise three equal ones are passed
  Reach reach;
  bool automatic;  // measures the photograph
  std::vector<Parameter> parameters;
  int32_t (*run)(const ImageDesc* image, const Settings& settings);  // in place; a code of zel.h
};

const std::vector<Operation>& Operations();
const Operation* FindOperation(const std::string& name);

// The operation or parameter that `name` was probably meant to be; empty when nothing is near.
std::string Nearest(const std::string& name, const std::vector<std::string>& names);

// Checks one `text` against its parameter and stores it; throws UsageError that names the range or the choices.
void SetParameter(const Operation& operation, const std::string& name, const std::string& text, Settings* settings);
// Fills in what was not given.
void FillDefaults(const Operation& operation, Settings* settings);

// "0..100 per cent", "auto, red, yellow" and the like.
std::string RangeText(const Parameter& parameter);

}  // namespace tool

#endif  // ZEL_TOOL_OPERATIONS_H_
