// Zel's operations as GEGL's.
#ifndef ZEL_PLUGINS_GEGL_OPERATION_H_
#define ZEL_PLUGINS_GEGL_OPERATION_H_

#include <glib-object.h>

namespace zel_gegl {

// Registers "zel:NAME" for every operation of the table. False when the table cannot be read.
gboolean RegisterOperations(GTypeModule* module);

}  // namespace zel_gegl

#endif  // ZEL_PLUGINS_GEGL_OPERATION_H_
