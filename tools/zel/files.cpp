#include "files.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "failure.h"

namespace tool {
namespace {

[[noreturn]] void Throw(int error) {
  throw Failure(std::string("cannot be written: ") + std::strerror(error));
}

// Links between the name and the file are followed, so that the file at their end is replaced.
std::string Resolved(const std::string& path) {
  std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), std::free);
  return real ? real.get() : path;
}

// An output that is no ordinary file. A pipe without a reader is refused instead of waited for.
Descriptor OpenSink(const std::string& path) {
  if (path == "-") return Descriptor(STDOUT_FILENO);
  Descriptor sink(open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK));
  if (sink < 0 && errno == ENXIO) throw Failure("is a pipe that nobody reads");
  if (sink < 0) Throw(errno);
  fcntl(sink, F_SETFL, fcntl(sink, F_GETFL) & ~O_NONBLOCK);
  return sink;
}

}  // namespace

Descriptor::~Descriptor() {
  if (fd_ > 2) close(fd_);
}

Descriptor OpenInput(const std::string& path) {
  if (path == "-") return Descriptor(STDIN_FILENO);
  Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status;
  if (file < 0 || fstat(file, &status) != 0) throw Failure(std::string("cannot be read: ") + std::strerror(errno));
  if (S_ISDIR(status.st_mode)) throw Failure("is a folder, not a file");
  if (!S_ISREG(status.st_mode)) throw Failure("is not a file");
  if (status.st_size == 0) throw Failure("is empty");
  return file;
}

std::string ReadText(const std::string& path) {
  constexpr size_t kMost = 256 << 20;
  const Descriptor file = OpenInput(path);
  std::string text;
  char part[65536];
  for (ssize_t got; (got = read(file, part, sizeof part)) != 0;) {
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw Failure(std::string("cannot be read: ") + std::strerror(errno));
    text.append(part, static_cast<size_t>(got));
    if (text.size() > kMost) throw Failure("is larger than 256 MB");
  }
  return text;
}

std::string DigestOf(int fd) {
  std::unique_ptr<GChecksum, decltype(&g_checksum_free)> sum(g_checksum_new(G_CHECKSUM_SHA256), g_checksum_free);
  unsigned char part[65536];
  off_t at = 0;
  for (ssize_t got; (got = pread(fd, part, sizeof part, at)) > 0; at += got) {
    g_checksum_update(sum.get(), part, got);
  }
  return g_checksum_get_string(sum.get());
}

void WriteAll(int fd, const void* bytes, size_t count) {
  const char* next = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t written = write(fd, next, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) Throw(errno);
    next += written;
    count -= static_cast<size_t>(written);
  }
}

// Where the file system knows files without a name, even a killed process leaves nothing behind; elsewhere a hidden
// name beside the target serves.
NewFile::NewFile(const std::string& path, bool overwrite) : path_(path), overwrite_(overwrite) {
  struct stat old;
  const bool exists = path != "-" && stat(path.c_str(), &old) == 0;
  if (exists && S_ISDIR(old.st_mode)) throw Failure("is a folder");
  replaceable_ = path != "-" && (!exists || S_ISREG(old.st_mode));
  if (!replaceable_) {
    fd_ = open(std::filesystem::temp_directory_path().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd_ < 0) Throw(errno);
    return;
  }
  if (exists && !overwrite) throw Failure("exists already; replace it with --overwrite");
  path_ = Resolved(path);
  const size_t slash = path_.rfind('/');
  folder_ = slash == std::string::npos ? "." : slash == 0 ? "/" : path_.substr(0, slash);
  fd_ = open(folder_.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
  if (fd_ < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == ENOENT)) {
    if (access(folder_.c_str(), F_OK) != 0) Throw(errno);
    MakeName();
    fd_ = open(temporary_.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0666);
    if (fd_ < 0) temporary_.clear();
  }
  if (fd_ < 0) Throw(errno);
  if (exists) {
    // The owner first: changing it may clear bits of the mode.
    const bool owned = fchown(fd_, old.st_uid, old.st_gid) == 0;
    static_cast<void>(fchmod(fd_, old.st_mode & (owned ? 07777 : 0777)));
  }
}

NewFile::~NewFile() {
  if (fd_ >= 0) close(fd_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void NewFile::TakeTimes(const std::string& other) {
  struct stat status;
  if (stat(other.c_str(), &status) != 0) return;
  const timespec times[2] = {status.st_atim, status.st_mtim};
  futimens(fd_, times);
}

void NewFile::Publish() {
  if (!replaceable_) {
    CopyTo(OpenSink(path_));
    return;
  }
  if (fsync(fd_) != 0 && errno != EINVAL) Throw(errno);
  if (temporary_.empty()) {
    if (!overwrite_) {
      Link(path_);
      return;
    }
    MakeName();
    Link(temporary_);
  }
  const int failed = overwrite_ ? rename(temporary_.c_str(), path_.c_str()) : link(temporary_.c_str(), path_.c_str());
  if (failed && errno == EEXIST) throw Failure("exists already; replace it with --overwrite");
  if (failed) Throw(errno);
  if (overwrite_) temporary_.clear();
}

void NewFile::MakeName() {
  static std::atomic<unsigned> counter{0};
  temporary_ = folder_ + "/.zel-" + std::to_string(getpid()) + "-" + std::to_string(counter++) + ".part";
}

void NewFile::Link(const std::string& name) {
  const std::string self = "/proc/self/fd/" + std::to_string(fd_);
  if (linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) return;
  if (name == temporary_) temporary_.clear();
  if (errno == EEXIST) throw Failure("exists already; replace it with --overwrite");
  Throw(errno);
}

void NewFile::CopyTo(int target) {
  char part[65536];
  off_t at = 0;
  for (ssize_t got; (got = pread(fd_, part, sizeof part, at)) > 0; at += got) {
    WriteAll(target, part, static_cast<size_t>(got));
  }
}

void WriteFile(const std::string& path, const std::string& bytes, bool overwrite) {
  NewFile file(path, overwrite);
  WriteAll(file.fd(), bytes.data(), bytes.size());
  file.Publish();
}

}  // namespace tool
