#include "core/platform.h"

#include <gtest/gtest.h>

#include <string>

#include "support/settings.h"
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
                           "[AWB]\nkey=99999999999999999999", "[AWB]\nkey=2147483648", "[AWB\nkey=5", "[AWB]\n;key=5",
                           "[AWB]\nkey2=5", "[AW]\nkey=5", "\xFF\xFE[AWB]\n", "=\n=\n[]\n[AWB]=\n"}) {
    EXPECT_EQ(Lookup(text, "key"), 85) << text;
  }
  EXPECT_EQ(Lookup(std::string("[AWB]\n\0key=5", 12), "key"), 5) << "stray zero bytes count as blanks";
}

TEST(Profile, IsReadAnewOnEveryCall) {
  const SettingsFolder folder;
  const auto lookup = [] { return ProfileInt("zel_ip.ini", "TavoraDemo", "TimeCalculation", 0); };
  EXPECT_EQ(lookup(), 0);
  folder.Write("zel_ip.ini", "[TavoraDemo]\nTimeCalculation=1\n");
  EXPECT_EQ(lookup(), 1);
  std::filesystem::remove(folder.File("zel_ip.ini"));
  std::filesystem::create_directory(folder.File("zel_ip.ini"));
  EXPECT_EQ(lookup(), 0) << "a folder under the name is no profile";
}

TEST(Profile, RelativeFoldersDoNotCount) {
  const SettingsFolder folder;
  folder.Write("zel_ip.ini", "[TavoraDemo]\nTimeCalculation=1\n");
  const std::string absolute = std::getenv("XDG_CONFIG_HOME");
  const std::string relative = std::filesystem::relative(absolute).string();
  setenv("XDG_CONFIG_HOME", relative.c_str(), 1);
  EXPECT_EQ(ProfileInt("zel_ip.ini", "TavoraDemo", "TimeCalculation", 0), 0) << relative;
  setenv("XDG_CONFIG_HOME", absolute.c_str(), 1);
  EXPECT_EQ(ProfileInt("zel_ip.ini", "TavoraDemo", "TimeCalculation", 0), 1);
}

TEST(Profile, SwitchesTheTimingMessage) {
  const SettingsFolder folder;
  uint8_t pixels[4] = {10, 90, 160, 250};
  const ImageDesc image = {4, 1, ZEL_FORMAT_GREY8, 4, pixels};
  const auto messageOfACall = [&](int32_t strength) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(ZelTavoraFunc_SmartContrast(&image, &image, 0, strength, nullptr), ZEL_OK);
    return ::testing::internal::GetCapturedStderr();
  };
  EXPECT_EQ(messageOfACall(50), "");
  folder.Write("zel_ip.ini", "[TavoraDemo]\nTimeCalculation=1\n");
  EXPECT_EQ(messageOfACall(50).rfind("Working Time: Time = 0.", 0), 0u);
  EXPECT_EQ(messageOfACall(0), "") << "nothing is timed at strength 0";
}

}  // namespace
}  // namespace zel::test
