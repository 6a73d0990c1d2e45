#include "plan.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "failure.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

struct Found {
  std::string input;     // as the job gets it
  fs::path path, below;  // below: the folders between the named one and the file
  bool inFolder = false;
};

bool IsFolder(const std::string& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

// All files in a folder by name, without hidden ones and what lies in the folder of results.
void Walk(const fs::path& folder, const fs::path& results, std::vector<Found>* found) {
  std::vector<fs::path> files;
  std::error_code error;
  fs::recursive_directory_iterator at(folder, fs::directory_options::skip_permission_denied, error), end;
  if (error) throw UsageError(folder.string() + " cannot be read: " + error.message());
  for (; at != end; at.increment(error)) {
    const bool hidden = at->path().filename().string()[0] == '.';
    const bool isResult = fs::equivalent(at->path(), results, error);
    if (at->is_directory(error) && (hidden || isResult)) at.disable_recursion_pending();
    if (!hidden && at->is_regular_file(error)) files.push_back(at->path());
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files)
    found->push_back({file.string(), file, file.lexically_relative(folder).parent_path(), true});
}

std::string Expand(const std::string& pattern, const Found& input, const std::string& ext, size_t number,
                   size_t count) {
  const std::string parent = input.path.parent_path().string();
  std::string result;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '{') {
      result += pattern[i];
      continue;
    }
    const size_t end = pattern.find('}', i);
    const std::string key = end == std::string::npos ? "" : pattern.substr(i + 1, end - i - 1);
    if (key == "stem") {
      result += input.path.stem().string();
    } else if (key == "ext") {
      result += ext;
    } else if (key == "dir") {
      result += parent.empty() ? "." : parent;
    } else if (key == "n") {
      const std::string digits = std::to_string(number), widest = std::to_string(count);
      result += std::string(widest.size() - digits.size(), '0') + digits;
    } else {
      throw UsageError("the output pattern " + pattern + " may hold {stem}, {ext}, {dir} and {n} only");
    }
    i = end;
  }
  return result;
}

[[noreturn]] void NoFormat(const Job& job) {
  if (job.output == "-") throw UsageError(std::string("standard output needs --format ") + kFormatNames);
  if (IsReadOnlyName(job.output)) {
    throw UsageError(job.input + ": this format is read but not written; give --format " + kFormatNames);
  }
  throw UsageError("cannot tell the format of " + job.output + "; end it in " + kSuffixes + ", or give --format");
}

}  // namespace

Plan MakePlan(const PlanOptions& options) {
  const std::string& output = options.output;
  const bool pattern = output.find('{') != std::string::npos;
  const bool folder = !pattern && (output.back() == '/' || IsFolder(output));
  Plan plan;
  plan.root = folder ? output : fs::path(output.substr(0, output.find('{'))).parent_path().string();
  std::vector<Found> inputs;
  for (const std::string& input : options.inputs) {
    if (input == "-" || !IsFolder(input)) {
      inputs.push_back({input, input == "-" ? "stdin" : input, "", false});
    } else if (options.recursive) {
      Walk(input, folder ? output : std::string(), &inputs);
    } else {
      // Fails as one of the photographs, so that those beside it are not held up.
      plan.jobs.push_back({input, output, Format::Png});
    }
  }
  const bool isTree = options.recursive && std::any_of(options.inputs.begin(), options.inputs.end(), IsFolder);
  if ((inputs.size() > 1 || isTree) && !pattern && !folder) {
    throw UsageError("several photographs need a folder (-o better/) or a pattern (-o '{stem}-better.{ext}')");
  }
  std::map<std::string, std::string> origin;
  for (size_t i = 0; i < inputs.size(); ++i) {
    const Found& input = inputs[i];
    const std::string path = input.path.string(), own = input.path.extension().string();
    if (input.inFolder && FormatOf(path) == Format::None && !IsReadOnlyName(path)) {
      ++plan.skipped;
      continue;
    }
    const std::string ext = options.format != Format::None ? Suffix(options.format) : own.empty() ? "" : own.substr(1);
    Job job{input.input, output, options.format, input.inFolder};
    if (folder) {
      job.output = (fs::path(output) / input.below / (input.path.stem().string() + "." + ext)).string();
    } else if (pattern) {
      job.output = Expand(output, input, ext, i + 1, inputs.size());
    }
    if (job.format == Format::None && job.output != "-") job.format = FormatOf(job.output);
    if (job.format == Format::None) NoFormat(job);
    const auto [other, isNew] = origin.emplace(job.output, path);
    if (!isNew) {
      throw UsageError(other->second + " and " + path + " would both become " + job.output +
                       "; use {dir} or {n} in the output");
    }
    plan.jobs.push_back(job);
  }
  return plan;
}

}  // namespace tool
