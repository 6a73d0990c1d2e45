// Every operation of the table at every example, on every layout, both depths and three row steps, in place and not,
// against the library's own functions. Then what the table says of 16 bits, tiles and tables against what happens.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "chain/text.h"
#include "driver/exports.h"
#include "scene.h"
#include "zel_chain.h"

using namespace zel::test;
using zel::chain::Json;

namespace {

int faults = 0, runs = 0;

void Expect(bool holds, const std::string& what) {
  if (holds) return;
  if (++faults <= 20) std::printf("FAILED: %s\n", what.c_str());
}

struct Words {
  std::map<std::string, std::string> typed;
  const Json* operation = nullptr;
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

// The plain call of an operation with what its words mean, in place.
int32_t CallPlain(const Export& function, const ImageDesc* image, const Words& words) {
  // Sliders that are left out stay where the skin is.
  std::map<std::string, int32_t> skin;
  if (std::strcmp(function.named.operation, "skin-tone") == 0) {
    ZelTavoraFunc_GetSkinToneInitialPercentages(image, 0, words.Point(), &skin["lightness"], &skin["blue"],
                                                &skin["red"]);
  }
  Settings settings;
  for (size_t i = 0; i < function.named.numbers.size(); ++i) {
    for (const std::string& part : zel::chain::Split(function.named.numbers[i], '+')) {
      const bool isNumber = part.find_first_not_of("0123456789") == std::string::npos;
      settings.numbers[i] += isNumber                                       ? std::atoi(part.c_str())
                             : skin.count(part) && !words.typed.count(part) ? skin[part]
                                                                            : words.Int(part);
    }
  }
  if (*function.named.real != 0) settings.reals.fill(static_cast<float>(words[function.named.real]));
  return function.call({image, image, words.Rect(), words.Point(), settings.numbers.data(), settings.reals.data()});
}

std::map<std::string, const Export*> PlainCalls() {
  std::map<std::string, const Export*> calls;
  for (const Export& function : Exports()) {
    if (*function.named.operation != 0) calls[function.named.operation] = &function;
  }
  return calls;
}

struct Example {
  std::string name, words, depth;
  bool grey = false;
  Words arguments;
  const Export* plain = nullptr;
};

// One plain call on tight samples, blue first; 16 bits as the table's depth says.
bool Expected(const Example& e, int bits, int channels, std::vector<int>* samples) {
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
    if (CallPlain(*e.plain, &image, e.arguments) != ZEL_OK) return false;
    for (size_t i = 0; i < s->size(); ++i) {
      uint16_t value = 0;
      std::memcpy(&value, at(i), static_cast<size_t>(atBits / 8));
      (*s)[i] = value;
    }
    return true;
  };
  if (bits == 8 || e.depth != "difference") return run(bits, samples);
  std::vector<int> narrow, changed;
  for (int v : *samples) narrow.push_back((v + 128) / 257);
  changed = narrow;
  if (!run(8, &changed)) return false;
  for (size_t i = 0; i < changed.size(); ++i) {
    (*samples)[i] = std::clamp((*samples)[i] + (changed[i] - narrow[i]) * 257, 0, 65535);
  }
  return true;
}

void SetPlaces(Words* arguments) {
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
  const std::map<std::string, const Export*> plain = PlainCalls();
  for (const Json& operation : table.Find("operations")->items) {
    const std::string name = operation.Find("name")->text;
    Expect(plain.count(name) == 1, name + " is not in tests/driver/exports.cpp");
    if (plain.count(name) == 0) continue;
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
      Example e;
      e.name = name;
      e.words = name + " " + text;
      e.depth = operation.Find("depth")->text;
      e.grey = operation.Find("grey")->text == "true";
      e.plain = plain.at(name);
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
      Expect(Expected(e, bits, width, &colour.samples), e.words + ": the plain call refuses");
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

// Blue raised by two levels still counts as grey, by three it needs colour.
void CheckGreyTolerance() {
  for (const int bits : {8, 16}) {
    for (const int level : {253, 252}) {
      const uint16_t sample = static_cast<uint16_t>(bits == 8 ? level : 257 * level);
      uint8_t memory[2];
      std::memcpy(memory, &sample, static_cast<size_t>(bits / 8));
      const ZelPixels pixel = {memory, 0, 1, 1, 1, bits, 0};
      const std::string words = "levels highlight=255,255," + std::to_string(level) + " temperature temperature=0";
      ZelReport report;
      ZelChain* const chain = ZelChain_ParseLine(words.data(), words.size(), &report);
      const int32_t code = ZelChain_Apply(chain, &pixel, &pixel, nullptr, &report);
      Expect(code == (level == 253 ? ZEL_OK : ZEL_CHAIN_NEEDS_COLOUR), words + " on grey: " + report.text);
      ZelChain_Free(chain);
    }
  }
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
  for (const auto& plain : PlainCalls()) {
    const auto& operations = table.Find("operations")->items;
    Expect(std::any_of(operations.begin(), operations.end(),
                       [&](const Json& o) { return o.Find("name")->text == plain.first; }),
           plain.first + " is not in chain/catalogue.cpp");
  }
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
  CheckGreyTolerance();
  std::printf("%d runs, %d faults\n", runs, faults);
  return faults == 0 ? 0 : 1;
}
