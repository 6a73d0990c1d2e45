// Zel for C++ hosts: checked image views and results that say in words why a call refused.
//
//   const auto photo = zel::ImageView::Over(pixels, bytes, width, height, stride, ZEL_FORMAT_BGR24);
//   if (!photo) return;  // the numbers do not describe that memory
//   const zel::Result result = zel::Call(ZelBasicToolFunc_ContrastBrightness, *photo, *photo, 20, 5, nullptr);
//   if (!result) std::puts(zel::explain(result));
//
// A view owns nothing and a call costs what the C function costs; only a refusal is looked at more closely.
//
// Named operations on any pixels, from libzel_chain:
//
//   const zel::Chain chain = zel::Chain::Words("light-correct vivid strength=20");
//   if (!chain) std::puts(chain.report().text);
//   const ZelPixels pixels = zel::Pixels(data, width, height, 4, 8);
//   const ZelReport report = chain.Apply(pixels, pixels);
#ifndef ZEL_HPP_
#define ZEL_HPP_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "zel.h"
#include "zel_chain.h"

namespace zel {

// An image in the host's memory, known to lie inside it.
class ImageView {
 public:
  // `bytes` is the size of the memory behind `data`; `stride` counts samples, not bytes. Nothing when a size is not
  // positive, the stride is shorter than a row, the depth is neither 8 nor 16 bits, 16-bit samples are not aligned, or
  // height x stride samples do not fit into `bytes`.
  static std::optional<ImageView> Over(void* data, std::size_t bytes, std::int32_t width, std::int32_t height,
                                       std::int32_t stride, FormatCode format) {
    const ImageDesc desc = {width, height, format, stride, static_cast<std::uint8_t*>(data)};
    if (!IsSound(desc)) return std::nullopt;
    const std::uint64_t needed =
        static_cast<std::uint64_t>(height) * static_cast<std::uint64_t>(stride) * Depth(desc) / 8;
    if (needed > bytes || reinterpret_cast<std::uintptr_t>(data) % (Depth(desc) / 8) != 0) return std::nullopt;
    return ImageView(desc);
  }

  // The same for rows that follow each other without a gap.
  static std::optional<ImageView> Over(void* data, std::size_t bytes, std::int32_t width, std::int32_t height,
                                       FormatCode format) {
    const std::int64_t stride = static_cast<std::int64_t>(width) * static_cast<std::int32_t>(format >> 4 & 0xF);
    if (stride < 1 || stride > INT32_MAX) return std::nullopt;
    return Over(data, bytes, width, height, static_cast<std::int32_t>(stride), format);
  }

  const ImageDesc& desc() const { return desc_; }
  std::int32_t width() const { return desc_.width; }
  std::int32_t height() const { return desc_.height; }
  std::int32_t channels() const { return Channels(desc_); }
  std::int32_t bits() const { return Depth(desc_); }

 private:
  friend struct Result;

  explicit ImageView(const ImageDesc& desc) : desc_(desc) {}

  static std::int32_t Channels(const ImageDesc& desc) { return static_cast<std::int32_t>(desc.format >> 4 & 0xF); }
  static std::int32_t Depth(const ImageDesc& desc) { return static_cast<std::int32_t>(desc.format >> 8 & 0xFF); }
  static bool IsSound(const ImageDesc& desc) {
    return desc.data != nullptr && desc.width > 0 && desc.height > 0 && (Depth(desc) == 8 || Depth(desc) == 16) &&
           Channels(desc) > 0 && desc.stride >= static_cast<std::int64_t>(desc.width) * Channels(desc);
  }

  ImageDesc desc_;
};

enum class Reason { kNone, kNullOrMode, kSizesDiffer, kFormatsDiffer, kStridesDiffer, kChannels, kSettings };

// The code of a call and, after a refusal, the likeliest reason.
struct Result {
  std::int32_t code = ZEL_OK;
  Reason reason = Reason::kNone;

  explicit operator bool() const { return code == ZEL_OK; }

  static Result Of(std::int32_t code, const ImageView& source, const ImageView* destination) {
    if (code == ZEL_OK) return {};
    if (code == ZEL_NULL_ARGUMENT) return {code, Reason::kNullOrMode};
    const ImageDesc& from = source.desc_;
    if (destination != nullptr) {
      const ImageDesc& to = destination->desc_;
      if (from.width != to.width || from.height != to.height) return {code, Reason::kSizesDiffer};
      if (from.format != to.format) return {code, Reason::kFormatsDiffer};
      if (from.stride != to.stride) return {code, Reason::kStridesDiffer};
    }
    if (source.channels() != 1 && source.channels() != 3) return {code, Reason::kChannels};
    return {code, Reason::kSettings};
  }
};

// Why a call refused, as a sentence without a full stop; never null.
inline const char* explain(const Result& result) {
  switch (result.reason) {
    case Reason::kNone:
      return "done";
    case Reason::kNullOrMode:
      return "a required pointer is null, or the mode is not one that the function knows";
    case Reason::kSizesDiffer:
      return "source and destination differ in width or height";
    case Reason::kFormatsDiffer:
      return "source and destination differ in their format words";
    case Reason::kStridesDiffer:
      return "source and destination differ in stride";
    case Reason::kChannels:
      return "the function does not take this number of channels; most take 1 or 3";
    case Reason::kSettings:
      break;
  }
  return "the function does not take this depth, number of channels or setting, or memory ran out; see zel.h";
}

// Calls an adjustment: source, destination and its settings in the order of zel.h.
template <class... Parameters, class... Arguments>
Result Call(std::int32_t(ZEL_CALL* function)(const ImageDesc*, const ImageDesc*, Parameters...),
            const ImageView& source, const ImageView& destination, Arguments... arguments) {
  return Result::Of(function(&source.desc(), &destination.desc(), arguments...), source, &destination);
}

// Calls a measurement, which has no destination.
template <class... Parameters, class... Arguments>
Result Measure(std::int32_t(ZEL_CALL* function)(const ImageDesc*, Parameters...), const ImageView& source,
               Arguments... arguments) {
  return Result::Of(function(&source.desc(), arguments...), source, nullptr);
}

// Pixels of a host; rows follow without a gap when `rowBytes` is 0.
inline ZelPixels Pixels(void* data, std::int32_t width, std::int32_t height, std::int32_t channels, std::int32_t bits,
                        bool blueFirst = false, std::ptrdiff_t rowBytes = 0) {
  return {data, rowBytes, width, height, channels, bits, blueFirst ? 1 : 0};
}

// What a chain's automatic operations decided on one picture; false when it could not be measured.
class Measured {
 public:
  explicit operator bool() const { return measured_ != nullptr; }
  const ZelReport& report() const { return report_; }

  // Whether parts with `Margin` pixels around them give what the whole gives.
  bool AllowsTiles() const { return (ZelMeasured_Flags(measured_.get()) & ZEL_MEASURED_TILES) != 0; }
  std::int32_t Margin() const { return ZelMeasured_Margin(measured_.get()); }

  ZelReport Apply(const ZelPixels& source, const ZelPixels& destination,
                  const ZelApplyOptions* options = nullptr) const {
    ZelReport report;
    ZelMeasured_Apply(measured_.get(), &source, &destination, options, &report);
    return report;
  }

 private:
  friend class Chain;

  struct Free {
    void operator()(ZelMeasured* measured) const { ZelMeasured_Free(measured); }
  };
  std::unique_ptr<ZelMeasured, Free> measured_;
  ZelReport report_{};
};

// Operations by name with their settings; false when the text could not be read, and `report` says why.
class Chain {
 public:
  static Chain Words(std::string_view text) {
    Chain chain;
    chain.chain_.reset(ZelChain_ParseLine(text.data(), text.size(), &chain.report_));
    return chain;
  }
  static Chain Recipe(std::string_view json) {
    Chain chain;
    chain.chain_.reset(ZelChain_ParseRecipe(json.data(), json.size(), &chain.report_));
    return chain;
  }

  explicit operator bool() const { return chain_ != nullptr; }
  const ZelReport& report() const { return report_; }
  const ZelChain* get() const { return chain_.get(); }

  // The report's code is ZEL_OK when all went well.
  ZelReport Apply(const ZelPixels& source, const ZelPixels& destination,
                  const ZelApplyOptions* options = nullptr) const {
    ZelReport report;
    ZelChain_Apply(chain_.get(), &source, &destination, options, &report);
    return report;
  }
  Measured Measure(const ZelPixels& picture, const ZelApplyOptions* options = nullptr) const {
    Measured measured;
    measured.measured_.reset(ZelChain_Measure(chain_.get(), &picture, options, &measured.report_));
    return measured;
  }

 private:
  struct Free {
    void operator()(ZelChain* chain) const { ZelChain_Free(chain); }
  };
  std::unique_ptr<ZelChain, Free> chain_;
  ZelReport report_{};
};

}  // namespace zel

#endif  // ZEL_HPP_
