// Every operation of the table at every example, on every layout, both depths and three row steps, in place and not,
// against the library's own functions. Then what the table says of 16 bits, tiles and tables against what happens.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>

#include "chain/text.h"
#include "driver/picture.h"
#include "zel_chain.h"

using zel::chain::Json;
using zel::test::Hash;

namespace {

int faults = 0, runs = 0;

void Expect(bool holds, const std::string& what) {
  if (holds) return;
  if (++faults <= 20) std::printf("FAILED: %s\n", what.c_str());
}

constexpr int kWidth = 61, kHeight = 41;

// Samples in 16 bits with any number of channels: the form in which results are compared.
struct Plane {
  int channels = 3;
  std::vector<int> samples;  // red first, alpha last
};

struct Arguments {
  std::map<std::string, std::string> typed;
  const Json* operation;
  ZelRect rect{};
  ZelPoint point{};

  const Json& Parameter(const std::string& name) const {
    for (const Json& p : operation->Find("parameters")->items) {
      if (p.Find("name")->text == name) return p;
    }
    std::printf("no parameter %s\n", name.c_str());
    std::abort();
  }
  std::string Text(const std::string& name) const {
    const auto given = typed.find(name);
    return given != typed.end() ? given->second : Parameter(name).Find("default")->text;
  }
  double operator[](const std::string& name) const {
    const Json* choices = Parameter(name).Find("choices");
    if (choices == nullptr) return std::atof(Text(name).c_str());
    for (size_t i = 0; i < choices->items.size(); ++i) {
      if (choices->items[i].text == Text(name)) return static_cast<double>(i);
    }
    std::abort();
  }
  int Int(const std::string& name) const { return static_cast<int>((*this)[name]); }
  const ZelRect* Rect() const { return typed.count("rect") ? &rect : nullptr; }
  const ZelPoint* Point() const { return typed.count("at") ? &point : nullptr; }
};

using Plain = std::function<int32_t(const ImageDesc*, const Arguments&)>;

// What each name means, written down a second time.
const std::map<std::string, Plain>& PlainCalls() {
  using I = const ImageDesc*;
  using A = const Arguments&;
  static const auto ranges = [](I i, A a) {
    const char* const names[] = {"", "red-", "yellow-", "green-", "cyan-", "blue-", "magenta-"};
    int32_t hues[7], saturations[7];
    for (int k = 0; k < 7; ++k) {
      hues[k] = a.Int(std::string(names[k]) + "hue");
      saturations[k] = a.Int(std::string(names[k]) + "saturation");
    }
    return ZelBasicToolFunc_HueSaturationPro(i, i, hues, saturations, a.Rect());
  };
  static const auto skinTone = [](I i, A a) {
    int32_t v[3];
    ZelTavoraFunc_GetSkinToneInitialPercentages(i, 0, a.Point(), &v[0], &v[1], &v[2]);
    const char* const names[] = {"lightness", "blue", "red"};
    for (int k = 0; k < 3; ++k) v[k] = a.typed.count(names[k]) ? a.Int(names[k]) : v[k];
    return ZelTavoraFunc_SkinTone(i, i, 1, a.Point(), v[0], v[1], v[2], a.Rect());
  };
  static const auto region = [](auto function) {
    return [function](I i, A a) { return function(i, i, a.Point(), a.Int("amount"), a.Rect(), 0); };
  };
  static const std::map<std::string, Plain> calls = {
      {"contrast",
       [](I i, A a) {
         return ZelBasicToolFunc_ContrastBrightness(i, i, a.Int("contrast"), a.Int("brightness"), a.Rect());
       }},
      {"smart-contrast", [](I i, A a) { return ZelTavoraFunc_SmartContrast(i, i, 0, a.Int("strength"), a.Rect()); }},
      {"tone",
       [](I i, A a) {
         return ZelTavoraFunc_ToneEnhancement(i, i, a.Int("gentle"), a.Int("style"), a.Int("strength"), a.Rect());
       }},
      {"gamma",
       [](I i, A a) {
         const float g = static_cast<float>(a["gamma"]), all[] = {g, g, g};
         return ZelBasicToolFunc_Gamma(i, i, all, a.Rect());
       }},
      {"levels",
       [](I i, A a) {
         const int32_t h = a.Int("highlight"), s = a.Int("shadow"), high[] = {h, h, h}, low[] = {s, s, s};
         return ZelBasicToolFunc_HighlightShadow(i, i, high, low, a.Rect());
       }},
      {"aged-photo",
       [](I i, A a) { return ZelTavoraFunc_AgedPhotoRecovered(i, i, a.Int("gentle"), a.Int("strength"), a.Rect()); }},
      {"temperature", [](I i, A a) { return ZelBasicToolFunc_ColorTemperature(i, i, a.Int("temperature"), a.Rect()); }},
      {"temperature-level",
       [](I i, A a) { return ZelTavoraFunc_ColorTemperature(i, i, 0, a.Int("level"), a.Rect(), 0); }},
      {"hue-saturation",
       [](I i, A a) { return ZelBasicToolFunc_HueSaturation(i, i, a.Int("hue"), a.Int("saturation"), a.Rect()); }},
      {"hue-saturation-ranges", ranges},
      {"colorful", [](I i, A a) { return ZelTavoraFunc_Colorful(i, i, a.Int("style"), a.Int("strength"), a.Rect()); }},
      {"color-cast", [](I i, A a) { return ZelTavoraFunc_ColorCast(i, i, 0, a.Int("strength"), a.Rect()); }},
      {"color-correct",
       [](I i, A a) { return ZelBasicToolFunc_ColorCorrect(i, i, a.Int("color"), a.Int("strength")); }},
      {"cast-manual", [](I i, A a) { return ZelBasicToolFunc_ColorCastManual(i, i, a.Int("strength"), a.Rect()); }},
      {"light-correct", [](I i, A a) { return ZelBasicToolFunc_LightCorrect(i, i, a.Int("strength")); }},
      {"foliage-colorful", region(ZelBasicToolFunc_FoliageColorful)},
      {"foliage-tone", region(ZelBasicToolFunc_FoliageTone)},
      {"sky-colorful", region(ZelBasicToolFunc_SkyColorful)},
      {"sky-tone", region(ZelBasicToolFunc_SkyTone)},
      {"skin-colorful", region(ZelBasicToolFunc_SkinColorful)},
      {"skin-flash",
       [](I i, A a) {
         return ZelTavoraFunc_SkinFlash(i, i, 1 + a.Int("gentle"), a.Point(), a.Int("strength"), a.Rect(), 0);
       }},
      {"skin-clear",
       [](I i, A a) {
         return ZelTavoraFunc_SkinClear(i, i, 1 + a.Int("gentle"), a.Point(), a.Int("level"), a.Rect());
       }},
      {"skin-tone", skinTone},
      {"denoise",
       [](I i, A a) { return ZelBasicToolFunc_DeNoise(i, i, static_cast<uint32_t>(a.Int("strength")), nullptr); }},
      {"vivid", [](I i, A a) { return ZelTavoraFunc_Vivid(i, i, a.Int("style"), a.Int("strength"), a.Rect()); }},
      {"sharpen", [](I i, A a) { return ZelBasicToolFunc_Sharpen(i, i, a.Int("amount"), a.Rect()); }},
      {"blur", [](I i, A a) { return ZelBasicToolFunc_GaussianBlur(i, i, static_cast<float>(a["radius"]), a.Rect()); }},
      {"unsharp",
       [](I i, A a) {
         return ZelBasicToolFunc_UnsharpMask(i, i, a.Int("amount"), static_cast<float>(a["radius"]),
                                             static_cast<uint32_t>(a.Int("threshold")), a.Rect());
       }},
  };
  return calls;
}

// One plain call on tight samples, blue first; 16 bits as the table's depth says.
bool Expected(const Plain& call, const Arguments& arguments, const std::string& depth, int bits, int channels,
              std::vector<int>* samples) {
  const auto run = [&](int atBits, std::vector<int>* s) {
    std::vector<uint8_t> bytes(s->size() * static_cast<size_t>(atBits / 8));
    const auto at = [&](size_t i) { return bytes.data() + i * static_cast<size_t>(atBits / 8); };
    for (size_t i = 0; i < s->size(); ++i) {
      const uint16_t value = static_cast<uint16_t>((*s)[i]);
      std::memcpy(at(i), &value, static_cast<size_t>(atBits / 8));
    }
    const FormatCode format = channels == 1 ? (atBits == 8 ? ZEL_FORMAT_GREY8 : ZEL_FORMAT_GREY16)
                                            : (atBits == 8 ? ZEL_FORMAT_BGR24 : ZEL_FORMAT_BGR48);
    const ImageDesc image = {kWidth, kHeight, format, kWidth * channels, bytes.data()};
    if (call(&image, arguments) != ZEL_OK) return false;
    for (size_t i = 0; i < s->size(); ++i) {
      uint16_t value = 0;
      std::memcpy(&value, at(i), static_cast<size_t>(atBits / 8));
      (*s)[i] = value;
    }
    return true;
  };
  if (bits == 8 || depth != "difference") return run(bits, samples);
  std::vector<int> narrow, changed;
  for (int v : *samples) narrow.push_back((v + 128) / 257);
  changed = narrow;
  if (!run(8, &changed)) return false;
  for (size_t i = 0; i < changed.size(); ++i) {
    (*samples)[i] = std::clamp((*samples)[i] + (changed[i] - narrow[i]) * 257, 0, 65535);
  }
  return true;
}

// Pixels in memory of their own, with padding between the rows and none behind the last.
class Memory {
 public:
  Memory(int channels, int bits, bool blueFirst, int pitchKind) {
    const int row = kWidth * channels * bits / 8;
    // Odd at 16 bits too: rows of hosts may lie anywhere.
    const int pitch = pitchKind == 0 ? row : row + 5;
    bytes_.assign(static_cast<size_t>((kHeight - 1) * pitch + row), 0xA5);
    pixels_ = {bytes_.data(), pitch, kWidth, kHeight, channels, bits, blueFirst};
    if (pitchKind == 2) {
      pixels_.data = bytes_.data() + (kHeight - 1) * pitch;
      pixels_.rowBytes = -pitch;
    }
  }
  const ZelPixels* pixels() const { return &pixels_; }
  const std::vector<uint8_t>& bytes() const { return bytes_; }

  void Fill(const Plane& plane) {
    Each([&](uint8_t* at, size_t i) {
      const uint16_t value = static_cast<uint16_t>(plane.samples[i]);
      std::memcpy(at, &value, static_cast<size_t>(pixels_.bits / 8));
    });
  }
  bool Holds(const Plane& plane) {
    bool equal = true;
    Each([&](uint8_t* at, size_t i) {
      uint16_t value = 0;
      std::memcpy(&value, at, static_cast<size_t>(pixels_.bits / 8));
      equal &= value == plane.samples[i];
    });
    return equal;
  }
  bool PaddingIntact() const {
    const int row = kWidth * pixels_.channels * pixels_.bits / 8;
    const size_t pitch = static_cast<size_t>(std::abs(pixels_.rowBytes));
    for (size_t y = 0; y + 1 < kHeight; ++y) {
      for (size_t i = static_cast<size_t>(row); i < pitch; ++i) {
        if (bytes_[y * pitch + i] != 0xA5) return false;
      }
    }
    return true;
  }

 private:
  template <class F>
  void Each(const F& visit) {
    const int channels = pixels_.channels;
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        for (int k = 0; k < channels; ++k) {
          const int place = channels >= 3 && pixels_.blueFirst && k < 3 ? 2 - k : k;
          visit(static_cast<uint8_t*>(pixels_.data) + y * pixels_.rowBytes + (x * channels + place) * pixels_.bits / 8,
                static_cast<size_t>((y * kWidth + x) * channels + k));
        }
      }
    }
  }

  std::vector<uint8_t> bytes_;
  ZelPixels pixels_{};
};

// Skin, foliage and sky in the corner, ramps and noise, a cast over all.
Plane Scene(int channels, int bits) {
  zel::test::Layout layout;
  layout.width = kWidth;
  layout.height = kHeight;
  layout.bits = bits;
  layout.blueFirst = false;
  const zel::test::Picture picture(layout, 1);
  Plane plane{channels, {}};
  for (uint32_t i = 0; i < kWidth * kHeight; ++i) {
    for (uint32_t k = 0; k < static_cast<uint32_t>(channels); ++k) {
      uint16_t value = 0;
      const bool alpha = channels % 2 == 0 && k + 1 == static_cast<uint32_t>(channels);
      std::memcpy(&value, picture.desc()->data + (3 * i + (channels < 3 ? 1 : k % 3)) * static_cast<uint32_t>(bits / 8),
                  static_cast<size_t>(bits / 8));
      plane.samples.push_back(alpha ? static_cast<int>(Hash(i, 7, 7) & (bits == 8 ? 0xFFu : 0xFFFFu)) : value);
    }
  }
  return plane;
}

// The plane with another number of channels; grey comes from the middle one.
Plane Converted(const Plane& from, int channels, int top, const Plane* alpha) {
  Plane to{channels, {}};
  const size_t in = static_cast<size_t>(from.channels);
  for (size_t i = 0; i < kWidth * kHeight; ++i) {
    const int* const p = &from.samples[i * in];
    for (int k = 0; k < (channels < 3 ? 1 : 3); ++k) to.samples.push_back(in < 3 ? p[0] : channels < 3 ? p[1] : p[k]);
    if (channels % 2 != 0) continue;
    const bool has = alpha->channels % 2 == 0;
    to.samples.push_back(has ? alpha->samples[(i + 1) * static_cast<size_t>(alpha->channels) - 1] : top);
  }
  return to;
}

struct Example {
  std::string name, words, depth;
  bool grey;
  Arguments arguments;
};

void SetPlaces(Arguments* arguments) {
  const auto read = [&](const char* name, int32_t* to, int count) {
    if (!arguments->typed.count(name)) return;
    std::string text = arguments->typed[name];
    for (int i = 0; i < count; ++i) {
      const size_t comma = std::min(text.find(','), text.size());
      const std::string part = text.substr(0, comma);
      const int size = i % 2 == 0 ? kWidth : kHeight;
      const double value = std::atof(part.c_str());
      to[i] = static_cast<int32_t>(part.back() == '%' ? std::floor(value * size / 100) : value);
      text.erase(0, comma + 1);
    }
  };
  read("rect", &arguments->rect.left, 4);
  read("at", &arguments->point.x, 2);
}

std::vector<Example> Examples(const Json& table) {
  std::vector<Example> examples;
  for (const Json& operation : table.Find("operations")->items) {
    const std::string name = operation.Find("name")->text;
    bool hasRect = false;
    for (const Json& p : operation.Find("parameters")->items) hasRect |= p.Find("name")->text == "rect";
    std::vector<std::string> settings;
    for (const Json& example : operation.Find("examples")->items) settings.push_back(example.text);
    // The table's points lie in photographs; the drawn scene has its things elsewhere.
    for (std::string& text : settings) {
      const size_t at = text.find(" at=");
      if (at != std::string::npos) text = text.substr(0, at) + (name[0] == 'f' ? " at=8,2" : " at=14,2");
    }
    if (hasRect && settings[0].find("rect=") == std::string::npos) settings.push_back(settings[1] + " rect=3,2,50%,30");
    if (name == "vivid") settings.push_back("style=detail strength=20");
    if (name == "colorful") settings.push_back("style=skin strength=60");
    if (name == "colorful" || name == "contrast") settings.push_back(name == "contrast" ? "" : "strength=0");
    for (const std::string& text : settings) {
      Example e{name, name + " " + text, operation.Find("depth")->text, operation.Find("grey")->text == "true", {}};
      e.arguments.operation = &operation;
      for (const std::string& word : zel::chain::Split(text, ' ')) {
        const size_t equals = word.find('=');
        if (equals != std::string::npos) e.arguments.typed[word.substr(0, equals)] = word.substr(equals + 1);
      }
      SetPlaces(&e.arguments);
      examples.push_back(e);
    }
  }
  return examples;
}

void CheckLayouts(const Example& e, const ZelChain* chain) {
  for (int bits : {8, 16}) {
    const int top = bits == 8 ? 255 : 65535;
    for (int channels = 1; channels <= 4; ++channels) {
      const Plane scene = Scene(channels, bits);
      const int width = channels < 3 && e.grey ? 1 : 3;
      // The plain call's own samples: blue first.
      Plane colour = Converted(scene, width, top, nullptr);
      const auto turn = [&] {
        for (size_t i = 0; width == 3 && i < colour.samples.size(); i += 3) {
          std::swap(colour.samples[i], colour.samples[i + 2]);
        }
      };
      turn();
      Expect(Expected(PlainCalls().at(e.name), e.arguments, e.depth, bits, width, &colour.samples),
             e.words + ": the plain call refuses");
      turn();
      bool grey = true;
      for (size_t i = 0; width == 3 && i < colour.samples.size(); i += 3) {
        const auto [least, most] = std::minmax({colour.samples[i], colour.samples[i + 1], colour.samples[i + 2]});
        grey &= most - least <= 2 * top / 255;
      }
      // In place, to the same layout elsewhere, and to every other that can take it.
      for (int variant = 0; variant < 24; ++variant) {
        const int pitch = variant % 3, order = variant / 3 % 2, place = variant / 6;
        const int toChannels = place < 2 ? channels : place == 2 ? 3 : 4;
        if (place >= 2 && channels == toChannels) continue;
        const std::string what = e.words + ", " + std::to_string(bits) + " bits, " + std::to_string(channels) + " to " +
                                 std::to_string(toChannels) + " channels, variant " + std::to_string(variant);
        Memory source(channels, bits, order != 0, pitch);
        Memory other(toChannels, bits, order != 0, place == 1 ? pitch : (pitch + 1) % 3);
        source.Fill(scene);
        Memory& result = place == 0 ? source : other;
        const std::vector<uint8_t> before = result.bytes();
        ZelReport report;
        const int32_t code = ZelChain_Apply(chain, source.pixels(), result.pixels(), nullptr, &report);
        ++runs;
        if (channels < 3 && toChannels < 3 && !grey) {
          Expect(code == ZEL_CHAIN_NEEDS_COLOUR && result.bytes() == before, what + ": needs colour");
          continue;
        }
        Expect(code == ZEL_OK, what + ": " + report.text);
        Expect(result.Holds(Converted(colour, toChannels, top, &scene)), what + ": differs");
        Expect(source.PaddingIntact() && result.PaddingIntact(), what + ": padding changed");
        Expect(place == 0 || source.Holds(scene), what + ": the source changed");
        if (channels < 3) Expect(report.grey == (grey ? 1 : 0), what + ": says wrongly whether it is grey");
      }
    }
  }
}

// How many of 65,536 levels are left of a ramp, in the channel that keeps most.
void CheckLevels(const Example& e, const ZelChain* chain) {
  if (e.arguments.typed.count("rect") || e.arguments.typed.count("at")) return;
  std::vector<uint16_t> ramp(65536 * 3);
  for (size_t i = 0; i < 65536; ++i) {
    ramp[3 * i] = static_cast<uint16_t>(i);
    ramp[3 * i + 1] = static_cast<uint16_t>(i * 3 / 4 + 9000);
    ramp[3 * i + 2] = static_cast<uint16_t>(i / 2 + 4000);
  }
  const ZelPixels pixels = {ramp.data(), 0, 256, 256, 3, 16, 0};
  ZelReport report;
  Expect(ZelChain_Apply(chain, &pixels, &pixels, nullptr, &report) == ZEL_OK, e.words + ": ramp");
  size_t most = 0;
  for (size_t k = 0; k < 3; ++k) {
    std::vector<bool> seen(65536);
    for (size_t i = k; i < ramp.size(); i += 3) seen[ramp[i]] = true;
    most = std::max(most, static_cast<size_t>(std::count(seen.begin(), seen.end(), true)));
  }
  // 8 bits would leave 256.
  Expect(most >= 8192, e.words + ": " + std::to_string(most) + " levels of 16 bits are left, depth " + e.depth);
}

// Measured once and applied: to the whole as the chain itself does, and in tiles as to the whole.
void CheckMeasured(const Example& e, const ZelChain* chain) {
  const Plane scene = Scene(3, 8);
  Memory source(3, 8, false, 0), direct(3, 8, false, 0), whole(3, 8, false, 0);
  source.Fill(scene);
  ZelReport report;
  ZelMeasured* const measured = ZelChain_Measure(chain, source.pixels(), nullptr, &report);
  Expect(measured != nullptr && source.Holds(scene), e.words + ": measure: " + report.text);
  ZelChain_Apply(chain, source.pixels(), direct.pixels(), nullptr, &report);
  ZelMeasured_Apply(measured, source.pixels(), whole.pixels(), nullptr, &report);
  Expect((ZelMeasured_Flags(measured) & ZEL_MEASURED_EXACT) == 0 || direct.bytes() == whole.bytes(),
         e.words + ": measured and applied it is not the same");
  const int margin = ZelMeasured_Margin(measured);
  Expect((ZelMeasured_Flags(measured) & ZEL_MEASURED_TILES) != 0 ? margin >= 0 : margin == -1, e.words + ": margin");
  constexpr int kTile = 17;
  for (int y = 0; margin >= 0 && y < kHeight; y += kTile) {
    for (int x = 0; x < kWidth; x += kTile) {
      const int left = std::max(x - margin, 0), up = std::max(y - margin, 0);
      const int right = std::min(x + kTile + margin, kWidth), down = std::min(y + kTile + margin, kHeight);
      std::vector<uint8_t> tile(static_cast<size_t>((right - left) * (down - up) * 3));
      ZelPixels from = *source.pixels();
      from.data = static_cast<uint8_t*>(from.data) + up * from.rowBytes + 3 * left;
      from.width = right - left;
      from.height = down - up;
      const ZelPixels to = {tile.data(), 0, from.width, from.height, 3, 8, 0};
      const ZelApplyOptions options = {sizeof options, 1, kWidth, kHeight, left, up, nullptr, nullptr};
      Expect(ZelMeasured_Apply(measured, &from, &to, &options, &report) == ZEL_OK, e.words + ": tile: " + report.text);
      for (int row = y; row < std::min(y + kTile, kHeight); ++row) {
        const size_t bytes = 3 * static_cast<size_t>(std::min(kTile, kWidth - x));
        Expect(std::memcmp(&tile[static_cast<size_t>(((row - up) * from.width + x - left) * 3)],
                           &whole.bytes()[static_cast<size_t>((row * kWidth + x) * 3)], bytes) == 0,
               e.words + ": a tile differs from the whole");
      }
    }
  }
  ZelMeasured_Free(measured);
}

// Tables of the sizes that the operation itself has give its bytes; others come near, and nearer with more nodes.
void CheckBaked(const Example& e, const ZelChain* chain) {
  Memory photo(3, 8, true, 0), direct(3, 8, true, 0), mapped(3, 8, true, 0);
  photo.Fill(Scene(3, 8));
  ZelBakeError error{}, coarse{}, fine{};
  ZelReport report;
  ZelTable* const table = ZelChain_Bake(chain, photo.pixels(), 0, nullptr, &error, &report);
  const std::string reach = e.arguments.operation->Find("reach")->text;
  const bool can =
      (reach == "curve" || reach == "lattice") && (!e.arguments.typed.count("rect") || e.name == "cast-manual");
  Expect((table != nullptr) == can, e.words + ": bake: " + report.text);
  if (table == nullptr) return;
  ZelChain_Apply(chain, photo.pixels(), direct.pixels(), nullptr, &report);
  ZelTable_Apply(table, photo.pixels(), mapped.pixels(), nullptr, &report);
  // Between the nodes colorful for skin bends, and its lattice without effect still rounds.
  const bool differs = e.arguments.typed.count("style") != 0 || e.words == "colorful strength=0";
  Expect(error.most == 0 ? direct.bytes() == mapped.bytes() : differs, e.words + ": its own table does something else");
  size_t bytes = 0;
  char* const text = ZelTable_WriteCube(table, e.words.c_str(), &bytes, &report);
  ZelTable* const again = ZelTable_ReadCube(text, bytes, &report);
  Expect(again != nullptr, e.words + ": cube: " + report.text);
  ZelTable_Apply(again, photo.pixels(), direct.pixels(), nullptr, &report);
  Expect(direct.bytes() == mapped.bytes(), e.words + ": the table changes when it is written and read");
  ZelText_Free(text);
  ZelTable_Free(again);
  ZelTable_Free(table);
  ZelTable_Free(ZelChain_Bake(chain, photo.pixels(), 9, nullptr, &coarse, &report));
  ZelTable_Free(ZelChain_Bake(chain, photo.pixels(), 100, nullptr, &fine, &report));
  Expect(fine.mean <= std::max(coarse.mean, 0.51) && fine.mean < 1, e.words + ": more nodes come no nearer");
}

}  // namespace

int main() {
  Json table;
  zel::chain::Error error;
  const std::string text = ZelChain_Table();
  if (!zel::chain::ParseJson(text, &table, &error)) {
    std::printf("the table: %s\n", error.text.c_str());
    return 1;
  }
  Expect(table.Find("operations")->items.size() == PlainCalls().size(), "operations that this test does not know");
  for (const Example& e : Examples(table)) {
    ZelReport report;
    ZelChain* const chain = ZelChain_ParseLine(e.words.data(), e.words.size(), &report);
    if (chain == nullptr) {
      Expect(false, e.words + ": " + report.text);
      continue;
    }
    CheckLayouts(e, chain);
    CheckLevels(e, chain);
    CheckMeasured(e, chain);
    CheckBaked(e, chain);
    ZelChain_Free(chain);
  }
  std::printf("%d runs, %d faults\n", runs, faults);
  return faults == 0 ? 0 : 1;
}
