#!/usr/bin/env bash
# Installs what is missing, builds and runs the tests.
#   ./test.sh          what every change must pass: g++, clang, sanitizers, Windows under Wine
#   ./test.sh --quick  for people at work: one build, the unit and golden tests, the gates and the tool, in minutes
#   ./test.sh --all    the whole matrix of compilers, processors and systems
#   ./test.sh --coverage    how much of src/ the tests reach; below 95 % of lines or 85 % of branches fails
# Logs and builds are in build/.
set -uo pipefail
cd "$(dirname "$0")"
mode=${1:-}
case $mode in
  "" | --quick | --all | --coverage) ;;
  *) sed -n '3,7s/^#   //p' "$0" >&2; exit 2 ;;
esac

passed=0 failed=0 skipped=0 shown=
export NODE_PATH=/usr/share/nodejs  # where Debian keeps the modules that emscripten needs
mkdir -p build/log

# note RESULT NAME LOG: counts and shows one check.
note() {
  if [ "$1" = skip ]; then
    skipped=$((skipped + 1))
    echo "skipped $2"
  elif [ "$1" = 0 ]; then
    passed=$((passed + 1))
    echo "ok      $2"
  else
    failed=$((failed + 1))
    echo "FAILED  $2, see $3"
    [ "$3" != "$shown" ] || return 0
    shown=$3
    grep -nE 'error|FAILED|Failure|differs|Sanitizer' -A4 "$3" | head -60
  fi
}

# preset NAME [CTEST ARGUMENTS]: configures, builds and runs one preset; every ctest test counts.
preset() {
  local name=$1 log=build/log/$1.log
  shift
  { cmake --preset "$name" && cmake --build "build/$name"; } >"$log" 2>&1 || { note 1 "$name: build" "$log"; return; }
  ctest --test-dir "build/$name" --output-on-failure -j 2 --timeout 1200 "$@" >"$log" 2>&1
  local done=0
  while read -r result test; do
    note "$result" "$name: $test" "$log"
    done=1
  done < <(sed -nE 's/^ *[0-9]+\/[0-9]+ Test +#[0-9]+: ([a-z0-9_]+) \.+ *(\**[A-Za-z ]+[a-z]) +[0-9.]+ sec.*/\2:\1/p' "$log" |
    sed -E 's/^Passed:/0 /; s/^\*+Skipped:/skip /; s/^[^0s].*:/1 /')
  [ $done = 1 ] || note 1 "$name: no tests" "$log"
}

# check NAME COMMAND...: one check of its own.
check() {
  local name=$1 log=build/log/$1.log result
  shift
  "$@" >"$log" 2>&1
  result=$?
  [ $result != 77 ] || result=skip
  note $result "$name" "$log"
}

# web: the npm package in node and the page in the browsers there are; every test counts.
web() {
  local log=build/log/web.log done=0 result test
  ZEL=$PWD/build/release/zel scripts/page.sh >"$log" 2>&1 || { note 1 "web: build" "$log"; return; }
  scripts/install.sh browsers docs >>"$log" 2>&1 || echo "no browsers" >>"$log"
  ZEL=$PWD/build/release/zel node --test --test-reporter=tap --test-concurrency=1 web/test/*.test.js >"$log" 2>&1
  while read -r result test; do
    note "$result" "web: $test" "$log"
    done=1
  done < <(sed -nE '/# Subtest/d; /# SKIP/{s/^ *ok [0-9]+ - (.*) # SKIP.*/skip \1/p; d}; / - (chromium|firefox)$/d;
    s/^ *ok [0-9]+ - /0 /p; s/^ *not ok [0-9]+ - /1 /p' "$log")
  [ $done = 1 ] || note 1 "web: no tests" "$log"
}

# coverage: prints a table by file; the last line is the whole.
coverage() {
  local build=build/coverage object report
  rm -f $build/*.profraw
  export LLVM_PROFILE_FILE=$PWD/$build/%m-%p.profraw
  preset coverage -R '^(unit|golden_.*|failures|threads)$'
  llvm-profdata-14 merge -o $build/all.profdata $build/*.profraw || { note 1 "coverage: profile" /dev/null; return; }
  report=$(llvm-cov-14 report $build/zel_tests -object $build/stress -object $build/golden_levels \
    -instr-profile $build/all.profdata -show-region-summary=0 $(git ls-files 'src/*'))
  echo "$report"
  awk '/^TOTAL/ {good = $7 + 0 >= 95 && $10 + 0 >= 85} END {exit !good}' <<<"$report"
  note $? "coverage: 95 % of lines, 85 % of branches" /dev/null
}

# finish: the last line, and whether all is well.
finish() {
  echo "$passed passed, $failed failed, $skipped skipped"
  [ $failed = 0 ]
  exit
}

if [ "$mode" = --coverage ]; then
  scripts/install.sh build test coverage || exit 1
  coverage
  finish
fi

# What needs other builds, other levels of the kernels, installed packages or patience is for the longer runs.
if [ "$mode" = --quick ]; then
  scripts/install.sh build tool test || exit 1
  preset release -E '^(golden_.*|failures|threads|memory|endurance|install|abi|gegl_.*|chain_cost)$'
  finish
fi

groups=(build tool test shells python fuzz packaging windows csharp gegl)
[ "$mode" != --all ] || groups+=(platforms gimp release python)
scripts/install.sh "${groups[@]}" || exit 1

presets=(release clang asan fuzz windows-x64 windows-x86)
[ "$mode" != --all ] || presets+=(gcc-O0 gcc-O2 x86 aarch64 wasm wasm-simd)
for name in "${presets[@]}"; do
  preset "$name"
done
preset tsan -R threads
for topic in wheel types arrays examples cluster sanitizers; do
  check "python_$topic" python/test.sh $topic $([ "$mode$topic" != --allcluster ] || echo --all)
done
web
if [ "$mode" = --all ]; then
  check endurance build/release/stress endurance 1000000
  check large build/release/stress large
  check gimp tests/plugins/gimp_test.sh build/release/zel build/release "$(pkg-config --variable=pluginsdir gegl-0.4)"
  check release tests/packaging/release_test.sh .
  check bench ./bench.sh '(levels|memcpy).*/24MP/8'
  check valgrind valgrind -q --error-exitcode=1 --leak-check=full build/release/golden tests/golden/digests.txt
fi

finish
