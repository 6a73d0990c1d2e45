#include <sys/stat.h>

#include <map>

#include "batch.h"
#include "failure.h"

namespace tool {
namespace {

struct Name {
  std::string dir, stem, ext;
};

Name SplitName(const std::string& path) {
  Name name;
  const size_t slash = path.rfind('/');
  name.dir = slash == std::string::npos ? "." : path.substr(0, slash);
  name.stem = slash == std::string::npos ? path : path.substr(slash + 1);
  const size_t dot = name.stem.rfind('.');
  if (dot != std::string::npos && dot > 0) {
    name.ext = name.stem.substr(dot + 1);
    name.stem.resize(dot);
  }
  return name;
}

const char* Suffix(Format format) {
  switch (format) {
    case Format::Png:
      return "png";
    case Format::Jpeg:
      return "jpg";
    case Format::Tiff:
      return "tif";
    case Format::Ppm:
      return "ppm";
    default:
      return "";
  }
}

std::string Expand(const std::string& pattern, const Name& name, const std::string& ext, size_t number, size_t count) {
  std::string result;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '{') {
      result += pattern[i];
      continue;
    }
    const size_t end = pattern.find('}', i);
    const std::string key = end == std::string::npos ? "" : pattern.substr(i + 1, end - i - 1);
    if (key == "stem") {
      result += name.stem;
    } else if (key == "ext") {
      result += ext;
    } else if (key == "dir") {
      result += name.dir;
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

bool IsFolder(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::vector<Job> PlanJobs(const BatchOptions& options) {
  const bool pattern = options.output.find('{') != std::string::npos;
  const bool folder = !pattern && (options.output.back() == '/' || IsFolder(options.output));
  if (options.inputs.size() > 1 && !pattern && !folder) {
    throw UsageError("several photographs need a folder (-o better/) or a pattern (-o '{stem}-better.{ext}')");
  }
  std::vector<Job> jobs;
  std::map<std::string, std::string> origin;
  for (size_t i = 0; i < options.inputs.size(); ++i) {
    const std::string& input = options.inputs[i];
    const Name name = input == "-" ? Name{".", "stdin", ""} : SplitName(input);
    const std::string ext = options.format != Format::None ? Suffix(options.format) : name.ext;
    Job job{input, options.output, options.format};
    if (pattern || folder) {
      std::string text = options.output;
      if (folder) text += std::string(options.output.back() == '/' ? "" : "/") + "{stem}.{ext}";
      job.output = Expand(text, name, ext, i + 1, options.inputs.size());
    }
    if (job.format == Format::None && job.output != "-") job.format = FormatOf(job.output);
    if (job.format == Format::None) {
      throw UsageError(job.output == "-" ? "standard output needs --format png, jpg, tif or ppm"
                                         : "cannot tell the format of " + job.output +
                                               "; end it in .png, .jpg, .tif or .ppm, or give --format");
    }
    const auto [other, isNew] = origin.emplace(job.output, input);
    if (!isNew) {
      throw UsageError(other->second + " and " + input + " would both become " + job.output +
                       "; use {dir} or {n} in the output");
    }
    jobs.push_back(job);
  }
  return jobs;
}

}  // namespace tool
