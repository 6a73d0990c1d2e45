"""Arrays against the command-line tool: every operation, example, layout and depth; and what goes wrong on the way."""
import gc
import inspect
import json
import pickle
import re
import subprocess
import threading
import time
import warnings

import numpy as np
import psutil
import pytest

import zel

OPERATIONS = {operation["name"]: operation for operation in zel.operations()}


def read_ppm(data):
    width, height, top = map(int, data.split(None, 4)[1:4])
    dtype = np.dtype(np.uint8 if top < 256 else ">u2")
    samples = np.frombuffer(data[-width * height * 3 * dtype.itemsize :], dtype)
    return samples.reshape(height, width, 3).astype(dtype.newbyteorder("="))


def write_ppm(array):
    head = f"P6 {array.shape[1]} {array.shape[0]} {np.iinfo(array.dtype).max}\n".encode()
    return head + array.astype(array.dtype.newbyteorder(">")).tobytes()


@pytest.fixture(scope="module")
def run(tool):
    """The tool's result for words, on an array."""

    def call(array, words):
        command = [tool, "-", "-o", "-", "--format", "ppm", *words.split()]
        return read_ppm(subprocess.run(command, input=write_ppm(array), capture_output=True, check=True).stdout)

    return call


def sample(tool, bits, size="96x64"):
    command = [tool, "sample", "-", "--format", "ppm", "--size", size, "--bits", str(bits)]
    return read_ppm(subprocess.run(command, capture_output=True, check=True).stdout)


@pytest.fixture(scope="module", params=[8, 16])
def picture(request, tool):
    return sample(tool, request.param)


def padded(array):
    """The same picture in a buffer with room behind each row, filled with something."""
    buffer = np.full((array.shape[0], array.shape[1] + 3, *array.shape[2:]), 77, array.dtype)
    buffer[:, : array.shape[1]] = array
    return buffer[:, : array.shape[1]]


def upwards(array):
    return np.ascontiguousarray(array[::-1])[::-1]


@pytest.mark.filterwarnings("error::zel.CopyWarning")
@pytest.mark.parametrize("name", OPERATIONS)
def test_every_operation_in_every_layout(name, picture, run):
    alpha = np.arange(picture[..., 0].size, dtype=picture.dtype).reshape(picture.shape[:2])
    for example in OPERATIONS[name]["examples"]:
        words = f"{name} {example}"
        expected = run(picture, words)
        before = picture.copy()
        assert (zel.apply(picture, words) == expected).all(), words
        assert (picture == before).all()
        settings = {key.replace("-", "_"): value for key, value in (part.split("=") for part in example.split())}
        function = getattr(zel, name.replace("-", "_"))
        assert (function(picture, **settings) == expected).all(), words
        for layout in (padded, upwards):
            assert (zel.apply(layout(picture), words) == expected).all()
            out = layout(np.zeros_like(picture))
            assert zel.apply(picture, words, out=out) is out and (out == expected).all()
            assert out.base is None or (out.base[:, picture.shape[1] :] == 77).all()
        place = picture.copy()
        assert zel.apply(place, words, out=place) is place and (place == expected).all()
        blue = np.ascontiguousarray(picture[..., ::-1])
        assert (zel.apply(blue, words, order="bgr")[..., ::-1] == expected).all()
        out = np.empty_like(blue)
        assert (zel.apply(blue[..., ::-1], words, out=out[..., ::-1]) == expected).all()  # no copy either
        coloured = np.dstack([picture, alpha])
        assert (zel.apply(coloured, words) == np.dstack([expected, alpha])).all()
        grey = np.ascontiguousarray(picture[..., 1])
        try:
            flat = zel.apply(grey, words)
        except zel.NeedsColour:
            assert np.ptp(zel.apply(np.dstack([grey] * 3), words).astype(int), axis=2).max() > 0
            continue
        assert (flat == zel.apply(grey[..., None], words)[..., 0]).all()
        both = zel.apply(np.dstack([grey, alpha]), words)
        assert (both[..., 0] == flat).all() and (both[..., 1] == alpha).all()


def test_functions_are_those_of_table_and_tool(tool):
    listed = subprocess.run([tool, "ops"], capture_output=True, text=True, check=True).stdout
    assert re.findall(r"^  ([a-z-]+)  ", listed, re.M) == ["auto", *OPERATIONS]  # which chooses among the others
    black = np.zeros((4, 4, 3), np.uint8)
    for name, operation in OPERATIONS.items():
        function = getattr(zel, name.replace("-", "_"))
        signature = inspect.signature(function).parameters
        told = subprocess.run([tool, "help", name], capture_output=True, text=True, check=True).stdout
        for parameter in operation["parameters"]:
            word = parameter["name"].replace("-", "_")
            default = signature[word].default
            if parameter["type"] in ("integer", "number"):
                assert default == parameter["default"]
                values = f"from {parameter['least']:g} to {parameter['most']:g}"
                assert values in told and values in inspect.getdoc(function).replace("\n", " ").replace("    ", "")
                required = {p["name"]: "1,1" for p in operation["parameters"] if p.get("required")}
                function(black, **required | {word: parameter["most"]})
                for wrong in (parameter["least"] - 1, parameter["most"] + 1):
                    with pytest.raises(zel.WrongText, match=f"{name}: {parameter['name']}={wrong:g}.* must be .*{values}"):
                        function(black, **required | {word: wrong})
            elif parameter["type"] == "choice":
                for choice in parameter["choices"]:
                    zel.Chain(f"{name} {parameter['name']}={choice}")


def test_copies_are_made_where_needed_and_said(tool):
    picture = sample(tool, 8)
    with pytest.warns(zel.CopyWarning, match="strides") as said:
        result = zel.vivid(picture[::2, ::2], strength=80)
    assert said[0].filename == __file__
    assert (result == zel.vivid(picture[::2, ::2].copy(), strength=80)).all()
    wide = np.zeros((64, 192, 3), np.uint8)
    with pytest.warns(zel.CopyWarning):
        zel.vivid(picture, out=wide[:, ::2])
    assert (wide[:, ::2] == zel.vivid(picture)).all() and not wide[:, 1::2].any()
    shared = np.vstack([picture, picture[:1]])
    with pytest.warns(zel.CopyWarning, match="shares memory"):
        zel.vivid(shared[:-1], out=shared[1:])
    assert (shared[1:] == zel.vivid(picture)).all()
    with pytest.warns(zel.CopyWarning):
        assert (zel.blur(np.broadcast_to(picture[:1], picture.shape)) == zel.blur(picture[:1].repeat(64, 0))).all()


@pytest.mark.parametrize(
    "call, error, text",
    [
        (lambda a: zel.vivid(a, style="hard"), zel.WrongText, "vivid: style=hard must be one of plain, detail, gentle"),
        (lambda a: zel.apply(a, "vivd"), zel.WrongText, "did you mean vivid"),
        (lambda a: zel.apply(a, ("vivid", {"power": 2})), zel.WrongText, "power"),
        (lambda a: zel.apply(a, 7), TypeError, "a step is"),
        (lambda a: zel.sky_tone(a, at=(500, 3)), zel.Outside, "500,3 lies outside the picture of 96 x 64"),
        (lambda a: zel.vivid(a.astype(float)), zel.BadPixels, "float64"),
        (lambda a: zel.vivid(a.astype(">u2")), zel.BadPixels, "byte order"),
        (lambda a: zel.vivid(a[:0]), zel.BadPixels, "shape"),
        (lambda a: zel.vivid(a, order="gbr"), ValueError, "one of 'rgb', 'bgr'"),
        (lambda a: zel.vivid(a, out=np.zeros((4, 4, 3), np.uint8)), zel.BadPixels, ""),
        (lambda a: zel.vivid(a, out=np.frombuffer(bytes(a.size), np.uint8).reshape(a.shape)), ValueError, "read-only"),
        (lambda a: zel.vivid(a, out=[1]), TypeError, "NumPy"),
        (lambda a: zel.apply(a[..., 0], "temperature temperature=50"), zel.NeedsColour, ""),
        (lambda a: zel.bake("blur"), zel.NoTable, "blur"),
        (lambda a: zel.Table.from_cube("LUT_3D_SIZE 2\n0 0 0\n"), zel.WrongText, ""),
    ],
)
def test_errors_speak(call, error, text, tool):
    picture = sample(tool, 8)
    before = picture.copy()
    with pytest.raises(error, match=text):
        call(picture)
    assert (picture == before).all()


def test_progress_and_cancel(tool):
    picture = sample(tool, 8, "900x600")
    shares = []
    result = zel.apply(picture, "denoise", "light-correct", "blur radius=8", progress=shares.append)
    assert shares == sorted(shares) and shares[0] == 0 and shares[-1] == 1 and len(shares) >= 15
    assert (result == zel.apply(picture, "denoise", "light-correct", "blur radius=8")).all()
    place = picture.copy()
    with pytest.raises(zel.Cancelled) as cancelled:
        zel.apply(place, "denoise", "blur", out=place, progress=lambda done: done > 0.2)
    assert cancelled.value.changed or (place == picture).all()
    with pytest.raises(KeyError, match="mine"):
        zel.denoise(picture, progress=lambda done: {}["mine"])


def test_other_threads_run_meanwhile(tool):
    picture = sample(tool, 8, "2400x1600")
    ended, ticks = threading.Event(), 0

    def work():
        zel.apply(picture, "denoise strength=60")
        ended.set()

    thread = threading.Thread(target=work)
    thread.start()
    while not ended.is_set():
        ticks += 1
        time.sleep(0.001)
    thread.join()
    print(f"{ticks} ticks during a call")
    assert ticks > 20  # with the interpreter locked there would be one or two


def test_measured_on_a_preview(tool):
    picture = sample(tool, 8, "600x400")
    chain = zel.Chain("light-correct strength=60", "tone", "vivid strength=20")
    measured = zel.measure(picture, chain)
    assert measured.exact and measured.tiles and (measured.margin, chain.margin) == (1, -1)
    whole = zel.replay(measured, picture)
    assert (whole == zel.apply(picture, chain)).all()
    strip = zel.replay(measured, picture[99:201], whole=(600, 400), at=(0, 99))  # with its margin
    assert (strip[1:-1] == whole[100:200]).all()
    assert zel.measure(picture, "tone").block(0).shape == (3, 256)
    assert zel.measure(picture, "colorful").block(0).shape == (16, 16, 16, 3)
    assert zel.measure(picture, "vivid").block(0) is None and not zel.measure(picture, "denoise").tiles


def test_tables(tool, tmp_path):
    picture = sample(tool, 8)
    curves = zel.bake("temperature temperature=-30", "contrast contrast=10")
    assert curves.array.shape == (256, 3) and curves.error.most == 0
    assert (curves.apply(picture) == zel.apply(picture, "temperature temperature=-30", "contrast contrast=10")).all()
    file = tmp_path / "look.cube"
    subprocess.run([tool, "bake", "-o", file, "temperature", "temperature=-30", "contrast", "contrast=10"], check=True)
    assert np.allclose(zel.Table.from_cube(file.read_text()).array, curves.array, atol=1e-6)
    lattice = zel.bake("tone", "hue-saturation saturation=30", photo=picture, nodes=33)
    assert lattice.array.shape == (33, 33, 33, 3) and 0 < lattice.error.most < 10
    assert "my look" in lattice.cube("my look") and "<ProcessList" in lattice.clf()
    identity = np.stack(np.meshgrid(*[np.linspace(0, 1, 16)] * 3, indexing="ij")[::-1], axis=-1)
    table = zel.Table.from_array(identity)
    for same in (table, zel.Table.from_hald(table.hald())):
        assert np.abs(same.apply(picture).astype(int) - picture).max() <= 1  # sixteen nodes are the library's own lattice
    assert table.resample(5).array.shape == (5, 5, 5, 3)


def test_chains_travel():
    chain = zel.Chain("vivid strength=20", ("sky-colorful", {"amount": 30, "at": ("48%", "40%")})) + zel.Chain("blur")
    assert chain.words.startswith("vivid strength=20 sky-colorful amount=30 at=48%,40% blur")
    for other in (pickle.loads(pickle.dumps(chain)), zel.Chain.from_recipe(chain.recipe), zel.Chain(json.loads(chain.recipe))):
        assert other == chain and len(other) == 3
    assert [step["settings"]["strength"] for step in zel.Chain("vivid").describe()] == [50]
    assert zel.Chain(("tone", {"gentle": True})) == zel.Chain("tone gentle=yes")
    assert zel.Chain(("gamma", {"gamma": np.array([1.5, 1, 2])})) == zel.Chain("gamma gamma=1.5,1,2")


def test_auto_chooses_and_says_why(tool, caplog):
    caplog.set_level("INFO", "zel")
    dark = zel.contrast(sample(tool, 8, "300x200"), brightness=-30, contrast=-40)
    chain = zel.auto(dark)
    assert len(chain) > 0 and len(caplog.messages) >= len(chain)
    assert zel.auto(np.ascontiguousarray(dark[..., ::-1]), order="bgr") == chain
    assert chain(dark).std() > dark.std()
    with pytest.raises(zel.Error):
        zel.auto(dark, 300)


def test_a_call_costs_little_and_leaks_nothing():
    dot, strided = np.zeros((1, 1, 3), np.uint8), np.zeros((6, 6, 3), np.uint8)[::2, ::2]
    rounds = []
    for _ in range(5):
        start = time.process_time()
        for _ in range(2000):
            zel.contrast(dot, contrast=10)
        rounds.append((time.process_time() - start) / 2000 * 1e6)
    print(f"a call on one pixel: {min(rounds):.1f} microseconds")
    assert min(rounds) < 15

    def many(count):
        for i in range(count):
            zel.contrast(dot, contrast=i % 100)
            if i % 10 == 0:
                with pytest.raises(zel.Error):
                    zel.apply(dot, f"contrast contrast={i + 1000}")
                zel.vivid(strided, progress=lambda done: None)
                zel.Chain("vivid").recipe, zel.bake("contrast").array, zel.measure(dot, "tone").block(0)
        gc.collect()
        return psutil.Process().memory_info().rss

    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        first = many(20_000)
        grown = many(100_000) - first
    print(f"{grown / 1e6:.1f} MB more after 100,000 calls")
    assert grown < 3e6
