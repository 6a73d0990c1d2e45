#!/usr/bin/env bash
# Tests the Python package. Needs the packages of scripts/install.sh python and a release build (asan for sanitizers).
#   python/test.sh wheel       sdist and wheel, installed into a fresh environment
#   python/test.sh types       mypy and stubtest
#   python/test.sh arrays      every operation against the tool; errors, threads, leaks
#   python/test.sh examples    with Pillow, OpenCV, scikit-image, imageio, matplotlib
#   python/test.sh cluster     workers, disks and stores that fail; --all runs the long ones too
#   python/test.sh sanitizers  arrays with address and undefined-behaviour sanitizers
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
work=$root/build/python
topic=${1:-}
[ $# -eq 0 ] || shift
export ZEL=$root/build/release/zel PYTHONDONTWRITEBYTECODE=1 PYTHONNOUSERSITE=1
unset PYTHONPATH
system=/usr/bin/python3  # the one whose packages Debian installs

build_wheel() {
  rm -rf "$work/dist" "$work/env"
  mkdir -p "$work"
  ZEL_LIBRARIES=${ZEL_LIBRARIES-$root/build/release} $system -m build --no-isolation --outdir "$work/dist" "$here"
  $system -m venv --system-site-packages "$work/env"
  "$work/env/bin/pip" install --quiet --no-index --no-deps --no-compile "$work"/dist/*.whl
}

# Outside the source tree, so that only what is installed is found.
run_tests() {
  [ -x "$work/env/bin/zel-cluster" ] || build_wheel >/dev/null
  cd /
  "$work/env/bin/python" -m pytest -p no:cacheprovider -q --show-capture=no --rootdir "$here/tests" "$@"
}

case $topic in
  wheel)
    build_wheel
    name=$(basename "$work"/dist/*.whl)
    [[ $name == zel-*-cp39-abi3-linux_*.whl ]] || { echo "FAILED: the wheel is called $name"; exit 1; }
    module=$(find "$work/env/lib" -name '_native.abi3.so')
    # One extension for every CPython, without the C++ library and with nothing of ours to be seen.
    needed=$(readelf -d "$module" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort | tr '\n' ' ')
    [[ $needed =~ ^(ld-linux[^ ]* )?libc.so.6\ (libm.so.6\ )?(libpthread.so.0\ )?$ ]] || { echo "FAILED: needs $needed"; exit 1; }
    seen=$(nm -D --defined-only "$module" | awk '{print $3}' | tr '\n' ' ')
    [[ $seen =~ ^(_?cffi_pypyinit__native\ |PyInit__native\ )+$ ]] || { echo "FAILED: shows $seen"; exit 1; }
    if nm -D --undefined-only "$module" | grep -oE '\b_Py\w+' | grep -vE '^(_Py_Dealloc|_Py_NoneStruct|_Py_TrueStruct|_Py_FalseStruct)$'; then
      echo "FAILED: uses what is not in the stable interface"; exit 1
    fi
    cd /
    "$work/env/bin/zel-cluster" --help >/dev/null
    "$work/env/bin/python" -c 'import numpy, zel; assert zel.vivid(numpy.zeros((2, 2, 3), "u1")).shape == (2, 2, 3)'
    echo "$name needs $needed"
    ;;
  types)
    [ -d "$work/env" ] || build_wheel >/dev/null
    installed=$(dirname "$(find "$work/env/lib" -name '_native.abi3.so')")
    cd "$(dirname "$installed")"
    export MYPY_CACHE_DIR=$work/mypy
    $system -m mypy --strict --config-file "$here/pyproject.toml" zel "$here/examples"
    MYPYPATH=. PYTHONPATH=. $system -m mypy.stubtest zel --mypy-config-file "$here/pyproject.toml" --allowlist "$here/tests/stubtest.txt" --ignore-unused-allowlist
    ;;
  arrays) run_tests "$here/tests/test_arrays.py" "$@" ;;
  examples) run_tests "$here/tests/test_examples.py" "$@" ;;
  cluster) run_tests "$here/tests/test_cluster.py" "$@" ;;
  sanitizers)
    rm -rf "$work/sanitized"
    mkdir -p "$work/sanitized"
    # The interpreter keeps memory until it ends; the test of leaks counts for itself.
    export ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
    LD_PRELOAD=$(gcc -print-file-name=libasan.so):$(gcc -print-file-name=libubsan.so)
    export LD_PRELOAD
    cd "$here"
    ZEL_SANITIZE=address,undefined ZEL_LIBRARIES=$root/build/asan $system setup.py -q build --build-base "$work/sanitized"
    cd /
    PYTHONPATH=$(echo "$work"/sanitized/lib*) $system -m pytest -p no:cacheprovider -q \
      --rootdir "$here/tests" "$here/tests/test_arrays.py" -k 'not costs_little' "$@"
    ;;
  *) sed -n '2,8s/^# *//p' "$0" >&2; exit 2 ;;
esac
