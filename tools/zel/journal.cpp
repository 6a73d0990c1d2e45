#include "journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>

#include "failure.h"
#include "files.h"

namespace tool {
namespace {

using nlohmann::json;

bool Status(const std::string& path, struct stat* status) {
  return stat(path.c_str(), status) == 0;
}

long long ChangeTime(const struct stat& status) {
  return static_cast<long long>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
}

[[noreturn]] void Throw(const std::string& path, const std::string& what) {
  throw Failure("the journal " + path + " " + what);
}

}  // namespace

Journal::Journal(const std::string& path) : folder_(std::filesystem::absolute(path).lexically_normal().parent_path()) {
  fd_ = open(path.c_str(), O_CREAT | O_RDWR | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0666);
  struct stat status;
  if (fd_ < 0 || fstat(fd_, &status) != 0) Throw(path, std::string("cannot be written: ") + std::strerror(errno));
  if (!S_ISREG(status.st_mode)) Throw(path, "is not a file");
  std::istringstream text(status.st_size > 0 ? ReadText(path) : "");
  for (std::string line; std::getline(text, line);) {
    const json j = json::parse(line, nullptr, false);
    if (!j.is_object()) continue;
    try {
      entries_[j.at("output")] = {j.at("input"),      j.at("operations"),  j.at("input_size"),
                                  j.at("input_time"), j.at("output_size"), j.at("digest")};
    } catch (const json::exception&) {
    }
  }
  // A torn last line must not swallow the next one.
  char last = '\n';
  if (status.st_size > 0 && pread(fd_, &last, 1, status.st_size - 1) == 1 && last != '\n') WriteAll(fd_, "\n", 1);
}

Journal::~Journal() {
  close(fd_);
}

std::string Journal::FromHere(const std::string& path) const {
  return std::filesystem::absolute(path).lexically_normal().lexically_relative(folder_).string();
}

bool Journal::IsDone(const std::string& input, const std::string& output, const std::string& chain) const {
  const auto found = entries_.find(FromHere(output));
  if (found == entries_.end()) return false;
  const Entry& e = found->second;
  struct stat in, out;
  if (e.input != FromHere(input) || e.chain != chain || !Status(input, &in) || !Status(output, &out)) return false;
  const bool inPlace = in.st_ino == out.st_ino && in.st_dev == out.st_dev;
  if (!inPlace && (in.st_size != e.inputSize || ChangeTime(in) != e.inputTime)) return false;
  if (out.st_size != e.outputSize || !S_ISREG(out.st_mode)) return false;
  const Descriptor file(open(output.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  return file >= 0 && DigestOf(file) == e.digest;
}

void Journal::Add(const std::string& input, const std::string& output, const std::string& chain, int result) {
  struct stat in, out;
  if (!Status(input, &in) || fstat(result, &out) != 0) return;
  const json j = {{"input", FromHere(input)},     {"output", FromHere(output)},
                  {"operations", chain},          {"input_size", static_cast<long long>(in.st_size)},
                  {"input_time", ChangeTime(in)}, {"output_size", static_cast<long long>(out.st_size)},
                  {"digest", DigestOf(result)}};
  const std::string line = j.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
  const std::lock_guard<std::mutex> lock(mutex_);
  if (write(fd_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    throw Failure(std::string("the journal cannot be written: ") + std::strerror(errno));
  }
}

}  // namespace tool
