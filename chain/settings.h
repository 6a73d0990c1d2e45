// Checking what a person or program sets, and where in a picture it means.
#ifndef ZEL_CHAIN_SETTINGS_H_
#define ZEL_CHAIN_SETTINGS_H_

#include <string>
#include <vector>

#include "operations.h"
#include "text.h"

namespace zel::chain {

// Nothing given yet, defaults filled in.
Settings DefaultSettings(const Operation& operation);

// Checks one `typed` value against its parameter and stores it; fails with the range or the choices.
bool SetParameter(const std::string& name, const std::string& typed, Settings* settings, Error* error);

// Whether all that is required was given.
bool CheckComplete(const Settings& settings, Error* error);

// "a whole number from 0 to 100 per cent", "one of auto, red, yellow" and the like.
std::string RangeText(const Parameter& parameter);

// Which of the names `name` was probably meant to be; -1 when nothing is near.
int32_t Nearest(const std::string& name, const std::vector<std::string>& names);

// A picture's size as it is stored, and how it is turned for showing.
struct Shown {
  int32_t width, height, orientation;
};

// Settings in stored pixels.
struct Placed {
  bool hasRect = false, hasPoint = false;
  ZelRect rect{};
  ZelPoint point{};
};

// Fails when the point or the whole rectangle lies outside the picture.
bool Place(const Settings& settings, const Shown& shown, Placed* placed, Error* error);

}  // namespace zel::chain

#endif  // ZEL_CHAIN_SETTINGS_H_
