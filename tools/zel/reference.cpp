// The manual page and the completion, made from the table.
#include <algorithm>
#include <cstdio>

#include "commands.h"
#include "failure.h"
#include "operations.h"

namespace tool {
namespace {

// Text as troff takes it: no line starts with a dot, minus signs stay minus signs.
std::string Roff(const std::string& text) {
  std::string result;
  for (char c : text) {
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else {
      if ((c == '.' || c == '\'') && (result.empty() || result.back() == '\n')) result += "\\&";
      result += c;
    }
  }
  return result;
}

void PrintOption(const OptionText& option) {
  std::printf(".TP\n\\fB%s\\fR %s\n%s\n", Roff(option.name).c_str(), Roff(option.value).c_str(),
              Roff(option.meaning).c_str());
}

const char* const kManualHead =
    R"(.TH ZEL 1 "" "Zel" "User commands"
.SH NAME
zel \- enhances photographs
.SH SYNOPSIS
.B zel
.IR IN ...
.B \-o
.I OUT
.IR OPERATION " [" name=value " ...] [" OPERATION " ...]"
.br
.B zel
.I COMMAND
[...]
.SH DESCRIPTION
Reads PNG, JPEG, TIFF, PPM, WebP, HEIC, AVIF and JPEG XL photographs with 8 or 16 bits, runs operations one after
another and writes the results as PNG, JPEG, TIFF, PPM, WebP or AVIF.
Alpha, metadata and colour profile are kept. Words up to the first name of an operation are photographs; write a file of
such a name as
.IR ./name .
.PP
The output is a file, a folder, a pattern with {stem}, {ext}, {dir} and {n}, or \- for standard output. Results appear
complete or not at all. Coordinates count in the upright picture, in pixels or per cent.
.SH OPTIONS
)";

const char* const kManualTail =
    R"(.SH EXIT STATUS
0 all done; 1 some photographs failed; 2 the command line is wrong; 3 nothing was done.
.SH FILES
.I .zel\-journal
beside the results: what \-\-resume has finished.
)";

}  // namespace

int Manual(int argc, char** argv) {
  CLI::App app("Prints the manual page in troff: zel man | man -l -");
  return Parse(&app, argc, argv, [] {
    std::fputs(kManualHead, stdout);
    for (const OptionText& option : EnhanceOptions()) {
      PrintOption(option);
    }
    std::printf(".SH COMMANDS\n");
    for (const Command& command : Commands()) {
      std::printf(".SS zel %s\n%s.\n", Roff(command.name).c_str(), Roff(command.purpose).c_str());
      for (const OptionText& option : OptionsOf(command)) PrintOption(option);
    }
    std::printf(".SH OPERATIONS\n");
    for (const Operation& operation : TypedOperations()) {
      std::printf(".SS %s\n%s\n%s\n", Roff(operation.name).c_str(), Roff(operation.purpose).c_str(),
                  Roff(operation.more).c_str());
      for (const Parameter& p : operation.parameters) {
        std::printf(".TP\n.B %s=%s\n%s: %s\n", Roff(p.name).c_str(), Roff(p.fallback).c_str(), Roff(p.meaning).c_str(),
                    Roff(p.values).c_str());
      }
      for (const std::string& example : operation.examples) {
        std::printf(".PP\n.B zel photo.jpg \\-o better.jpg %s %s\n", Roff(operation.name).c_str(),
                    Roff(example).c_str());
      }
    }
    std::fputs(kManualTail, stdout);
    return 0;
  });
}

namespace {

std::string LongName(const OptionText& option) {
  return option.name.substr(option.name.rfind(',') + 1);
}

std::string ShortName(const OptionText& option) {
  return option.name.find(',') == std::string::npos ? "" : option.name.substr(0, option.name.find(','));
}

// The words that a setting may be, as far as they can be listed: name= or name=choice.
std::vector<std::string> SettingWords(const Operation& operation) {
  std::vector<std::string> words;
  for (const Parameter& p : operation.parameters) {
    if (p.choices.empty()) words.push_back(p.name + "=");
    for (const std::string& choice : p.choices) words.push_back(p.name + "=" + choice);
  }
  return words;
}

std::string Line(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + word;
  return line;
}

std::string OperationLine() {
  std::vector<std::string> names;
  for (const Operation& operation : TypedOperations()) names.push_back(operation.name);
  return Line(names);
}

constexpr char kFiles[] = "FILE", kNumber[] = "N";

// What comes after an option: words, kFiles, or kNumber where there is nothing to offer.
std::string ValueWords(const OptionText& option) {
  const std::string name = LongName(option);
  if (name == "--format") return "png jpg tif ppm webp avif";
  if (name == "--subsampling") return "4:4:4 4:2:0";
  if (name == "--working") return "srgb";
  if (name == "--bits") return "8 16";
  if (name == "--nodes") return "16 18 33 52 65 86";
  for (const char* kind : {"FILE", "FOLDER", "OUT"}) {
    if (option.value == kind) return kFiles;
  }
  return kNumber;
}

// Of all commands, those that take a value, one of each name.
std::vector<OptionText> OptionsWithValue() {
  std::vector<OptionText> all = EnhanceOptions(), kept;
  for (const Command& command : Commands()) {
    for (const OptionText& option : OptionsOf(command)) all.push_back(option);
  }
  for (const OptionText& option : all) {
    const auto same = [&](const OptionText& other) { return LongName(other) == LongName(option); };
    if (!option.value.empty() && std::none_of(kept.begin(), kept.end(), same)) kept.push_back(option);
  }
  return kept;
}

// As a shell's pattern.
std::string BothNames(const OptionText& option) {
  return (ShortName(option).empty() ? "" : ShortName(option) + "|") + LongName(option);
}

void PrintBash() {
  std::string commands;
  for (const Command& command : Commands()) commands += std::string(command.name) + " ";
  std::printf("# Completion of zel for bash.\n_zel_settings() {\n  case $1 in\n");
  for (const Operation& operation : TypedOperations()) {
    std::printf("    %s) echo '%s' ;;\n", operation.name.c_str(), Line(SettingWords(operation)).c_str());
  }
  std::printf("  esac\n}\n_zel_options() {\n  case $1 in\n");
  const auto options = [](const std::string& pattern, const std::vector<OptionText>& texts) {
    std::string line = "--help";
    for (const OptionText& option : texts) line += " " + LongName(option);
    std::printf("    %s) echo '%s' ;;\n", pattern.c_str(), line.c_str());
  };
  for (const Command& command : Commands()) options(command.name, OptionsOf(command));
  options("*", EnhanceOptions());
  std::printf("  esac\n}\n_zel_values() {\n  case $1 in\n");
  for (const OptionText& option : OptionsWithValue()) {
    std::printf("    %s) echo '%s' ;;\n", BothNames(option).c_str(), ValueWords(option).c_str());
  }
  std::printf(R"zel(  esac
}
_zel_files() {
  local file
  while IFS= read -r file; do COMPREPLY+=("$file"); done < <(compgen -f -- "$1")
  compopt -o filenames
}
_zel() {
  local operations='%s' commands='%s' words word last= at values
  # Settings hold the = at which readline splits words: put them together again. Names with spaces come whole.
  words=()
  for ((at = 0; at <= COMP_CWORD; at++)); do
    if ((at > 0)) && [[ ${COMP_WORDS[at]} == '=' || ${COMP_WORDS[at - 1]} == '=' ]]; then
      words[${#words[@]} - 1]+=${COMP_WORDS[at]}
    else
      words+=("${COMP_WORDS[at]}")
    fi
  done
  local count=$((${#words[@]} - 1))
  word=${words[count]}
  for at in "${words[@]:1:count-1}"; do
    [[ " $operations " == *" $at "* ]] && last=$at
  done
  COMPREPLY=()
  values=$(_zel_values "${words[count-1]}")
  if [[ $values == FILE ]]; then
    _zel_files "$word"
  elif [[ $values == N ]]; then
    :
  elif [[ -n $values ]]; then
    COMPREPLY=($(compgen -W "$values" -- "$word"))
  elif [[ $word == -* ]]; then
    COMPREPLY=($(compgen -W "$(_zel_options "${words[1]}")" -- "$word"))
  elif [[ ${words[1]} == completion && $count -ge 2 ]]; then
    COMPREPLY=($(compgen -W 'bash zsh fish' -- "$word"))
  elif [[ ${words[1]} == help && $count -ge 2 ]]; then
    COMPREPLY=($(compgen -W "$commands $operations" -- "$word"))
  elif [[ -n $last ]]; then
    COMPREPLY=($(compgen -W "$(_zel_settings "$last") $operations" -- "$word"))
    [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace
    [[ $word == *=* ]] && COMPREPLY=("${COMPREPLY[@]#*=}")
  else
    COMPREPLY=($(compgen -W "$operations" -- "$word"))
    [[ $count -le 1 ]] && COMPREPLY+=($(compgen -W "$commands" -- "$word"))
    _zel_files "$word"
  fi
  return 0
}
complete -F _zel zel
)zel",
              OperationLine().c_str(), commands.c_str());
}

// A word or text in single quotes, for zsh and fish.
std::string Apostrophed(std::string text, const char* inside) {
  for (size_t at = text.find('\''); at != std::string::npos; at = text.find('\'', at + 4)) text.replace(at, 1, inside);
  return "'" + text + "'";
}

void PrintZsh() {
  const auto quoted = [](std::string text) { return Apostrophed(std::move(text), "'\\''"); };
  // In the lists of _describe a colon ends the word.
  const auto described = [&](const std::string& word, const std::string& meaning) {
    std::string escaped;
    for (char c : word) escaped += c == ':' ? "\\:" : std::string(1, c);
    return quoted(escaped + ":" + meaning);
  };
  std::printf(
      "#compdef zel\n# Completion of zel for zsh.\n_zel() {\n  local -a operations commands settings options\n");
  std::printf("  operations=(\n");
  for (const Operation& o : TypedOperations()) std::printf("    %s\n", described(o.name, o.purpose).c_str());
  std::printf("  )\n  commands=(\n");
  for (const Command& c : Commands()) std::printf("    %s\n", described(c.name, c.purpose).c_str());
  std::printf("  )\n  case $words[2] in\n");
  const auto options = [&](const std::string& pattern, const std::vector<OptionText>& texts) {
    std::printf("    %s) options=(", pattern.c_str());
    for (const OptionText& option : texts) std::printf(" %s", described(LongName(option), option.meaning).c_str());
    std::printf(" ) ;;\n");
  };
  for (const Command& command : Commands()) options(command.name, OptionsOf(command));
  options("*", EnhanceOptions());
  std::printf("  esac\n  case $words[CURRENT-1] in\n");
  for (const OptionText& option : OptionsWithValue()) {
    const std::string values = ValueWords(option);
    const std::string offer = values == kNumber ? "" : values == kFiles ? "_files; " : "compadd -- " + values + "; ";
    std::printf("    %s) %sreturn ;;\n", BothNames(option).c_str(), offer.c_str());
  }
  std::printf("  esac\n  local word last=\n  for word in ${words[2,CURRENT-1]}; do\n    case $word in\n");
  for (const Operation& o : TypedOperations()) {
    std::printf("      %s) last=$word; settings=(", o.name.c_str());
    for (const std::string& setting : SettingWords(o)) std::printf(" %s", quoted(setting).c_str());
    std::printf(" ) ;;\n");
  }
  std::printf(R"zel(    esac
  done
  if [[ $PREFIX == -* ]]; then
    _describe option options
  elif [[ $words[2] == completion && CURRENT -gt 2 ]]; then
    compadd -- bash zsh fish
  elif [[ $words[2] == help && CURRENT -gt 2 ]]; then
    _describe command commands
    _describe operation operations
  elif [[ -n $last ]]; then
    compadd -S '' -- ${(M)settings:#*=}
    compadd -- ${settings:#*=}
    _describe operation operations
  else
    (( CURRENT == 2 )) && _describe command commands
    _describe operation operations
    _files
  fi
}
_zel "$@"
)zel");
}

void PrintFish() {
  const auto quoted = [](std::string text) { return Apostrophed(std::move(text), "\\'"); };
  std::printf("# Completion of zel for fish.\n");
  std::string commands;
  for (const Command& command : Commands()) commands += std::string(command.name) + " ";
  const std::string operations = OperationLine();
  std::printf(
      "function __zel_operation\n  set -l last\n  for word in (commandline -opc)[2..-1]\n"
      "    contains -- $word %s; and set last $word\n  end\n  echo $last\nend\n",
      operations.c_str());
  const auto option = [&](const std::string& condition, const OptionText& text) {
    const std::string values = ValueWords(text);
    std::printf("complete -c zel -n '%s' -l %s%s -d %s%s\n", condition.c_str(), LongName(text).substr(2).c_str(),
                ShortName(text).empty() ? "" : (" -s " + ShortName(text).substr(1)).c_str(),
                quoted(text.meaning).c_str(),
                text.value.empty()  ? ""
                : values == kFiles  ? " -r -F"
                : values == kNumber ? " -x"
                                    : (" -x -a " + quoted(values)).c_str());
  };
  for (const Command& c : Commands()) {
    std::printf("complete -c zel -n __fish_use_subcommand -a %s -d %s\n", c.name, quoted(c.purpose).c_str());
    for (const OptionText& text : OptionsOf(c)) option(std::string("__fish_seen_subcommand_from ") + c.name, text);
  }
  for (const OptionText& text : EnhanceOptions()) option("not __fish_seen_subcommand_from " + commands, text);
  std::printf("complete -c zel -n '__fish_seen_subcommand_from completion' -x -a 'bash zsh fish'\n");
  for (const Operation& o : TypedOperations()) {
    std::printf("complete -c zel -n 'not __fish_seen_subcommand_from completion' -a %s -d %s\n", o.name.c_str(),
                quoted(o.purpose).c_str());
    for (const Parameter& p : o.parameters) {
      std::vector<std::string> words;
      for (const std::string& choice : p.choices) words.push_back(p.name + "=" + choice);
      if (words.empty()) words.push_back(p.name + "=");
      std::printf("complete -c zel -n 'test (__zel_operation) = %s' -a %s -d %s\n", o.name.c_str(),
                  quoted(Line(words)).c_str(), quoted(p.meaning).c_str());
    }
  }
}

}  // namespace

int Completion(int argc, char** argv) {
  CLI::App app("Prints the completion for a shell: source <(zel completion bash)");
  std::string shell = "bash";
  app.add_option("shell", shell, "bash, zsh or fish; bash")->check(CLI::IsMember({"bash", "zsh", "fish"}));
  return Parse(&app, argc, argv, [&shell] {
    shell == "zsh" ? PrintZsh() : shell == "fish" ? PrintFish() : PrintBash();
    return kAllDone;
  });
}

}  // namespace tool
