#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "failure.h"
#include "photo.h"

namespace tool {
namespace {

[[noreturn]] void Throw(int error) {
  throw Failure(std::string("cannot be written: ") + std::strerror(error));
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

// A file that nobody sees until it is complete. Where the file system knows files without a name, even a killed process
// leaves nothing behind; elsewhere a hidden name beside the target serves.
class NewFile {
 public:
  explicit NewFile(const std::string& path) : path_(path) {
    const size_t slash = path.rfind('/');
    folder_ = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    fd_ = open(folder_.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
    if (fd_ < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == ENOENT)) {
      if (access(folder_.c_str(), F_OK) != 0) Throw(errno);
      MakeName();
      fd_ = open(temporary_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
      if (fd_ < 0) temporary_.clear();
    }
    if (fd_ < 0) Throw(errno);
  }
  ~NewFile() {
    if (fd_ >= 0) close(fd_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
  }
  int fd() const { return fd_; }

  void Publish(bool overwrite) {
    if (fsync(fd_) != 0 && errno != EINVAL) Throw(errno);
    if (temporary_.empty()) {
      if (!overwrite) {
        Link(path_);
        return;
      }
      MakeName();
      Link(temporary_);
    }
    if (overwrite) {
      if (rename(temporary_.c_str(), path_.c_str()) != 0) Throw(errno);
      temporary_.clear();
    } else if (link(temporary_.c_str(), path_.c_str()) != 0) {
      ThrowUnlinked(errno);
    }
  }

 private:
  void MakeName() {
    static std::atomic<unsigned> counter{0};
    temporary_ = folder_ + "/.zel-" + std::to_string(getpid()) + "-" + std::to_string(counter++) + ".part";
  }
  void Link(const std::string& name) {
    const std::string self = "/proc/self/fd/" + std::to_string(fd_);
    if (linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) != 0) {
      if (name == temporary_) temporary_.clear();
      ThrowUnlinked(errno);
    }
  }
  [[noreturn]] static void ThrowUnlinked(int error) {
    if (error == EEXIST) throw Failure("exists already; replace it with --overwrite");
    Throw(error);
  }

  std::string path_, folder_, temporary_;
  int fd_ = -1;
};

}  // namespace

void WriteFile(const std::string& path, const void* bytes, size_t count, bool overwrite) {
  if (path == "-") {
    WriteAll(STDOUT_FILENO, bytes, count);
    return;
  }
  struct stat status;
  if (stat(path.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) throw Failure("is a folder");
    // A device or a pipe cannot be replaced; it is written to.
    if (!S_ISREG(status.st_mode)) {
      const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
      if (fd < 0) Throw(errno);
      try {
        WriteAll(fd, bytes, count);
      } catch (...) {
        close(fd);
        throw;
      }
      close(fd);
      return;
    }
    if (!overwrite) throw Failure("exists already; replace it with --overwrite");
  }
  NewFile file(path);
  WriteAll(file.fd(), bytes, count);
  file.Publish(overwrite);
}

}  // namespace tool
