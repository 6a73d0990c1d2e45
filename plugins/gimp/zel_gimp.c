/*
 * Zel for GIMP's scripts. The dialogs of GIMP find the operations by themselves (Tools, GEGL Operation); GIMP 2.10 has
 * no way for a script to call them, so this plug-in is one: (plug-in-zel RUN-NONINTERACTIVE image drawable
 * "zel:light-correct strength=60 zel:vivid strength=20").
 */
#include <gegl-types.h>
#include <gegl-utils.h> /* before gegl.h: another header of GEGL has the same guard */
#include <libgimp/gimp.h>
#include <string.h>

#define PROCEDURE "plug-in-zel"

static void Query(void) {
  static const GimpParamDef arguments[] = {
      {GIMP_PDB_INT32, (gchar*)"run-mode", (gchar*)"RUN-NONINTERACTIVE (1)"},
      {GIMP_PDB_IMAGE, (gchar*)"image", (gchar*)"The image"},
      {GIMP_PDB_DRAWABLE, (gchar*)"drawable", (gchar*)"The layer to change, within the selection"},
      {GIMP_PDB_STRING, (gchar*)"operations",
       (gchar*)"Operations with their properties, as the gegl command takes them"},
  };
  gimp_install_procedure(PROCEDURE, "Applies operations of Zel to a layer",
                         "Each operation is zel:NAME, followed by its properties as name=value; the next one follows. "
                         "'gegl --info zel:NAME' tells the properties. Operations of others may stand between.",
                         "The Zel authors", "The Zel authors", "2026", NULL, "RGB*, GRAY*", GIMP_PLUGIN,
                         G_N_ELEMENTS(arguments), 0, arguments, NULL);
}

/* Computes the whole layer first and merges it in one step, so that a failure changes nothing and undo is one step. */
static gboolean Apply(gint32 drawable, const gchar* operations, GError** error) {
  gint x, y, width, height;
  if (!gimp_drawable_mask_intersect(drawable, &x, &y, &width, &height)) return TRUE;
  GeglBuffer* source = gimp_drawable_get_buffer(drawable);
  GeglBuffer* shadow = gimp_drawable_get_shadow_buffer(drawable);
  GeglNode* graph = gegl_node_new();
  GeglNode* input = gegl_node_new_child(graph, "operation", "gegl:buffer-source", "buffer", source, NULL);
  GeglNode* output = gegl_node_new_child(graph, "operation", "gegl:write-buffer", "buffer", shadow, NULL);
  gegl_node_link(input, output);
  gegl_create_chain(operations, input, output, 0.0, gegl_buffer_get_width(source), NULL, error);
  const gboolean understood = !error || !*error;
  if (understood) gegl_node_process(output);
  g_object_unref(graph);
  g_object_unref(shadow); /* flushes what was written to GIMP */
  g_object_unref(source);
  if (!understood) return FALSE;
  gimp_drawable_merge_shadow(drawable, TRUE);
  gimp_drawable_update(drawable, x, y, width, height);
  return TRUE;
}

static void Run(const gchar* name, gint count, const GimpParam* parameters, gint* answers, GimpParam** answer) {
  static GimpParam values[2];
  GError* error = NULL;
  (void)name;
  values[0].type = GIMP_PDB_STATUS;
  values[0].data.d_status = GIMP_PDB_CALLING_ERROR;
  *answers = 1;
  *answer = values;
  if (count != 4 || !parameters[3].data.d_string) return;
  gegl_init(NULL, NULL);
  if (Apply(parameters[2].data.d_drawable, parameters[3].data.d_string, &error)) {
    values[0].data.d_status = GIMP_PDB_SUCCESS;
    return;
  }
  values[0].data.d_status = GIMP_PDB_EXECUTION_ERROR;
  values[1].type = GIMP_PDB_STRING;
  values[1].data.d_string = g_strdup(error ? error->message : "the operations cannot be read");
  *answers = 2;
  g_clear_error(&error);
}

const GimpPlugInInfo PLUG_IN_INFO = {NULL, NULL, Query, Run};

MAIN()
