// Bytes become records, rectangle, point and settings of any export, which is called at every level of the kernels. Any
// difference between the levels aborts, as does a written source; the sanitizers see the rest. Images that describe
// memory get exactly that memory, others a few bytes that nobody may touch.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "driver/exports.h"
#include "driver/kernel_choice.h"
#include "driver/picture.h"

using namespace zel::test;

namespace {

class Bytes {
 public:
  Bytes(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}
  uint8_t Byte() { return at_ < end_ ? *at_++ : 0; }
  uint32_t Word() {
    uint32_t word = 0;
    for (int i = 0; i < 4; ++i) word = word << 8 | Byte();
    return word;
  }
  // Mostly small, now and then anything or a limit.
  int32_t Number() {
    static const int32_t kLimits[] = {0, -1, 255, 256, 65535, 65536, INT32_MAX, INT32_MIN, INT32_MAX - 1, 1 << 30};
    const uint8_t kind = Byte();
    if (kind < 180) return static_cast<int8_t>(Byte());
    if (kind < 220) return Byte() * 2;
    if (kind < 240) return kLimits[Byte() % 10];
    return static_cast<int32_t>(Word());
  }
  float Real() {
    const uint8_t kind = Byte();
    if (kind < 200) return static_cast<float>(Number()) / 16;
    const uint32_t word = Word();
    float value;
    std::memcpy(&value, &word, sizeof value);
    return value;
  }

 private:
  const uint8_t* at_;
  const uint8_t* end_;
};

// Bytes of the memory that a record describes, 0 when it describes none.
size_t DescribedBytes(const ImageDesc& image) {
  const int64_t channels = image.format >> 4 & 15, bits = image.format >> 8 & 255;
  if (image.width <= 0 || image.height <= 0 || channels == 0 || (bits != 8 && bits != 16)) return 0;
  if (image.stride < image.width * channels) return 0;
  return static_cast<size_t>(image.height) * static_cast<size_t>(image.stride) * static_cast<size_t>(bits / 8);
}

ImageDesc Record(Bytes& bytes) {
  static const uint32_t kChannels[] = {3, 3, 3, 3, 3, 1, 1, 4};
  const uint8_t shape = bytes.Byte();
  const uint32_t channels = kChannels[shape & 7], bits = (shape & 0x18) == 0x18 ? 16 : 8;
  ImageDesc image = {1 + bytes.Byte() % 23, 1 + bytes.Byte() % 19, 0, 0, nullptr};
  if (shape >= 0xE0) (shape & 1 ? image.width : image.height) = 1 + bytes.Byte();
  const uint32_t kind = channels == 1 ? 0x00100000 : channels == 3 ? 0x01000000 : 0x02000000;
  image.format = kind | bits << 8 | channels << 4 | (shape >> 5 & 1);
  image.stride = image.width * static_cast<int32_t>(channels) + (shape & 0x40 ? bytes.Byte() % 9 : 0);
  const uint8_t spoil = bytes.Byte();
  if (spoil == 1) image.width = bytes.Number();
  if (spoil == 2) image.height = bytes.Number();
  if (spoil == 3) image.stride = bytes.Number();
  if (spoil == 4) image.format = bytes.Word();
  if (spoil == 5) image.format ^= 1u << bytes.Byte() % 32;
  // Sizes that hold no more than a small image: the record must not promise what is not there.
  if (DescribedBytes(image) > 1 << 16) image.height = -image.height;
  return image;
}

struct Memory {
  std::vector<uint8_t> bytes;
  ImageDesc record;

  Memory(const ImageDesc& image, uint32_t seed, bool withoutData) : bytes(DescribedBytes(image)), record(image) {
    const bool noisy = seed & 1;
    for (size_t i = 0; i < bytes.size(); ++i) {
      const uint32_t place = static_cast<uint32_t>(i);
      bytes[i] = static_cast<uint8_t>(noisy ? Hash(place, seed, 1) : Hash(place / 48, place % 3, seed) + place % 5);
    }
    record.data = withoutData ? nullptr : bytes.empty() ? reinterpret_cast<uint8_t*>(16) : bytes.data();
  }
  Memory(const Memory& other) : bytes(other.bytes), record(other.record) {
    if (!bytes.empty() && record.data != nullptr) record.data = bytes.data();
  }
};

// What functions with a table find there. Made once: it would take longer than most calls.
const uint8_t* TableOf(uint8_t seed) {
  static uint8_t tables[4][kTableBytes];
  static bool made = false;
  for (uint32_t k = 0; k < 4 && !made; ++k) {
    for (uint32_t i = 0; i < kTableBytes; ++i) tables[k][i] = static_cast<uint8_t>(Hash(i / (1 + 2 * k), k, 2));
  }
  made = true;
  return tables[seed & 3];
}

[[noreturn]] void Report(const char* what, const char* function, const char* level) {
  std::fprintf(stderr, "%s: %s at level %s\n", function, what, level);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Bytes bytes(data, size);
  const uint8_t choice = bytes.Byte(), flags = bytes.Byte(), absent = bytes.Byte();
  const Export& function = Exports()[choice % Exports().size()];
  // Searching for the strongest chroma takes fifty times as long as other calls, so it gets fewer turns.
  if ((function.traits & kSlow) && absent % 16 != 0) return 0;
  const bool inPlace = flags & 1;
  const ImageDesc first = Record(bytes);
  const ImageDesc second = (flags & 0x0E) == 0x0E ? Record(bytes) : first;
  const uint8_t seed = bytes.Byte();
  const Memory source(first, seed, absent == 1);
  const Memory destination(second, seed + 300u, absent == 2);

  ZelRect rect = {0, 0, 0, 0};
  if (flags & 0x10) rect = {bytes.Number(), bytes.Number(), bytes.Number(), bytes.Number()};
  const ZelPoint point = {bytes.Number(), bytes.Number()};
  std::array<int32_t, 2 * kArray> numbers;
  std::array<float, 3> reals;
  for (int32_t& number : numbers) number = bytes.Number();
  for (float& real : reals) real = bytes.Real();
  if (flags & 0x40) {
    // Settings that mean something, so that deep paths are reached early.
    const Settings& settings = function.sets[static_cast<uint32_t>(numbers[0]) % function.sets.size()];
    numbers = settings.numbers;
    reals = settings.reals;
  }
  const uint8_t* const table = TableOf(seed);

  int32_t firstResult = 0;
  Memory firstWritten(destination);
  uint8_t firstTable[kTableBytes];
  const zel::Kernels* levels[6] = {&zel::scalar::kKernels};
  for (int i = 0; i < 5 && zel::BuiltKernelLevels()[i] != nullptr; ++i) levels[i + 1] = zel::BuiltKernelLevels()[i];
  for (const zel::Kernels* level : levels) {
    if (level == nullptr) break;
    zel::test::UseKernels(level);
    Memory from(source), to(destination);
    alignas(16) uint8_t block[kTableBytes];
    std::memcpy(block, table, kTableBytes);
    const int32_t result = function.call({absent == 3 ? nullptr : &from.record,
                                          absent == 4 ? nullptr
                                          : inPlace   ? &from.record
                                                      : &to.record,
                                          flags & 0x10 ? &rect : nullptr, flags & 0x20 ? &point : nullptr,
                                          numbers.data(), reals.data(), block, absent == 5});
    if (result != ZEL_OK && result != ZEL_NULL_ARGUMENT && result != ZEL_REFUSED) {
      Report("unknown result", function.name, level->level);
    }
    if (!inPlace && from.bytes != source.bytes) Report("source written", function.name, level->level);
    const Memory& written = inPlace ? from : to;
    if (level == levels[0]) {
      firstResult = result;
      firstWritten.bytes = written.bytes;
      std::memcpy(firstTable, block, sizeof block);
    } else if (result != firstResult || written.bytes != firstWritten.bytes ||
               std::memcmp(firstTable, block, sizeof block) != 0) {
      Report("differs from scalar", function.name, level->level);
    }
  }
  return 0;
}
