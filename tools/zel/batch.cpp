#include "batch.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "failure.h"
#include "journal.h"

namespace tool {
namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

volatile std::sig_atomic_t stopSignal = 0;

// The first signal lets the photographs in work end; a second one ends the process at once.
void AskToStop(int signal) {
  stopSignal = signal;
}

void CatchSignals() {
  struct sigaction action = {};
  action.sa_handler = AskToStop;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

struct Stopped {};

void StopIfAsked() {
  if (stopSignal) throw Stopped();
}

double Seconds(Clock::time_point from) {
  return std::chrono::duration<double>(Clock::now() - from).count();
}

// Everything a person or a program sees of a running batch.
class Reporter {
 public:
  Reporter(const BatchOptions& options, const Work& work, size_t total)
      : json_(options.json),
        toStderr_(options.output == "-"),
        total_(total),
        operations_(json::parse(work.operations)) {
    bar_ = isatty(STDERR_FILENO) && !json_ && total > 1;
  }

  void Finish(const Job& job, const char* result, const std::string& error, const std::vector<std::string>& notes,
              double seconds) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++finished_;
    if (bar_) std::fprintf(stderr, "\r\033[K");
    if (!error.empty()) {
      ++failed_;
      std::fprintf(stderr, "zel: %s: %s\n", job.input.c_str(), error.c_str());
    }
    for (const std::string& note : notes) {
      if (said_.insert(note).second) std::fprintf(stderr, "zel: note: %s: %s\n", job.input.c_str(), note.c_str());
    }
    if (json_) {
      json line = {{"input", job.input},
                   {"output", job.output},
                   {"operations", operations_},
                   {"result", result},
                   {"seconds", seconds}};
      if (!error.empty()) line["error"] = error;
      if (!notes.empty()) line["notes"] = notes;
      std::fprintf(toStderr_ ? stderr : stdout, "%s\n",
                   line.dump(-1, ' ', false, json::error_handler_t::replace).c_str());
      std::fflush(stdout);
    }
    if (bar_) Draw();
  }

  void End() {
    if (bar_) std::fprintf(stderr, "\r\033[K");
  }
  size_t finished() const { return finished_; }
  size_t failed() const { return failed_; }

 private:
  void Draw() {
    const double elapsed = Seconds(start_);
    const double rate = static_cast<double>(finished_) / (elapsed > 0 ? elapsed : 1);
    const auto left = static_cast<long>(static_cast<double>(total_ - finished_) / rate);
    char bar[31];
    for (size_t i = 0; i < 30; ++i) bar[i] = i * total_ < finished_ * 30 ? '#' : '.';
    bar[30] = 0;
    std::fprintf(stderr, "\r[%s] %zu of %zu  %.1f/s  %ld:%02ld left", bar, finished_, total_, rate, left / 60,
                 left % 60);
    std::fflush(stderr);
  }

  bool json_, toStderr_, bar_;
  size_t total_, finished_ = 0, failed_ = 0;
  json operations_;
  Clock::time_point start_ = Clock::now();
  std::set<std::string> said_;
  std::mutex mutex_;
};

bool SameFile(const std::string& a, const std::string& b) {
  struct stat sa, sb;
  return stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 && sa.st_ino == sb.st_ino && sa.st_dev == sb.st_dev;
}

// What can be known before the work: spares a long computation for a result that may not be stored.
void CheckJob(const Job& job, const BatchOptions& options) {
  struct stat status;
  if (job.input != "-" && access(job.input.c_str(), R_OK) != 0) {
    throw Failure(std::string("cannot be read: ") + std::strerror(errno));
  }
  if (options.overwrite || job.output == "-" || stat(job.output.c_str(), &status) != 0) return;
  if (S_ISREG(status.st_mode)) {
    throw Failure(SameFile(job.input, job.output) ? "is itself the output; replace it with --overwrite"
                                                  : job.output + " exists already; replace it with --overwrite");
  }
}

void RunJob(const Job& job, const Work& work, const std::string& text, const BatchOptions& options, Journal* journal,
            std::vector<std::string>* notes) {
  CheckJob(job, options);
  Photo photo = ReadPhoto(job.input, options.limits);
  work.run(&photo, notes, StopIfAsked);
  StopIfAsked();
  const std::vector<uint8_t> bytes = EncodePhoto(std::move(photo), job.format, options.write, notes);
  StopIfAsked();
  try {
    if (job.output != "-") {
      const auto parent = std::filesystem::path(job.output).parent_path();
      std::error_code error;
      if (!parent.empty()) std::filesystem::create_directories(parent, error);
    }
    if (journal) journal->Add(job.input, job.output, text, bytes);
    WriteFile(job.output, bytes.data(), bytes.size(), options.overwrite);
  } catch (const Failure& failure) {
    throw Failure(job.output + " " + failure.what());
  }
}

int DryRun(const std::vector<Job>& jobs, const std::string& text, const BatchOptions& options) {
  size_t failed = 0;
  for (const Job& job : jobs) {
    try {
      CheckJob(job, options);
      std::printf("%s -> %s: %s\n", job.input.c_str(), job.output.c_str(), text.c_str());
    } catch (const Failure& failure) {
      ++failed;
      std::fprintf(stderr, "zel: %s: %s\n", job.input.c_str(), failure.what());
    }
  }
  return failed == 0 ? kAllDone : failed == jobs.size() ? kNothingDone : kSomeFailed;
}

std::string JournalPath(const BatchOptions& options, const std::vector<Job>& jobs) {
  if (!options.journal.empty()) return options.journal;
  const std::filesystem::path parent = std::filesystem::path(jobs[0].output).parent_path();
  std::error_code error;
  if (!parent.empty()) std::filesystem::create_directories(parent, error);
  return (parent / ".zel-journal").string();
}

}  // namespace

Work ChainWork(const Chain& chain) {
  json operations = json::array();
  for (const json& step : json::parse(ZelChain_Describe(chain.get()))) {
    json entry = {{"name", step["name"]}};
    entry.update(step["settings"]);
    operations.push_back(entry);
  }
  return {
      [chain](Photo* photo, std::vector<std::string>* notes, void (*stop)()) { RunChain(chain, photo, notes, stop); },
      ZelChain_Words(chain.get()), operations.dump(-1, ' ', false, json::error_handler_t::replace)};
}

int RunBatch(const Work& work, const BatchOptions& options) {
  const std::vector<Job> jobs = PlanJobs(options);
  if (options.dryRun) return DryRun(jobs, work.text, options);
  std::unique_ptr<Journal> journal;
  if (options.resume) journal = std::make_unique<Journal>(JournalPath(options, jobs));
  // Results also depend on how they are stored.
  const std::string key =
      work.text + " | quality " + std::to_string(options.write.quality) + (options.write.strip ? " stripped" : "");
  CatchSignals();
  Reporter reporter(options, work, jobs.size());
  std::atomic<size_t> next{0};
  const auto takeJobs = [&] {
    for (size_t i; !stopSignal && (i = next++) < jobs.size();) {
      const Job& job = jobs[i];
      const Clock::time_point start = Clock::now();
      std::vector<std::string> notes;
      try {
        if (journal && journal->IsDone(job.input, job.output, key)) {
          reporter.Finish(job, "skipped", "", {}, Seconds(start));
          continue;
        }
        RunJob(job, work, key, options, journal.get(), &notes);
        reporter.Finish(job, "done", "", notes, Seconds(start));
      } catch (const Stopped&) {
      } catch (const Failure& failure) {
        reporter.Finish(job, "failed", failure.what(), notes, Seconds(start));
      } catch (const std::bad_alloc&) {
        reporter.Finish(job, "failed", "does not fit into memory", notes, Seconds(start));
      }
    }
  };
  std::vector<std::thread> workers;
  for (int i = 1; i < options.jobs && i < static_cast<int>(jobs.size()); ++i) workers.emplace_back(takeJobs);
  takeJobs();
  for (std::thread& worker : workers) worker.join();
  reporter.End();
  if (stopSignal) {
    std::fprintf(stderr, "zel: stopped: %zu of %zu photographs finished%s\n", reporter.finished(), jobs.size(),
                 journal ? "; the same command goes on where it stopped" : "");
    std::signal(stopSignal, SIG_DFL);
    std::raise(stopSignal);
  }
  if (reporter.failed() == 0) return kAllDone;
  return reporter.failed() == jobs.size() ? kNothingDone : kSomeFailed;
}

}  // namespace tool
