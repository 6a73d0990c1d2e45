#include "journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

#include "failure.h"

namespace tool {
namespace {

using nlohmann::json;

std::string Digest(const void* bytes, size_t count) {
  uint64_t hash = 14695981039346656037u;
  for (size_t i = 0; i < count; ++i) hash = (hash ^ static_cast<const uint8_t*>(bytes)[i]) * 1099511628211u;
  return std::to_string(hash);
}

bool Status(const std::string& path, struct stat* status) {
  return stat(path.c_str(), status) == 0;
}

long long ChangeTime(const struct stat& status) {
  return static_cast<long long>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
}

std::string FileDigest(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  return Digest(bytes.data(), bytes.size());
}

}  // namespace

Journal::Journal(const std::string& path) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    const json j = json::parse(line, nullptr, false);
    if (!j.is_object()) continue;
    try {
      entries_[j.at("output")] = {j.at("input"),      j.at("operations"),  j.at("input_size"),
                                  j.at("input_time"), j.at("output_size"), j.at("digest")};
    } catch (const json::exception&) {
    }
  }
  fd_ = open(path.c_str(), O_CREAT | O_RDWR | O_APPEND | O_CLOEXEC, 0666);
  if (fd_ < 0) throw Failure("the journal " + path + " cannot be written: " + std::strerror(errno));
  // A torn last line must not swallow the next one.
  char last = '\n';
  const off_t size = lseek(fd_, 0, SEEK_END);
  if (size > 0 && pread(fd_, &last, 1, size - 1) == 1 && last != '\n' && write(fd_, "\n", 1) != 1) {
    throw Failure("the journal " + path + " cannot be written: " + std::strerror(errno));
  }
}

Journal::~Journal() {
  close(fd_);
}

bool Journal::IsDone(const std::string& input, const std::string& output, const std::string& chain) {
  const auto found = entries_.find(output);
  if (found == entries_.end()) return false;
  const Entry& e = found->second;
  struct stat in, out;
  if (e.input != input || e.chain != chain || !Status(input, &in) || !Status(output, &out)) return false;
  const bool inPlace = in.st_ino == out.st_ino && in.st_dev == out.st_dev;
  if (!inPlace && (in.st_size != e.inputSize || ChangeTime(in) != e.inputTime)) return false;
  return out.st_size == e.outputSize && FileDigest(output) == e.digest;
}

void Journal::Add(const std::string& input, const std::string& output, const std::string& chain,
                  const std::vector<uint8_t>& result) {
  struct stat in;
  if (!Status(input, &in)) return;
  const json j = {{"input", input},
                  {"output", output},
                  {"operations", chain},
                  {"input_size", static_cast<long long>(in.st_size)},
                  {"input_time", ChangeTime(in)},
                  {"output_size", result.size()},
                  {"digest", Digest(result.data(), result.size())}};
  const std::string line = j.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
  const std::lock_guard<std::mutex> lock(mutex_);
  if (write(fd_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    throw Failure(std::string("the journal cannot be written: ") + std::strerror(errno));
  }
}

}  // namespace tool
