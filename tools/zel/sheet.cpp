// zel sheet: what operations or recipes do to a photograph, side by side.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>

#include "chain.h"
#include "commands.h"
#include "failure.h"
#include "pictures.h"
#include "recipe.h"

namespace tool {
namespace {

struct Choice {
  std::string name, details;
  std::function<Chain(const VImage&)> chain;  // for a photograph
};

Choice FromWords(const std::string& name, std::vector<std::string> words) {
  std::vector<std::string> inputs;
  Choice choice{name, "", {}};
  for (size_t i = 1; i < words.size(); ++i) choice.details += (i > 1 ? " " : "") + words[i];
  choice.chain = [chain = ParseWords(words, &inputs)](const VImage&) { return chain; };
  return choice;
}

Choice FromExample(const Operation& operation, size_t example) {
  return {operation.name, operation.examples[example],
          [&operation, example](const VImage& photo) { return ExampleChain(operation, example, photo); }};
}

std::vector<Choice> EveryOperation() {
  std::vector<Choice> choices;
  for (const Operation& operation : TypedOperations()) choices.push_back(FromExample(operation, 1));
  return choices;
}

// One operation with its first number at several values, or at its examples where a range says little.
std::vector<Choice> Strengths(const std::vector<std::string>& words) {
  const Operation* known = FindOperation(words[0]);
  const Operation& operation = known ? *known : TypedOperations()[0];
  std::vector<Choice> choices;
  const Parameter& p = operation.parameters[0];
  if (!known || p.type != "integer" || p.most - p.least > 360) {
    for (size_t i = 0; i < 3; ++i) choices.push_back(FromExample(operation, i));
    return choices;
  }
  const bool both = p.least < 0;
  for (int i = both ? -3 : 1; i <= (both ? 3 : 6); ++i) {
    if (i == 0) continue;
    std::vector<std::string> tried = words;
    tried.push_back(p.name + "=" + std::to_string(std::lround(p.most * i / (both ? 3 : 6))));
    choices.push_back(FromWords(words[0], tried));
  }
  return choices;
}

std::vector<Choice> Recipes(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    if (at->path().extension() == ".json") files.push_back(at->path());
  }
  if (error) throw UsageError("the folder " + folder + " cannot be read: " + error.message());
  if (files.empty()) throw UsageError("the folder " + folder + " holds no recipe (.json)");
  std::sort(files.begin(), files.end());
  std::vector<Choice> choices;
  for (const auto& file : files) {
    const Chain chain = ReadRecipe(file.string());
    choices.push_back({file.stem().string(), ZelChain_Words(chain.get()), [chain](const VImage&) { return chain; }});
  }
  return choices;
}

VImage Try(const Choice& choice, const VImage& source) {
  VImage picture = InMemory(source);
  std::string details = choice.details;
  std::vector<std::string> notes;
  try {
    RunChain(choice.chain(picture), &picture, &notes);
    if (!notes.empty() && notes[0].find("changed nothing") != std::string::npos) details += "  (no change)";
  } catch (const Failure&) {
    picture = source;
    details = "refused this picture";
  }
  return Captioned(Shown(picture), choice.name, details);
}

}  // namespace

int Sheet(int argc, char** argv) {
  CLI::App app(
      "Draws one picture with the effect of every operation, of one at several strengths, or of every recipe in a "
      "folder.");
  std::string output, format, recipes;
  std::vector<std::string> words;
  int size = 320, page = -1;
  bool overwrite = false;
  app.add_option("words", words, "the photograph, or -, and the operation to try with its settings")
      ->required()
      ->type_name("IN [OPERATION]");
  app.add_option("-o,--output", output, "the picture to write, or -")->required()->type_name("OUT");
  app.add_option("--recipes", recipes, "compare the recipes in this folder")->type_name("FOLDER");
  app.add_option("--cell", size, "longer side of one picture; 320")->check(CLI::Range(64, 2000))->type_name("PIXELS");
  app.add_option("--page", page, "which picture of a file that holds several, from 0")->type_name("N");
  app.add_option("--format", format, "png, jpg, tif, ppm, webp or avif, whatever the output is called")
      ->type_name("NAME");
  app.add_flag("--overwrite", overwrite, "replace a file that exists");
  return Parse(&app, argc, argv, [&] {
    const std::string input = words[0];
    words.erase(words.begin());
    if (!words.empty() && !recipes.empty()) throw UsageError("sheet takes an operation or --recipes, not both");
    std::vector<std::string> none;
    const bool automatic = words == std::vector<std::string>{TypedOperations()[0].name};
    if (!automatic && (ZelChain_Steps(ParseWords(words, &none).get()) > 1 || !none.empty()))
      throw UsageError("sheet takes one photograph and at most one operation");
    const std::vector<Choice> choices = !recipes.empty() ? Recipes(recipes)
                                        : !words.empty() ? Strengths(words)
                                                         : EveryOperation();
    StartImages(argv[0]);
    ReadOptions read;
    read.page = page;
    const VImage source = Reduced(ReadInput(input, read), size, size);
    std::vector<VImage> cells{Captioned(source, "before", "")};
    for (const Choice& choice : choices) cells.push_back(Try(choice, source));
    const int columns = choices.size() > 8 ? std::max(6, 6 * size / source.width()) : 4;
    SavePicture(Grid(cells, std::min(columns, static_cast<int>(cells.size()))), output, format, overwrite);
    return kAllDone;
  });
}

}  // namespace tool
