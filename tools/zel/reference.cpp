// The manual page and the completion, made from the table.
#include <algorithm>
#include <cstdio>

#include "commands.h"
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
Reads PNG, JPEG, TIFF and PPM photographs with 8 or 16 bits, runs operations one after another and writes the results.
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
      std::printf(".TP\n.B %s\n%s\n", Roff(option.name).c_str(), Roff(option.meaning).c_str());
    }
    std::printf(".SH COMMANDS\n");
    for (const Command& command : Commands()) {
      std::printf(".TP\n.B zel %s\n%s\n", Roff(command.name).c_str(), Roff(command.purpose).c_str());
    }
    std::printf(".SH OPERATIONS\n");
    for (const Operation& operation : Operations()) {
      std::printf(".SS %s\n%s\n%s\n", Roff(operation.name).c_str(), Roff(operation.purpose).c_str(),
                  Roff(operation.more).c_str());
      for (const Parameter& p : operation.parameters) {
        std::printf(".TP\n.B %s=%s\n%s: %s\n", Roff(p.name).c_str(), Roff(p.fallback).c_str(), Roff(p.meaning).c_str(),
                    Roff(RangeText(p)).c_str());
      }
    }
    std::fputs(kManualTail, stdout);
    return 0;
  });
}

int Completion(int argc, char** argv) {
  CLI::App app("Prints the completion for bash: source <(zel completion)");
  return Parse(&app, argc, argv, [] {
    std::string commands, operations, options;
    for (const Command& command : Commands()) commands += std::string(command.name) + " ";
    for (const Operation& operation : Operations()) operations += std::string(operation.name) + " ";
    for (const OptionText& option : EnhanceOptions()) {
      options += option.name.substr(option.name.rfind(',') + 1) + " ";
    }
    std::printf(R"(# Completion of zel for bash.
_zel_settings() {
  case $1 in
)");
    for (const Operation& operation : Operations()) {
      std::string settings;
      for (const Parameter& p : operation.parameters) {
        if (p.choices.empty()) settings += std::string(p.name) + "= ";
        for (const char* choice : p.choices) settings += std::string(p.name) + "=" + choice + " ";
      }
      std::printf("    %s) echo '%s' ;;\n", operation.name, settings.c_str());
    }
    std::printf(R"(  esac
}
_zel() {
  local operations='%s' commands='%s' words word last= at
  # Settings hold the = at which readline splits words, so the line is split anew.
  read -ra words <<< "${COMP_LINE:0:COMP_POINT}"
  word=
  [[ ${COMP_LINE:COMP_POINT-1:1} == ' ' ]] || word=${words[-1]}
  for at in "${words[@]:1}"; do
    [[ $at != "$word" && " $operations" == *" $at "* ]] && last=$at
  done
  if [[ $word == -* ]]; then
    COMPREPLY=($(compgen -W '%s--help --version' -- "$word"))
  elif [[ ${words[1]} == help ]]; then
    COMPREPLY=($(compgen -W "$commands $operations" -- "$word"))
  elif [[ -n $last ]]; then
    COMPREPLY=($(compgen -W "$(_zel_settings "$last") $operations" -- "$word"))
    [[ $word == *=* ]] && COMPREPLY=("${COMPREPLY[@]#*=}")
    [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace
  else
    COMPREPLY=($(compgen -W "$operations" -- "$word") $(compgen -f -- "$word"))
    [[ ${#words[@]} -le 2 ]] && COMPREPLY+=($(compgen -W "$commands" -- "$word"))
  fi
}
complete -o filenames -F _zel zel
)",
                operations.c_str(), commands.c_str(), options.c_str());
    return 0;
  });
}

}  // namespace tool
