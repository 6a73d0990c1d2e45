#include "chain.h"

#include <sys/stat.h>

#include <algorithm>
#include <exception>

#include "failure.h"

namespace tool {
namespace {

bool Exists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}

Chain Parse(const std::vector<std::string>& words, ZelReport* report) {
  std::vector<const char*> texts;
  for (const std::string& word : words) texts.push_back(word.c_str());
  return {ZelChain_ParseWords(texts.data(), texts.size(), report), ZelChain_Free};
}

// A word among the inputs that is no file may be a misspelled operation: say so before anything is read.
void CheckInput(const std::string& word) {
  if (word == "-" || Exists(word)) return;
  const size_t equals = word.find('=');
  const bool isSetting = equals != std::string::npos && equals > 0 && word.find('/') > equals;
  if (!isSetting && word.find_first_of("./") != std::string::npos) return;
  ZelReport report;
  Parse({word}, &report);
  std::string text = report.text;
  const std::string unknown = word + " is no operation";
  if (text.rfind(unknown, 0) == 0) {
    text = word + " is neither a file nor an operation" + text.substr(unknown.size());
  }
  throw UsageError(text);
}

// What the progress callback passes on.
struct Watch {
  void (*stop)();
  std::exception_ptr thrown;
};

int32_t ZEL_CALL AskToStop(void* user, double) {
  Watch* const watch = static_cast<Watch*>(user);
  try {
    watch->stop();
    return 0;
  } catch (...) {  // an exception may not pass through the library
    watch->thrown = std::current_exception();
    return 1;
  }
}

}  // namespace

Chain TakeChain(ZelChain* chain, const ZelReport& report) {
  if (chain == nullptr) throw UsageError(report.text);
  return {chain, ZelChain_Free};
}

Chain ParseWords(const std::vector<std::string>& words, std::vector<std::string>* inputs) {
  const auto first = std::find_if(words.begin(), words.end(),
                                  [](const std::string& word) { return ZelChain_Find(word.c_str()) >= 0; });
  for (auto word = words.begin(); word != first; ++word) {
    CheckInput(*word);
    inputs->push_back(*word);
  }
  const std::vector<std::string> rest(first, words.end());
  ZelReport report;
  const Chain chain = Parse(rest, &report);
  if (chain) return chain;
  std::string text = report.text;
  if (report.position >= 0) {
    const std::string& word = rest[static_cast<size_t>(report.position)];
    if (word.find('=') == std::string::npos && Exists(word)) text += " (photographs stand before the operations)";
  }
  throw UsageError(text);
}

Chain AutoChain(const VImage& photo, int strength, std::vector<std::string>* reasons) {
  const ZelPixels pixels = PixelsOf(photo);
  const ZelApplyOptions options = OptionsOf(photo);
  ZelReport report;
  const Chain chain = TakeChain(ZelChain_Auto(&pixels, strength, &options, &report), report);
  Check(report, reasons);
  return chain;
}

Chain ExampleChain(const Operation& operation, size_t example, const VImage& photo) {
  if (FindOperation(operation.name) == nullptr) {
    std::vector<std::string> reasons;
    return AutoChain(photo, std::stoi(operation.examples[example].substr(operation.parameters[0].name.size() + 1)),
                     &reasons);
  }
  const std::string line = operation.name + " " + operation.examples[example];
  ZelReport report;
  return TakeChain(ZelChain_ParseLine(line.data(), line.size(), &report), report);
}

Chain Joined(const Chain& first, const Chain& second) {
  ZelReport report;
  return TakeChain(ZelChain_Join(first.get(), second.get(), &report), report);
}

bool IsEmpty(const Chain& chain) {
  return ZelChain_Steps(chain.get()) == 0;
}

ZelPixels PixelsOf(const VImage& photo) {
  return {Samples(photo), 0, photo.width(), photo.height(), photo.bands(), Bits(photo), 0};
}

ZelApplyOptions OptionsOf(const VImage& photo) {
  ZelApplyOptions options{};
  options.size = sizeof options;
  options.orientation = Orientation(photo);
  return options;
}

void Check(const ZelReport& report, std::vector<std::string>* notes) {
  if (report.code == ZEL_CHAIN_WRONG_TEXT || report.code == ZEL_CHAIN_NO_TABLE) throw UsageError(report.text);
  if (report.code == ZEL_CHAIN_NO_MEMORY) throw std::bad_alloc();
  if (report.code != ZEL_OK) throw Failure(report.text);
  const std::string text = report.notes;
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find('\n', start), text.size());
    notes->push_back(text.substr(start, end - start));
    start = end + 1;
  }
}

void Run(const std::function<int32_t(const ZelPixels*, ZelReport*)>& call, VImage* photo,
         std::vector<std::string>* notes) {
  ZelReport report;
  ZelPixels pixels = PixelsOf(*photo);
  if (call(&pixels, &report) == ZEL_CHAIN_NEEDS_COLOUR) {
    *photo = InMemory(InColour(*photo));
    pixels = PixelsOf(*photo);
    call(&pixels, &report);
  }
  Check(report, notes);
}

void RunChain(const Chain& chain, VImage* photo, std::vector<std::string>* notes, void (*stop)()) {
  ZelApplyOptions options = OptionsOf(*photo);
  Watch watch{stop, nullptr};
  if (stop != nullptr) {
    options.progress = AskToStop;
    options.user = &watch;
  }
  const auto apply = [&](const ZelPixels* pixels, ZelReport* report) {
    const int32_t code = ZelChain_Apply(chain.get(), pixels, pixels, &options, report);
    if (watch.thrown) std::rethrow_exception(watch.thrown);
    return code;
  };
  Run(apply, photo, notes);
}

}  // namespace tool
