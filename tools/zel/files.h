// Files as the tool takes and leaves them.
#ifndef ZEL_TOOL_FILES_H_
#define ZEL_TOOL_FILES_H_

#include <string>

namespace tool {

// A descriptor that is closed with its owner; standard input and output stay open.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
  ~Descriptor();
  operator int() const { return fd_; }

 private:
  int fd_;
};

// Opens for reading; "-" is standard input. Folders, empty files, and pipes and devices, which may never end, are a
// Failure.
Descriptor OpenInput(const std::string& path);

// The whole of a file that is no larger than 256 MB; otherwise like OpenInput.
std::string ReadText(const std::string& path);

// The SHA-256 of what a descriptor holds from its beginning.
std::string DigestOf(int fd);

// A file that nobody sees until it is complete: `path` is either the old file or the new one at every moment, also when
// the process is killed. A symbolic link stays one and its target is replaced; a replaced file keeps its mode and,
// where the system allows it, its owner. Pipes, devices and "-" cannot be replaced: they are written to at the end.
class NewFile {
 public:
  // Without `overwrite` an existing file is a Failure.
  NewFile(const std::string& path, bool overwrite);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  int fd() const { return fd_; }
  // The times of another file.
  void TakeTimes(const std::string& other);
  void Publish();

 private:
  void MakeName();
  void Link(const std::string& name);
  void CopyTo(int target);

  std::string path_, folder_, temporary_;
  bool overwrite_, replaceable_ = true;
  int fd_ = -1;
};

void WriteFile(const std::string& path, const std::string& bytes, bool overwrite);

// Writes all of it; throws Failure.
void WriteAll(int fd, const void* bytes, size_t count);

}  // namespace tool

#endif  // ZEL_TOOL_FILES_H_
