// How the tool says that something cannot be done.
#ifndef ZEL_TOOL_FAILURE_H_
#define ZEL_TOOL_FAILURE_H_

#include <stdexcept>
#include <string>

namespace tool {

// Exit codes of every command.
constexpr int kAllDone = 0;
constexpr int kSomeFailed = 1;
constexpr int kUsage = 2;
constexpr int kNothingDone = 3;

// One photograph cannot be read, processed or written. The text is one line for a person, without the file's name.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The file is no picture of a kind that is read.
struct NotAPicture : Failure {
  using Failure::Failure;
};

// The command line, a recipe or a setting is wrong; nothing was started.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace tool

#endif  // ZEL_TOOL_FAILURE_H_
