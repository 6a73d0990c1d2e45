#include "photographs.h"

#include <vips/vips.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace zel::measure {

namespace {

constexpr double kPi = 3.14159265358979323846;

double Radians(double degrees) {
  return degrees * kPi / 180.0;
}

struct Lab {
  double l, a, b;
};

const std::array<double, 256>& LinearTable() {
  static const std::array<double, 256> table = [] {
    std::array<double, 256> t{};
    for (int i = 0; i < 256; ++i) {
      const double v = i / 255.0;
      t[i] = v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    }
    return t;
  }();
  return table;
}

double LabCurve(double t) {
  return t > 216.0 / 24389.0 ? std::cbrt(t) : (24389.0 / 27.0 * t + 16.0) / 116.0;
}

Lab LabOf(const Photograph& photograph, size_t pixel) {
  const std::array<double, 256>& linear = LinearTable();
  const double r = linear[photograph.Level(pixel, 0)], g = linear[photograph.Level(pixel, 1)],
               b = linear[photograph.Level(pixel, 2)];
  const double x = LabCurve((0.4124564 * r + 0.3575761 * g + 0.1804375 * b) / 0.95047);
  const double y = LabCurve(0.2126729 * r + 0.7151522 * g + 0.0721750 * b);
  const double z = LabCurve((0.0193339 * r + 0.1191920 * g + 0.9503041 * b) / 1.08883);
  return {116.0 * y - 16.0, 500.0 * (x - y), 200.0 * (y - z)};
}

double Hue(double b, double a) {
  if (a == 0.0 && b == 0.0) return 0.0;
  const double h = std::atan2(b, a) * 180.0 / kPi;
  return h < 0.0 ? h + 360.0 : h;
}

double DeltaE2000(const Lab& p, const Lab& q) {
  const double c = (std::hypot(p.a, p.b) + std::hypot(q.a, q.b)) / 2.0;
  const double c7 = std::pow(c, 7.0), k7 = std::pow(25.0, 7.0);
  const double g = 0.5 * (1.0 - std::sqrt(c7 / (c7 + k7)));
  const double a1 = (1.0 + g) * p.a, a2 = (1.0 + g) * q.a;
  const double c1 = std::hypot(a1, p.b), c2 = std::hypot(a2, q.b);
  const double h1 = Hue(p.b, a1), h2 = Hue(q.b, a2);
  const bool grey = c1 * c2 == 0.0;
  double dh = grey ? 0.0 : h2 - h1;
  if (dh > 180.0) dh -= 360.0;
  if (dh < -180.0) dh += 360.0;
  double h = h1 + h2;
  if (!grey) {
    if (std::abs(h1 - h2) > 180.0) h += h < 360.0 ? 360.0 : -360.0;
    h /= 2.0;
  }
  const double dL = q.l - p.l, dC = c2 - c1, dH = 2.0 * std::sqrt(c1 * c2) * std::sin(Radians(dh / 2.0));
  const double l = (p.l + q.l) / 2.0, cm = (c1 + c2) / 2.0;
  const double t = 1.0 - 0.17 * std::cos(Radians(h - 30.0)) + 0.24 * std::cos(Radians(2.0 * h)) +
                   0.32 * std::cos(Radians(3.0 * h + 6.0)) - 0.20 * std::cos(Radians(4.0 * h - 63.0));
  const double l50 = (l - 50.0) * (l - 50.0);
  const double sl = 1.0 + 0.015 * l50 / std::sqrt(20.0 + l50), sc = 1.0 + 0.045 * cm, sh = 1.0 + 0.015 * cm * t;
  const double cm7 = std::pow(cm, 7.0);
  const double turn = 30.0 * std::exp(-((h - 275.0) / 25.0) * ((h - 275.0) / 25.0));
  const double rt = -std::sin(Radians(2.0 * turn)) * 2.0 * std::sqrt(cm7 / (cm7 + k7));
  const double x = dL / sl, y = dC / sc, z = dH / sh;
  return std::sqrt(x * x + y * y + z * z + rt * y * z);
}

bool Load(const std::string& path, Photograph* photograph) {
  VipsImage* const file = vips_image_new_from_file(path.c_str(), nullptr);
  if (file == nullptr) return false;
  VipsImage* rgb = nullptr;
  bool done = vips_colourspace(file, &rgb, VIPS_INTERPRETATION_sRGB, nullptr) == 0;
  if (done && rgb->Bands >= 3 && rgb->BandFmt == VIPS_FORMAT_UCHAR) {
    photograph->name = std::filesystem::path(path).stem().string();
    photograph->width = rgb->Xsize;
    photograph->height = rgb->Ysize;
    size_t size = 0;
    const uint8_t* const pixels = static_cast<uint8_t*>(vips_image_write_to_memory(rgb, &size));
    photograph->samples.resize(static_cast<size_t>(rgb->Xsize) * rgb->Ysize * 3);
    for (size_t i = 0; i < photograph->Pixels(); ++i) {
      for (int k = 0; k < 3; ++k) photograph->samples[i * 3 + 2 - k] = pixels[i * rgb->Bands + k];
    }
    g_free(const_cast<uint8_t*>(pixels));
  } else {
    done = false;
  }
  if (rgb != nullptr) g_object_unref(rgb);
  g_object_unref(file);
  return done;
}

}  // namespace

ImageDesc Photograph::Record() const {
  return {width, height, ZEL_FORMAT_BGR24, width * 3, const_cast<uint8_t*>(samples.data())};
}

void Photograph::SetLevel(size_t pixel, int colour, double level) {
  samples[pixel * 3 + 2 - colour] = static_cast<uint8_t>(std::clamp(std::floor(level + 0.5), 0.0, 255.0));
}

namespace {

// Colours in linear light from the top of the picture to its bottom, with things scattered in front.
struct Scene {
  const char* name;
  Rgb top, bottom;
  std::vector<Rgb> things;
  double fog;  // share of white light over everything
};

const std::vector<Scene>& Scenes() {
  static const std::vector<Scene> scenes = {
      {"drawn-patches",
       {0.2, 0.2, 0.2},
       {0.2, 0.2, 0.2},
       {{0.9, 0.9, 0.9},
        {0.6, 0.6, 0.6},
        {0.03, 0.03, 0.03},
        {0.4, 0.1, 0.06},
        {0.1, 0.3, 0.08},
        {0.05, 0.07, 0.35},
        {0.8, 0.55, 0.05},
        {0.5, 0.1, 0.3},
        {0.04, 0.3, 0.4},
        {0.55, 0.3, 0.2},
        {0.12, 0.15, 0.05}},
       0.0},
      {"drawn-fog", {0.6, 0.62, 0.65}, {0.25, 0.27, 0.25}, {{0.1, 0.12, 0.1}, {0.2, 0.15, 0.1}, {0.3, 0.3, 0.3}}, 0.5},
      {"drawn-sunset",
       {0.10, 0.11, 0.25},
       {0.9, 0.35, 0.06},
       {{0.03, 0.02, 0.02}, {0.08, 0.05, 0.03}, {1.0, 0.8, 0.4}},
       0.0},
      {"drawn-red-room",
       {0.45, 0.04, 0.03},
       {0.2, 0.03, 0.02},
       {{0.3, 0.2, 0.1}, {0.6, 0.58, 0.55}, {0.05, 0.04, 0.04}},
       0.0},
      {"drawn-forest",
       {0.15, 0.25, 0.05},
       {0.03, 0.06, 0.01},
       {{0.1, 0.06, 0.03}, {0.3, 0.45, 0.1}, {0.35, 0.35, 0.33}},
       0.0},
      {"drawn-snow",
       {0.3, 0.45, 0.8},
       {0.85, 0.88, 0.92},
       {{0.05, 0.05, 0.05}, {0.06, 0.1, 0.05}, {0.95, 0.95, 0.95}},
       0.0},
      {"drawn-night",
       {0.004, 0.005, 0.015},
       {0.02, 0.02, 0.03},
       {{0.005, 0.005, 0.008}, {0.9, 0.6, 0.2}, {0.06, 0.05, 0.05}, {0.01, 0.015, 0.01}},
       0.0}};
  return scenes;
}

Photograph Drawn(const Scene& scene) {
  Photograph picture;
  picture.name = scene.name;
  picture.width = 240;
  picture.height = 180;
  picture.samples.resize(static_cast<size_t>(240) * 180 * 3);
  uint32_t state = 9;
  const auto random = [&] { return static_cast<double>((state = state * 1664525u + 1013904223u) >> 8) / 16777216.0; };
  for (size_t p = 0; p < picture.Pixels(); ++p) {
    const int x = static_cast<int>(p % 240), y = static_cast<int>(p / 240);
    const size_t thing = static_cast<size_t>(x / 30 + y / 30 * 8) * 7 % (2 * scene.things.size() + 3);
    const bool inFront = thing < scene.things.size() && x % 30 > 4 && y % 30 > 6;
    const double shade = (1.0 - 0.5 * (x % 30) / 30.0 * (inFront ? 1.0 : 0.2)) * (0.97 + 0.03 * random());
    for (int k = 0; k < 3; ++k) {
      const double ground = scene.top[k] + (scene.bottom[k] - scene.top[k]) * y / 180.0;
      const double light = (inFront ? scene.things[thing][k] : ground) * shade;
      picture.SetLevel(p, k, Level(std::min(light + (0.7 - light) * scene.fog, 1.0)));
    }
  }
  return picture;
}

}  // namespace

Options OptionsOf(int count, char** arguments) {
  Options options;
  const auto wrong = [&](const char* text) {
    std::fprintf(
        stderr,
        "%s: %s\nusage: %s [--fold tune|held-back|check] [--clip] [--blown] [--save FOLDER] PHOTOGRAPH-OR-FOLDER...\n",
        arguments[0], text, arguments[0]);
    std::exit(2);
  };
  for (int i = 1; i < count; ++i) {
    const std::string argument = arguments[i];
    if (argument == "--clip") {
      options.clip = true;
    } else if (argument == "--blown") {
      options.blown = true;
    } else if (argument == "--fold") {
      const std::string fold = i + 1 < count ? arguments[++i] : "";
      const auto is = [&](Fold known) { return fold == NameOf(known); };
      if (!is(Fold::kTune) && !is(Fold::kHeldBack) && !is(Fold::kCheck)) wrong("which fold?");
      options.fold = is(Fold::kTune) ? Fold::kTune : is(Fold::kCheck) ? Fold::kCheck : Fold::kHeldBack;
    } else if (argument == "--save") {
      if (i + 1 == count) wrong("save where?");
      options.folder = arguments[++i];
    } else if (argument.rfind("--", 0) == 0) {
      wrong(arguments[i]);
    } else {
      options.paths.push_back(arguments[i]);
    }
  }
  return options;
}

const char* NameOf(Fold fold) {
  return fold == Fold::kTune ? "tune" : fold == Fold::kCheck ? "check" : "held-back";
}

Fold FoldOf(const std::string& name) {
  uint32_t hash = 2166136261u;
  for (const char c : name) hash = (hash ^ static_cast<uint8_t>(c)) * 16777619u;
  return (hash >> 13 & 1) == 0 ? Fold::kTune : Fold::kHeldBack;
}

std::vector<Photograph> PicturesOf(const Options& options) {
  std::vector<Photograph> pictures, chosen;
  if (!options.paths.empty()) {
    pictures = LoadPhotographs(static_cast<int>(options.paths.size()), const_cast<char**>(options.paths.data()));
  }
  if (options.fold == Fold::kCheck) return pictures;
  for (const Scene& scene : Scenes()) pictures.push_back(Drawn(scene));
  for (Photograph& picture : pictures) {
    if (FoldOf(picture.name) == options.fold) chosen.push_back(std::move(picture));
  }
  return chosen;
}

std::vector<Photograph> LoadPhotographs(int count, char** paths) {
  std::vector<std::string> files;
  for (int i = 0; i < count; ++i) {
    if (std::filesystem::is_directory(paths[i])) {
      for (const auto& entry : std::filesystem::directory_iterator(paths[i])) {
        const std::string extension = entry.path().extension().string();
        if (extension == ".png" || extension == ".jpg") files.push_back(entry.path().string());
      }
    } else {
      files.push_back(paths[i]);
    }
  }
  std::sort(files.begin(), files.end());
  std::vector<Photograph> photographs;
  for (const std::string& file : files) {
    Photograph photograph;
    if (Load(file, &photograph)) {
      photographs.push_back(std::move(photograph));
    } else {
      std::fprintf(stderr, "cannot read %s\n", file.c_str());
    }
  }
  return photographs;
}

bool SavePng(const Photograph& photograph, const std::string& path) {
  std::vector<uint8_t> rgb(photograph.samples);
  for (size_t i = 0; i < rgb.size(); i += 3) std::swap(rgb[i], rgb[i + 2]);
  VipsImage* const image =
      vips_image_new_from_memory(rgb.data(), rgb.size(), photograph.width, photograph.height, 3, VIPS_FORMAT_UCHAR);
  if (image == nullptr) return false;
  const bool done = vips_image_write_to_file(image, path.c_str(), nullptr) == 0;
  g_object_unref(image);
  return done;
}

double Linear(double level) {
  const double v = level / 255.0;
  return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

double Level(double linear) {
  return 255.0 * (linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055);
}

double MeanDeltaE(const Photograph& a, const Photograph& b) {
  double sum = 0.0;
  size_t count = 0;
  for (size_t i = 0; i < a.Pixels(); i += 3, ++count) sum += DeltaE2000(LabOf(a, i), LabOf(b, i));
  return sum / static_cast<double>(count);
}

double Angle(const Rgb& a, const Rgb& b) {
  double dot = 0.0, aa = 0.0, bb = 0.0;
  for (int k = 0; k < 3; ++k) {
    dot += a[k] * b[k];
    aa += a[k] * a[k];
    bb += b[k] * b[k];
  }
  return std::acos(std::clamp(dot / std::sqrt(aa * bb), -1.0, 1.0)) * 180.0 / kPi;
}

}  // namespace zel::measure
