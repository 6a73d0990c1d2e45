#!/usr/bin/env python3
"""Reads the benchmark's JSON, prints medians and ratios against what a host would link instead, writes them as CSV and
as a picture. Usage: report.py RESULTS.json OUT_FOLDER"""
import csv
import json
import statistics
import subprocess
import sys
from pathlib import Path

LARGE = "24MP"

# What is compared: title, our benchmark, the peer's, and the ratio we hold ourselves to. Times of several benchmarks are
# added where a list is given. "least": the peer takes at least so many times our time. "most": we take at most so many
# times the other's time.
ROWS = [
    ("table, three curves", ["zel/gamma/24MP/8"], ["peer/opencv/lut-three/24MP/8"], "least", 3.5),
    ("table, three equal curves", ["zel/gamma-equal/24MP/8"], ["step/memcpy/24MP/8"], "least", 0.45),
    *[(f"blur, sigma {s}", [f"zel/blur-{s}/24MP/8"], [f"peer/opencv/blur-{s}/24MP/8"], "least", 1.5)
      for s in (1, 3, 10)],
    *[(f"blur, sigma {s}, 16 bits", [f"zel/blur-{s}/24MP/16"], [f"peer/opencv/blur-{s}/24MP/16"], "least", 3.0)
      for s in (1, 3, 10)],
    ("sharpen", ["zel/sharpen/24MP/8"], ["peer/opencv/sharpen/24MP/8"], "least", 2.5),
    ("unsharp mask, radius 2", ["zel/unsharp/24MP/8"], ["peer/opencv/unsharp/24MP/8"], "least", 2.5),
    ("hue and saturation", ["zel/hue-saturation/24MP/8"], ["peer/opencolorio/lattice/24MP/8"], "least", 12.0),
    ("Colorful, table applied", ["zel/colorful-apply/24MP/8"], ["peer/opencolorio/lattice/24MP/8"], "least", 12.0),
    ("hue and saturation", ["zel/hue-saturation/24MP/8"], ["peer/opencv/hls-change/24MP/8"], "least", 2.5),
    ("noise reduction, strength 50", ["zel/denoise/24MP/8"], ["peer/ffmpeg/denoise/24MP/8"], "least", 10.0),
    ("mask blend", ["step/mask-blend/24MP/8"], ["step/memcpy/24MP/8"] * 3, "least", 0.4),
    ("region hue mask", ["step/region-hue-mask/24MP/8"], ["peer/opencv/bgr-to-hsv/24MP/8"], "least", 1.0),
    ("hue-weight mask", ["step/hue-weight-mask/24MP/8"], ["peer/opencv/bgr-to-hsv/24MP/8"], "least", 1.0),
    *[(f"{tool}", [f"zel/{tool}/24MP/8"], [f"step/{tool}/sum/24MP/8"], "most", 1.1)
      for tool in ("skin-clear", "skin-tone", "skin-flash", "foliage-colorful", "sky-colorful", "skin-colorful",
                   "foliage-tone", "sky-tone")],
    *[(f"{lut}, 24 against 1 megapixel", [f"zel/{lut}/24MP/8"], [f"zel/{lut}/1MP/8"], "most", 1.5)
      for lut in ("tone-lut", "tone-lut-style-1", "tone-lut-style-6", "smart-contrast-lut", "color-cast-lut",
                  "colorful-lut")],
]


def read_medians(path):
    times = {}
    for run in json.loads(Path(path).read_text())["benchmarks"]:
        if run.get("run_type") == "aggregate" or run.get("error_occurred"):
            continue
        name = run["run_name"].removesuffix("/real_time").removesuffix("/iterations:1/manual_time")
        times.setdefault(name, []).append(run["real_time"])
    return {name: statistics.median(values) for name, values in times.items()}


LEVELS = ["avx512", "avx2", "base"]  # best first


def total(medians, names, levels):
    """Milliseconds of all names together; our own operations at the first of the levels that was run."""
    result = 0.0
    for name in names:
        candidates = [f"{name}/{level}" for level in levels] + [name]
        value = next((medians[n] for n in candidates if n in medians), None)
        if value is None:
            return None
        result += value
    return result


def quotient(medians, ours, peers, kind, levels):
    own, other = total(medians, ours, levels), total(medians, peers, levels)
    if own is None or other is None:
        return own, other, None
    return own, other, other / own if kind == "least" else own / other


def compare(medians):
    for title, ours, peers, kind, bar in ROWS:
        own, other, ratio = quotient(medians, ours, peers, kind, LEVELS)
        # What a processor without AVX-512 reaches. The steps of tools were run at the best level only.
        steps = any("/sum/" in name for name in peers)
        narrow = None if steps or f"{ours[0]}/avx2" not in medians else quotient(medians, ours, peers, kind, ["avx2"])[2]
        if ratio is None:
            remark = "missing: " + (ours if own is None else peers)[0]
        else:
            remark = "" if (ratio >= bar if kind == "least" else ratio <= bar) else "below the bar"
        yield title, peers[0], own, other, kind, bar, ratio, narrow, remark


def draw(rows, path):
    bars = [(title, ratio / bar if kind == "least" else bar / ratio) for title, _, _, _, kind, bar, ratio, _, _ in rows
            if ratio]
    data = "\n".join(f'"{title}" {value:.3f}' for title, value in bars)
    script = f"""set terminal pngcairo size 1100,{80 + 26 * len(bars)} font "sans,10"
set output "{path}"
$data << EOD
{data}
EOD
set title "Ratio reached, in parts of the ratio wanted (1 = the bar)"
set style fill solid 0.8 noborder
set boxwidth 0.7
set yrange [{len(bars) - 0.4}:-0.6]
set xrange [0:*]
set arrow from 1, graph 0 to 1, graph 1 nohead lc rgb "#aa3322" lw 2 front
set grid xtics
plot $data using (0.5*$2):0:(0.5*$2):(0.35):ytic(1) with boxxyerror lc rgb "#336699" notitle
"""
    try:
        subprocess.run(["gnuplot"], input=script, text=True, check=True)
    except (OSError, subprocess.CalledProcessError) as error:
        print(f"no picture: {error}", file=sys.stderr)


def main():
    medians = read_medians(sys.argv[1])
    folder = Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    rows = list(compare(medians))
    print(f"{'operation':42} {'ours ms':>9} {'other ms':>9} {'ratio':>7} {'AVX2':>7} {'wanted':>8}")
    for title, peer, own, other, kind, bar, ratio, narrow, remark in rows:
        numbers = " ".join(f"{v:9.2f}" if v is not None else f"{'-':>9}" for v in (own, other))
        wanted = ("at least " if kind == "least" else "at most ") + f"{bar:g}"
        ratios = " ".join(f"{v:7.2f}" if v is not None else f"{'-':>7}" for v in (ratio, narrow))
        print(f"{title:42} {numbers} {ratios} {wanted:>13}  {remark or 'ok':14} {peer}")
    with open(folder / "ratios.csv", "w", newline="") as file:
        writer = csv.writer(file)
        writer.writerow(["operation", "against", "ours_ms", "other_ms", "kind", "wanted", "ratio", "ratio_avx2", "remark"])
        writer.writerows(rows)
    with open(folder / "medians.csv", "w", newline="") as file:
        writer = csv.writer(file)
        writer.writerow(["benchmark", "median_ms"])
        writer.writerows(sorted(medians.items()))
    draw(rows, folder / "ratios.png")


main()
