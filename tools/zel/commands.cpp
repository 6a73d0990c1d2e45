#include "commands.h"

#include <algorithm>
#include <cstdio>

#include "failure.h"
#include "recipe.h"
#include "sample.h"

namespace tool {
namespace {

const char* const kEnhanceHelp =
    "Reads photographs, runs operations one after another, writes the results.\n"
    "Takes PNG, JPEG, TIFF, PPM, WebP, HEIC, AVIF and JPEG XL, 8 or 16 bits; alpha, metadata and colour profile are "
    "kept.\n"
    "zel ops lists the operations, zel help OPERATION explains one. The operation auto chooses others by looking.\n\n"
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

// Takes `auto` and its strength= out of the words when it is the first operation. Its strength, or -1.
int TakeAuto(std::vector<std::string>* words) {
  const auto at = std::find_if(words->begin(), words->end(), [](const std::string& word) {
    return word == "auto" || ZelChain_Find(word.c_str()) >= 0;
  });
  if (at == words->end() || *at != "auto") return -1;
  int strength = 50;
  auto end = at + 1;
  for (; end != words->end() && end->find('=') != std::string::npos; ++end) {
    int used = 0;
    const std::string name = end->substr(0, end->find('='));
    if (name != "strength") throw UsageError("auto has no parameter " + name + "; it has strength");
    if ((std::sscanf(end->c_str(), "strength=%d%n%%%n", &strength, &used, &used) != 1) ||
        used != static_cast<int>(end->size()) || strength < 0 || strength > 100) {
      throw UsageError("auto: " + *end + " must be a whole number from 0 to 100 per cent");
    }
  }
  words->erase(at, end);
  return strength;
}

}  // namespace

void AddBatchOptions(CLI::App* app, BatchArguments* a) {
  app->add_option("words", a->words, "photographs, and operations with their settings")
      ->type_name("IN... OPERATION...");
  BatchOptions& b = a->batch;
  app->add_option("-o,--output", b.plan.output,
                  "a file, a folder, a pattern with {stem} {ext} {dir} {n}, or - for standard output")
      ->type_name("OUT");
  app->add_flag("-r,--recursive", b.plan.recursive, "take folders with all photographs in them, and keep their tree");
  app->add_option("--format", a->format, "png, jpg, tif, ppm, webp or avif, whatever the output is called")
      ->type_name("NAME");
  app->add_flag("--overwrite", b.overwrite, "replace files that exist");
  app->add_option("-j,--jobs", b.jobs, "photographs in work at once; one per processor")
      ->check(CLI::Range(0, 1024))
      ->type_name("N");
  app->add_flag("--resume", b.resume, "keep a journal and skip what it says is done and unchanged");
  app->add_option("--journal", b.journal,
                  "journal of --resume; .zel-journal at the root of the results, or in a folder above them")
      ->type_name("FILE");
  app->add_flag("--keep-time", b.keepTime, "give results the time of their photographs");
  app->add_flag("--dry-run", b.dryRun, "only say what would be done");
  app->add_flag("--json", b.json, "one line per photograph for programs");
  app->add_flag("-v,--verbose", b.verbose, "say for every photograph what was chosen and noted");
  app->add_option("--working", a->working, "srgb: convert photographs with another colour profile to sRGB first")
      ->check(CLI::IsMember({"srgb"}))
      ->type_name("SPACE");
  app->add_flag("--strip", b.write.strip, "store no metadata and no colour profile; the colours become sRGB");
  app->add_option("--quality", b.write.quality, "of JPEG, WebP and AVIF, 1 to 100; that of a JPEG source, else 95")
      ->check(CLI::Range(1, 100))
      ->type_name("N");
  app->add_option("--subsampling", b.write.subsampling, "of JPEG, 4:4:4 or 4:2:0; that of the source, 4:4:4 for 4:2:2")
      ->check(CLI::IsMember({"4:4:4", "4:2:0"}))
      ->type_name("NAME");
  app->add_flag("--progressive", b.write.progressive, "JPEG that appears coarse first; also when the source is");
  app->add_option("--page", b.read.page, "which picture of a file that holds several, from 0")
      ->check(CLI::Range(0, 100000))
      ->type_name("N");
  app->add_option("--max-pixels", a->maxPixels, "refuse larger pictures; 300M")->type_name("N");
}

void FinishBatchArguments(BatchArguments* a) {
  BatchOptions& b = a->batch;
  if (!a->format.empty() && (b.plan.format = FormatNamed(a->format)) == Format::None) {
    throw UsageError("--format " + a->format + " must be one of " + kFormatNames);
  }
  if (!a->maxPixels.empty()) b.read.maxPixels = ParsePixels(a->maxPixels);
  b.toSrgb = !a->working.empty();
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
  if (asked != nullptr) {
    *asked = Texts(*app);
    return kAllDone;
  }
  // Usage lines name the command, whose word stands in argv[0].
  const std::string word = argv[0];
  const bool isCommand = word.find('/') == std::string::npos && word != "zel";
  app->name(word.rfind("zel ", 0) == 0 ? word : isCommand ? "zel " + word : "zel");
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

VImage ReadInput(const std::string& path, const ReadOptions& options) {
  try {
    std::vector<std::string> notes;
    const VImage photo = ReadPhoto(path, options, &notes);
    for (const std::string& note : notes) std::fprintf(stderr, "zel: note: %s: %s\n", path.c_str(), note.c_str());
    return photo;
  } catch (const Failure& failure) {
    throw Failure(path + ": " + failure.what());
  }
}

int Enhance(int argc, char** argv) {
  CLI::App app(kEnhanceHelp);
  EnhanceArguments arguments;
  AddEnhanceOptions(&app, &arguments);
  return Parse(&app, argc, argv, [&] {
    BatchOptions& options = arguments.batch;
    FinishBatchArguments(&arguments);
    const int automatic = TakeAuto(&arguments.words);
    Chain chain = ParseWords(arguments.words, &options.plan.inputs);
    if (!arguments.recipe.empty()) chain = Joined(ReadRecipe(arguments.recipe), chain);
    if (IsEmpty(chain) && automatic < 0) throw UsageError("no operation is given; zel ops lists them");
    if (!arguments.savedRecipe.empty() && automatic >= 0) {
      throw UsageError("auto chooses for every photograph anew and cannot be saved; --verbose tells what it chose");
    }
    if (!arguments.savedRecipe.empty()) SaveRecipe(chain, arguments.savedRecipe, options.overwrite);
    if (!arguments.savedRecipe.empty() && options.plan.inputs.empty()) return kAllDone;
    if (options.plan.inputs.empty()) throw UsageError("no photograph is given; zel IN... -o OUT OPERATION");
    if (options.plan.output.empty()) throw UsageError("no output is given; zel IN... -o OUT OPERATION");
    StartImages(argv[0]);
    return RunBatch(ChainWork(chain, automatic), options);
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
  app.add_option("--format", format, "png, jpg, tif, ppm, webp or avif, whatever the output is called")
      ->type_name("NAME");
  app.add_flag("--overwrite", overwrite, "replace a file that exists");
  return Parse(&app, argc, argv, [&] {
    int width, height;
    SplitSize(size, &width, &height);
    StartImages(argv[0]);
    SavePicture(DrawSample(width, height, bits), output, format, overwrite);
    return kAllDone;
  });
}

int SkinSliders(int argc, char** argv) {
  CLI::App app("Says where the sliders of skin-tone stand for the skin at a point, or for typical skin.");
  std::vector<std::string> words;
  app.add_option("words", words, "the photograph and at=x,y; without both: typical skin")->type_name("[IN at=x,y]");
  return Parse(&app, argc, argv, [&] {
    VImage photo;
    ImageDesc record{};
    ZelPoint point{};
    if (!words.empty()) {
      if (words.size() != 2 || words[1].rfind("at=", 0) != 0)
        throw UsageError("skin-sliders takes a photograph and at=x,y");
      std::vector<std::string> inputs, chained{"skin-tone", words[1]};
      const Chain chain = ParseWords(chained, &inputs);
      StartImages(argv[0]);
      photo = InColour(ReadInput(words[0], {}));
      // The function takes blue first and no alpha.
      photo = InMemory(VImage::bandjoin(std::vector<VImage>{photo[2], photo[1], photo[0]}));
      const ZelPixels pixels = PixelsOf(photo);
      const ZelApplyOptions options = OptionsOf(photo);
      ZelReport report;
      ZelChain_Where(chain.get(), 0, &pixels, &options, nullptr, &point, &report);
      if (report.code != ZEL_OK) throw Failure(words[0] + ": " + report.text);
      record = {photo.width(), photo.height(), Bits(photo) == 16 ? ZEL_FORMAT_BGR48 : ZEL_FORMAT_BGR24,
                photo.width() * 3, Samples(photo)};
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
