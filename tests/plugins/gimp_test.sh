#!/usr/bin/env bash
# Three operations on a layer by a script of GIMP, beside the tool: the same pixels. With a display, the dialog too.
# Usage: gimp_test.sh ZEL BUILD_DIR GEGL_HOST_DIR [SCREENSHOT]
set -euo pipefail
zel=$1 build=$2 host=$3 screenshot=${4:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; cat "$work"/*.log 2>/dev/null | tail -30; exit 1; }

export GEGL_PATH=$build/gegl:$host GIMP2_DIRECTORY=$work/profile HOME=$work XDG_CONFIG_HOME=$work
mkdir "$GIMP2_DIRECTORY"
echo "(plug-in-path \"\${gimp_plug_in_dir}/plug-ins:$build/gimp\")" >"$GIMP2_DIRECTORY/gimprc"
"$zel" sample "$work/s.png" --size 480x320
chain="light-correct strength=60 sharpen amount=30 vivid strength=20"
"$zel" "$work/s.png" -o "$work/ours.ppm" $chain

gimp_chain=$(sed -E 's/(light-correct|sharpen|vivid)/zel:\1/g' <<<"$chain")
gimp-console-2.10 --no-interface --batch-interpreter plug-in-script-fu-eval -b "
  (let* ((image (car (gimp-file-load RUN-NONINTERACTIVE \"$work/s.png\" \"s.png\")))
         (layer (car (gimp-image-get-active-drawable image))))
    (plug-in-zel RUN-NONINTERACTIVE image layer \"$gimp_chain\")
    (file-ppm-save RUN-NONINTERACTIVE image layer \"$work/theirs.ppm\" \"theirs.ppm\" 1))" \
  -b '(gimp-quit 0)' >"$work/gimp.log" 2>&1 </dev/null || fail "gimp"
[ -s "$work/theirs.ppm" ] || fail "GIMP saved nothing"
# Headers differ by a comment; the pixels are the last bytes of both.
size=$((480 * 320 * 3))
cmp <(tail -c $size "$work/ours.ppm") <(tail -c $size "$work/theirs.ppm") || fail "GIMP's pixels differ"
cmp -s <(tail -c $size "$work/ours.ppm") <("$zel" "$work/s.png" -o - --format ppm contrast | tail -c $size) &&
  fail "the operations did nothing"
echo "three operations in GIMP: ok"

[ -n "$screenshot" ] || exit 0
# The dialog itself, opened by keys as a person would, for documentation and for looking at.
xvfb-run -a -s "-screen 0 1400x900x24" bash -c '
  gimp-2.10 --no-splash "$1" >"$2/gui.log" 2>&1 &
  for i in $(seq 60); do
    window=$(xdotool search --name "GNU Image Manipulation Program" 2>/dev/null | tail -1)
    [ -z "$window" ] || break
    sleep 1
  done
  sleep 10
  xdotool windowsize "$window" 1400 900 windowmove "$window" 0 0
  sleep 2
  xdotool mousemove 700 450 key slash
  sleep 3
  xdotool type --delay 60 "gegl operation"
  sleep 3
  xdotool key Return
  sleep 5
  import -window root "$3"
  kill %1' _ "$work/s.png" "$work" "$screenshot" || fail "screenshot"
