#include <cstdio>

#include "commands.h"
#include "failure.h"
#include "operations.h"

namespace tool {

namespace {

void PrintOperation(const Operation& operation) {
  std::printf("%s: %s\n", operation.name.c_str(), operation.purpose.c_str());
  if (!operation.more.empty()) std::printf("%s\n", operation.more.c_str());
  std::printf("\nParameters\n");
  for (const Parameter& p : operation.parameters) {
    std::printf("  %s=  %s\n      %s%s%s\n", p.name.c_str(), p.meaning.c_str(), p.values.c_str(),
                p.fallback.empty() ? "" : "; default ", p.fallback.c_str());
  }
  std::printf("\nDepth     %s\nChannels  %s\nReach     %s\n\nExamples\n", operation.depth.c_str(),
              operation.channels.c_str(), operation.reach.c_str());
  for (const std::string& example : operation.examples) {
    std::printf("  zel photo.jpg -o better.jpg %s %s\n", operation.name.c_str(), example.c_str());
  }
}

}  // namespace

int ListOperations(int argc, char** argv) {
  CLI::App app("Lists the operations with their parameters and defaults.");
  bool json = false;
  app.add_flag("--json", json, "the whole table for programs");
  return Parse(&app, argc, argv, [&] {
    if (json) {
      std::fputs(ZelChain_Table(), stdout);
      return kAllDone;
    }
    std::string group;
    for (const Operation& operation : TypedOperations()) {
      if (group != operation.group) {
        std::printf("%s%s\n", group.empty() ? "" : "\n", operation.group.c_str());
        group = operation.group;
      }
      std::printf("  %-22s %s\n", operation.name.c_str(), operation.purpose.c_str());
      if (operation.parameters.size() > 8) {
        std::printf("  %-22s   %zu parameters: zel help %s\n", "", operation.parameters.size(), operation.name.c_str());
        continue;
      }
      for (const Parameter& p : operation.parameters) {
        const bool place = p.type == "rect" || p.type == "point";
        const std::string brief = p.name + (p.fallback.empty() ? "" : "=" + p.fallback);
        std::printf("  %-22s   %-14s %s\n", "", brief.c_str(), (place ? p.meaning : p.values).c_str());
      }
    }
    std::printf("\nzel help OPERATION explains one.\n");
    return kAllDone;
  });
}

int Help(int argc, char** argv) {
  CLI::App app("Explains an operation or a command.");
  std::string name;
  app.add_option("name", name, "an operation or a command")->type_name("NAME");
  return Parse(&app, argc, argv, [&]() -> int {
    if (name.empty()) {
      std::printf(
          "Enhances photographs.\n\n"
          "  zel IN... -o OUT OPERATION [name=value ...] [OPERATION ...]\n\n"
          "  zel photo.jpg -o better.jpg auto\n"
          "  zel *.jpg -o better/ light-correct strength=60 sharpen amount=30\n\n"
          "Commands\n");
      for (const Command& command : Commands()) std::printf("  zel %-14s %s\n", command.name, command.purpose);
      std::printf("\nzel --help lists the options of the first form, zel help COMMAND those of a command.\n");
      return kAllDone;
    }
    for (const Operation& operation : TypedOperations()) {
      if (operation.name != name) continue;
      PrintOperation(operation);
      return kAllDone;
    }
    std::vector<std::string> names;
    for (const Command& command : Commands()) {
      if (command.name == name) {
        std::string first = "zel " + name, second = "--help";
        char* arguments[] = {first.data(), second.data(), nullptr};
        return command.run(2, arguments);
      }
      names.push_back(command.name);
    }
    for (const Operation& operation : TypedOperations()) names.push_back(operation.name);
    const std::string nearest = Nearest(name, names);
    throw UsageError(name + " is no operation and no command" +
                     (nearest.empty() ? "; zel ops lists the operations" : "; did you mean " + nearest + "?"));
  });
}

}  // namespace tool
