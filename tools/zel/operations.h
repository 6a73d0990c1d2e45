// The operations as libzel_chain's table has them. Help, manual page, completion and documentation are made from it.
#ifndef ZEL_TOOL_OPERATIONS_H_
#define ZEL_TOOL_OPERATIONS_H_

#include <string>
#include <vector>

namespace tool {

struct Parameter {
  std::string name, type, meaning;
  std::string values;                // what may be given, in words
  std::string fallback;              // as typed; empty: the parameter may be left out
  std::vector<std::string> choices;  // of type choice
  double least, most;                // of numbers
};

struct Operation {
  std::string name, group, purpose, more, depth, reach, channels;
  std::vector<std::string> examples;  // settings: mild, middle, strong
  bool automatic;                     // measures the photograph
  std::vector<Parameter> parameters;
};

const std::vector<Operation>& Operations();
const Operation* FindOperation(const std::string& name);

// What people may type: the operations, and before them `auto`, which chooses among them and is none itself.
const std::vector<Operation>& TypedOperations();

// The name that was probably meant; empty when nothing is near.
std::string Nearest(const std::string& name, const std::vector<std::string>& names);

}  // namespace tool

#endif  // ZEL_TOOL_OPERATIONS_H_
