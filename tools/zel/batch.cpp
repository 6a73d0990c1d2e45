#include "batch.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
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
#include "files.h"
#include "journal.h"
#include "profile.h"

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

std::string JsonText(const json& j) {
  return j.dump(-1, ' ', false, json::error_handler_t::replace);
}

// Decoded pictures of all photographs in work stay within half of the memory; one alone may be as large as it is.
class Memory {
 public:
  class Share {
   public:
    explicit Share(Memory* memory) : memory_(memory) {}
    ~Share() { memory_->Give(bytes_); }
    void Take(double bytes) {
      memory_->Wait(bytes);
      bytes_ = bytes;
    }

   private:
    Memory* memory_;
    double bytes_ = 0;
  };

 private:
  void Wait(double bytes) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return used_ == 0 || used_ + bytes <= limit_; });
    used_ += bytes;
  }
  void Give(double bytes) {
    const std::lock_guard<std::mutex> lock(mutex_);
    used_ -= bytes;
    changed_.notify_all();
  }

  double used_ = 0;
  double limit_ = 0.5 * static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
  std::mutex mutex_;
  std::condition_variable changed_;
};

// How many photographs are computed at once; one that only waits for the disk takes no place.
class Places {
 public:
  class Place {
   public:
    explicit Place(Places* places) : places_(places) { places_->Take(); }
    ~Place() { places_->Give(); }

   private:
    Places* places_;
  };
  explicit Places(size_t count) : free_(count) {}

 private:
  void Take() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return free_ > 0; });
    --free_;
  }
  void Give() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++free_;
    changed_.notify_one();
  }

  size_t free_;
  std::mutex mutex_;
  std::condition_variable changed_;
};

enum class Result { Done, Skipped, NoPicture, Failed };

// Everything a person or a program sees of a running batch.
class Reporter {
 public:
  Reporter(const BatchOptions& options, const Work& work, const Plan& plan)
      : options_(options),
        total_(plan.jobs.size()),
        noPictures_(plan.skipped),
        operations_(json::parse(work.operations)) {
    bar_ = isatty(STDERR_FILENO) && !options.json && total_ > 1;
  }

  void Finish(const Job& job, Result result, const std::string& error, const Told& told, double seconds) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++counts_[static_cast<int>(result)];
    if (bar_) std::fprintf(stderr, "\r\033[K");
    if (result == Result::Failed) std::fprintf(stderr, "zel: %s: %s\n", job.input.c_str(), error.c_str());
    if (options_.verbose && told.chosen) {
      std::fprintf(stderr, "zel: %s: auto chose %s\n", job.input.c_str(),
                   told.chain.empty() ? "nothing" : told.chain.c_str());
      for (const std::string& choice : told.choices) std::fprintf(stderr, "zel:   %s\n", choice.c_str());
    }
    for (const std::string& note : told.notes) {
      if (options_.verbose || said_.insert(note).second) {
        std::fprintf(stderr, "zel: note: %s: %s\n", job.input.c_str(), note.c_str());
      }
    }
    if (options_.json) {
      static const char* const kNames[] = {"done", "skipped", "no picture", "failed"};
      json line = {{"input", job.input},
                   {"output", job.output},
                   {"operations", operations_},
                   {"result", kNames[static_cast<int>(result)]},
                   {"seconds", seconds}};
      if (!error.empty()) line["error"] = error;
      if (!told.notes.empty()) line["notes"] = told.notes;
      if (told.chosen) line["chosen"] = {{"operations", told.chain}, {"because", told.choices}};
      std::fprintf(options_.plan.output == "-" ? stderr : stdout, "%s\n", JsonText(line).c_str());
      std::fflush(stdout);
    }
    if (bar_) Draw();
  }

  void End() {
    if (bar_) std::fprintf(stderr, "\r\033[K");
    const size_t noPictures = noPictures_ + Count(Result::NoPicture);
    if (total_ > 1) {
      std::string text = std::to_string(Count(Result::Done)) + " done";
      if (Count(Result::Skipped) > 0) text += ", " + std::to_string(Count(Result::Skipped)) + " done before";
      if (Count(Result::Failed) > 0) text += ", " + std::to_string(Count(Result::Failed)) + " failed";
      if (noPictures > 0) text += ", " + std::to_string(noPictures) + " no pictures";
      std::fprintf(stderr, "zel: %s in %.1f s\n", text.c_str(), Seconds(start_));
    } else if (noPictures > 0) {
      std::fprintf(stderr, "zel: %zu files are no pictures\n", noPictures);
    }
  }
  size_t Count(Result result) const { return counts_[static_cast<int>(result)]; }
  size_t Finished() const { return counts_[0] + counts_[1] + counts_[2] + counts_[3]; }

 private:
  void Draw() {
    const double elapsed = Seconds(start_);
    const double rate = static_cast<double>(Finished()) / (elapsed > 0 ? elapsed : 1);
    const auto left = static_cast<long>(static_cast<double>(total_ - Finished()) / rate);
    char bar[31];
    for (size_t i = 0; i < 30; ++i) bar[i] = i * total_ < Finished() * 30 ? '#' : '.';
    bar[30] = 0;
    std::fprintf(stderr, "\r[%s] %zu of %zu  %.1f/s  %ld:%02ld left", bar, Finished(), total_, rate, left / 60,
                 left % 60);
    std::fflush(stderr);
  }

  const BatchOptions& options_;
  bool bar_;
  size_t total_, noPictures_, counts_[4] = {};
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
  if (job.input != "-" && std::filesystem::is_directory(job.input)) {
    throw Failure("is a folder; --recursive takes the photographs in it");
  }
  if (job.input != "-" && access(job.input.c_str(), R_OK) != 0) {
    throw Failure(std::string("cannot be read: ") + std::strerror(errno));
  }
  if (options.overwrite || job.output == "-" || stat(job.output.c_str(), &status) != 0) return;
  if (S_ISREG(status.st_mode)) {
    throw Failure(SameFile(job.input, job.output) ? "is itself the output; replace it with --overwrite"
                                                  : job.output + " exists already; replace it with --overwrite");
  }
}

void MakeFolder(const std::filesystem::path& folder) {
  std::error_code error;
  if (!folder.empty()) std::filesystem::create_directories(folder, error);
}

// Reads, changes and encodes; the picture's memory is free again when it returns.
std::unique_ptr<NewFile> Compute(const Job& job, const Work& work, const BatchOptions& options, Memory* memory,
                                 Told* told) {
  Memory::Share share(memory);
  ReadOptions read = options.read;
  read.toSrgb = options.toSrgb;
  read.reserve = [&](double bytes) { share.Take(bytes); };
  VImage photo = ReadPhoto(job.input, read, &told->notes);
  const std::string profile = OtherProfile(photo);
  if (!profile.empty()) {
    told->notes.push_back("operations ran on the encoded values of its colour profile, " + profile +
                          "; --working srgb converts it first");
  }
  work.run(&photo, told, StopIfAsked);
  StopIfAsked();
  try {
    if (job.output != "-") MakeFolder(std::filesystem::path(job.output).parent_path());
    auto file = std::make_unique<NewFile>(job.output, options.overwrite);
    EncodePhoto(photo, job.format, options.write, file->fd(), &told->notes);
    return file;
  } catch (const Failure& failure) {
    throw Failure(job.output + " " + failure.what());
  }
}

void RunJob(const Job& job, const Work& work, const std::string& key, const BatchOptions& options, Journal* journal,
            Places* places, Memory* memory, Told* told) {
  CheckJob(job, options);
  std::unique_ptr<NewFile> file;
  {
    const Places::Place place(places);
    file = Compute(job, work, options, memory, told);
  }
  StopIfAsked();
  try {
    if (options.keepTime) file->TakeTimes(job.input);
    if (journal) journal->Add(job.input, job.output, key, file->fd());
    file->Publish();
  } catch (const Failure& failure) {
    throw Failure(job.output + " " + failure.what());
  }
}

int DryRun(const Plan& plan, const Work& work, const BatchOptions& options) {
  size_t failed = 0;
  for (const Job& job : plan.jobs) {
    json line = {{"input", job.input}, {"output", job.output}, {"operations", json::parse(work.operations)}};
    try {
      CheckJob(job, options);
      line["result"] = "would be done";
      if (!options.json) std::printf("%s -> %s: %s\n", job.input.c_str(), job.output.c_str(), work.text.c_str());
    } catch (const Failure& failure) {
      ++failed;
      line["result"] = "failed";
      line["error"] = failure.what();
      std::fprintf(stderr, "zel: %s: %s\n", job.input.c_str(), failure.what());
    }
    if (options.json) std::printf("%s\n", JsonText(line).c_str());
  }
  return failed == 0 ? kAllDone : failed == plan.jobs.size() ? kNothingDone : kSomeFailed;
}

// Results also depend on how they are stored.
std::string JournalKey(const Work& work, const BatchOptions& options) {
  const WriteOptions& write = options.write;
  return work.text + " | quality " + std::to_string(write.quality) + (write.strip ? " stripped" : "") +
         (write.progressive ? " progressive" : "") + (write.subsampling.empty() ? "" : " " + write.subsampling) +
         (options.toSrgb ? " in sRGB" : "") +
         (options.read.page < 0 ? "" : " page " + std::to_string(options.read.page));
}

std::unique_ptr<Journal> OpenJournal(const BatchOptions& options, const Plan& plan) {
  if (!options.resume) return nullptr;
  if (!options.journal.empty()) return std::make_unique<Journal>(options.journal);
  // A part of a tree goes on with the journal of the tree.
  namespace fs = std::filesystem;
  const char* const name = ".zel-journal";
  std::error_code error;
  fs::path folder = fs::absolute(plan.root.empty() ? "." : plan.root);
  while (!fs::exists(folder / name, error) && folder.has_relative_path()) folder = folder.parent_path();
  if (fs::exists(folder / name, error)) return std::make_unique<Journal>((folder / name).string());
  MakeFolder(plan.root);
  return std::make_unique<Journal>((fs::path(plan.root) / name).string());
}

}  // namespace

Work ChainWork(const Chain& chain, int automatic) {
  json operations = json::array();
  std::string text;
  if (automatic >= 0) {
    operations.push_back({{"name", "auto"}, {"strength", automatic}});
    text = "auto strength=" + std::to_string(automatic) + (IsEmpty(chain) ? "" : " ");
  }
  for (const json& step : json::parse(ZelChain_Describe(chain.get()))) {
    json entry = {{"name", step["name"]}};
    entry.update(step["settings"]);
    operations.push_back(entry);
  }
  const auto run = [chain, automatic](VImage* photo, Told* told, void (*stop)()) {
    Chain all = chain;
    if (automatic >= 0) {
      const Chain chosen = AutoChain(*photo, automatic, &told->choices);
      told->chosen = true;
      told->chain = ZelChain_Words(chosen.get());
      all = Joined(chosen, chain);
    }
    RunChain(all, photo, &told->notes, stop);
  };
  return {run, text + ZelChain_Words(chain.get()), JsonText(operations)};
}

int RunBatch(const Work& work, const BatchOptions& options) {
  const Plan plan = MakePlan(options.plan);
  const std::vector<Job>& jobs = plan.jobs;
  if (options.dryRun) return DryRun(plan, work, options);
  const std::unique_ptr<Journal> journal = OpenJournal(options, plan);
  const std::string key = JournalKey(work, options);
  CatchSignals();
  Reporter reporter(options, work, plan);
  Memory memory;
  const size_t wanted = options.jobs > 0 ? static_cast<size_t>(options.jobs) : std::thread::hardware_concurrency();
  Places places(std::max<size_t>(wanted, 1));
  std::atomic<size_t> next{0};
  const auto takeJobs = [&] {
    for (size_t i; !stopSignal && (i = next++) < jobs.size();) {
      const Job& job = jobs[i];
      const Clock::time_point start = Clock::now();
      Told told;
      const auto finish = [&](Result result, const std::string& error) {
        reporter.Finish(job, result, error, told, Seconds(start));
      };
      try {
        if (journal && journal->IsDone(job.input, job.output, key)) {
          finish(Result::Skipped, "");
          continue;
        }
        RunJob(job, work, key, options, journal.get(), &places, &memory, &told);
        finish(Result::Done, "");
      } catch (const Stopped&) {
      } catch (const NotAPicture& failure) {
        finish(job.found ? Result::NoPicture : Result::Failed, failure.what());
      } catch (const Failure& failure) {
        finish(Result::Failed, failure.what());
      } catch (const std::bad_alloc&) {
        finish(Result::Failed, "does not fit into memory");
      }
    }
    vips_thread_shutdown();
  };
  // One more than places: while its photograph goes to the disk, the next one is computed.
  std::vector<std::thread> workers;
  for (size_t i = 1; i < wanted + 1 && i < jobs.size(); ++i) workers.emplace_back(takeJobs);
  takeJobs();
  for (std::thread& worker : workers) worker.join();
  reporter.End();
  if (stopSignal) {
    std::fprintf(stderr, "zel: stopped: %zu of %zu photographs finished%s\n", reporter.Finished(), jobs.size(),
                 journal ? "; the same command goes on where it stopped" : "");
    std::signal(stopSignal, SIG_DFL);
    std::raise(stopSignal);
  }
  if (reporter.Count(Result::Failed) == 0) return kAllDone;
  return reporter.Count(Result::Failed) == jobs.size() ? kNothingDone : kSomeFailed;
}

}  // namespace tool
