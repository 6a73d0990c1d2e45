// What a host would link instead, on one thread and on the same pictures, under names of the form
// peer/<library>/<operation>/<size>/<bits>. A peer that is not installed registers nothing.
#include "photo.h"
#include "registration.h"

#ifdef ZEL_HAS_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef ZEL_HAS_OCIO
#include <OpenColorIO/OpenColorIO.h>
#endif

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>

namespace zel::bench {

namespace {

#ifdef ZEL_HAS_OPENCV
cv::Mat MatOf(Photo& photo, int bits) {
  return cv::Mat(photo.desc()->height, photo.desc()->width, bits == 8 ? CV_8UC3 : CV_16UC3, photo.data());
}

cv::Mat ThreeTables() {
  cv::Mat tables(1, 256, CV_8UC3);
  for (int i = 0; i < 256; ++i) {
    tables.at<cv::Vec3b>(0, i) = {static_cast<uint8_t>(255 - i), static_cast<uint8_t>(i / 2), static_cast<uint8_t>(i)};
  }
  return tables;
}

void RegisterOpenCv(const Size& size, int bits) {
  const auto add = [size, bits](const std::string& operation, auto call) {
    RegisterTimed("peer/opencv/" + operation + "/" + size.name + "/" + std::to_string(bits),
                  [size, bits, call](benchmark::State& state) {
                    cv::setNumThreads(1);
                    const cv::Mat source = MatOf(Source(size, 3, bits), bits);
                    cv::Mat destination = MatOf(Destination(size, 3, bits), bits);
                    call(source, destination);
                    for (auto _ : state) call(source, destination);
                  });
  };
  struct Blur {
    const char* name;
    double sigma;
    int taps;
  };
  for (const Blur& blur : {Blur{"blur-1", 1.0, 7}, Blur{"blur-3", 3.0, 17}, Blur{"blur-10", 10.0, 47}}) {
    add(blur.name, [blur](const cv::Mat& s, cv::Mat& d) {
      cv::GaussianBlur(s, d, {blur.taps, blur.taps}, blur.sigma, blur.sigma, cv::BORDER_REPLICATE);
    });
  }
  add("unsharp", [](const cv::Mat& s, cv::Mat& d) {
    static cv::Mat blurred;
    cv::GaussianBlur(s, blurred, {13, 13}, 2.0, 2.0, cv::BORDER_REPLICATE);
    cv::addWeighted(s, 1.8, blurred, -0.8, 0.0, d);
  });
  if (bits != 8) return;
  add("lut-three", [](const cv::Mat& s, cv::Mat& d) { cv::LUT(s, ThreeTables(), d); });
  add("sharpen", [](const cv::Mat& s, cv::Mat& d) {
    static const cv::Mat kernel = (cv::Mat_<float>(3, 3) << 0, -0.25, 0, -0.25, 2, -0.25, 0, -0.25, 0);
    cv::filter2D(s, d, -1, kernel, {-1, -1}, 0.0, cv::BORDER_REPLICATE);
  });
  add("bgr-to-hsv", [](const cv::Mat& s, cv::Mat& d) { cv::cvtColor(s, d, cv::COLOR_BGR2HSV); });
  add("hls-change", [](const cv::Mat& s, cv::Mat& d) {
    static cv::Mat hls;
    static cv::Mat tables;
    if (tables.empty()) {
      tables.create(1, 256, CV_8UC3);
      for (int i = 0; i < 256; ++i) {
        tables.at<cv::Vec3b>(0, i) = {static_cast<uint8_t>((i + 10) % 180), static_cast<uint8_t>(i),
                                      cv::saturate_cast<uint8_t>(i * 1.3)};
      }
    }
    cv::cvtColor(s, hls, cv::COLOR_BGR2HLS);
    cv::LUT(hls, tables, hls);
    cv::cvtColor(hls, d, cv::COLOR_HLS2BGR);
  });
}
#endif

#ifdef ZEL_HAS_OCIO
namespace OCIO = OCIO_NAMESPACE;

void RegisterOpenColorIo(const Size& size) {
  RegisterTimed(std::string("peer/opencolorio/lattice/") + size.name + "/8", [size](benchmark::State& state) {
    auto lut = OCIO::Lut3DTransform::Create(16);
    lut->setInterpolation(OCIO::INTERP_TETRAHEDRAL);
    for (unsigned r = 0; r < 16; ++r) {
      for (unsigned g = 0; g < 16; ++g) {
        for (unsigned b = 0; b < 16; ++b) {
          lut->setValue(r, g, b, static_cast<float>(b) / 15, static_cast<float>(r) / 15, static_cast<float>(g) / 15);
        }
      }
    }
    const auto config = OCIO::Config::CreateRaw();
    const auto processor = config->getProcessor(lut)->getOptimizedCPUProcessor(
        OCIO::BIT_DEPTH_UINT8, OCIO::BIT_DEPTH_UINT8, OCIO::OPTIMIZATION_DEFAULT);
    const auto view = [](Photo& photo) {
      return OCIO::PackedImageDesc(photo.data(), photo.desc()->width, photo.desc()->height, OCIO::CHANNEL_ORDERING_BGR,
                                   OCIO::BIT_DEPTH_UINT8, OCIO::AutoStride, OCIO::AutoStride, OCIO::AutoStride);
    };
    const OCIO::PackedImageDesc source = view(Source(size, 3, 8));
    OCIO::PackedImageDesc destination = view(Destination(size, 3, 8));
    for (auto _ : state) processor->apply(source, destination);
  });
}
#endif

double ChildrenSeconds() {
  rusage used;
  getrusage(RUSAGE_CHILDREN, &used);
  return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
         static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec) * 1e-6;
}

// Seconds of processor time that ffmpeg takes for one planar frame through a filter; negative when it cannot.
double FfmpegSeconds(const char* filter, const Size& size) {
  const std::string frame = std::to_string(size.width) + "x" + std::to_string(size.height);
  const std::string command = "ffmpeg -v error -nostdin -f rawvideo -pix_fmt gbrp -s " + frame +
                              " -stream_loop 2 -i zel-bench.raw -vf " + filter +
                              " -threads 1 -filter_threads 1 -f null - >/dev/null 2>&1";
  const double start = ChildrenSeconds();
  if (std::system(command.c_str()) != 0) return -1.0;
  return ChildrenSeconds() - start;
}

// Three frames through the filter less three frames through none: reading and starting are not the filter's fault.
void RegisterFfmpeg(const Size& size) {
  if (std::system("ffmpeg -v quiet -version >/dev/null 2>&1") != 0) return;
  benchmark::RegisterBenchmark((std::string("peer/ffmpeg/denoise/") + size.name + "/8").c_str(),
                               [size](benchmark::State& state) {
                                 Photo& photo = Source(size, 3, 8);
                                 if (std::FILE* file = std::fopen("zel-bench.raw", "wb")) {
                                   std::fwrite(photo.data(), 1, photo.Bytes(), file);
                                   std::fclose(file);
                                 }
                                 for (auto _ : state) {
                                   const double with = FfmpegSeconds("vaguedenoiser=nsteps=6", size);
                                   const double without = FfmpegSeconds("null", size);
                                   if (with < 0 || without < 0) state.SkipWithError("ffmpeg failed");
                                   state.SetIterationTime((with - without) / 3);
                                 }
                                 std::remove("zel-bench.raw");
                               })
      ->Unit(benchmark::kMillisecond)
      ->UseManualTime()
      ->Iterations(1);
}

}  // namespace

void RegisterPeers() {
  for (const Size& size : {kLarge, kSmall}) {
#ifdef ZEL_HAS_OPENCV
    RegisterOpenCv(size, 8);
    RegisterOpenCv(size, 16);
#endif
#ifdef ZEL_HAS_OCIO
    RegisterOpenColorIo(size);
#endif
  }
  RegisterFfmpeg(kLarge);
}

}  // namespace zel::bench
