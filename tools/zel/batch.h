// Many photographs through one chain.
#ifndef ZEL_TOOL_BATCH_H_
#define ZEL_TOOL_BATCH_H_

#include <functional>
#include <string>
#include <vector>

#include "chain.h"
#include "photo.h"

namespace tool {

struct BatchOptions {
  std::vector<std::string> inputs;
  std::string output;            // file, folder, pattern or "-"
  Format format = Format::None;  // None: by the output's suffix
  bool overwrite = false;
  bool json = false;  // one line per photograph on standard output
  bool dryRun = false;
  bool resume = false;
  std::string journal;  // empty: .zel-journal beside the results
  int jobs = 1;
  ReadLimits limits;
  WriteOptions write;
};

// What is done to every photograph.
struct Work {
  // Calls `stop`, which may throw, between its steps.
  std::function<void(Photo* photo, std::vector<std::string>* notes, void (*stop)())> run;
  std::string text;        // as typed; what the journal compares
  std::string operations;  // JSON for reports
};
Work ChainWork(const Chain& chain);

struct Job {
  std::string input, output;
  Format format;
};

// Names every result before anything is read. Throws UsageError when the output cannot serve for these inputs.
std::vector<Job> PlanJobs(const BatchOptions& options);

// Runs all jobs and reports them. Returns the exit code of the command. When a signal asks to stop, photographs in work
// are dropped, the rest is left alone, and the process ends by that signal.
int RunBatch(const Work& work, const BatchOptions& options);

}  // namespace tool

#endif  // ZEL_TOOL_BATCH_H_
