// Which photograph becomes which file.
#ifndef ZEL_TOOL_PLAN_H_
#define ZEL_TOOL_PLAN_H_

#include <string>
#include <vector>

#include "photo.h"

namespace tool {

struct Job {
  std::string input, output;
  Format format;
  bool found = false;  // in a folder: no failure when it is no picture
};

struct PlanOptions {
  std::vector<std::string> inputs;  // files, "-", and, with `recursive`, folders
  std::string output;               // file, folder, pattern or "-"
  Format format = Format::None;     // None: by the output's suffix
  bool recursive = false;
};

struct Plan {
  std::vector<Job> jobs;
  size_t skipped = 0;  // files in folders that no picture is called like
  std::string root;    // the folder that all results lie in; of a single file its own
};

// Names every result before anything is read. Throws UsageError when the output cannot serve for these inputs.
Plan MakePlan(const PlanOptions& options);

}  // namespace tool

#endif  // ZEL_TOOL_PLAN_H_
