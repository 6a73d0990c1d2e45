#include "core/platform.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "zel.h"

namespace zel::test {
namespace {

int32_t Lookup(const std::string& text, const char* key) {
  return ProfileIntFromText(text.data(), text.size(), "AWB", key, 85);
}

TEST(Profile, FindsTheFirstMatchWithoutRegardToCase) {
  const std::string text =
      "\xEF\xBB\xBF; comment\r\nThreshold = 1\r\n[other]\r\nThreshold=2\r\n[ awb ]\r\n  THRESHOLD =\t42 per cent\r\n"
      "Threshold=7\r\nNegative=-12\nplus=+3\n[AWB]\nLate=9";
  EXPECT_EQ(Lookup(text, "Threshold"), 42);
  EXPECT_EQ(Lookup(text, "negative"), -12);
  EXPECT_EQ(Lookup(text, "plus"), 3);
  EXPECT_EQ(Lookup(text, "Late"), 9);
}

TEST(Profile, GarbageGivesTheDefault) {
  for (const char* text : {"", "[AWB", "[AWB]", "[AWB]\nkey", "[AWB]\nkey=", "[AWB]\nkey=abc", "[AWB]\nkey=-",
                           "[AWB]\nkey=99999999999999999999", "[AWB]\n;key=5", "[AWB]\nkey2=5", "[AW]\nkey=5",
                           "\xFF\xFE[AWB]\n", "=\n=\n[]\n[AWB]=\n"}) {
    EXPECT_EQ(Lookup(text, "key"), 85) << text;
  }
  EXPECT_EQ(Lookup(std::string("[AWB]\n\0key=5", 12), "key"), 5) << "stray zero bytes count as blanks";
}

#ifndef _WIN32
class SettingsFolder : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* const old = std::getenv("XDG_CONFIG_HOME");
    old_ = old != nullptr ? old : "";
    folder_ = std::filesystem::temp_directory_path() / ("zel-settings-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder_ / "zel");
    setenv("XDG_CONFIG_HOME", folder_.c_str(), 1);
  }
  void TearDown() override {
    setenv("XDG_CONFIG_HOME", old_.c_str(), 1);
    std::filesystem::remove_all(folder_);
  }
  void Write(const std::string& text) { std::ofstream(folder_ / "zel" / "zel_ip.ini") << text; }

  std::string old_;
  std::filesystem::path folder_;
};

TEST_F(SettingsFolder, IsReadAnewOnEveryCall) {
  const auto lookup = [] { return ProfileInt("zel_ip.ini", "TavoraDemo", "TimeCalculation", 0); };
  EXPECT_EQ(lookup(), 0);
  Write("[TavoraDemo]\nTimeCalculation=1\n");
  EXPECT_EQ(lookup(), 1);
  std::filesystem::remove(folder_ / "zel" / "zel_ip.ini");
  std::filesystem::create_directory(folder_ / "zel" / "zel_ip.ini");
  EXPECT_EQ(lookup(), 0) << "a folder under the name is no profile";
}

TEST_F(SettingsFolder, SwitchesTheTimingMessage) {
  uint8_t pixels[4] = {10, 90, 160, 250};
  const ImageDesc image = {4, 1, ZEL_FORMAT_GREY8, 4, pixels};
  const auto messageOfACall = [&](int32_t strength) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(ZelTavoraFunc_SmartContrast(&image, &image, 0, strength, nullptr), ZEL_OK);
    return ::testing::internal::GetCapturedStderr();
  };
  EXPECT_EQ(messageOfACall(50), "");
  Write("[TavoraDemo]\nTimeCalculation=1\n");
  EXPECT_EQ(messageOfACall(50).rfind("Working Time: Time = 0.", 0), 0u);
  EXPECT_EQ(messageOfACall(0), "") << "nothing is timed at strength 0";
}
#endif

}  // namespace
}  // namespace zel::test
