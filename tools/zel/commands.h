// The commands of the tool. Each takes its own arguments, argv[0] being the words before them, and returns an exit
// code.
#ifndef ZEL_TOOL_COMMANDS_H_
#define ZEL_TOOL_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "batch.h"

namespace tool {

struct Command {
  const char* name;
  const char* purpose;
  int (*run)(int argc, char** argv);
};

const std::vector<Command>& Commands();

int Enhance(int argc, char** argv);
int ListOperations(int argc, char** argv);
int Help(int argc, char** argv);
int Sample(int argc, char** argv);
int Sheet(int argc, char** argv);
int Compare(int argc, char** argv);
int MakeTable(int argc, char** argv);
int BakeTable(int argc, char** argv);
int ApplyTableFile(int argc, char** argv);
int Docs(int argc, char** argv);
int SkinSliders(int argc, char** argv);

int Manual(int argc, char** argv);
int Completion(int argc, char** argv);

struct OptionText {
  std::string name, meaning, value;  // "-o,--output", what it does, "OUT" (empty for flags)
};
// The options of the first form, zel IN... -o OUT, with their explanations.
std::vector<OptionText> EnhanceOptions();

// The options of a command.
std::vector<OptionText> OptionsOf(const Command& command);

// What every command over many photographs takes.
struct BatchArguments {
  BatchOptions batch;
  std::vector<std::string> words;
  std::string format, maxPixels, working;
};
void AddBatchOptions(CLI::App* app, BatchArguments* arguments);
// Turns texts into values; throws UsageError.
void FinishBatchArguments(BatchArguments* arguments);

// Parses with one line and the usage code on a mistake; runs `body` when all is well.
int Parse(CLI::App* app, int argc, char** argv, const std::function<int()>& body);

// Reads the one photograph of a command; prints notes. Failures name the file.
VImage ReadInput(const std::string& path, const ReadOptions& options);

// "300", "300M", "1.5G" as a number of pixels; throws UsageError.
double ParsePixels(const std::string& text);

}  // namespace tool

#endif  // ZEL_TOOL_COMMANDS_H_
