#include <cstdio>

#include "commands.h"
#include "failure.h"
#include "operations.h"

namespace tool {

const char* DepthText(Depth depth) {
  switch (depth) {
    case Depth::Sixteen:
      return "8 and 16 bits, full precision";
    case Depth::Steps:
      return "8 and 16 bits; at 16 bits through a table of 8-bit values";
    default:
      return "8 bits; at 16 bits the change found on an 8-bit copy is added";
  }
}

const char* ReachText(const Operation& operation) {
  switch (operation.reach) {
    case Reach::Curve:
      return operation.automatic ? "measures the photograph, then each channel by a curve" : "each channel by a curve";
    case Reach::Lattice:
      return operation.automatic ? "measures the photograph, then each colour by a table" : "each colour by a table";
    case Reach::Neighbours:
      return "looks at neighbouring pixels";
    default:
      return "finds the places where it works";
  }
}

const char* ChannelText(const Operation& operation) {
  return operation.grey ? "grey and colour" : "colour; a grey picture stays grey when all channels come out equal";
}

namespace {

void PrintOperation(const Operation& operation) {
  std::printf("%s: %s\n", operation.name, operation.purpose);
  if (*operation.more) std::printf("%s\n", operation.more);
  std::printf("\nParameters\n");
  for (const Parameter& p : operation.parameters) {
    std::printf("  %s=  %s\n      %s%s%s\n", p.name, p.meaning, RangeText(p).c_str(), *p.fallback ? "; default " : "",
                p.fallback);
  }
  std::printf("\nDepth     %s\n", DepthText(operation.depth));
  std::printf("Channels  %s\n", ChannelText(operation));
  std::printf("Reach     %s\n", ReachText(operation));
  std::printf("\nExample\n  zel photo.jpg -o better.jpg %s %s\n", operation.name, operation.examples[1]);
}

std::string Brief(const Parameter& p) {
  std::string text = p.name;
  if (*p.fallback) text += std::string("=") + p.fallback;
  return text;
}

}  // namespace

int ListOperations(int argc, char** argv) {
  CLI::App app("Lists the operations with their parameters and defaults.");
  return Parse(&app, argc, argv, [&] {
    std::string group;
    for (const Operation& operation : Operations()) {
      if (group != operation.group) {
        std::printf("%s%s\n", group.empty() ? "" : "\n", operation.group);
        group = operation.group;
      }
      std::printf("  %-22s %s\n", operation.name, operation.purpose);
      if (operation.parameters.size() > 8) {
        std::printf("  %-22s   %zu parameters: zel help %s\n", "", operation.parameters.size(), operation.name);
        continue;
      }
      for (const Parameter& p : operation.parameters) {
        if (p.kind == Kind::Rect || p.kind == Kind::Point) {
          std::printf("  %-22s   %-14s %s\n", "", p.name, p.meaning);
        } else {
          std::printf("  %-22s   %-14s %s\n", "", Brief(p).c_str(), RangeText(p).c_str());
        }
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
          "  zel photo.jpg -o better.jpg smart-contrast\n"
          "  zel *.jpg -o better/ light-correct strength=60 sharpen amount=30\n\n"
          "Commands\n");
      for (const Command& command : Commands()) std::printf("  zel %-14s %s\n", command.name, command.purpose);
      std::printf("\nzel --help lists the options of the first form, zel help COMMAND those of a command.\n");
      return kAllDone;
    }
    if (const Operation* operation = FindOperation(name)) {
      PrintOperation(*operation);
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
    for (const Operation& operation : Operations()) names.push_back(operation.name);
    const std::string nearest = Nearest(name, names);
    throw UsageError(name + " is no operation and no command" +
                     (nearest.empty() ? "; zel ops lists the operations" : "; did you mean " + nearest + "?"));
  });
}

}  // namespace tool
