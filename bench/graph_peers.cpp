// Peers that build a graph of operations first: libvips and GEGL, held to one thread. What they give other threads to
// do counts too, so the processor time of the whole process is taken.
#include "photo.h"
#include "registration.h"

#ifdef ZEL_HAS_VIPS
#include <vips/vips.h>
#endif
#ifdef ZEL_HAS_GEGL
#include <gegl.h>
#endif

namespace zel::bench {

namespace {

template <class Call>
void Add(const std::string& name, Call call) {
  RegisterTimed("peer/" + name + "/24MP/8", [call](benchmark::State& state) {
    bool done = call();
    for (auto _ : state) done = call() && done;
    if (!done) state.SkipWithError("refused");
  })->MeasureProcessCPUTime();
}

struct Blur {
  const char* name;
  double sigma, leastAmplitude;  // which gives as many taps as ours has
};
constexpr Blur kBlurs[] = {{"blur-1", 1.0, 0.01}, {"blur-3", 3.0, 0.02}, {"blur-10", 10.0, 0.06}};

#ifdef ZEL_HAS_VIPS
bool StartVips() {
  if (VIPS_INIT("zel_bench") != 0) return false;
  vips_concurrency_set(1);
  vips_cache_set_max(0);  // or the second call would find the result of the first
  return true;
}

// An operation on the photograph, computed into memory that is released again.
template <class Operation>
void AddVips(const std::string& operation, Operation apply) {
  Add("libvips/" + operation, [apply] {
    static const bool started = StartVips();
    if (!started) return false;
    Photo& photo = Source(kLarge, 3, 8);
    VipsImage* const source =
        vips_image_new_from_memory(photo.data(), photo.Bytes(), kLarge.width, kLarge.height, 3, VIPS_FORMAT_UCHAR);
    VipsImage* result = nullptr;
    void* memory = nullptr;
    if (apply(source, &result) == 0) {
      memory = vips_image_write_to_memory(result, nullptr);
      g_object_unref(result);
    }
    g_object_unref(source);
    g_free(memory);
    return memory != nullptr;
  });
}

int Unsharp(VipsImage* source, VipsImage** result) {
  VipsImage *blurred = nullptr, *pushed = nullptr, *taken = nullptr, *sum = nullptr;
  int failed = vips_gaussblur(source, &blurred, 2.0, "min_ampl", 0.01, nullptr);
  failed = failed || vips_linear1(source, &pushed, 1.8, 0.0, nullptr);
  failed = failed || vips_linear1(blurred, &taken, 0.8, 0.0, nullptr);
  failed = failed || vips_subtract(pushed, taken, &sum, nullptr);
  failed = failed || vips_cast_uchar(sum, result, nullptr);
  for (VipsImage* image : {blurred, pushed, taken, sum}) {
    if (image != nullptr) g_object_unref(image);
  }
  return failed;
}

void RegisterVips() {
  AddVips("lut-three", [](VipsImage* source, VipsImage** result) {
    VipsImage *levels = nullptr, *table = nullptr;
    double scale[3] = {-1.0, 0.5, 1.0}, offset[3] = {255.0, 0.0, 0.0};
    int failed = vips_identity(&levels, "bands", 3, nullptr);
    failed = failed || vips_linear(levels, &table, scale, offset, 3, "uchar", TRUE, nullptr);
    failed = failed || vips_maplut(source, result, table, nullptr);
    for (VipsImage* image : {levels, table}) {
      if (image != nullptr) g_object_unref(image);
    }
    return failed;
  });
  for (const Blur& blur : kBlurs) {
    AddVips(blur.name, [blur](VipsImage* source, VipsImage** result) {
      return vips_gaussblur(source, result, blur.sigma, "min_ampl", blur.leastAmplitude, nullptr);
    });
  }
  AddVips("sharpen", [](VipsImage* source, VipsImage** result) {
    VipsImage* const mask = vips_image_new_matrixv(3, 3, 0.0, -1.0, 0.0, -1.0, 8.0, -1.0, 0.0, -1.0, 0.0);
    vips_image_set_double(mask, "scale", 4.0);
    const int failed = vips_conv(source, result, mask, "precision", VIPS_PRECISION_INTEGER, nullptr);
    g_object_unref(mask);
    return failed;
  });
  AddVips("unsharp", Unsharp);
}
#endif

#ifdef ZEL_HAS_GEGL
// An operation between two buffers of 8 bits; the library works in floating point and in linear light between them.
template <class MakeNode>
void AddGegl(const std::string& operation, MakeNode make) {
  Add("gegl/" + operation, [make] {
    static GeglBuffer *source = nullptr, *destination = nullptr;
    const GeglRectangle whole = {0, 0, kLarge.width, kLarge.height};
    if (source == nullptr) {
      gegl_init(nullptr, nullptr);
      g_object_set(gegl_config(), "threads", 1, "use-opencl", FALSE, nullptr);
      const Babl* const format = babl_format("R'G'B' u8");
      source = gegl_buffer_new(&whole, format);
      destination = gegl_buffer_new(&whole, format);
      gegl_buffer_set(source, &whole, 0, format, Source(kLarge, 3, 8).data(), GEGL_AUTO_ROWSTRIDE);
    }
    GeglNode* const graph = gegl_node_new();
    GeglNode* const from = gegl_node_new_child(graph, "operation", "gegl:buffer-source", "buffer", source, nullptr);
    GeglNode* const to = gegl_node_new_child(graph, "operation", "gegl:write-buffer", "buffer", destination, nullptr);
    gegl_node_link_many(from, make(graph), to, nullptr);
    gegl_node_process(to);
    g_object_unref(graph);
    return true;
  });
}

void RegisterGegl() {
  for (const Blur& blur : kBlurs) {
    AddGegl(blur.name, [blur](GeglNode* graph) {
      return gegl_node_new_child(graph, "operation", "gegl:gaussian-blur", "std-dev-x", blur.sigma, "std-dev-y",
                                 blur.sigma, nullptr);
    });
  }
  AddGegl("unsharp", [](GeglNode* graph) {
    return gegl_node_new_child(graph, "operation", "gegl:unsharp-mask", "std-dev", 2.0, "scale", 0.8, nullptr);
  });
}
#endif

}  // namespace

void RegisterGraphPeers() {
#ifdef ZEL_HAS_VIPS
  RegisterVips();
#endif
#ifdef ZEL_HAS_GEGL
  RegisterGegl();
#endif
}

}  // namespace zel::bench
