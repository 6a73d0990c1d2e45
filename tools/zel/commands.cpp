#include "commands.h"

#include <cstdio>
#include <thread>

#include "failure.h"
#include "recipe.h"
#include "sample.h"

namespace tool {
namespace {

const char* const kEnhanceHelp =
    "Reads photographs, runs operations one after another, writes the results.\n"
    "PNG, JPEG, TIFF and PPM with 8 or 16 bits; alpha, metadata and colour profile are kept.\n"
    "zel ops lists the operations, zel help OPERATION explains one.\n\n"
    "  zel IN... -o OUT OPERATION [name=value ...] [OPERATION ...]";

void SplitSize(const std::string& text, int* width, int* height) {
  int used = 0;
  if (std::sscanf(text.c_str(), "%dx%d%n", width, height, &used) != 2 || used != static_cast<int>(text.size()) ||
      *width < 64 || *height < 64 || *width > 20000 || *height > 20000) {
    throw UsageError("--size " + text + " must be WIDTHxHEIGHT, each from 64 to 20000");
  }
}

struct EnhanceArguments : BatchArguments {
  std::string recipe, savedRecipe;
};

void AddEnhanceOptions(CLI::App* app, EnhanceArguments* a) {
  AddBatchOptions(app, a);
  app->add_option("--recipe", a->recipe, "take the operations of this file first")->type_name("FILE");
  app->add_option("--save-recipe", a->savedRecipe, "write the operations to this file")->type_name("FILE");
}

}  // namespace

void AddBatchOptions(CLI::App* app, BatchArguments* a) {
  app->add_option("words", a->words, "photographs, and operations with their settings")
      ->type_name("IN... OPERATION...");
  app->add_option("-o,--output", a->batch.output,
                  "a file, a folder, a pattern with {stem} {ext} {dir} {n}, or - for standard output")
      ->type_name("OUT");
  app->add_option("--format", a->format, "png, jpg, tif or ppm, whatever the output is called")->type_name("NAME");
  app->add_flag("--overwrite", a->batch.overwrite, "replace files that exist");
  app->add_option("-j,--jobs", a->batch.jobs, "photographs in work at once; 0: one per processor")
      ->check(CLI::Range(0, 1024))
      ->type_name("N");
  app->add_flag("--resume", a->batch.resume, "keep a journal and skip what it says is done and unchanged");
  app->add_option("--journal", a->batch.journal, "journal of --resume; .zel-journal beside the results")
      ->type_name("FILE");
  app->add_flag("--dry-run", a->batch.dryRun, "only say what would be done");
  app->add_flag("--json", a->batch.json, "one line per photograph for programs");
  app->add_flag("--strip", a->batch.write.strip, "store no metadata and no colour profile");
  app->add_option("--quality", a->batch.write.quality, "of JPEG, 1 to 100; 95")
      ->check(CLI::Range(1, 100))
      ->type_name("N");
  app->add_option("--max-pixels", a->maxPixels, "refuse larger pictures; 300M")->type_name("N");
}

void FinishBatchArguments(BatchArguments* a) {
  if (!a->format.empty() && (a->batch.format = FormatNamed(a->format)) == Format::None) {
    throw UsageError("--format " + a->format + " must be one of png, jpg, tif, ppm");
  }
  if (!a->maxPixels.empty()) a->batch.limits.maxPixels = ParsePixels(a->maxPixels);
  if (a->batch.jobs == 0) a->batch.jobs = static_cast<int>(std::thread::hardware_concurrency());
}

static std::vector<OptionText> Texts(const CLI::App& app) {
  std::vector<OptionText> texts;
  for (const CLI::Option* option : app.get_options()) {
    const std::string name = option->get_name(false, true);
    const std::string value = option->get_type_size() == 0 ? "" : option->get_type_name();
    if (name[0] == '-' && name != "-h,--help") texts.push_back({name, option->get_description(), value});
  }
  return texts;
}

std::vector<OptionText> EnhanceOptions() {
  CLI::App app;
  EnhanceArguments arguments;
  AddEnhanceOptions(&app, &arguments);
  return Texts(app);
}

// Set while a command is asked for its options instead of being run.
static std::vector<OptionText>* asked = nullptr;

std::vector<OptionText> OptionsOf(const Command& command) {
  std::vector<OptionText> texts;
  std::string name = command.name;
  char* arguments[] = {name.data(), nullptr};
  asked = &texts;
  command.run(1, arguments);
  asked = nullptr;
  return texts;
}

double ParsePixels(const std::string& text) {
  char* end = nullptr;
  double value = std::strtod(text.c_str(), &end);
  const std::string unit = end;
  const double factor = unit.empty() ? 1 : unit == "k" ? 1e3 : unit == "M" ? 1e6 : unit == "G" ? 1e9 : 0;
  if (end == text.c_str() || factor == 0 || !(value * factor >= 1) || value * factor > 1e15) {
    throw UsageError("--max-pixels " + text + " must be a number of pixels, such as 50000000, 50M or 2G");
  }
  return value * factor;
}

int Parse(CLI::App* app, int argc, char** argv, const std::function<int()>& body) {
  app->name("zel");
  if (asked != nullptr) {
    *asked = Texts(*app);
    return kAllDone;
  }
  try {
    app->parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::fputs(app->help().c_str(), stdout);
    return kAllDone;
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "zel: %s\n", error.what());
    return kUsage;
  }
  return body();
}

int Enhance(int argc, char** argv) {
  CLI::App app(kEnhanceHelp);
  EnhanceArguments arguments;
  AddEnhanceOptions(&app, &arguments);
  return Parse(&app, argc, argv, [&] {
    BatchOptions& options = arguments.batch;
    FinishBatchArguments(&arguments);
    Chain chain = ParseWords(arguments.words, &options.inputs);
    if (!arguments.recipe.empty()) chain = Joined(ReadRecipe(arguments.recipe), chain);
    if (IsEmpty(chain)) throw UsageError("no operation is given; zel ops lists them");
    if (!arguments.savedRecipe.empty()) SaveRecipe(chain, arguments.savedRecipe, options.overwrite);
    if (!arguments.savedRecipe.empty() && options.inputs.empty()) return kAllDone;
    if (options.inputs.empty()) throw UsageError("no photograph is given; zel IN... -o OUT OPERATION");
    if (options.output.empty()) throw UsageError("no output is given; zel IN... -o OUT OPERATION");
    StartImages(argv[0]);
    return RunBatch(ChainWork(chain), options);
  });
}

int Sample(int argc, char** argv) {
  CLI::App app("Draws a test photograph by code: sky, trees, a person, a grey card, warm light, film noise.");
  std::string output, size = "1536x1024", format;
  int bits = 8;
  bool overwrite = false;
  app.add_option("output", output, "the file to write, or -")->required()->type_name("OUT");
  app.add_option("--size", size, "WIDTHxHEIGHT; 1536x1024")->type_name("SIZE");
  app.add_option("--bits", bits, "8 or 16")->check(CLI::IsMember({8, 16}))->type_name("N");
  app.add_option("--format", format, "png, jpg, tif or ppm, whatever the output is called")->type_name("NAME");
  app.add_flag("--overwrite", overwrite, "replace a file that exists");
  return Parse(&app, argc, argv, [&] {
    int width, height;
    SplitSize(size, &width, &height);
    const Format kind = format.empty() ? FormatOf(output) : FormatNamed(format);
    if (kind == Format::None)
      throw UsageError("cannot tell the format of " + output + "; end it in .png, .jpg, .tif or .ppm");
    StartImages(argv[0]);
    std::vector<std::string> notes;
    try {
      const std::vector<uint8_t> bytes = EncodePhoto(DrawSample(width, height, bits), kind, {}, &notes);
      WriteFile(output, bytes.data(), bytes.size(), overwrite);
    } catch (const Failure& failure) {
      throw Failure(output + " " + failure.what());
    }
    for (const std::string& note : notes) std::fprintf(stderr, "zel: note: %s\n", note.c_str());
    return kAllDone;
  });
}

int SkinSliders(int argc, char** argv) {
  CLI::App app("Says where the sliders of skin-tone stand for the skin at a point, or for typical skin.");
  std::vector<std::string> words;
  app.add_option("words", words, "the photograph and at=x,y; without both: typical skin")->type_name("[IN at=x,y]");
  return Parse(&app, argc, argv, [&] {
    Photo photo;
    ImageDesc record{};
    ZelPoint point{};
    if (!words.empty()) {
      if (words.size() != 2 || words[1].rfind("at=", 0) != 0)
        throw UsageError("skin-sliders takes a photograph and at=x,y");
      std::vector<std::string> inputs, chained{"skin-tone", words[1]};
      const Chain chain = ParseWords(chained, &inputs);
      StartImages(argv[0]);
      photo = ReadPhoto(words[0], {});
      const ZelPixels pixels = PixelsOf(&photo);
      const ZelApplyOptions options = OptionsOf(photo);
      ZelReport report;
      ZelChain_Where(chain.get(), 0, &pixels, &options, nullptr, &point, &report);
      if (report.code != ZEL_OK) throw Failure(words[0] + ": " + report.text);
      record = photo.Record();
    }
    int32_t lightness = 0, blue = 0, red = 0;
    if (ZelTavoraFunc_GetSkinToneInitialPercentages(&record, 0, words.empty() ? nullptr : &point, &lightness, &blue,
                                                    &red) != ZEL_OK) {
      throw Failure(words.empty() ? "typical skin: refused" : words[0] + ": the point cannot be measured");
    }
    std::printf("lightness=%d blue=%d red=%d\n", static_cast<int>(lightness), static_cast<int>(blue),
                static_cast<int>(red));
    return kAllDone;
  });
}

}  // namespace tool
