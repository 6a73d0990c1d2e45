// Choosing operations for a photograph by looking at it.
#include <algorithm>
#include <cmath>

#include "measured.h"

namespace zel::chain {

namespace {

constexpr int32_t kExtent = 512;  // of the reduced picture that is looked at

// What there is to know of a photograph.
struct Looks {
  int64_t levels[256] = {};  // of luma
  int64_t clipped = 0;       // samples at either end
  int64_t pixels = 0;
  double chroma = 0;     // mean distance of the largest from the smallest channel
  double closeness = 1;  // the largest step at an edge as a share of the edge over four pixels; 0.25 is a smooth ramp

  // The level below which the share of the pixels lies.
  int Percentile(double share) const {
    int64_t sum = 0;
    for (int level = 0; level < 255; ++level) {
      sum += levels[level];
      if (static_cast<double>(sum) > share * static_cast<double>(pixels)) return level;
    }
    return 255;
  }
};

int Luma(const uint8_t* blueFirst) {
  return (blueFirst[2] * 77 + blueFirst[1] * 150 + blueFirst[0] * 29 + 128) >> 8;
}

// Every nth pixel of every nth row, at 8 bits; and how close steps lie, from those rows in full.
bool Reduce(const ZelPixels& photo, Work* reduced, Buffer* buffer, Looks* looks, Error* error) {
  const int32_t step = (std::max(photo.width, photo.height) + kExtent - 1) / kExtent;
  reduced->width = (photo.width + step - 1) / step;
  reduced->height = (photo.height + step - 1) / step;
  reduced->bits = 8;
  Work row, narrow;
  row.width = narrow.width = photo.width;
  row.height = narrow.height = 1;
  row.bits = photo.bits;
  Buffer rowBuffer, narrowBuffer;
  if (!reduced->Allocate(buffer) || !row.Allocate(&rowBuffer) || !narrow.Allocate(&narrowBuffer)) {
    return error->Fail(ZEL_CHAIN_NO_MEMORY, "");
  }
  int64_t near = 0, far = 0;
  for (int32_t y = 0; y < reduced->height; ++y) {
    Unpack(photo, y * step, row);
    if (photo.bits == 16) Narrow(row, narrow);
    const uint8_t* const full = photo.bits == 16 ? narrow.data : row.data;
    uint8_t* const out = reduced->Row(y);
    for (int32_t x = 0; x < reduced->width; ++x) std::copy_n(full + 3 * int64_t{x} * step, 3, out + 3 * x);
    // Edges alone: flat areas hold noise.
    for (int64_t x = 0; x + 4 < photo.width; ++x) {
      const int first = Luma(full + 3 * x), last = Luma(full + 3 * (x + 4));
      if (std::abs(last - first) < 24) continue;
      far += std::abs(last - first);
      int most = 0;
      for (int64_t k = 0; k < 4; ++k) {
        most = std::max(most, std::abs(Luma(full + 3 * (x + k + 1)) - Luma(full + 3 * (x + k))));
      }
      near += most;
    }
  }
  looks->closeness = far > 0 ? static_cast<double>(near) / static_cast<double>(far) : 1;
  return true;
}

void Look(const Work& work, Looks* looks) {
  double chroma = 0;
  for (int32_t y = 0; y < work.height; ++y) {
    const uint8_t* pixel = work.Row(y);
    for (int32_t x = 0; x < work.width; ++x, pixel += 3) {
      const auto [least, most] = std::minmax({pixel[0], pixel[1], pixel[2]});
      ++looks->levels[Luma(pixel)];
      looks->clipped += (least == 0) + (most == 255);
      chroma += most - least;
    }
  }
  looks->pixels = int64_t{work.width} * work.height;
  looks->chroma = chroma / static_cast<double>(looks->pixels);
}

// The chain as it grows: every step is tried on the reduced picture and kept only when it does no harm there.
class Choice {
 public:
  Choice(const Work& work, double force, ZelReport* report, Error* error)
      : work_(work), force_(force), report_(report), error_(error) {}

  bool Grow(Looks looks, std::vector<Settings>* steps) {
    steps_ = steps;
    return Light(looks) && Tone(&looks) && Colour(looks) && Sharpness(looks);
  }

 private:
  bool Light(const Looks& looks) {
    if (looks.chroma < 4) return true;  // a grey picture
    // How far the middle of the tones would move apart.
    ZelMeasured measured;
    std::vector<Settings> light;
    if (!Make("light-correct", {{"strength", 100}}, &light)) return false;
    const ZelPixels pixels = Pixels();
    if (!Measure(light, pixels, nullptr, &measured, error_)) return false;
    if (measured.decisions[0].kind != Decision::Kind::Curves) return true;
    const std::vector<uint8_t>& c = measured.decisions[0].block;
    const auto [least, most] = std::minmax({c[170] - 170, c[256 + 170] - 170, c[512 + 170] - 170});
    const int cast = most - least;
    if (cast < 12) return true;
    // A strong colour of the light is often what the picture is about.
    const double strength = force_ * (cast > 40 ? 30 : 50);
    return Add("light-correct", {{"strength", strength}},
               "light-correct: the light has a colour, by " + std::to_string(cast) + " of 255");
  }

  bool Tone(Looks* looks) {
    const int black = looks->Percentile(0.002), white = looks->Percentile(0.998), middle = looks->Percentile(0.5);
    const size_t before = steps_->size();
    // Less where all of it would clip.
    for (double share = std::min(0.8 * force_, 1.0);
         share > 0.1 && steps_->size() == before && (black > 10 || white < 240) && white - black > 60; share *= 0.7) {
      const double shadow = std::floor(std::min(black * share, 45.0));
      const double highlight = std::ceil(std::max(255 - (255 - white) * share, 195.0));
      if (!Add("levels", {{"shadow", shadow}, {"highlight", highlight}},
               "levels: the tones reach from " + std::to_string(black) + " to " + std::to_string(white))) {
        return false;
      }
    }
    if (steps_->size() > before) {
      const double closeness = looks->closeness;
      *looks = {};
      looks->closeness = closeness;
      Look(work_, looks);
    }
    // The middle of the tones, when the picture is neither a night nor a bright one on purpose: it has both ends.
    const int moved = looks->Percentile(0.5), low = looks->Percentile(0.1), high = looks->Percentile(0.9);
    if (middle < 128 && high > 110 && moved > 12) {
      // A deeper black shall not darken a picture that is rather dark, unless a veil lay over it; a dark one becomes
      // lighter.
      const double veil = std::clamp((black - 40) / 20.0, 0.0, 1.0);
      const double kept = std::max(1.0, std::log(moved / 255.0) / std::log(std::max(middle, 13) / 255.0));
      const double gamma = 1 + (kept - 1) * (1 - veil) * std::min((128 - middle) / 30.0, 1.0) +
                           std::clamp((88 - middle) / 88.0, 0.0, 0.45) * 0.7 * force_;
      return gamma < 1.04 || Add("gamma", {{"gamma", std::round(std::min(gamma, 1.8) * 100) / 100}},
                                 "gamma: half of the picture is darker than " + std::to_string(middle));
    }
    if (moved > 185 && low < 140 && low > 20) {
      const double gamma = 1 - std::min((moved - 185) / 70.0, 0.3) * 0.6 * force_;
      return gamma > 0.96 || Add("gamma", {{"gamma", std::round(gamma * 100) / 100}},
                                 "gamma: half of the picture is brighter than " + std::to_string(moved));
    }
    return true;
  }

  bool Colour(const Looks& looks) {
    if (looks.chroma < 6 || looks.chroma >= 32) return true;
    const double saturation = std::round((32 - looks.chroma) * force_);
    return saturation < 3 ||
           Add("hue-saturation", {{"saturation", std::min(saturation, 20.0)}},
               "hue-saturation: the colours are pale, " + NumberText(std::round(looks.chroma)) + " of 255 on average");
  }

  bool Sharpness(const Looks& looks) {
    const double amount = std::round(std::min((0.62 - looks.closeness) * 200, 40.0) * force_);
    return amount < 8 ||
           Add("unsharp", {{"amount", amount}, {"radius", 1}, {"threshold", 3}}, "unsharp: edges are soft");
  }

  using Numbers = std::vector<std::pair<std::string, double>>;

  bool Make(const char* name, const Numbers& numbers, std::vector<Settings>* steps) {
    steps->push_back(DefaultSettings(*FindOperation(name)));
    for (const auto& [parameter, value] : numbers) {
      if (!SetParameter(parameter, NumberText(value), &steps->back(), error_)) return false;
    }
    return true;
  }

  ZelPixels Pixels() const { return {work_.data, 0, work_.width, work_.height, 3, 8, 1}; }

  // Runs the step and keeps it, unless it drives more than a hundredth of the samples into an end.
  bool Add(const char* name, Numbers numbers, const std::string& reason) {
    std::vector<Settings> step;
    for (auto& number : numbers) {
      if (number.first == "strength") number.second = std::round(std::min(number.second, 100.0));
    }
    if (!Make(name, numbers, &step)) return false;
    Work tried = work_;
    Buffer buffer;
    if (!tried.Allocate(&buffer)) return error_->Fail(ZEL_CHAIN_NO_MEMORY, "");
    std::copy_n(work_.data, work_.rowBytes * static_cast<size_t>(work_.height), tried.data);
    Looks before, after;
    Look(work_, &before);
    if (!RunAlone({&step[0], {}, nullptr}, tried, error_)) return false;
    Look(tried, &after);
    if (after.clipped - before.clipped > before.pixels / 100) return true;
    std::copy_n(tried.data, work_.rowBytes * static_cast<size_t>(work_.height), work_.data);
    steps_->push_back(step[0]);
    AddNote(report_, reason);
    return true;
  }

  Work work_;
  double force_;
  ZelReport* report_;
  Error* error_;
  std::vector<Settings>* steps_ = nullptr;
};

}  // namespace

}  // namespace zel::chain

using namespace zel::chain;

ZelChain* ZEL_CALL ZelChain_Auto(const ZelPixels* photo, int32_t strength, const ZelApplyOptions*, ZelReport* report) {
  return Made<ZelChain>(report, [&](ZelChain* chain, Error* error) {
    Work work;
    Buffer buffer;
    Looks looks;
    if (!CheckPixels(photo, "photograph", error)) return false;
    if (strength < 0 || strength > 100) return error->Fail(ZEL_REFUSED, "the strength must be from 0 to 100");
    if (!Reduce(*photo, &work, &buffer, &looks, error)) return false;
    Look(work, &looks);
    if (strength > 0 && !Choice(work, strength / 50.0, report, error).Grow(looks, &chain->steps)) return false;
    Describe(chain);
    return true;
  });
}
