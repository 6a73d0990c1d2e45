#include "tone/tone_enhancement.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>

#include "core/channel_lut.h"
#include "support/images.h"
#include "tone/equalize_tone.h"

namespace zel::test {
namespace {

using Block = std::array<uint8_t, ZEL_LUT1D_BYTES>;

Block Identity() {
  Block block;
  MakeIdentityLut(block.data(), 3, 8);
  return block;
}

Block CurveOf(const TestImage& image, int32_t flag, int32_t style, int32_t strength, int32_t expected = ZEL_OK) {
  Block block;
  block.fill(77);
  EXPECT_EQ(ZelTavoraFunc_ToneEnhancement_Get1DLut(image.desc(), flag, style, strength, nullptr, block.data()),
            expected)
      << "style " << style << " strength " << strength;
  return block;
}

// Half of the pixels one colour, half another.
TestImage TwoTone(std::array<int, 3> first, std::array<int, 3> second) {
  TestImage image({40, 20, 3, 8, true}, first[0], first[1], first[2]);
  for (int i = 0; i < 400; ++i) image.SetColour(20 + i % 20, i / 20, second[0], second[1], second[2]);
  return image;
}

TEST(ToneEnhancement, IsItsCurveApplied) {
  for (int bits : {8, 16}) {
    const TestImage source({37, 23, 3, bits, true, 5});
    for (int32_t style = 0; style <= 6; ++style) {
      for (int32_t strength : {0, 30, 60, 100}) {
        const bool possible = bits == 8 || style == 4 || style == 6 || strength == 0;
        Block block = CurveOf(source, 0, style, strength, possible ? ZEL_OK : ZEL_REFUSED);
        TestImage byCall(source.shape(), 2), unwritten(byCall);
        EXPECT_EQ(ZelTavoraFunc_ToneEnhancement(source.desc(), byCall.desc(), 0, style, strength, nullptr),
                  possible ? ZEL_OK : ZEL_REFUSED);
        EXPECT_EQ(byCall, possible ? After(ApplyChannelLut<uint8_t>, source, nullptr, Curves<uint8_t>{block.data(), 3})
                                   : unwritten);
      }
    }
  }
}

TEST(ToneEnhancement, StylesFollowTheirRules) {
  const TestImage image({300, 200, 3});
  const auto curve = [&image](int32_t flag, int32_t style, int32_t s) { return CurveOf(image, flag, style, s); };
  for (int32_t style : {0, 1, 2, 3, 5, 9}) EXPECT_EQ(curve(0, style, 0), Identity());
  EXPECT_NE(curve(0, 4, 0), Identity());
  EXPECT_EQ(curve(1, 2, 80), curve(0, 2, 60));
  EXPECT_EQ(curve(1, 0, 80), curve(0, 3, 60));
  EXPECT_NE(curve(0, 0, 80), curve(0, 3, 80));
  EXPECT_EQ(curve(2, 5, 80), curve(0, 5, 80));
  // Style 1 reaches its whole curve at 75.
  EXPECT_NE(curve(0, 1, 74), curve(0, 1, 75));
  EXPECT_NE(curve(0, 1, 75), curve(0, 1, 76));  // and has a gamma from there on
  for (int32_t style : {-1, 7}) EXPECT_EQ(CurveOf(image, 0, style, 50, ZEL_REFUSED), Identity());
}

TEST(ToneEnhancement, RedMayDecideTheBlackPoint) {
  // At strength 25 style 4 has gamma 1: the curve is the levels stretch alone, from the middle black point.
  const Block block = CurveOf(TwoTone({40, 10, 20}, {220, 200, 210}), 0, 4, 25);
  EXPECT_EQ(block[20], 0);
  EXPECT_EQ(block[21], 1);
  EXPECT_EQ(block[219], 254);
  EXPECT_EQ(block[220], 255);
  EXPECT_EQ(CurveOf(TwoTone({5, 10, 20}, {220, 200, 210}), 0, 4, 25)[6], 1);
}

TEST(ToneEnhancement, EqualizesInGroups) {
  uint8_t block[ZEL_LUT1D_BYTES];
  const auto equalize = [&block](const TestImage& image, int32_t core) {
    EXPECT_TRUE(AutoToneCurve(image.desc(), nullptr, 0.5, 100, core, Curves<uint8_t>{block, 3}));
  };
  // Tones from 60 to 140 are too few: levels 30 to 198, then the gamma of 0.8.
  equalize(TwoTone({60, 60, 60}, {140, 140, 140}), kToneNormal);
  EXPECT_EQ(block[30], 0);
  EXPECT_EQ(block[114], 147);  // 128 before the gamma
  EXPECT_EQ(block[198], 255);
  // Black and white share the range: a running sum of exactly 256. The first group ends at 144 and is cut in four.
  equalize(TwoTone({0, 0, 0}, {255, 255, 255}), kToneNormal);
  EXPECT_EQ(block[1], 53);   // from 36
  EXPECT_EQ(block[4], 161);  // from 144
  EXPECT_EQ(block[128], 161);
  EXPECT_EQ(block[192], 210);  // from 200
  EXPECT_EQ(block[255], 255);
}

TEST(ToneEnhancement, RangesWidenInSteps) {
  // Extents of exactly 100, 150 and 200 still belong to the step below.
  for (const auto& [low, high, white] : {std::tuple{60, 160, 208}, {50, 200, 236}, {30, 230, 249}}) {
    uint8_t block[ZEL_LUT1D_BYTES];
    ASSERT_TRUE(AutoToneCurve(TwoTone({low, low, low}, {high, high, high}).desc(), nullptr, 0.5, 100, kToneNormal,
                              Curves<uint8_t>{block, 3}));
    EXPECT_EQ(block[white], 255) << low;
    EXPECT_LT(block[white - 4], 255) << low;
  }
}

TEST(ToneEnhancement, ExposureIsReadOffTheShadows) {
  const auto classOf = [](const TestImage& image) { return ClassifyExposure(image.view<const uint8_t>()); };
  EXPECT_EQ(classOf(TwoTone({10, 10, 10}, {50, 50, 200})), kToneDark);
  EXPECT_EQ(classOf(TwoTone({10, 10, 10}, {200, 200, 50})), kToneNormal);
  EXPECT_EQ(classOf(TwoTone({64, 64, 10}, {255, 255, 10})), kToneLight);
  // A twentieth of the 800 pixels in the shadows, and one less.
  TestImage light({40, 20, 3, 8, true}, 200, 200, 200);
  for (int x = 0; x < 39; ++x) light.SetColour(x, 0, 63, 63, 63);
  EXPECT_EQ(classOf(light), kToneLight);
  light.SetColour(39, 0, 63, 63, 63);
  EXPECT_EQ(classOf(light), kToneNormal);
}

}  // namespace
}  // namespace zel::test
