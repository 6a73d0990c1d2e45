#!/usr/bin/env python3
"""Prints the cycles of inner loops for 16 samples, as llvm-mca computes them, on processors that are not at hand. `bench.sh --cycles`
installs what it needs: clang, g++ and the headers of 64-bit ARM."""
import re
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
TARGETS = [(["clang++", "--target=aarch64-linux-gnu"], "aarch64", ["neoverse-n1", "cortex-a76", "apple-m1"]),
           (["g++", "-msse4.1"], "x86_64", ["icelake-server"])]
# Each loop in a function of its own, and what tells it from the plain loop behind it. Reaches are those of sigma 1 to 3.
BLUR = """
#if defined(ZEL_NEON)
#define ZEL_BLUR(name, reach, edge) ZEL_LOOP name(const uint8_t* const* rows, const BlurWeights& weights, uint8_t* out, \\
  uint8_t*, size_t count) { SumMirroredShort<reach>(rows, 0, weights, out, count); }
#else
#define ZEL_BLUR(name, reach, edge) ZEL_LOOP name(const uint8_t* const* rows, const BlurWeights& weights, uint8_t* out, \\
  uint8_t* next, size_t count) { SumColumnsShort{rows, 0, out, next, count}.Sum<reach + 1, edge, true>(weights); }
#endif
ZEL_BLUR(Blur1, 3, 1)
ZEL_BLUR(Blur2, 6, 2)
ZEL_BLUR(Blur3, 8, 2)
"""
SOURCE = """#define ZEL_ISA base
#include "simd/kernels.cpp"
#define ZEL_LOOP extern "C" __attribute__((used, noinline, flatten)) void
namespace zel { namespace base {""" + BLUR + """
ZEL_LOOP Sharpen(const uint8_t* const* rows, size_t step, const int32_t* weights, uint8_t* out, size_t count) {
  Convolve3x3(rows, step, weights, out, count);
}
ZEL_LOOP Push(const uint8_t* in, const uint8_t* blurred, uint8_t* out, size_t count, int32_t gain) {
  PushBytes(in, blurred, out, count, gain, 0);
}
}}"""
LOOPS = {"Blur1": r"umlal|pmaddubsw", "Blur2": r"umlal|pmaddubsw", "Blur3": r"umlal|pmaddubsw",
         "Sharpen": r"smlal|pmaddwd", "Push": r"uqsub|psubusb"}
STORE = re.compile(r"\s(?:str\s+q|mov[au]p[sd]\s+%xmm\d+, [^(]*\(|movdq[au]\s+%xmm\d+, [^(]*\()(?!%rsp)")
BRANCH = re.compile(r"\s+(?:b\.\w+|b|cbn?z|j\w+)\s.*?(\.L\w+)$")


def innermost(lines, pattern):
    """The body of the first loop that has the pattern and no other loop inside."""
    labels = {}
    for i, line in enumerate(lines):
        if label := re.match(r"(\.L\w+):", line):
            labels[label[1]] = i
        branch = BRANCH.match(line)
        start = labels.get(branch[1]) if branch else None
        if start is None:
            continue
        body = lines[start:i + 1]
        nested = any((b := BRANCH.match(inner)) and labels.get(b[1], -1) > start for inner in body[:-1])
        if not nested and any(re.search(pattern, inner) for inner in body):
            return body
    return []


for compiler, architecture, processors in TARGETS:
    made = subprocess.run([*compiler, "-std=c++17", "-O3", "-ffp-contract=off", "-fno-exceptions", "-fno-rtti", "-fPIC",
                           f"-I{ROOT}/src", "-x", "c++", "-", "-S", "-o", "-"], input=SOURCE, text=True,
                          capture_output=True, check=True).stdout
    for name, pattern in LOOPS.items():
        function = re.search(rf"^{name}:.*?^\s+\.size\s+{name}\b", made, re.S | re.M)[0]
        body = innermost([re.split(r"\s*(?://|#(?=\s))", line)[0].rstrip() for line in function.split("\n")], pattern)
        vectors = sum(bool(STORE.search(line)) for line in body)
        code = "\n".join(line for line in body if not re.match(r"\s+\.", line))
        for processor in processors:
            mca = ["llvm-mca-19", f"-mtriple={architecture}-linux-gnu", f"-mcpu={processor}", "-iterations=200"]
            report = subprocess.run(mca, input=code, text=True, capture_output=True, check=True).stdout
            cycles = int(re.search(r"Total Cycles:\s+(\d+)", report)[1]) / 200
            print(f"{name:10} {processor:16} {cycles / max(vectors, 1):8.1f}")
