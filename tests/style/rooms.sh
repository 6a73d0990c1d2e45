#!/usr/bin/env bash
# Includes run one way between folders, only the exports know result codes, and what they call has a test of its name.
# Usage: rooms.sh SOURCE_DIR
set -euo pipefail
cd "$1"
shopt -s nullglob globstar
# Folders of one line do not see each other; every folder sees the lines above it.
order='
src/simd
src/core
src/tone src/filter
src/color
src/selective
src/retouch
src/exports
chain
tools'
bad=0
for name in $(sed -nE 's/^#include "([a-z]+\/[a-z_]+)\.h"/\1/p' src/exports/*.cpp | grep -v '^exports/' | sort -u); do
  [ -f "tests/${name}_test.cpp" ] || { echo "tests/${name}_test.cpp is missing"; bad=1; }
done
awk -v order="$order" -v bad=$bad '
  BEGIN {
    lines = split(order, line, "\n")
    for (i = 1; i <= lines; ++i) {
      rooms = split(line[i], room, " ")
      for (k = 1; k <= rooms; ++k) { name = room[k]; sub(/^src\//, "", name); rank[name] = i }
    }
  }
  function room_of(path,    parts) {
    sub(/^src\//, "", path)
    split(path, parts, "/")
    return parts[1]
  }
  FNR == 1 { ++files; here = room_of(FILENAME) }
  /^#include "[a-z]+\// {
    split($0, quoted, "\"")
    there = room_of(quoted[2])
    if (there in rank && there != here && rank[there] >= rank[here]) {
      print FILENAME ":" FNR ": " here " looks up to " quoted[2]; bad = 1
    }
    if (there in rank) ++arrows
  }
  /ZEL_OK|ZEL_REFUSED|ZEL_NULL_ARGUMENT/ && FILENAME ~ /^src\// && here != "exports" {
    print FILENAME ":" FNR ": result codes belong to the exports"; bad = 1
  }
  here == "exports" && /^ .*Zel[A-Za-z]*Func_/ && !/^ +(const|u?int32_t) / {
    print FILENAME ":" FNR ": an export calls another"; bad = 1
  }
  END {
    if (arrows < 100) { print "only " arrows + 0 " includes found in " files + 0 " files"; bad = 1 }
    exit bad
  }' src/**/*.{h,cpp,inl} chain/**/*.{h,cpp} tools/**/*.{h,cpp}
