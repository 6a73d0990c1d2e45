#include "sample.h"

#include <algorithm>
#include <cstdint>

#include "failure.h"

namespace tool {
namespace {

// Lengths are in 1/4096 of the picture's height, positions across in 1/4096 of its width; weights run from 0 to 4096.
constexpr int kOne = 4096;

struct Colour {
  int r, g, b;  // 0..65535
};

constexpr Colour Rgb(int r, int g, int b) {
  return {r * 257, g * 257, b * 257};
}

Colour Mix(Colour a, Colour b, int weight) {
  const auto mix = [weight](int from, int to) { return from + static_cast<int>((int64_t{to} - from) * weight / kOne); };
  return {mix(a.r, b.r), mix(a.g, b.g), mix(a.b, b.b)};
}

Colour Scale(Colour c, int factor) {
  const auto scale = [factor](int v) { return static_cast<int>(std::min<int64_t>(int64_t{v} * factor / kOne, 65535)); };
  return {scale(c.r), scale(c.g), scale(c.b)};
}

// 0 below `from`, kOne above `to`, smooth between.
int Ramp(int value, int from, int to) {
  const int t = static_cast<int>(std::clamp<int64_t>((int64_t{value} - from) * kOne / (to - from), 0, kOne));
  return static_cast<int>(int64_t{t} * t / kOne * (3 * kOne - 2 * t) / kOne);
}

uint32_t Hash(uint32_t x, uint32_t y, uint32_t seed) {
  uint32_t h = x * 0x9E3779B1u ^ (y * 0x85EBCA77u + seed * 0xC2B2AE3Du);
  h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
  h = (h ^ (h >> 12)) * 0x297A2D39u;
  return h ^ (h >> 15);
}

// Value noise from 0 to kOne; one lattice cell is `cell` long.
int Noise(int x, int y, int cell, uint32_t seed) {
  const int ix = x / cell, iy = y / cell;
  const int fx = Ramp(x % cell, 0, cell), fy = Ramp(y % cell, 0, cell);
  const auto at = [&](int dx, int dy) {
    return static_cast<int>(Hash(static_cast<uint32_t>(ix + dx), static_cast<uint32_t>(iy + dy), seed) & 4095);
  };
  const int top = at(0, 0) + (at(1, 0) - at(0, 0)) * fx / kOne;
  const int bottom = at(0, 1) + (at(1, 1) - at(0, 1)) * fx / kOne;
  return top + (bottom - top) * fy / kOne;
}

int Fractal(int x, int y, int cell, int octaves, uint32_t seed) {
  int sum = 0, weight = kOne / 2;
  for (int i = 0; i < octaves && cell >= 4; ++i, cell /= 2, weight /= 2) {
    sum += Noise(x, y, cell, seed + static_cast<uint32_t>(i)) * weight / kOne;
  }
  return std::min(sum, kOne);
}

// How far inside an ellipse a point is: kOne at the centre, 0 on the edge, negative outside.
int Inside(int x, int y, int rx, int ry) {
  const int64_t dx = int64_t{x} * kOne / rx, dy = int64_t{y} * kOne / ry;
  return static_cast<int>(std::max<int64_t>(kOne - (dx * dx + dy * dy) / kOne, -4 * kOne));
}

int InEllipse(int x, int y, int rx, int ry) {
  return Ramp(Inside(x, y, rx, ry), -kOne / 24, kOne / 24);
}

int InBox(int x, int y, int left, int top, int right, int bottom) {
  return x >= left && x < right && y >= top && y < bottom ? kOne : 0;
}

Colour Sky(int x, int y, int across) {
  Colour c = Mix(Rgb(52, 104, 186), Rgb(184, 208, 230), Ramp(y, 0, 2500));
  const int cloud = Fractal(across + y / 3, 3 * y, 1300, 6, 11);
  c = Mix(c, Rgb(244, 244, 246), Ramp(cloud, 1850, 2900) * 7 / 8);
  const int sun = Ramp(Inside(x - 3700, y - 300, 700, 900), -4 * kOne, kOne);
  return Mix(c, Rgb(255, 248, 232), sun * sun / kOne);
}

Colour Ground(int across, int y) {
  const int far = Ramp(y, 2250, 3900);
  const int fine = Fractal(across * 2, y * 3, 70, 4, 31), coarse = Fractal(across * 3, y, 220, 5, 36);
  const int blades = fine + (coarse - fine) * far / kOne;
  const int patches = Fractal(across, y * 2, 900, 3, 41);
  Colour c = Mix(Rgb(126, 152, 84), Rgb(68, 116, 40), far);
  c = Mix(c, Rgb(152, 148, 70), Ramp(patches, 1900, 2900) / 2);
  return Scale(c, 2600 + blades * 3 / 4);
}

void Tree(int x, int y, int across, Colour* c) {
  const int trunk = Ramp(150 - std::abs(x - 640) * 3 / 2 + std::max(0, y - 2600) / 5, 0, 30);
  if (y > 1900 && y < 2950)
    *c = Mix(*c, Scale(Rgb(92, 70, 50), 2800 + Fractal(across * 4, y / 2, 120, 3, 51) / 2), trunk);
  const int shape = Inside(x - 640, y - 1500, 620, 1050) + (Fractal(across, y, 420, 5, 61) - 2000) * 2;
  const int leaves = Fractal(across, y, 150, 5, 71);
  const int light = 2500 + (2000 - y) / 2 + (leaves - 1900) * 3 / 2 + (x - 500) / 2;
  *c = Mix(*c, Scale(Rgb(88, 134, 48), std::clamp(light, 700, 5600)), Ramp(shape, 0, 500));
}

// A person seen from the front. dx and y in 1/4096 of the height from the middle of the face.
void Person(int dx, int y, int across, Colour* c) {
  const int dy = y - 1700;
  const Colour skin = Rgb(222, 168, 138), hair = Rgb(66, 44, 32);
  const int strands = 3000 + Fractal(dx * 5 + 400000, dy / 2 + 4000, 160, 4, 81) / 2;
  *c = Mix(*c, Scale(hair, strands), InEllipse(dx, dy - 60, 640, 880));
  const int cloth = 3300 + Fractal(across, y, 200, 4, 91) / 3 - std::abs(dx) / 3;
  const bool stripe = ((dy + dx * dx / 9000) / 150) % 2 != 0;
  *c = Mix(*c, Scale(stripe ? Rgb(196, 52, 48) : Rgb(226, 224, 216), cloth), InEllipse(dx, dy - 2350, 1250, 1250));
  *c = Mix(*c, Scale(skin, 3200), InEllipse(dx, dy - 800, 260, 520));
  for (int side : {-1, 1}) *c = Mix(*c, Scale(skin, 3500), InEllipse(dx - side * 500, dy - 40, 90, 170));

  const int grain = (Fractal(across * 2, y * 2, 60, 4, 101) - 1900) / 12;
  const int shade = 3500 + Inside(dx - 120, dy + 150, 760, 980) / 5 + grain;
  Colour face = Scale(skin, shade);
  for (int side : {-1, 1}) {
    face = Mix(face, Rgb(214, 120, 106), Ramp(Inside(dx - side * 300, dy - 230, 210, 180), 0, kOne) / 4);
    const int ex = dx - side * 215, ey = dy + 60;
    face = Mix(face, Scale(skin, 2700), Ramp(Inside(ex, ey, 170, 110), 0, kOne) / 2);
    face = Mix(face, Rgb(238, 234, 228), InEllipse(ex, ey, 115, 58));
    face = Mix(face, Rgb(74, 104, 116), InEllipse(ex, ey, 52, 56));
    face = Mix(face, Rgb(22, 18, 16), InEllipse(ex, ey, 25, 26));
    face = Mix(face, Rgb(250, 250, 250), InEllipse(ex - 16, ey + 18, 11, 11));
    face = Mix(face, Scale(hair, 3600), InEllipse(ex, ey + 150 - ex * ex / 700 * -1 / 2, 150, 26));
  }
  face = Mix(face, Scale(skin, 2900), Ramp(Inside(dx + 40, dy - 170, 60, 190), 0, kOne) / 3);
  for (int side : {-1, 1}) face = Mix(face, Rgb(120, 70, 60), InEllipse(dx - side * 48, dy - 272, 24, 14));
  face = Mix(face, Rgb(184, 84, 82), InEllipse(dx, dy - 440 + dx * dx / 520, 190, 48));
  face = Mix(face, Rgb(120, 48, 50), InEllipse(dx, dy - 436 + dx * dx / 540, 180, 10));
  *c = Mix(*c, face, InEllipse(dx, dy, 500, 690));
  const int fringe = InEllipse(dx, dy, 530, 720);
  *c = Mix(*c, Scale(hair, strands), dy + 420 - dx * dx / 900 < 0 ? fringe : 0);
}

// Twelve patches on a white board: six colours, six steps of grey.
void Card(int x, int y, Colour* c) {
  *c = Mix(*c, Rgb(236, 236, 234), InBox(x, y, 2640, 2690, 3940, 3900));
  static constexpr Colour kPatches[12] = {Rgb(176, 48, 56),   Rgb(206, 126, 46), Rgb(226, 196, 40),  Rgb(72, 148, 72),
                                          Rgb(48, 84, 160),   Rgb(150, 84, 150), Rgb(220, 220, 220), Rgb(176, 176, 176),
                                          Rgb(128, 128, 128), Rgb(84, 84, 84),   Rgb(46, 46, 46),    Rgb(18, 18, 18)};
  for (int i = 0; i < 12; ++i) {
    const int left = 2690 + i % 6 * 204, top = 2760 + i / 6 * 560;
    *c = Mix(*c, kPatches[i], InBox(x, y, left, top, left + 180, top + 510));
  }
}

Colour Scene(int x, int y, int across, int personX) {
  Colour c = Sky(x, y, across);
  const int ridge = 2150 + (Fractal(across, 0, 1500, 5, 21) - 2000) / 4;
  c = Mix(c, Scale(Rgb(104, 128, 142), 3700 + Fractal(across, y, 200, 3, 25) / 8), Ramp(y - ridge, 0, 24));
  const int meadow = 2380 + (Fractal(across, 0, 900, 4, 23) - 2000) / 16;
  c = Mix(c, Ground(across, y), Ramp(y - meadow, 0, 16));
  Tree(x, y, across, &c);
  Person(across - personX, y, across, &c);
  Card(x, y, &c);
  return c;
}

// Warm light, a veil over the shadows, darker corners, and the grain of a fast film.
Colour Film(Colour c, int x, int y, int px, int py) {
  const int corner = kOne - Ramp(-Inside(x - 2048, y - 2048, 2500, 2500), -1500, 3600) * 2 / 5;
  c = Scale(c, corner);
  const int gains[3] = {4096, 3860, 3180}, veil[3] = {22, 18, 12};
  int* samples[3] = {&c.r, &c.g, &c.b};
  for (int k = 0; k < 3; ++k) {
    const uint32_t h = Hash(static_cast<uint32_t>(px), static_cast<uint32_t>(py), 1000u + static_cast<uint32_t>(k));
    const int common =
        static_cast<int>(Hash(static_cast<uint32_t>(px), static_cast<uint32_t>(py), 2000u) & 2047) - 1024;
    const int own = static_cast<int>((h & 1023) + (h >> 10 & 1023) + (h >> 20 & 1023)) - 1535;
    const int value = veil[k] * 257 + static_cast<int>(int64_t{*samples[k]} * gains[k] / kOne * 216 / 256);
    *samples[k] = std::clamp(value + own + common / 2, 0, 65535);
  }
  return c;
}

struct Frame {
  int width, height;
};

// Any part of the picture, so that a large one need not fit into memory.
template <typename T>
int Draw(VipsRegion* part, void*, void* client, void*, gboolean*) {
  const auto* frame = static_cast<const Frame*>(client);
  const int width = frame->width, height = frame->height;
  const int personX = static_cast<int>(int64_t{1950} * width / height);
  for (int py = part->valid.top; py < part->valid.top + part->valid.height; ++py) {
    T* out = reinterpret_cast<T*>(VIPS_REGION_ADDR(part, part->valid.left, py));
    const int y = static_cast<int>(int64_t{py} * kOne / height);
    for (int px = part->valid.left; px < part->valid.left + part->valid.width; ++px) {
      const int x = static_cast<int>(int64_t{px} * kOne / width);
      const Colour c = Film(Scene(x, y, static_cast<int>(int64_t{px} * kOne / height), personX), x, y, px, py);
      for (int sample : {c.r, c.g, c.b}) *out++ = static_cast<T>(sizeof(T) == 2 ? sample : (sample + 128) / 257);
    }
  }
  return 0;
}

}  // namespace

VImage DrawSample(int width, int height, int bits) {
  VipsImage* image = vips_image_new();
  const VImage owner(image);
  vips_image_init_fields(image, width, height, 3, bits == 16 ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR, VIPS_CODING_NONE,
                         bits == 16 ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB, 1, 1);
  Frame* frame = VIPS_NEW(image, Frame);
  *frame = {width, height};
  if (vips_image_pipelinev(image, VIPS_DEMAND_STYLE_THINSTRIP, nullptr) != 0 ||
      vips_image_generate(image, nullptr, bits == 16 ? Draw<uint16_t> : Draw<uint8_t>, nullptr, frame, nullptr) != 0) {
    throw Failure("the picture cannot be drawn");
  }
  return owner;
}

}  // namespace tool
