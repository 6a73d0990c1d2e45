// Every export at once: the laws of images, images that do not go together, and the table that names them all.
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "driver/exports.h"
#include "support/images.h"

namespace zel::test {
namespace {

int32_t Called(const Export& function, size_t set, const ImageDesc* source, const ImageDesc* destination,
               const ZelRect* rect) {
  alignas(16) uint8_t table[kTableBytes];
  for (uint32_t i = 0; i < kTableBytes; ++i) table[i] = static_cast<uint8_t>(i / (1 + i % 3) * 3);
  const Settings& settings = function.sets[set];
  const ZelPoint* const point = settings.point.x < 0 ? nullptr : &settings.point;
  return function.call(
      {source, destination, rect, point, settings.numbers.data(), settings.reals.data(), table, false});
}

// A function that changes an image refuses one that does not go with it.
void ExpectRefusals(const Export& function, size_t set) {
  const TestImage source({20, 10, 3, 8, true}), other({20, 10, 3, 8, true}, 2);
  TestImage changed(other);
  const int32_t result = Called(function, set, source.desc(), changed.desc(), nullptr);
  if (result != ZEL_OK || changed == other || changed == source) return;
  for (const Shape& shape : {Shape{21, 10, 3, 8, true}, {20, 9, 3, 8, true}, {20, 10, 1, 8}, {20, 10, 3, 16, true}}) {
    const TestImage before(shape, 2);
    TestImage after(before);
    const int32_t refused = Called(function, set, source.desc(), after.desc(), nullptr);
    EXPECT_TRUE(refused == ZEL_REFUSED || (refused == ZEL_OK && function.traits & kAnswersOk)) << NameOf(shape);
    EXPECT_TRUE(after.SameBytes(before)) << NameOf(shape);
  }
}

TEST(EntryPoints, KeepTheImageLawsAndRefuseImagesThatDoNotGoTogether) {
  for (const Export& function : Exports()) {
    for (size_t set = 0; set < function.sets.size(); ++set) {
      SCOPED_TRACE(function.name + (" set " + std::to_string(set)));
      const auto run = [&](const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
        return Called(function, set, source, destination, rect);
      };
      ExpectImageLaws(run, CommonShapes(), function.laws);
      ExpectRefusals(function, set);
    }
  }
}

// The names of the file that the linker reads.
TEST(EntryPoints, TablesHaveEveryExport) {
  std::ifstream file(ZEL_DEF);
  std::set<std::string> exported, known;
  for (std::string name, ordinal, line; std::getline(file, line);) {
    if (std::istringstream(line) >> name >> ordinal && ordinal[0] == '@') exported.insert(name);
  }
  for (const Export& function : Exports()) {
    known.insert(function.name);
    EXPECT_EQ(exported.count(function.name), 1u) << function.name << " is not exported";
    EXPECT_FALSE(function.sets.empty()) << function.name;
  }
  EXPECT_FALSE(exported.empty());
  const std::filesystem::path root = std::filesystem::path(ZEL_DEF).parent_path().parent_path();
  std::stringstream catalogue;
  catalogue << std::ifstream(root / "chain" / "catalogue.cpp").rdbuf();
  for (const std::string& name : exported) {
    EXPECT_EQ(known.count(name), 1u) << name << " is not in tests/driver/exports.cpp";
    // Tables are what other operations work with.
    const bool isOperation = name != "GetDLLVersion" && name.find("DLut") == std::string::npos;
    EXPECT_TRUE(!isOperation || catalogue.str().find(name) != std::string::npos)
        << name << " is not in chain/catalogue.cpp";
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
        if (shape.channels < 3 && function.laws.colours) continue;
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
