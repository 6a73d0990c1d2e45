#include "chain.h"

#include <sys/stat.h>

#include <algorithm>

#include "failure.h"

namespace tool {
namespace {

// FNV-1a; only to see whether anything changed.
uint64_t Digest(const std::vector<uint8_t>& bytes) {
  uint64_t hash = 14695981039346656037u;
  for (uint8_t byte : bytes) hash = (hash ^ byte) * 1099511628211u;
  return hash;
}

int32_t Run(Step* step, Photo* photo) {
  const ImageDesc record = photo->Record();
  return step->operation->run(&record, step->settings);
}

// Runs the step on an 8-bit copy and adds the change of every sample to the 16-bit one, so that what the operation
// leaves alone keeps all its bits and gradients keep their fine steps.
int32_t RunAt8Bits(Step* step, Photo* photo) {
  const size_t count = photo->samples.size() / 2;
  auto* wide = reinterpret_cast<uint16_t*>(photo->samples.data());
  Photo narrow;
  narrow.width = photo->width;
  narrow.height = photo->height;
  narrow.channels = photo->channels;
  narrow.samples.resize(count);
  const auto reduced = [](uint16_t sample) { return (sample + 128) / 257; };
  for (size_t i = 0; i < count; ++i) narrow.samples[i] = static_cast<uint8_t>(reduced(wide[i]));
  const int32_t result = Run(step, &narrow);
  if (result != ZEL_OK) return result;
  for (size_t i = 0; i < count; ++i) {
    wide[i] = static_cast<uint16_t>(std::clamp(wide[i] + (narrow.samples[i] - reduced(wide[i])) * 257, 0, 65535));
  }
  return ZEL_OK;
}

bool Exists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}

bool IsSetting(const std::string& word) {
  const size_t equals = word.find('=');
  return equals != std::string::npos && equals > 0 && word.find('/') > equals;
}

[[noreturn]] void Unknown(const std::string& word, const char* what, const char* hint) {
  std::vector<std::string> names;
  for (const Operation& operation : Operations()) names.push_back(operation.name);
  const std::string nearest = Nearest(word, names);
  throw UsageError(word + what + (nearest.empty() ? "; zel ops lists them" : "; did you mean " + nearest + "?") + hint);
}

// A word among the inputs that is no file may be a misspelled operation: say so before anything is read.
void CheckInput(const std::string& word) {
  if (word == "-" || Exists(word)) return;
  if (IsSetting(word)) throw UsageError("the setting " + word + " stands before the first operation");
  if (word.find_first_of("./") == std::string::npos) Unknown(word, " is neither a file nor an operation", "");
}

}  // namespace

Chain ParseWords(const std::vector<std::string>& words, std::vector<std::string>* inputs) {
  Chain chain;
  for (const std::string& word : words) {
    if (const Operation* operation = FindOperation(word)) {
      chain.push_back({operation, {}});
    } else if (chain.empty()) {
      CheckInput(word);
      inputs->push_back(word);
    } else if (IsSetting(word)) {
      const size_t equals = word.find('=');
      Step& step = chain.back();
      const std::string name = word.substr(0, equals);
      if (step.settings.Given(name.c_str())) {
        throw UsageError(std::string(step.operation->name) + ": " + name + " is given twice");
      }
      SetParameter(*step.operation, name, word.substr(equals + 1), &step.settings);
    } else {
      Unknown(word, " is no operation", Exists(word) ? " (photographs stand before the operations)" : "");
    }
  }
  for (Step& step : chain) FillDefaults(*step.operation, &step.settings);
  return chain;
}

Chain ExampleChain(const Operation& operation, size_t example) {
  std::vector<std::string> words{operation.name}, inputs;
  std::string word;
  for (const char* c = operation.examples[example];; ++c) {
    if (*c != ' ' && *c != '\0') {
      word += *c;
      continue;
    }
    if (!word.empty()) words.push_back(word);
    word.clear();
    if (*c == '\0') break;
  }
  return ParseWords(words, &inputs);
}

std::string ChainText(const Chain& chain) {
  std::string text;
  for (const Step& step : chain) {
    text += (text.empty() ? "" : " ") + std::string(step.operation->name);
    for (const auto& [name, value] : step.settings.given) text += " " + name + "=" + value;
  }
  return text;
}

void RunStep(Step* step, Photo* photo, std::vector<std::string>* notes) {
  const Operation& operation = *step->operation;
  try {
    step->settings.Place(photo->width, photo->height, photo->orientation);
  } catch (const Failure& failure) {
    throw Failure(std::string(operation.name) + ": " + failure.what());
  }
  const bool widened = photo->channels == 1 && !operation.grey;
  if (widened) GreyToColour(photo);
  const bool watched = step->settings.Point() != nullptr;
  const uint64_t before = watched ? Digest(photo->samples) : 0;
  const bool narrowed = photo->bits == 16 && operation.depth == Depth::Eight;
  const int32_t result = narrowed ? RunAt8Bits(step, photo) : Run(step, photo);
  if (result != ZEL_OK) {
    throw Failure(std::string(operation.name) + " refused this picture of " + std::to_string(photo->width) + " x " +
                  std::to_string(photo->height) + " pixels with these settings (code " + std::to_string(result) + ")");
  }
  if (watched && Digest(photo->samples) == before) {
    notes->push_back(std::string(operation.name) + " changed nothing; does the pixel at " + step->settings.given["at"] +
                     " show what it is for?");
  }
  if (widened) ColourToGrey(photo);
}

void RunChain(Chain chain, Photo* photo, std::vector<std::string>* notes, void (*beforeStep)()) {
  const bool deep = photo->bits == 16;
  std::string coarse;
  for (Step& step : chain) {
    if (beforeStep) beforeStep();
    RunStep(&step, photo, notes);
    const std::string name = step.operation->name;
    if (deep && step.operation->depth != Depth::Sixteen &&
        (" " + coarse + ",").find(" " + name + ",") == std::string::npos) {
      coarse += (coarse.empty() ? "" : ", ") + name;
    }
  }
  if (!coarse.empty()) notes->push_back("works with 8 of the 16 bits: " + coarse);
}

}  // namespace tool
