// zel docs: one page per operation, with pictures, made from the table.
#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "canvas.h"
#include "chain.h"
#include "commands.h"
#include "failure.h"
#include "sample.h"

namespace tool {
namespace {

constexpr int kWidth = 360, kHeight = 240;

void Write(const std::string& path, const std::string& text) {
  WriteFile(path, text.data(), text.size(), true);
}

// The part of the sample that shows what a group does: skin and detail pixel by pixel, the rest as a whole.
Photo Shown(const Photo& photo, const std::string& group) {
  if (group != "detail" && group != "skin") return Reduced(photo, kWidth, kHeight);
  Photo part = NewCanvas(kWidth, kHeight, kPaper);
  const int left = (photo.width - kWidth) / 2 - photo.width / 50, top = (photo.height - kHeight) / 3;
  for (int y = 0; y < kHeight; ++y) {
    std::copy_n(&photo.samples[static_cast<size_t>((top + y) * photo.width + left) * 3], kWidth * 3,
                &part.samples[static_cast<size_t>(y * kWidth) * 3]);
  }
  return part;
}

void DrawPictures(const Operation& operation, const Photo& sample, const std::string& path) {
  const int gap = 8, cellHeight = kHeight + 16;
  Photo canvas = NewCanvas(2 * kWidth + 3 * gap, 2 * cellHeight + 3 * gap, kPaper);
  for (int i = 0; i < 4; ++i) {
    const int left = gap + i % 2 * (kWidth + gap), top = gap + i / 2 * (cellHeight + gap);
    Photo picture = sample;
    std::string caption = "before";
    if (i > 0) {
      std::vector<std::string> notes;
      caption = operation.examples[static_cast<size_t>(i - 1)];
      try {
        RunChain(ExampleChain(operation, static_cast<size_t>(i - 1)), &picture, &notes);
      } catch (const Failure&) {
        caption += "  (refused)";
      }
    }
    Paste(&canvas, Shown(picture, operation.group), left, top);
    DrawText(&canvas, left, top + kHeight + 4, caption.substr(0, kWidth / 6), 1, kText);
  }
  std::vector<std::string> notes;
  WriteOptions options;
  options.quality = 88;
  const std::vector<uint8_t> bytes = EncodePhoto(std::move(canvas), Format::Jpeg, options, &notes);
  WriteFile(path, bytes.data(), bytes.size(), true);
}

std::string Page(const Operation& operation) {
  const std::string name = operation.name;
  std::string text = "# " + name + "\n\n" + operation.purpose + " " + operation.more + "\n\n![](" + name + ".jpg)\n\n";
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
    const Photo sample = DrawSample(2 * kWidth, 2 * kHeight, 8);
    std::string index = "# Operations\n", group;
    for (const Operation& operation : Operations()) {
      if (group != operation.group) {
        group = operation.group;
        index += "\n## " + group + "\n\n";
      }
      index += std::string("- [") + operation.name + "](" + operation.name + ".md): " + operation.purpose + "\n";
      const std::string path = folder + "/" + operation.name;
      try {
        Write(path + ".md", Page(operation));
        DrawPictures(operation, sample, path + ".jpg");
      } catch (const Failure& failure) {
        throw Failure(path + " " + failure.what());
      }
    }
    Write(folder + "/index.md", index);
    return kAllDone;
  });
}

}  // namespace tool
