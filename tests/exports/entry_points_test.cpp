// Every export at once: the laws of images, and images that do not go together.
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "driver/exports.h"
#include "support/images.h"

namespace zel::test {
namespace {

const Export& Named(const std::string& name) {
  for (const Export& function : Exports()) {
    if (name == function.name) return function;
  }
  std::abort();
}

int32_t Called(const Export& function, size_t set, const ImageDesc* source, const ImageDesc* destination,
               const ZelRect* rect) {
  alignas(16) uint8_t table[kTableBytes];
  for (uint32_t i = 0; i < kTableBytes; ++i) table[i] = static_cast<uint8_t>(i / (1 + i % 3) * 3);
  const Settings& settings = function.sets[set];
  const ZelPoint* const point = settings.point.x < 0 ? nullptr : &settings.point;
  return function.call(
      {source, destination, rect, point, settings.numbers.data(), settings.reals.data(), table, false});
}

void ExpectRefusals(const Export& function, size_t set) {
  const TestImage source({20, 10, 3, 8, true});
  const bool alwaysOk = std::string(function.name) == "ZelTavoraFunc_SkinTone";
  for (const Shape& shape : {Shape{21, 10, 3, 8, true}, {20, 9, 3, 8, true}, {20, 10, 1, 8}, {20, 10, 3, 16, true}}) {
    const TestImage before(shape, 2);
    TestImage after(before);
    EXPECT_EQ(Called(function, set, source.desc(), after.desc(), nullptr), alwaysOk ? ZEL_OK : ZEL_REFUSED)
        << NameOf(shape);
    EXPECT_TRUE(after.SameBytes(before)) << NameOf(shape);
  }
}

TEST(EntryPoints, KeepTheImageLawsAndRefuseImagesThatDoNotGoTogether) {
  Laws all, byOrder, whole, wholeByOrder, asGiven, softened, withMargin;
  byOrder.orderMatters = wholeByOrder.orderMatters = true;
  whole.usesRect = wholeByOrder.usesRect = false;
  asGiven.reorders = softened.reorders = false;
  softened.sight = 1;
  withMargin.margin = 1;
  const struct {
    const char* name;
    std::vector<size_t> sets;
    const Laws& laws;
    int bits = 0, channels = 0;  // where others than these are answered with a copy
    bool padded = true;
  } subjects[] = {
      {"ZelTavoraFunc_ToneEnhancement", {2, 4, 7}, all},
      {"ZelTavoraFunc_SmartContrast", {2, 4}, all},
      {"ZelTavoraFunc_ColorCast", {3}, byOrder},
      {"ZelTavoraFunc_Colorful_Apply3DLut", {1, 3, 4, 5}, all},
      {"ZelTavoraFunc_SkinFlash", {0}, asGiven, 8},
      {"ZelTavoraFunc_SkinTone", {1}, asGiven, 8, 3},
      {"ZelTavoraFunc_SkinClear", {0}, asGiven, 8, 3},
      {"ZelTavoraFunc_AgedPhotoRecovered", {2, 5}, all},
      {"ZelBasicToolFunc_ColorTemperature", {2}, all},
      {"ZelBasicToolFunc_ContrastBrightness", {2}, all},
      {"ZelBasicToolFunc_Gamma", {2}, all},
      {"ZelBasicToolFunc_HighlightShadow", {2}, all},
      {"ZelBasicToolFunc_HueSaturation", {2}, all},
      {"ZelBasicToolFunc_HueSaturationPro", {2}, all},
      {"ZelBasicToolFunc_ColorCorrect", {2, 5}, wholeByOrder},
      {"ZelBasicToolFunc_LightCorrect", {2, 4}, whole},
      {"ZelBasicToolFunc_ColorCastManual", {4}, wholeByOrder, 0, 0, false},  // row ends are copied along
      {"ZelBasicToolFunc_SkinColorful", {1}, softened},
      {"ZelBasicToolFunc_DeNoise", {2}, whole, 0, 3},
      {"ZelBasicToolFunc_Sharpen", {1, 2, 4}, withMargin, 8},
      {"ZelBasicToolFunc_GaussianBlur", {1, 2}, all},
      {"ZelBasicToolFunc_UnsharpMask", {1, 2, 3}, all},
  };
  for (const auto& s : subjects) {
    std::vector<Shape> shapes = CommonShapes();
    const auto unfit = [&](const Shape& shape) {
      return (s.bits != 0 && shape.bits != s.bits) || (s.channels != 0 && shape.channels != s.channels) ||
             (!s.padded && shape.padding != 0);
    };
    shapes.erase(std::remove_if(shapes.begin(), shapes.end(), unfit), shapes.end());
    for (const size_t set : s.sets) {
      SCOPED_TRACE(s.name + (" set " + std::to_string(set)));
      const Export& function = Named(s.name);
      ExpectImageLaws([&](const ImageDesc* source, const ImageDesc* destination,
                          const ZelRect* rect) { return Called(function, set, source, destination, rect); },
                      shapes, s.laws);
      ExpectRefusals(function, set);
    }
  }
}

#if UINTPTR_MAX > UINT32_MAX
// An image whose rows lie so far apart that the memory between them cannot even be touched. Its rows begin or end at
// the border of what there is.
class FarRows {
 public:
  FarRows(const Picture& picture, bool atEnd) : desc_(*picture.desc()) {
    desc_.stride = INT32_MAX - 4095;
    const size_t sample = picture.Bytes() / (static_cast<size_t>(desc_.height) * picture.desc()->stride);
    step_ = desc_.stride * sample;
    row_ = picture.Bytes() / desc_.height;
    bytes_ = step_ * desc_.height;
    memory_ = mmap(nullptr, bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory_ == MAP_FAILED) std::abort();
    desc_.data = static_cast<uint8_t*>(memory_) + (atEnd ? 4096 - row_ : 0);
    for (int32_t y = 0; y < desc_.height; ++y) {
      mprotect(static_cast<uint8_t*>(memory_) + y * step_, 4096, PROT_READ | PROT_WRITE);
      std::memcpy(desc_.data + y * step_, picture.desc()->data + y * row_, row_);
    }
  }
  FarRows(const FarRows&) = delete;
  FarRows& operator=(const FarRows&) = delete;
  ~FarRows() { munmap(memory_, bytes_); }

  const ImageDesc* desc() const { return &desc_; }
  bool Holds(const Picture& picture) const {
    for (int32_t y = 0; y < desc_.height; ++y) {
      if (std::memcmp(desc_.data + y * step_, picture.desc()->data + y * row_, row_) != 0) return false;
    }
    return true;
  }

 private:
  ImageDesc desc_;
  size_t step_, row_, bytes_;
  void* memory_;
};

TEST(EntryPoints, TouchNothingBetweenRows) {
  for (const Shape& shape : {Shape{37, 6, 1, 8}, {37, 6, 3, 8, true}, {37, 6, 3, 16}}) {
    const Picture source(shape, 0), before(shape, 1);
    for (const bool atEnd : {false, true}) {
      const FarRows far(source, atEnd);
      for (const Export& function : Exports()) {
        // Noise reduction takes three samples a pixel from any image, the last ones from behind its row.
        if (shape.channels == 1 && &function == &Named("ZelBasicToolFunc_DeNoise")) continue;
        for (size_t set = 0; set < function.sets.size(); ++set) {
          Picture expected(before);
          const FarRows actual(before, atEnd);
          EXPECT_EQ(Called(function, set, far.desc(), actual.desc(), nullptr),
                    Called(function, set, source.desc(), expected.desc(), nullptr));
          EXPECT_TRUE(actual.Holds(expected)) << function.name << " set " << set << ", " << NameOf(shape);
        }
      }
    }
  }
}
#endif

}  // namespace
}  // namespace zel::test
