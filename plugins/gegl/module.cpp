// The module that GEGL loads: one operation of its own for every operation of the table.
#include <gegl-plugin.h>

#include "operation.h"

extern "C" {

G_MODULE_EXPORT const GeglModuleInfo* gegl_module_query(GTypeModule*) {
  static const GeglModuleInfo info = {GEGL_MODULE_ABI_VERSION};
  return &info;
}

G_MODULE_EXPORT gboolean gegl_module_register(GTypeModule* module) {
  return zel_gegl::RegisterOperations(module);
}
}
