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
"$zel" sample "$work/s.png" --size 768x512
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
size=$((768 * 512 * 3))
cmp <(tail -c $size "$work/ours.ppm") <(tail -c $size "$work/theirs.ppm") || fail "GIMP's pixels differ"
cmp -s <(tail -c $size "$work/ours.ppm") <("$zel" "$work/s.png" -o - --format ppm contrast | tail -c $size) &&
  fail "the operations did nothing"
echo "three operations in GIMP: ok"

[ -n "$screenshot" ] || exit 0
# The dialog of vivid, opened by keys as a person would, for documentation and for looking at.
cat >"$work/gui.sh" <<'GUI'
photo=$1 log=$2 picture=$3
waitfor() {
  for i in $(seq 120); do
    window=$(xdotool search --name "$1" 2>/dev/null | tail -1)
    [ -z "$window" ] || break
    sleep 1
  done
  sleep 8
}
openbox 2>/dev/null &
sleep 2
gimp-2.10 --new-instance --no-splash "$photo" >"$log" 2>&1 &
gimp=$!
waitfor "s .imported.*GIMP"
sleep 10
xdotool windowactivate "$window" windowsize "$window" 1280 820 windowmove "$window" 0 0
sleep 4
xdotool mousemove 640 400 key slash
sleep 6
xdotool type --delay 200 "gegl operation"
sleep 6
xdotool key Return
waitfor "GEGL Operation"
xdotool windowmove "$window" 840 160
sleep 3
eval "$(xdotool getwindowgeometry --shell "$window")"
xdotool mousemove $((X + 180)) $((Y + 70)) click 1  # the list of operations; the last one is ours
sleep 4
xdotool key End
sleep 4
import -window root "$picture"
kill -9 $gimp
GUI
xvfb-run -a -s "-screen 0 1280x820x24" bash "$work/gui.sh" "$work/s.png" "$work/gui.log" "$screenshot" >/dev/null 2>&1 || true
[ -s "$screenshot" ] || fail "no screenshot"
