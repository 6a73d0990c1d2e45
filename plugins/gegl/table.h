// The table of operations, as GEGL's properties.
#ifndef ZEL_PLUGINS_GEGL_TABLE_H_
#define ZEL_PLUGINS_GEGL_TABLE_H_

#include <glib-object.h>

#include <string>
#include <vector>

namespace zel_gegl {

// What a property stands for among an operation's parameters. Points and rectangles become one property for each
// coordinate, triples one for each channel, because dialogs know numbers, switches and choices.
enum class Kind { Integer, Number, Choice, Switch, Share };

struct Property {
  std::string name, nick, blurb, unit, axis;
  Kind kind = Kind::Number;
  double least = 0, most = 1, fallback = 0, step = 1;
  GType choices = G_TYPE_INVALID;  // Kind::Choice
};

// One parameter of the table: its properties stand together from `first` on.
struct Parameter {
  std::string name, type;
  size_t first = 0;
  bool optional = false;           // no default: left out at the least value, which means "as it is"
  std::vector<std::string> words;  // of a choice
};

struct Operation {
  std::string name, title, purpose, group;
  bool whole = false;  // results hang on the whole picture
  std::vector<Parameter> parameters;
  std::vector<Property> properties;
};

// The operations of the library's table; empty when it cannot be read. The module owns the types of choices.
std::vector<Operation> ReadTable(GTypeModule* module);

// A number as words have it, whatever the language of the person.
std::string Number(double value);

}  // namespace zel_gegl

#endif  // ZEL_PLUGINS_GEGL_TABLE_H_
