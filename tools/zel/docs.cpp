// zel docs: one page per operation, with pictures, made from the table.
#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "chain.h"
#include "commands.h"
#include "failure.h"
#include "files.h"
#include "pictures.h"
#include "sample.h"

namespace tool {
namespace {

constexpr int kWidth = 360, kHeight = 240;

// The part of the sample that shows what a group does: skin and detail pixel by pixel, the rest as a whole.
VImage Part(const VImage& photo, const std::string& group) {
  if (group != "detail" && group != "skin") return Reduced(photo, kWidth, kHeight);
  return photo.extract_area((photo.width() - kWidth) / 2 - photo.width() / 50, (photo.height() - kHeight) / 3, kWidth,
                            kHeight);
}

VImage Pictures(const Operation& operation, const VImage& sample) {
  static const char* const kNames[] = {"mild", "middle", "strong"};
  std::vector<VImage> cells{Captioned(Part(sample, operation.group), "before", "")};
  for (size_t i = 0; i < 3; ++i) {
    VImage picture = InMemory(sample);
    std::vector<std::string> notes;
    RunChain(ExampleChain(operation, i, sample), &picture, &notes);
    cells.push_back(Captioned(Part(picture, operation.group), kNames[i], operation.examples[i]));
  }
  return Grid(cells, 2);
}

void WriteJpeg(const VImage& picture, const std::string& path) {
  WriteOptions options;
  options.quality = 88;
  std::vector<std::string> notes;
  NewFile file(path, true);
  EncodePhoto(picture, Format::Jpeg, options, file.fd(), &notes);
  file.Publish();
}

std::string Page(const Operation& operation) {
  const std::string name = operation.name;
  std::string text = "# " + name + "\n\n" + operation.purpose + " " + operation.more +
                     "\n\n![A drawn scene before, and after " + name + " at mild, middle and strong settings](" + name +
                     ".jpg)\n\n";
  text += "```\nzel photo.jpg -o better.jpg " + name + " " + operation.examples[1] + "\n```\n\n";
  text += "| parameter | meaning | values | default |\n|---|---|---|---|\n";
  for (const Parameter& p : operation.parameters) {
    text += std::string("| `") + p.name + "` | " + p.meaning + " | " + p.values + " | " + p.fallback + " |\n";
  }
  text +=
      "\n- Depth: " + operation.depth + "\n- Channels: " + operation.channels + "\n- Reach: " + operation.reach + "\n";
  return text;
}

}  // namespace

int Docs(int argc, char** argv) {
  CLI::App app("Writes a page with pictures for every operation, in Markdown.");
  std::string folder;
  app.add_option("folder", folder, "where the pages go")->required()->type_name("FOLDER");
  return Parse(&app, argc, argv, [&] {
    StartImages(argv[0]);
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    const VImage sample = InMemory(DrawSample(2 * kWidth, 2 * kHeight, 8));
    std::string index = "# Operations\n", group;
    for (const Operation& operation : TypedOperations()) {
      if (group != operation.group) {
        group = operation.group;
        index += "\n## " + group + "\n\n";
      }
      index += std::string("- [") + operation.name + "](" + operation.name + ".md): " + operation.purpose + "\n";
      const std::string path = folder + "/" + operation.name;
      try {
        WriteFile(path + ".md", Page(operation), true);
        WriteJpeg(Pictures(operation, sample), path + ".jpg");
      } catch (const Failure& failure) {
        throw Failure(path + " " + failure.what());
      }
    }
    WriteFile(folder + "/index.md", index, true);
    return kAllDone;
  });
}

}  // namespace tool
