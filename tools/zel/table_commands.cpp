// zel table, zel bake, zel apply-table.
#include <algorithm>
#include <cstdio>

#include "bake.h"
#include "batch.h"
#include "commands.h"
#include "failure.h"
#include "recipe.h"

namespace tool {
namespace {

// The photograph as tables see it: 8 bits, three channels.
Photo ReadMeasured(const std::string& path) {
  try {
    Photo photo = ReadPhoto(path, {});
    To8Bits(&photo);
    if (photo.channels == 1) GreyToColour(&photo);
    return photo;
  } catch (const Failure& failure) {
    throw Failure(path + ": " + failure.what());
  }
}

int LargestDifference(const Photo& a, const Photo& b) {
  int most = 0;
  for (size_t i = 0; i < a.samples.size(); ++i) most = std::max(most, std::abs(a.samples[i] - b.samples[i]));
  return most;
}

int WriteTable(const Chain& chain, const std::vector<std::string>& inputs, const std::string& output, int nodes,
               bool overwrite) {
  Photo photo;
  if (inputs.size() > 1)
    throw UsageError("one photograph is measured; " + std::to_string(inputs.size()) + " are given");
  if (!inputs.empty()) photo = ReadMeasured(inputs[0]);
  const Table table = Bake(chain, inputs.empty() ? nullptr : &photo, nodes);
  const std::string text = ChainText(chain);
  try {
    const std::vector<uint8_t> bytes = EncodeTable(table, output, text);
    WriteFile(output, bytes.data(), bytes.size(), overwrite);
  } catch (const Failure& failure) {
    throw Failure(output + " " + failure.what());
  }
  if (table.cube && !inputs.empty()) {
    Photo direct = photo;
    std::vector<std::string> notes;
    RunChain(chain, &direct, &notes);
    ApplyTable(table, &photo);
    const int most = direct.channels == 3 ? LargestDifference(direct, photo) : 0;
    if (most > 0) {
      std::fprintf(stderr, "zel: note: on %s the table of %d nodes differs from the operations by up to %d of 255\n",
                   inputs[0].c_str(), table.size, most);
    }
  }
  return kAllDone;
}

struct TableArguments {
  std::vector<std::string> words;
  std::string output, recipe;
  int nodes = 0;
  bool overwrite = false;
};

void AddTableOptions(CLI::App* app, TableArguments* a) {
  app->add_option("words", a->words, "the photograph, then operations with their settings")
      ->type_name("[IN] OPERATION...");
  app->add_option("-o,--output", a->output, "the table: .cube, .clf or .png (HaldCLUT)")->required()->type_name("OUT");
  app->add_option("--nodes", a->nodes, "make a three-dimensional table of 16, 18, 52 or 86 nodes an axis")
      ->check(CLI::IsMember({16, 18, 52, 86}))
      ->type_name("N");
  app->add_flag("--overwrite", a->overwrite, "replace a file that exists");
}

}  // namespace

int MakeTable(int argc, char** argv) {
  CLI::App app("Writes the correction that an automatic operation finds for a photograph as a table.");
  TableArguments a;
  AddTableOptions(&app, &a);
  return Parse(&app, argc, argv, [&] {
    std::vector<std::string> inputs;
    const Chain chain = ParseWords(a.words, &inputs);
    if (chain.size() != 1 || inputs.size() != 1) {
      throw UsageError("table takes one photograph and one operation; zel bake takes chains");
    }
    if (!chain[0].operation->automatic) {
      throw UsageError(std::string(chain[0].operation->name) + " measures nothing; zel bake makes a table of it");
    }
    StartImages(argv[0]);
    return WriteTable(chain, inputs, a.output, a.nodes, a.overwrite);
  });
}

int BakeTable(int argc, char** argv) {
  CLI::App app("Writes a chain of operations as one table. Automatic ones measure the photograph.");
  TableArguments a;
  AddTableOptions(&app, &a);
  app.add_option("--recipe", a.recipe, "take the operations of this file first")->type_name("FILE");
  return Parse(&app, argc, argv, [&] {
    std::vector<std::string> inputs;
    Chain chain;
    if (!a.recipe.empty()) chain = ReadRecipe(a.recipe);
    for (Step& step : ParseWords(a.words, &inputs)) chain.push_back(std::move(step));
    if (chain.empty()) throw UsageError("no operation is given; zel ops lists them");
    StartImages(argv[0]);
    return WriteTable(chain, inputs, a.output, a.nodes, a.overwrite);
  });
}

int ApplyTableFile(int argc, char** argv) {
  CLI::App app("Applies a table file to photographs.");
  BatchArguments a;
  std::string path;
  AddBatchOptions(&app, &a);
  app.add_option("--table", path, "the table: .cube, .clf or .png (HaldCLUT)")->required()->type_name("FILE");
  return Parse(&app, argc, argv, [&] {
    FinishBatchArguments(&a);
    a.batch.inputs = a.words;
    if (a.batch.inputs.empty()) throw UsageError("no photograph is given; zel apply-table IN... -o OUT --table FILE");
    if (a.batch.output.empty()) throw UsageError("no output is given; zel apply-table IN... -o OUT --table FILE");
    StartImages(argv[0]);
    const Table table = ReadTable(path);
    const Work work{[&table](Photo* photo, std::vector<std::string>*, void (*)()) { ApplyTable(table, photo); },
                    "table " + path, "[{\"name\":\"apply-table\"}]"};
    return RunBatch(work, a.batch);
  });
}

}  // namespace tool
