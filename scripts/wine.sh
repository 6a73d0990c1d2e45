#!/usr/bin/env bash
# Runs a Windows program in a Wine of our own, without messages, windows or downloads.
export WINEPREFIX="$(cd "$(dirname "$0")/.." && pwd)/build/wine" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
mkdir -p "$WINEPREFIX"
PATH=$PATH:/usr/lib/wine
exec wine64 "$@"
