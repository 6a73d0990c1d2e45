// Many photographs through one chain.
#ifndef ZEL_TOOL_BATCH_H_
#define ZEL_TOOL_BATCH_H_

#include <functional>
#include <string>
#include <vector>

#include "chain.h"
#include "photo.h"
#include "plan.h"

namespace tool {

struct BatchOptions {
  PlanOptions plan;
  bool overwrite = false;
  bool json = false;  // one line per photograph on standard output
  bool dryRun = false;
  bool resume = false;
  bool verbose = false;   // what the operations chose, for every photograph
  bool keepTime = false;  // results get the times of their photographs
  bool toSrgb = false;    // photographs with another profile are converted first
  std::string journal;    // empty: .zel-journal at the root of the results
  int jobs = 0;           // 0: one per processor
  ReadOptions read;
  WriteOptions write;
};

// What there is to say about a photograph.
struct Told {
  std::vector<std::string> notes;
  bool chosen = false;               // operations were chosen for it
  std::vector<std::string> choices;  // why; for those who ask
  std::string chain;                 // the chosen operations as words
};

// What is done to every photograph.
struct Work {
  // Calls `stop`, which may throw, between its steps.
  std::function<void(VImage* photo, Told* told, void (*stop)())> run;
  std::string text;        // as typed; what the journal compares
  std::string operations;  // JSON for reports
};
// `automatic` from 0 to 100: first what suits the photograph, at that strength; -1: the chain alone.
Work ChainWork(const Chain& chain, int automatic);

// Runs all jobs and reports them. Returns the exit code of the command. When a signal asks to stop, photographs in work
// are dropped, the rest is left alone, and the process ends by that signal.
int RunBatch(const Work& work, const BatchOptions& options);

}  // namespace tool

#endif  // ZEL_TOOL_BATCH_H_
