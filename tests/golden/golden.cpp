// Runs every export over drawn images of every layout and compares digests of what it wrote with a stored file.
//
//   golden FILE             compares; exit 1 when a line differs or a byte outside the images changed
//   golden --rewrite FILE   writes the file anew
//   --level NAME            with these kernels only: scalar, base, sse41, avx2 or avx512 (where the kernels are linked
//   in)
//   --every N               only every Nth line
//   --calls                 prints every single call, to find where two builds part
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "driver/exports.h"
#include "driver/picture.h"
#ifdef ZEL_GOLDEN_LEVELS
#include "driver/kernel_choice.h"
#endif

using namespace zel::test;

namespace {

struct Options {
  std::string file, level;
  bool rewrite = false, calls = false;
  int every = 1;
};

Options options;
int faults = 0;

// What a function with a table finds there: near an identity lattice, so that reading it changes colours a little; and
// some bytes behind.
struct Table {
  uint8_t bytes[kTableBytes + 16];
  Table() {
    for (uint32_t i = 0; i < sizeof bytes; ++i) {
      const uint32_t node = i / 3, place = i % 3 == 0 ? node : i % 3 == 1 ? node >> 4 : node >> 8;
      bytes[i] = static_cast<uint8_t>((place & 15) * 16 + Hash(i, 1, 1) % 16);
    }
  }
};

// Drawing takes longer than most calls, and the same few pictures are used again and again.
const Picture& Drawn(const Layout& l, int mood) {
  static std::map<std::array<int, 7>, Picture> drawn;
  const std::array<int, 7> key = {l.width, l.height, l.channels, l.bits, l.blueFirst, l.padding, mood};
  const auto found = drawn.find(key);
  return found != drawn.end() ? found->second : drawn.emplace(key, Picture(l, mood)).first->second;
}

// One line: result codes with their counts, and one digest, of a group of calls.
class Group {
 public:
  explicit Group(std::string name) : name_(std::move(name)) {}

  void Call(const Export& function, const Settings& settings, const ImageDesc* source, const ImageDesc* destination,
            const ZelRect* rect, bool withoutTables = false) {
    alignas(16) uint8_t table[sizeof(Table)];
    static const Table fresh;
    std::memcpy(table, fresh.bytes, sizeof table);
    const ZelPoint* const point = settings.point.x == INT32_MIN ? nullptr : &settings.point;
    const int32_t result = function.call(
        {source, destination, rect, point, settings.numbers.data(), settings.reals.data(), table, withoutTables});
    ++results_[result];
    digest_ = Digest(digest_, &result, sizeof result);
    if (std::memcmp(table, fresh.bytes, sizeof table) != 0) digest_ = Digest(digest_, table, sizeof table);
  }

  // The same on whole pictures, the destination of which joins the digest.
  void CallOn(const Export& function, const Settings& settings, Picture source, Picture destination, bool inPlace,
              const ZelRect* rect) {
    const Picture before(source);
    Picture& written = inPlace ? source : destination;
    Call(function, settings, source.desc(), written.desc(), rect);
    digest_ = Digest(digest_, written.desc()->data, written.Bytes());
    if (!source.GuardsIntact() || !destination.GuardsIntact() || (!inPlace && !source.SameBytes(before))) {
      std::printf("FAULT: memory outside the destination changed: %s\n", name_.c_str());
      ++faults;
    }
    if (options.calls) std::printf("%s: call %d %016" PRIx64 "\n", name_.c_str(), calls_, digest_);
    ++calls_;
  }

  std::string Text() const {
    std::string text = name_ + " |";
    for (const auto& [result, count] : results_) text += " " + std::to_string(result) + ":" + std::to_string(count);
    char digest[24];
    std::snprintf(digest, sizeof digest, " | %016" PRIx64 "\n", digest_);
    return text + digest;
  }

 private:
  std::string name_;
  std::map<int32_t, int> results_;
  uint64_t digest_ = kEmptyDigest;
  int calls_ = 0;
};

std::string NameOf(const Export& function, const Layout& layout, size_t set) {
  return std::string(function.name) + " " + std::to_string(layout.bits) + "x" + std::to_string(layout.channels) +
         (layout.blueFirst ? " BGR" : " RGB") + " set " + std::to_string(set);
}

// In and out of place, with every kind of rectangle, tight and padded.
void Layouts(Group& group, const Export& function, const Settings& settings, Layout layout) {
  const ZelRect rects[] = {{5, 4, layout.width - 7, layout.height - 6},          // inner
                           {0, layout.height / 2, layout.width, layout.height},  // touching
                           {layout.width - 7, layout.height - 6, 5, 4},          // reversed
                           {layout.width + 3, 2, INT32_MAX, 8},
                           {INT32_MIN, -9, 11, INT32_MAX}};  // outside
  int mood = 0;
  for (int padding : {0, 5}) {
    layout.padding = padding;
    for (const bool inPlace : {false, true}) {
      group.CallOn(function, settings, Drawn(layout, mood), Drawn(layout, mood + 1), inPlace, nullptr);
      for (const ZelRect& rect : rects) {
        mood = (mood + 1) % 3;
        group.CallOn(function, settings, Drawn(layout, mood), Drawn(layout, mood + 1), inPlace, &rect);
      }
    }
  }
}

// Pictures of a size at which measurements are taken from a reduced one, in every mood.
void Large(Group& group, const Export& function, const Settings& settings, Layout layout) {
  layout.width = 331;
  layout.height = 307;
  for (int mood = 0; mood < 3; ++mood) {
    group.CallOn(function, settings, Drawn(layout, mood), Drawn(layout, mood + 1), false, nullptr);
  }
}

// Widths around every vector tail, single rows, columns and pixels.
void Sizes(Group& group, const Export& function, const Settings& settings, Layout layout) {
  const auto run = [&](int width, int height) {
    layout.width = width;
    layout.height = height;
    group.CallOn(function, settings, Drawn(layout, width % 3), Drawn(layout, 1), width % 2 == 0, nullptr);
  };
  for (int width = 1; width <= 70; ++width) run(width, 1 + width % 3);
  for (int length : {4, 97, 1031}) run(1, length), run(length, 1), run(2, length);
}

// Records and pointers that cannot be worked with; no byte may change.
void Hostile(Group& group, const Export& function, const Settings& settings) {
  const Picture good(Layout{}, 0);
  Picture memory(good), target(good);
  const ImageDesc record = *memory.desc(), other = *target.desc();
  const auto run = [&](const ImageDesc* source, const ImageDesc* destination, bool withoutTables = false) {
    group.Call(function, settings, source, destination, nullptr, withoutTables);
  };
  run(nullptr, nullptr);
  run(&record, nullptr);
  run(nullptr, &other);
  const auto with = [&](auto change) {
    ImageDesc bad = record, badOther = other;
    change(bad);
    change(badOther);
    run(&bad, &other);
    run(&record, &badOther);
    run(&bad, &badOther);
  };
  for (int32_t size : {0, -1, INT32_MIN}) {
    with([=](ImageDesc& image) { image.width = size; });
    with([=](ImageDesc& image) { image.height = size; });
    with([=](ImageDesc& image) { image.stride = size; });
  }
  with([](ImageDesc& image) { image.stride = image.width * 3 - 1; });
  with([](ImageDesc& image) { image.data = nullptr; });
  for (uint32_t format : {0u, 0x01000C31u, 0x01002031u, 0x01000801u, 0x010008F1u, 0xFFFFFFFFu}) {
    with([=](ImageDesc& image) { image.format = format; });
  }
  if (!memory.SameBytes(good) || !target.SameBytes(good)) {
    std::printf("FAULT: a hostile record was written through: %s\n", function.name);
    ++faults;
  }
  run(&record, &other, true);
}

// Calls `take` with every line.
template <class Take>
void EachLine(const Take& take) {
  int index = 0;
  const auto chosen = [&] { return index++ % options.every == 0; };
  for (const Export& function : Exports()) {
    for (int bits : {8, 16}) {
      for (int channels : {1, 3, 4}) {
        for (const bool blueFirst : {false, true}) {
          const Layout layout{37, 23, channels, bits, blueFirst, 0};
          for (size_t set = 0; set < function.sets.size(); ++set) {
            if (!chosen()) continue;
            Group group(NameOf(function, layout, set));
            Layouts(group, function, function.sets[set], layout);
            const bool large = channels == 3 && blueFirst;
            if (large && bits == 8) Large(group, function, function.sets[set], layout);
            take(group.Text());
            if (!large || bits == 8) continue;
            Group deep(NameOf(function, layout, set) + " large");
            Large(deep, function, function.sets[set], layout);
            take(deep.Text());
          }
        }
        if (!chosen()) continue;
        const size_t set = function.sets.size() > 2 ? 2 : function.sets.size() - 1;
        const Layout layout{1, 1, channels, bits, true, 0};
        Group group(NameOf(function, layout, set) + " sizes");
        Sizes(group, function, function.sets[set], layout);
        take(group.Text());
      }
    }
    if (!chosen()) continue;
    Group group(std::string(function.name) + " hostile");
    for (const Settings& settings : function.sets) Hostile(group, function, settings);
    take(group.Text());
  }
}

// Compares each line with the file's line of the same name.
int Compare() {
  std::FILE* const file = std::fopen(options.file.c_str(), "rb");
  if (file == nullptr) {
    std::printf("cannot read %s\n", options.file.c_str());
    return 1;
  }
  std::map<std::string, std::string> stored;
  char line[512];
  while (std::fgets(line, sizeof line, file) != nullptr) stored[std::string(line, std::strcspn(line, "|"))] = line;
  std::fclose(file);
  int lines = 0, differing = 0;
  EachLine([&](const std::string& text) {
    ++lines;
    const std::string& expected = stored[text.substr(0, text.find('|'))];
    if (text == expected) return;
    if (++differing <= 20)
      std::printf("stored  %sgot     %s", expected.empty() ? "-\n" : expected.c_str(), text.c_str());
  });
  const bool stale = options.every == 1 && static_cast<size_t>(lines) != stored.size();
  std::printf("%d lines, %d differ%s, %d faults\n", lines, differing, stale ? ", stored lines are missing" : "",
              faults);
  return differing != 0 || stale || faults != 0;
}

int Rewrite() {
  std::FILE* const file = std::fopen(options.file.c_str(), "wb");
  if (file == nullptr) return 1;
  EachLine([&](const std::string& text) { std::fputs(text.c_str(), file); });
  return std::fclose(file) != 0 || faults != 0;
}

bool ChooseLevel(const std::string& name) {
  if (name.empty()) return true;
#ifdef ZEL_GOLDEN_LEVELS
  if (name == "scalar") {
    zel::test::UseKernels(&zel::scalar::kKernels);
    return true;
  }
  for (const zel::Kernels* const* level = zel::BuiltKernelLevels(); *level != nullptr; ++level) {
    if (name != (*level)->level) continue;
    zel::test::UseKernels(*level);
    return true;
  }
#endif
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--rewrite") {
      options.rewrite = true;
    } else if (word == "--calls") {
      options.calls = true;
    } else if (word == "--level" && i + 1 < argc) {
      options.level = argv[++i];
    } else if (word == "--every" && i + 1 < argc) {
      options.every = std::max(1, std::atoi(argv[++i]));
    } else {
      options.file = word;
    }
  }
  if (options.file.empty()) {
    std::puts("usage: golden [--rewrite] [--level NAME] [--every N] [--calls] FILE");
    return 2;
  }
  if (!ChooseLevel(options.level)) {
    std::printf("no kernels of level %s on this machine: skipped\n", options.level.c_str());
    return 77;
  }
  return options.rewrite ? Rewrite() : Compare();
}
