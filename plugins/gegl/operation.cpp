#include "operation.h"

#include <gegl-plugin.h>
#include <zel_chain.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "table.h"

namespace zel_gegl {
namespace {

// ---- Objects ----

struct Class {
  GeglOperationFilterClass parent;
  const Operation* operation;
};

struct Instance {
  GeglOperationFilter parent;
  double* values;  // one for each property
};

const Operation& OperationOf(gpointer instance) {
  return *reinterpret_cast<Class*>(G_OBJECT_GET_CLASS(instance))->operation;
}

double* ValuesOf(gpointer instance) {
  return static_cast<Instance*>(instance)->values;
}

gpointer parentClass;

// ---- Settings ----

std::string Joined(const double* values, size_t count, double factor, const char* suffix) {
  std::string text;
  for (size_t i = 0; i < count; ++i) text += (i ? "," : "") + Number(values[i] * factor) + suffix;
  return text;
}

bool IsWholePicture(const double* rect) {
  return rect[0] <= 0 && rect[1] <= 0 && rect[2] >= 1 && rect[3] >= 1;
}

bool HasRect(const Operation& operation, const double* values) {
  for (const Parameter& parameter : operation.parameters) {
    if (parameter.type == "rect" && !IsWholePicture(values + parameter.first)) return true;
  }
  return false;
}

// The operation with its settings as a line of words.
std::string Words(const Operation& operation, const double* values) {
  std::string line = operation.name;
  for (const Parameter& parameter : operation.parameters) {
    const double* value = values + parameter.first;
    std::string text;
    if (parameter.type == "rect") {
      if (!IsWholePicture(value)) text = Joined(value, 4, 100, "%");
    } else if (parameter.type == "point") {
      if (value[0] != 0) text = Joined(value + 1, 2, 100, "%");
    } else if (parameter.type == "choice") {
      text = parameter.words[static_cast<size_t>(value[0])];
    } else if (parameter.type == "integers" || parameter.type == "numbers") {
      text = Joined(value, 3, 1, "");
    } else if (!parameter.optional || value[0] > operation.properties[parameter.first].least) {
      text = Number(value[0]);
    }
    if (!text.empty()) line += " " + parameter.name + "=" + text;
  }
  return line;
}

struct FreeChain {
  void operator()(ZelChain* chain) const { ZelChain_Free(chain); }
};

std::unique_ptr<ZelChain, FreeChain> Chain(GeglOperation* self, ZelReport* report) {
  const std::string line = Words(OperationOf(self), ValuesOf(self));
  return std::unique_ptr<ZelChain, FreeChain>(ZelChain_ParseLine(line.data(), line.size(), report));
}

// ---- Regions ----

// True when a tile of the result cannot be had without the whole picture.
bool NeedsWhole(GeglOperation* self) {
  return OperationOf(self).whole || HasRect(OperationOf(self), ValuesOf(self));
}

const GeglRectangle* Picture(GeglOperation* self) {
  const GeglRectangle* box = gegl_operation_source_get_bounding_box(self, "input");
  return box && !gegl_rectangle_is_empty(box) && !gegl_rectangle_is_infinite_plane(box) ? box : nullptr;
}

int Margin(GeglOperation* self) {
  const auto chain = Chain(self, nullptr);
  return chain ? std::max(0, ZelChain_Margin(chain.get())) : 0;
}

GeglRectangle Grown(const GeglRectangle& area, int margin) {
  return {area.x - margin, area.y - margin, area.width + 2 * margin, area.height + 2 * margin};
}

// What of the source an area of the result hangs on; the same the other way round.
GeglRectangle Neighbourhood(GeglOperation* self, const GeglRectangle* area) {
  const GeglRectangle* picture = Picture(self);
  if (!picture) return *area;
  if (NeedsWhole(self)) return *picture;
  GeglRectangle needed = Grown(*area, Margin(self));
  gegl_rectangle_intersect(&needed, &needed, picture);
  return needed;
}

GeglRectangle RequiredForOutput(GeglOperation* self, const gchar*, const GeglRectangle* area) {
  return Neighbourhood(self, area);
}

GeglRectangle InvalidatedByChange(GeglOperation* self, const gchar*, const GeglRectangle* area) {
  return Neighbourhood(self, area);
}

// A picture that is needed whole is computed whole, once, and kept; tiles come from there.
GeglRectangle CachedRegion(GeglOperation* self, const GeglRectangle* area) {
  const GeglRectangle* picture = NeedsWhole(self) ? Picture(self) : nullptr;
  return picture ? *picture : *area;
}

// ---- Pixels ----

// Eight bits stay eight, everything finer runs at sixteen, always in the picture's own encoding and colour space.
void Prepare(GeglOperation* self) {
  const Babl* source = gegl_operation_get_source_format(self, "input");
  const Babl* space = gegl_operation_get_source_space(self, "input");
  bool grey = false, alpha = true, deep = false;
  if (source) {
    grey = (babl_get_model_flags(babl_format_get_model(source)) & BABL_MODEL_FLAG_GRAY) != 0;
    alpha = babl_format_has_alpha(source);
    deep = babl_format_get_type(source, 0) != babl_type("u8");
  }
  const std::string name = std::string(grey ? "Y'" : "R'G'B'") + (alpha ? "A " : " ") + (deep ? "u16" : "u8");
  const Babl* format = babl_format_with_space(name.c_str(), space);
  gegl_operation_set_format(self, "input", format);
  gegl_operation_set_format(self, "output", format);
}

int32_t ZEL_CALL ShowProgress(void* self, double done) {
  gegl_operation_progress(static_cast<GeglOperation*>(self), done, const_cast<gchar*>(""));
  return 0;
}

gboolean Process(GeglOperation* self, GeglBuffer* input, GeglBuffer* output, const GeglRectangle* area, gint) {
  ZelReport report;
  const auto chain = Chain(self, &report);
  const GeglRectangle region = Neighbourhood(self, area);
  const Babl* format = gegl_operation_get_format(self, "output");
  const int bytes = babl_format_get_bytes_per_pixel(format);
  const size_t rowBytes = static_cast<size_t>(region.width) * static_cast<size_t>(bytes);
  std::unique_ptr<guchar, decltype(&g_free)> memory(
      static_cast<guchar*>(g_try_malloc_n(static_cast<gsize>(region.height), rowBytes)), g_free);
  if (!memory) {
    g_warning("zel:%s: no memory for %d x %d pixels", OperationOf(self).name.c_str(), region.width, region.height);
    return FALSE;
  }
  gegl_buffer_get(input, &region, 1.0, format, memory.get(), GEGL_AUTO_ROWSTRIDE, GEGL_ABYSS_NONE);

  const int channels = babl_format_get_n_components(format);
  const ZelPixels pixels = {memory.get(), 0, region.width, region.height, channels, 8 * bytes / channels, 0};
  ZelApplyOptions options = {};
  options.size = sizeof options;
  if (NeedsWhole(self)) {
    options.progress = ShowProgress;
    options.user = self;
  }
  if (!chain || ZelChain_Apply(chain.get(), &pixels, &pixels, &options, &report) != ZEL_OK) {
    g_warning("zel:%s: %s", OperationOf(self).name.c_str(), report.text);
    if (report.changed) return FALSE;
  }
  const guchar* first = memory.get() + static_cast<size_t>(area->y - region.y) * rowBytes +
                        static_cast<size_t>(area->x - region.x) * static_cast<size_t>(bytes);
  gegl_buffer_set(output, area, 0, format, first, static_cast<gint>(rowBytes));
  return TRUE;
}

// ---- Types ----

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec*) {
  double& stored = ValuesOf(object)[id - 1];
  switch (OperationOf(object).properties[id - 1].kind) {
    case Kind::Integer:
      stored = g_value_get_int(value);
      break;
    case Kind::Choice:
      stored = g_value_get_enum(value);
      break;
    case Kind::Switch:
      stored = g_value_get_boolean(value);
      break;
    default:
      stored = g_value_get_double(value);
  }
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec*) {
  const double stored = ValuesOf(object)[id - 1];
  switch (OperationOf(object).properties[id - 1].kind) {
    case Kind::Integer:
      g_value_set_int(value, static_cast<gint>(stored));
      break;
    case Kind::Choice:
      g_value_set_enum(value, static_cast<gint>(stored));
      break;
    case Kind::Switch:
      g_value_set_boolean(value, stored != 0);
      break;
    default:
      g_value_set_double(value, stored);
  }
}

GParamSpec* ParamSpecOf(const Property& p) {
  const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_CONSTRUCT);
  const char *name = p.name.c_str(), *nick = p.nick.c_str(), *blurb = p.blurb.c_str();
  switch (p.kind) {
    case Kind::Integer: {
      const gint least = static_cast<gint>(p.least), most = static_cast<gint>(p.most);
      return gegl_param_spec_int(name, nick, blurb, least, most, static_cast<gint>(p.fallback), least, most, 1, flags);
    }
    case Kind::Choice:
      return gegl_param_spec_enum(name, nick, blurb, p.choices, static_cast<gint>(p.fallback), flags);
    case Kind::Switch:
      return g_param_spec_boolean(name, nick, blurb, p.fallback != 0, flags);
    default:
      return gegl_param_spec_double(name, nick, blurb, p.least, p.most, p.fallback, p.least, p.most, 1, flags);
  }
}

void InitClass(gpointer type, gpointer data) {
  const auto& operation = *static_cast<const Operation*>(data);
  static_cast<Class*>(type)->operation = &operation;
  parentClass = g_type_class_peek_parent(type);

  GObjectClass* object = G_OBJECT_CLASS(type);
  object->set_property = SetProperty;
  object->get_property = GetProperty;
  object->finalize = [](GObject* self) {
    g_free(ValuesOf(self));
    G_OBJECT_CLASS(parentClass)->finalize(self);
  };
  GeglOperationClass* gegl = GEGL_OPERATION_CLASS(type);
  gegl->prepare = Prepare;
  gegl->get_required_for_output = RequiredForOutput;
  gegl->get_invalidated_by_change = InvalidatedByChange;
  gegl->get_cached_region = CachedRegion;
  gegl->threaded = operation.whole ? FALSE : TRUE;
  GEGL_OPERATION_FILTER_CLASS(type)->process = Process;

  const std::string name = "zel:" + operation.name;
  gegl_operation_class_set_keys(gegl, "name", name.c_str(), "title", operation.title.c_str(), "description",
                                operation.purpose.c_str(), "categories", operation.group.c_str(), nullptr);
  for (size_t i = 0; i < operation.properties.size(); ++i) {
    const Property& property = operation.properties[i];
    g_object_class_install_property(object, static_cast<guint>(i + 1), ParamSpecOf(property));
    for (const auto& [key, value] : {std::pair{"unit", &property.unit}, std::pair{"axis", &property.axis}}) {
      if (!value->empty()) gegl_operation_class_set_property_key(gegl, property.name.c_str(), key, value->c_str());
    }
  }
}

void InitInstance(GTypeInstance* instance, gpointer type) {
  const Operation& operation = *static_cast<Class*>(type)->operation;
  reinterpret_cast<Instance*>(instance)->values = g_new0(double, operation.properties.size());
}

}  // namespace

gboolean RegisterOperations(GTypeModule* module) {
  // A module stays loaded once its types are in use, and so does the table that they point into.
  static const std::vector<Operation>& operations = *new std::vector<Operation>(ReadTable(module));
  for (const Operation& operation : operations) {
    GTypeInfo info = {};
    info.class_size = sizeof(Class);
    info.class_init = InitClass;
    info.class_data = &operation;
    info.instance_size = sizeof(Instance);
    info.instance_init = InitInstance;
    const std::string type = "ZelGegl-" + operation.name;
    gegl_module_register_type(module, GEGL_TYPE_OPERATION_FILTER, type.c_str(), &info, static_cast<GTypeFlags>(0));
  }
  return !operations.empty();
}

}  // namespace zel_gegl
