// zel table, zel bake, zel apply-table.
#include <cstdio>

#include "batch.h"
#include "commands.h"
#include "failure.h"
#include "recipe.h"
#include "table.h"

namespace tool {
namespace {

int WriteTable(const Chain& chain, const std::vector<std::string>& inputs, const std::string& output, int nodes,
               bool overwrite) {
  VImage photo;
  if (inputs.size() > 1)
    throw UsageError("one photograph is measured; " + std::to_string(inputs.size()) + " are given");
  ZelPixels pixels{};
  ZelApplyOptions options{};
  if (!inputs.empty()) {
    photo = ReadInput(inputs[0], {});
    pixels = PixelsOf(photo);
    options = OptionsOf(photo);
  }
  ZelBakeError distance{};
  ZelReport report;
  const Table table = TakeTable(ZelChain_Bake(chain.get(), inputs.empty() ? nullptr : &pixels, nodes,
                                              inputs.empty() ? nullptr : &options, &distance, &report),
                                report);
  SaveTable(table, output, ZelChain_Words(chain.get()), overwrite);
  if (distance.most > 0) {
    std::fprintf(stderr, "zel: note: on %s the table of %d nodes differs from the operations by up to %.0f of 255\n",
                 inputs.empty() ? "colours spread over all" : inputs[0].c_str(),
                 static_cast<int>(ZelTable_Size(table.get())), distance.most);
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
  app->add_option("--nodes", a->nodes, "make a three-dimensional table of 2 to 129 nodes an axis")
      ->check(CLI::Range(2, 129))
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
    const int32_t step = ZelChain_Operation(chain.get(), 0);
    if (ZelChain_Steps(chain.get()) != 1 || inputs.size() != 1) {
      throw UsageError("table takes one photograph and one operation; zel bake takes chains");
    }
    const Operation& operation = Operations()[static_cast<size_t>(step)];
    if (!operation.automatic) throw UsageError(operation.name + " measures nothing; zel bake makes a table of it");
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
    Chain chain = ParseWords(a.words, &inputs);
    if (!a.recipe.empty()) chain = Joined(ReadRecipe(a.recipe), chain);
    if (IsEmpty(chain)) throw UsageError("no operation is given; zel ops lists them");
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
    a.batch.plan.inputs = a.words;
    if (a.batch.plan.inputs.empty())
      throw UsageError("no photograph is given; zel apply-table IN... -o OUT --table FILE");
    if (a.batch.plan.output.empty()) throw UsageError("no output is given; zel apply-table IN... -o OUT --table FILE");
    StartImages(argv[0]);
    const Table table = ReadTable(path);
    const Work work{[&table](VImage* photo, Told* told, void (*)()) {
                      Run(
                          [&](const ZelPixels* pixels, ZelReport* report) {
                            return ZelTable_Apply(table.get(), pixels, pixels, nullptr, report);
                          },
                          photo, &told->notes);
                    },
                    "table " + path, "[{\"name\":\"apply-table\"}]"};
    return RunBatch(work, a.batch);
  });
}

}  // namespace tool
