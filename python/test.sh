#!/usr/bin/env bash
# Tests the Python package by topic. Needs the packages of scripts/install.sh python and a build of the tool.
#   python/test.sh cluster        workers, disks and stores that fail
#   python/test.sh cluster --all  the long runs too
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
topic=${1:-}
[ $# -gt 0 ] && shift
build=${ZEL_BUILD:-$here/../build/release}
export ZEL=$build/zel PYTHONDONTWRITEBYTECODE=1
python=/usr/bin/python3  # the one whose packages Debian installs

case $topic in
  cluster)
    cd "$here/tests"
    PYTHONPATH=$here/src exec $python -m pytest -p no:cacheprovider -q --show-capture=no test_cluster.py "$@"
    ;;
  *) sed -n '2,4s/^# *//p' "$0" >&2; exit 2 ;;
esac
