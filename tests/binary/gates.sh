#!/usr/bin/env bash
# What must hold of the built files themselves.
# Usage: gates.sh elf LIBRARY DEF | pe DLL DEF OBJDUMP | kernels LEVEL OBJECT PLAIN-LIST
set -euo pipefail
fail() { echo "FAILED: $*"; exit 1; }
# Lines of the first file that the second does not have, and the other way round.
same() { diff "$1" "$2" || fail "$3"; }
defined() { sed -nE 's/^ +([A-Za-z0-9_]+) +@([0-9]+)\r?$/\2 \1/p' "$1"; }

case $1 in
elf) # The visible symbols are the interface and nothing else.
  [ -n "$(defined "$3")" ] || fail "no names in $3"
  same <(nm -D --defined-only "$2" | awk '{print $3}' | sort) <(defined "$3" | awk '{print $2}' | sort) "visible symbols"
  ;;
pe) # Names are undecorated, each at its ordinal; the ordinals between them are empty; only system libraries are needed.
  table=$("$4" -p "$2")
  same <(awk '/^\[Ordinal\/Name Pointer\] Table/ {on = 1; next} /^$/ {on = 0}
              on {gsub(/[][]/, " "); sub(/\+base/, " "); print $1 + 1, $NF}' <<<"$table" | sort -n) \
    <(defined "$3" | sort -n) "names and ordinals"
  same <(awk '/^Export Address Table/ {on = 1; next} /^$/ {on = 0} on {gsub(/[][]/, " "); print $1 + 1}' <<<"$table") \
    <(defined "$3" | awk '{print $1}' | sort -n) "filled ordinals"
  others=$(awk '/DLL Name:/ {print tolower($3)}' <<<"$table" | grep -vE '^(kernel32|msvcrt|user32)\.dll$|^api-ms-win' || true)
  [ -z "$others" ] || fail "needs $others"
  ;;
kernels) # One global symbol, so that no inline function compiled for newer processors becomes everyone's copy.
  globals=$(nm --defined-only -g "$3" | awk '{print $3}')
  [ "$globals" = "_ZN3zel${#2}${2}8kKernelsE" ] || fail "the $2 object defines $globals"
  # Every function in the kernel table, or one that it calls, computes with 32 bytes at a time or more (sse41: with
  # vectors), unless it is listed as plain.
  vector='%[yz]mm|cvttpd2dqy'
  [ "$2" != sse41 ] || vector=' (p[a-wyz][a-z0-9]*|(add|sub|mul|div|min|max|shuf|unpck[lh]|cvt[a-z0-9]+)p[sd]) .*%xmm'
  same <({
    readelf -rW "$3" | awk '/^Relocation section/ {on = /\.data\.rel\.ro|\.data/} on && /_64 / {print "kernel", $NF}'
    nm --defined-only "$3" | awk '$2 == "t" {print "at", $1, $3}'
    objdump -d --no-show-raw-insn "$3" | tr '\t' ' ' | awk -v vector="$vector" '
      /^[0-9a-f]+ <.*>:$/ {name = $2; gsub(/[<>:]/, "", name)}
      $0 ~ vector {print "vector", name}
      /(call|jmp) +[0-9a-f]+ </ {callee = $NF; gsub(/[<>]/, "", callee); sub(/\+0x.*/, "", callee); print "calls", name, callee}' | sort -u
  } | awk '
      $1 == "kernel" {sub(/^0x/, "", $2); offsets[sprintf("%016s", $2)] = 1}
      $1 == "at" {names[$2] = $3}
      $1 == "vector" {vector[$2] = 1}
      $1 == "calls" {callees[$2] = callees[$2] " " $3}
      END {
        for (offset in offsets) {
          gsub(/ /, "0", offset)
          name = names[offset]
          found = vector[name]
          n = split(callees[name], list, " ")
          for (i = 1; i <= n; ++i) found = found || vector[list[i]]
          if (name != "" && !found) print name
        }
      }' | c++filt | sed -E 's/.*::([A-Za-z0-9_]+)(<.*>)?\(.*/\1/' | sort -u) \
    <(grep -v '^#' "$4" | sort -u) "kernels without vector code (left) and those that may be (right)"
  ;;
esac
