#include "pixels.h"

#include <algorithm>
#include <cstring>

namespace zel::chain {

namespace {

size_t RowBytes(const ZelPixels& p) {
  return static_cast<size_t>(p.width) * static_cast<size_t>(p.channels) * static_cast<size_t>(p.bits / 8);
}

ptrdiff_t Pitch(const ZelPixels& p) {
  return p.rowBytes != 0 ? p.rowBytes : static_cast<ptrdiff_t>(RowBytes(p));
}

uint8_t* RowOf(const ZelPixels& p, int32_t y) {
  return static_cast<uint8_t*>(p.data) + Pitch(p) * y;
}

// Rows of hosts may lie at odd addresses; the compiler makes plain loads and stores of these.
template <class T>
T Load(const uint8_t* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}
template <class T>
void Store(uint8_t* at, T value) {
  std::memcpy(at, &value, sizeof value);
}

// Three samples of pixels that are kFrom and kTo samples apart.
template <class T, size_t kFrom, size_t kTo, bool kSwap>
void MoveColours(const uint8_t* from, uint8_t* to, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, from += kFrom * sizeof(T), to += kTo * sizeof(T)) {
    const T a = Load<T>(from), b = Load<T>(from + sizeof(T)), c = Load<T>(from + 2 * sizeof(T));
    Store<T>(to, kSwap ? c : a);
    Store<T>(to + sizeof(T), b);
    Store<T>(to + 2 * sizeof(T), kSwap ? a : c);
  }
}

// One sample, `offset` samples into each pixel, to the first of `copies`.
template <class T>
void MoveGrey(const uint8_t* from, size_t fromStep, uint8_t* to, size_t toStep, size_t copies, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, from += fromStep * sizeof(T), to += toStep * sizeof(T)) {
    const T value = Load<T>(from);
    for (size_t k = 0; k < copies; ++k) Store<T>(to + k * sizeof(T), value);
  }
}

template <class T>
void MoveRow(const uint8_t* from, int32_t fromChannels, uint8_t* to, int32_t toChannels, bool swap, size_t pixels) {
  const bool fromGrey = fromChannels < 3, toGrey = toChannels < 3;
  if (fromGrey || toGrey) {
    const size_t middle = fromGrey ? 0 : sizeof(T);
    MoveGrey<T>(from + middle, static_cast<size_t>(fromChannels), to, static_cast<size_t>(toChannels), toGrey ? 1 : 3,
                pixels);
  } else if (fromChannels == 3 && toChannels == 3) {
    if (!swap) {
      std::memcpy(to, from, pixels * 3 * sizeof(T));
    } else {
      MoveColours<T, 3, 3, true>(from, to, pixels);
    }
  } else if (fromChannels == 4 && toChannels == 3) {
    (swap ? MoveColours<T, 4, 3, true> : MoveColours<T, 4, 3, false>)(from, to, pixels);
  } else {
    (swap ? MoveColours<T, 3, 4, true> : MoveColours<T, 3, 4, false>)(from, to, pixels);
  }
}

void MoveRow(size_t sampleBytes, const uint8_t* from, int32_t fromChannels, uint8_t* to, int32_t toChannels, bool swap,
             size_t pixels) {
  (sampleBytes == 1 ? MoveRow<uint8_t> : MoveRow<uint16_t>)(from, fromChannels, to, toChannels, swap, pixels);
}

template <class T>
void MoveAlpha(const ZelPixels& from, const ZelPixels& to, int32_t row) {
  const bool has = from.channels % 2 == 0;
  const uint8_t* in = RowOf(from, row) + static_cast<size_t>(from.channels - 1) * sizeof(T);
  uint8_t* out = RowOf(to, row) + static_cast<size_t>(to.channels - 1) * sizeof(T);
  const size_t inStep = has ? static_cast<size_t>(from.channels) * sizeof(T) : 0;
  const size_t outStep = static_cast<size_t>(to.channels) * sizeof(T);
  for (int32_t x = 0; x < to.width; ++x, in += inStep, out += outStep) {
    Store<T>(out, has ? Load<T>(in) : static_cast<T>(~T{0}));
  }
}

// Rounds to the nearest of 8 bits; (sample + 128) / 257 without the division.
inline int32_t Reduced(uint32_t sample) {
  return static_cast<int32_t>((sample * 255 + 32895) >> 16);
}

template <class T>
bool IsColourlessRow(const uint8_t* row, size_t pixels) {
  constexpr int32_t kTolerance = sizeof(T) == 1 ? 2 : 2 * 257;
  for (size_t i = 0; i < pixels; ++i, row += 3 * sizeof(T)) {
    const int32_t a = Load<T>(row), b = Load<T>(row + sizeof(T)), c = Load<T>(row + 2 * sizeof(T));
    if (std::max({a, b, c}) - std::min({a, b, c}) > kTolerance) return false;
  }
  return true;
}

}  // namespace

ImageDesc Work::Record() const {
  const uint32_t kind = channels == 1 ? 0x00100000u : 0x01000000u;
  const uint32_t format = kind | static_cast<uint32_t>(bits) << 8 | static_cast<uint32_t>(channels) << 4 |
                          static_cast<uint32_t>(channels == 3 && blueFirst);
  return {width, height, format, static_cast<int32_t>(rowBytes / SampleBytes()), data};
}

Work Work::Band(int32_t top, int32_t rows) const {
  Work band = *this;
  band.data = Row(top);
  band.height = rows;
  return band;
}

bool Work::Allocate(Buffer* buffer) {
  rowBytes = RowSamples() * SampleBytes();
  if (rowBytes > SIZE_MAX / static_cast<size_t>(height) || !buffer->Allocate(rowBytes * static_cast<size_t>(height))) {
    return false;
  }
  data = buffer->data();
  return true;
}

bool CheckPixels(const ZelPixels* p, const char* which, Error* error) {
  const auto fail = [&](const std::string& what) {
    return error->Fail(ZEL_CHAIN_BAD_PIXELS, std::string("the ") + which + " " + what);
  };
  if (p == nullptr || p->data == nullptr)
    return error->Fail(ZEL_NULL_ARGUMENT, std::string("the ") + which + " is null");
  if (p->width < 1 || p->height < 1) return fail("has no pixels");
  if (p->channels < 1 || p->channels > 4) return fail("has " + std::to_string(p->channels) + " channels, not 1 to 4");
  if (p->bits != 8 && p->bits != 16) return fail("has " + std::to_string(p->bits) + " bits, not 8 or 16");
  // The library counts the samples of a row in 32 bits.
  if (p->width > INT32_MAX / 4) return fail("is wider than can be addressed");
  const uint64_t row =
      static_cast<uint64_t>(p->width) * static_cast<uint64_t>(p->channels) * static_cast<uint64_t>(p->bits / 8);
  const int64_t given = p->rowBytes;
  const uint64_t pitch = given == 0  ? row
                         : given < 0 ? ~static_cast<uint64_t>(given) + 1
                                     : static_cast<uint64_t>(given);
  if (pitch < row) return fail("has rows longer than the step from one to the next");
  if (pitch > static_cast<uint64_t>(PTRDIFF_MAX) / static_cast<uint64_t>(p->height)) {
    return fail("is larger than can be addressed");
  }
  return true;
}

bool CheckPair(const ZelPixels* source, const ZelPixels* destination, Error* error) {
  if (!CheckPixels(source, "source", error) || !CheckPixels(destination, "destination", error)) return false;
  if (source->width != destination->width || source->height != destination->height) {
    return error->Fail(ZEL_CHAIN_BAD_PIXELS, "source and destination differ in size");
  }
  if (source->bits != destination->bits) {
    return error->Fail(ZEL_CHAIN_BAD_PIXELS, "source and destination differ in depth");
  }
  if (IsGrey(*destination) && !IsGrey(*source)) {
    return error->Fail(ZEL_CHAIN_NEEDS_COLOUR, "the source has colours and the destination has none");
  }
  return true;
}

bool IsDirect(const ZelPixels& p, int32_t channels) {
  const ptrdiff_t pitch = Pitch(p), sample = p.bits / 8;
  return p.channels == channels && pitch > 0 && pitch % sample == 0 && pitch / sample <= INT32_MAX &&
         reinterpret_cast<uintptr_t>(p.data) % static_cast<size_t>(sample) == 0;
}

Work DirectWork(const ZelPixels& p) {
  Work work;
  work.data = static_cast<uint8_t*>(p.data);
  work.rowBytes = static_cast<size_t>(Pitch(p));
  work.width = p.width;
  work.height = p.height;
  work.channels = p.channels;
  work.bits = p.bits;
  work.blueFirst = p.blueFirst != 0;
  return work;
}

bool SameMemory(const ZelPixels& a, const ZelPixels& b) {
  return a.data == b.data && a.channels == b.channels && Pitch(a) == Pitch(b) &&
         (a.channels < 3 || (a.blueFirst != 0) == (b.blueFirst != 0));
}

void Unpack(const ZelPixels& source, int32_t top, const Work& work) {
  const bool swap = (source.blueFirst != 0) != work.blueFirst;
  for (int32_t y = 0; y < work.height; ++y) {
    MoveRow(work.SampleBytes(), RowOf(source, top + y), source.channels, work.Row(y), work.channels, swap,
            static_cast<size_t>(work.width));
  }
}

void Pack(const Work& work, const ZelPixels& destination, int32_t top, const ZelPixels& alpha) {
  const bool swap = (destination.blueFirst != 0) != work.blueFirst;
  const bool withAlpha = destination.channels % 2 == 0 && !SameMemory(alpha, destination);
  for (int32_t y = 0; y < work.height; ++y) {
    MoveRow(work.SampleBytes(), work.Row(y), work.channels, RowOf(destination, top + y), destination.channels, swap,
            static_cast<size_t>(work.width));
    if (withAlpha) (work.bits == 8 ? MoveAlpha<uint8_t> : MoveAlpha<uint16_t>)(alpha, destination, top + y);
  }
}

void SwapOrder(const Work& work) {
  for (int32_t y = 0; y < work.height; ++y) {
    uint8_t* const row = work.Row(y);
    MoveRow(work.SampleBytes(), row, 3, row, 3, true, static_cast<size_t>(work.width));
  }
}

bool IsColourless(const Work& work) {
  if (work.channels == 1) return true;
  for (int32_t y = 0; y < work.height; ++y) {
    if (!(work.bits == 8 ? IsColourlessRow<uint8_t> : IsColourlessRow<uint16_t>)(work.Row(y),
                                                                                 static_cast<size_t>(work.width))) {
      return false;
    }
  }
  return true;
}

void Narrow(const Work& wide, const Work& narrow) {
  const size_t count = wide.RowSamples();
  for (int32_t y = 0; y < wide.height; ++y) {
    const uint16_t* const in = reinterpret_cast<const uint16_t*>(wide.Row(y));
    uint8_t* const out = narrow.Row(y);
    for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(Reduced(in[i]));
  }
}

void AddDifference(const Work& narrow, const Work& wide) {
  const size_t count = wide.RowSamples();
  for (int32_t y = 0; y < wide.height; ++y) {
    const uint8_t* const in = narrow.Row(y);
    uint16_t* const out = reinterpret_cast<uint16_t*>(wide.Row(y));
    for (size_t i = 0; i < count; ++i) {
      const int32_t sum = out[i] + (in[i] - Reduced(out[i])) * 257;
      out[i] = static_cast<uint16_t>(std::min(std::max(sum, 0), 65535));
    }
  }
}

}  // namespace zel::chain
