// A settings folder of the test's own.
#ifndef ZEL_TESTS_SUPPORT_SETTINGS_H_
#define ZEL_TESTS_SUPPORT_SETTINGS_H_

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace zel::test {

// The library looks for its settings here for the life of the object.
class SettingsFolder {
 public:
  SettingsFolder() {
    if (const char* const before = std::getenv("XDG_CONFIG_HOME")) before_ = before;
    home_ = std::filesystem::temp_directory_path() / ("zel-settings-" + std::to_string(getpid()));
    std::filesystem::create_directories(home_ / "zel");
    setenv("XDG_CONFIG_HOME", home_.c_str(), 1);
  }
  ~SettingsFolder() {
    before_.empty() ? unsetenv("XDG_CONFIG_HOME") : setenv("XDG_CONFIG_HOME", before_.c_str(), 1);
    std::filesystem::remove_all(home_);
  }
  std::filesystem::path File(const char* name) const { return home_ / "zel" / name; }
  void Write(const char* name, const std::string& text) const { std::ofstream(File(name)) << text; }

 private:
  std::filesystem::path home_;
  std::string before_;
};

}  // namespace zel::test

#endif  // ZEL_TESTS_SUPPORT_SETTINGS_H_
