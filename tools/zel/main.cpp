#include <cstdio>
#include <cstring>
#include <exception>

#include "commands.h"
#include "failure.h"
#include "zel.h"

namespace tool {

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"ops", "lists the operations", ListOperations},
      {"help", "explains an operation or a command", Help},
      {"sample", "draws a test photograph", Sample},
      {"compare", "draws before and after side by side, measures the difference", Compare},
      {"sheet", "draws the effect of operations or recipes side by side", Sheet},
      {"table", "writes what an automatic operation finds as a table", MakeTable},
      {"bake", "writes a chain of operations as a table", BakeTable},
      {"apply-table", "applies a table file to photographs", ApplyTableFile},
      {"skin-sliders", "says where the sliders of skin-tone stand", SkinSliders},
      {"docs", "writes a page with pictures for every operation", Docs},
      {"man", "prints the manual page", Manual},
      {"completion", "prints the completion for bash, zsh or fish", Completion},
  };
  return commands;
}

static int Run(int argc, char** argv) {
  if (argc < 2) {
    Help(1, argv);
    return kUsage;
  }
  if (std::strcmp(argv[1], "--version") == 0) {
    char version[16];
    GetDLLVersion(version);
    std::printf("zel, library version %s\n", version);
    return kAllDone;
  }
  for (const Command& command : Commands()) {
    if (std::strcmp(argv[1], command.name) == 0) return command.run(argc - 1, argv + 1);
  }
  return Enhance(argc, argv);
}

}  // namespace tool

int main(int argc, char** argv) {
  try {
    return tool::Run(argc, argv);
  } catch (const tool::UsageError& error) {
    std::fprintf(stderr, "zel: %s\n", error.what());
    return tool::kUsage;
  } catch (const tool::Failure& error) {
    std::fprintf(stderr, "zel: %s\n", error.what());
    return tool::kNothingDone;
  } catch (const vips::VError& error) {
    std::fprintf(stderr, "zel: %s", error.what());
    return tool::kNothingDone;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "zel: the memory does not suffice\n");
    return tool::kNothingDone;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zel: %s\n", error.what());
    return tool::kNothingDone;
  }
}
