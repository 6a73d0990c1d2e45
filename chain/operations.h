// The table of operations: names, parameters, ranges, words for people, and the library call behind each. Help, pages,
// bindings, recipes and checks are all made from it.
#ifndef ZEL_CHAIN_OPERATIONS_H_
#define ZEL_CHAIN_OPERATIONS_H_

#include <array>
#include <string>
#include <vector>

#include "zel.h"

namespace zel {
struct Listener;
}

namespace zel::chain {

enum class Kind { Integer, Real, Choice, Triple, RealTriple, Rect, Point };

struct Parameter {
  const char* name;
  Kind kind;
  double least, most, step;
  const char* fallback;  // as a person would type it; empty: the parameter may be left out
  const char* unit;
  const char* meaning;
  std::vector<const char*> choices;  // Kind::Choice: names of 0, 1, 2...
  bool required = false;             // nothing can be done without it
};

// What becomes of 16-bit samples.
enum class Depth {
  Full,       // all 16 bits
  Curve,      // an 8-bit curve, straight between its 256 values
  Difference  // the change found on an 8-bit copy is added
};

// What an output pixel depends on, apart from settings and measurement.
enum class Reach {
  Curve,       // each channel on itself
  Lattice,     // the pixel's three channels
  Neighbours,  // pixels around it
  Mask         // where in the picture a kind of thing is
};

constexpr int kGrey = 1;           // takes one channel; otherwise three equal ones are passed
constexpr int kMeasures = 2;       // looks at the whole picture
constexpr int kBlueFirst = 4;      // finds red at sample 2
constexpr int kMeasuresRect = 16;  // its rectangle is what it measures; all of the picture changes
constexpr int kPartly = 8;         // may leave pixels of a separate destination unwritten, though no rectangle is given

// A place or an area as given: pixels, or hundredths of the picture's width and height.
struct Coordinate {
  double value = 0;
  bool percent = false;
  int64_t Pixel(int32_t size) const;
};

struct Value {
  bool given = false;
  std::array<double, 3> numbers{};
  std::vector<Coordinate> place;  // of a rectangle or point
  std::string typed;              // as given
};

struct Operation;

// The checked settings of one operation in the order of its parameters, defaults filled in.
struct Settings {
  const Operation* operation = nullptr;
  std::vector<Value> values;

  const Value& Get(const char* name) const;
  int32_t Int(const char* name) const { return static_cast<int32_t>(Get(name).numbers[0]); }
  double Number(const char* name) const { return Get(name).numbers[0]; }
  // Null when the operation has no such parameter or it was not given.
  const Value* Given(const char* name) const;
};

// One call of the library.
struct Call {
  const ImageDesc* source;
  const ImageDesc* destination;
  const Settings& settings;
  const ZelRect* rect;
  const ZelPoint* point;
  const Listener* listener;  // null: nobody

  int32_t Int(const char* name) const { return settings.Int(name); }
  double Number(const char* name) const { return settings.Number(name); }
  std::array<int32_t, 3> Triple(const char* name) const;
  std::array<float, 3> Reals(const char* name) const;
  bool Given(const char* name) const { return settings.Given(name) != nullptr; }
};

struct Operation {
  const char* name;
  const char* group;
  const char* purpose;                  // one sentence
  const char* more;                     // what else a user should know; may be empty
  std::array<const char*, 3> examples;  // settings: mild, middle, strong
  Depth depth;
  Reach reach;
  int flags;
  std::vector<Parameter> parameters;
  int32_t (*run)(const Call& call);  // a code of zel.h
  // Pixels around a result pixel that it depends on at most, and with given settings; -1 for all. Masks need all.
  int widest = 0;
  int (*margin)(const Settings& settings) = nullptr;

  bool Has(int flag) const { return (flags & flag) != 0; }
};

const std::vector<Operation>& Operations();
const Operation* FindOperation(const std::string& name);

// Pixels around it that a result pixel depends on with these settings, -1 for all; and whether, with these settings,
// the whole picture is looked at first.
int MarginOf(const Settings& settings);
bool Measures(const Settings& settings);

}  // namespace zel::chain

#endif  // ZEL_CHAIN_OPERATIONS_H_
