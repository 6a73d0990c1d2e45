#!/usr/bin/env python3
"""Reads the benchmark's JSON and prints medians of processor time against what a host would link instead; writes them
as CSV and as a picture.
  report.py RESULTS.json NARROW.json OUT_FOLDER    the comparison; NARROW.json, if there, has peers
                                                   that are held to registers of 128 bits
  report.py --two OLD.json... NEW.json...             what changed between two builds
  report.py --thumbnails RESULTS.json              cost of 256 x 256 pixels beside that of 24 megapixels"""
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
    ("hue and saturation, HLS", ["zel/hue-saturation/24MP/8"], ["peer/opencv/hls-change/24MP/8"], "least", 2.5),
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
    ("lut-three, libvips", ["zel/gamma/24MP/8"], ["peer/libvips/lut-three/24MP/8"], "least", 1.0),
    *[(f"{name}, {library}", [f"zel/{name}/24MP/8"], [f"peer/{library}/{name}/24MP/8"], "least", 1.0)
      for library in ("libvips", "gegl") for name in ("blur-1", "blur-3", "blur-10", "sharpen", "unsharp")
      if (library, name) != ("gegl", "sharpen")],
]

# The ratios that we hold ourselves to where registers have 128 bits.
NARROW_BARS = {"blur, sigma 1": 1.4, "blur, sigma 3": 1.4, "blur, sigma 10": 1.4, "blur, sigma 1, 16 bits": 2.0,
               "blur, sigma 3, 16 bits": 2.0, "blur, sigma 10, 16 bits": 2.0, "sharpen": 2.0,
               "unsharp mask, radius 2": 1.5, "hue and saturation": 6.0, "hue and saturation, HLS": 2.0,
               "region hue mask": 1.0, "hue-weight mask": 1.0}


def read_medians(*paths):
    """Programs of others are timed by the clock that their benchmark has set."""
    times = {}
    for path in paths:
        for run in json.loads(Path(path).read_text())["benchmarks"]:
            if run.get("run_type") == "aggregate" or run.get("error_occurred"):
                continue
            name = run["run_name"]
            manual = "/manual_time" in name
            name = name.split("/iterations:")[0].removesuffix("/manual_time").removesuffix("/real_time")
            name = name.removesuffix("/process_time")
            times.setdefault(name, []).append(run["real_time" if manual else "cpu_time"])
    return {name: statistics.median(values) for name, values in times.items()}


LEVELS = ["avx512", "avx2", "sse41", "base"]  # best first


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
            remark = "missing: " + peers[0]
        else:
            remark = "" if (ratio >= bar if kind == "least" else ratio <= bar) else "below the bar"
        yield title, peers[0], own, other, kind, bar, ratio, narrow, remark


def draw(rows, path):
    bars = [(title, ratio / bar if kind == "least" else bar / ratio) for title, _, _, _, kind, bar, ratio, _, _ in rows
            if ratio]
    if not bars:
        return
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


def two_builds(old, new):
    """Both builds ran in turns, so that a busy minute hits both alike."""
    before, after = read_medians(*old), read_medians(*new)
    ratios = sorted((after[name] / before[name], name) for name in before if after.get(name))
    for ratio, name in ratios:
        remark = "faster" if ratio < 0.95 else "slower" if ratio > 1.05 else ""
        print(f"{name:48} {before[name]:10.3f} {after[name]:10.3f} {ratio:7.3f}  {remark}")


def thumbnails(medians):
    """What a call costs beside its pixels, and how much dearer a pixel of a small picture is otherwise."""
    print(f"{'operation':24} {'level':8} {'24 MP, ns a pixel':>18} {'256 x 256':>10} {'times':>6}")
    for name in sorted(medians):
        parts = name.split("/")
        if parts[0] != "zel" or parts[2] != "256" or parts[3] != "8":
            continue
        large = medians.get("/".join([parts[0], parts[1], LARGE, *parts[3:]]))
        if large and not parts[1].endswith("-lut"):
            a, b = large / 24, medians[name] / 0.065536
            print(f"{parts[1]:24} {parts[4]:8} {a:18.2f} {b:10.2f} {b / a:6.2f}")


def narrow(medians):
    """The kernels for registers of 128 bits against peers held to the same instructions."""
    print("\nWith registers of 128 bits on either side:")
    for title, ours, peers, kind, _ in ROWS:
        if title in NARROW_BARS:
            own, other, ratio = quotient(medians, ours, peers, kind, ["sse41"])
            if ratio:
                remark = "ok" if ratio >= NARROW_BARS[title] else "below the bar"
                print(f"{title:42} {own:9.2f} {other:9.2f} {ratio:7.2f} at least {NARROW_BARS[title]:g}  {remark}")


def limits(medians):
    """How near each operation comes to the speed of copying its pixels."""
    copy = medians.get("step/memcpy/24MP/8")
    if not copy:
        return
    print("\nShare of the speed of copying the picture, 24 megapixels of 8 bits:")
    for name in sorted(medians):
        parts = name.split("/")
        if parts[0] == "zel" and parts[2:4] == [LARGE, "8"] and parts[4] in LEVELS[:1] and not parts[1].endswith("-lut"):
            print(f"{parts[1]:42} {medians[name]:9.2f} {copy / medians[name]:7.2f}")


def main():
    if sys.argv[1] == "--two":
        half = (len(sys.argv) - 2) // 2
        return two_builds(sys.argv[2:2 + half], sys.argv[2 + half:])
    if sys.argv[1] == "--thumbnails":
        return thumbnails(read_medians(*sys.argv[2:]))
    medians = read_medians(sys.argv[1])
    folder = Path(sys.argv[3])
    folder.mkdir(parents=True, exist_ok=True)
    rows = [row for row in compare(medians) if row[2] is not None]  # the others were not asked for
    print(f"{'operation':42} {'ours ms':>9} {'other ms':>9} {'ratio':>7} {'AVX2':>7} {'wanted':>8}")
    for title, peer, own, other, kind, bar, ratio, avx2, remark in rows:
        numbers = " ".join(f"{v:9.2f}" if v is not None else f"{'-':>9}" for v in (own, other))
        wanted = ("at least " if kind == "least" else "at most ") + f"{bar:g}"
        ratios = " ".join(f"{v:7.2f}" if v is not None else f"{'-':>7}" for v in (ratio, avx2))
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
    if Path(sys.argv[2]).exists():
        narrow(read_medians(sys.argv[2]))
    limits(medians)


main()
