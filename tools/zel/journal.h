// What an interrupted batch has already finished.
#ifndef ZEL_TOOL_JOURNAL_H_
#define ZEL_TOOL_JOURNAL_H_

#include <filesystem>
#include <map>
#include <mutex>
#include <string>

namespace tool {

// A text file with one JSON line per photograph. A line is written before its result is published and counts only when
// the result on disk has its length and digest; so being killed at any moment neither loses nor repeats work. Names are
// kept as seen from the journal's folder, so that any part of the work, begun from anywhere, is recognised.
class Journal {
 public:
  // Reads what is there; lines that cannot be understood (a torn last one) are skipped. Throws Failure.
  explicit Journal(const std::string& path);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // Whether the result of this input by this chain is on disk, and the input unchanged since.
  bool IsDone(const std::string& input, const std::string& output, const std::string& chain) const;
  // `result` is a descriptor of the finished file.
  void Add(const std::string& input, const std::string& output, const std::string& chain, int result);

 private:
  struct Entry {
    std::string input, chain;
    long long inputSize, inputTime, outputSize;
    std::string digest;
  };
  std::string FromHere(const std::string& path) const;

  std::filesystem::path folder_;
  std::map<std::string, Entry> entries_;  // by output
  std::mutex mutex_;
  int fd_ = -1;
};

}  // namespace tool

#endif  // ZEL_TOOL_JOURNAL_H_
