"""What a worker does: photographs in, the tool, results out."""
from __future__ import annotations

import functools
import hashlib
import json
import os
import select
import shutil
import signal
import subprocess
import tarfile
import tempfile
import time
from collections.abc import Callable, Iterator
from dataclasses import dataclass, field
from typing import Any

from .ledger import Record, is_photograph, is_shard, output_of
from .places import STATE, Entry, Exists, Patience, Place, digest, place

Item = tuple[Entry, str, bool]  # input, name of its output, whether the output may be replaced


class ToolError(RuntimeError):
    """The tool is missing, is another version, or does not take the recipe."""


@dataclass(frozen=True)
class Job:
    """What all chunks of a run have in common. Travels to the workers."""

    source: str
    target: str
    recipe: str  # JSON
    version: str = ""
    arguments: tuple[str, ...] = ()  # options of the tool that say how results are stored
    suffix: str = ""  # of results; empty: that of the photograph
    tool: str = "zel"
    overwrite: bool = False
    timeout: float = 600.0  # seconds for one photograph
    patience: float = 600.0  # seconds to wait for a full disk or a failing store, for a chunk
    run: str = ""
    source_options: dict[str, Any] = field(default_factory=dict)
    target_options: dict[str, Any] = field(default_factory=dict)

    @property
    def recipe_digest(self) -> str:
        return hashlib.sha256(json.dumps(json.loads(self.recipe), sort_keys=True).encode()).hexdigest()

    @property
    def work(self) -> str:
        return f"{self.recipe_digest} {self.version} {' '.join(self.arguments)}"


@dataclass
class Report:
    """What became of a chunk."""

    done: int = 0
    bytes: int = 0
    seconds: float = 0.0
    failed: list[tuple[str, str]] = field(default_factory=list)  # input, reason
    lines: list[str] = field(default_factory=list)  # of the manifest


@functools.lru_cache(maxsize=8)
def _open(url: str, options: str) -> Place:
    return place(url, json.loads(options))


def open_place(url: str, options: dict[str, Any]) -> Place:
    """The place, opened once in a process."""
    return _open(url, json.dumps(options, sort_keys=True))


@functools.lru_cache(maxsize=8)
def tool_version(tool: str) -> str:
    """What the tool says of itself, as in 2.1.0.2."""
    try:
        answer = subprocess.run([tool, "--version"], capture_output=True, text=True, timeout=60, check=True).stdout
    except (OSError, subprocess.SubprocessError) as error:
        raise ToolError(f"the tool {tool} does not run: {error}") from error
    return answer.rpartition("version ")[2].strip().replace(", ", ".")


@functools.lru_cache(maxsize=1)
def _guard() -> list[str]:
    # A killed worker must not leave its tool running.
    return ["setpriv", "--pdeathsig", "KILL"] if shutil.which("setpriv") else []


class _Tool:
    """One process of the tool on some photographs of a scratch folder, read line by line."""

    def __init__(self, job: Job, folder: str, names: list[str]) -> None:
        self._errors = tempfile.TemporaryFile()
        self.expired = False
        command = [*_guard(), job.tool, "--json", "-j", "1", *job.arguments, "--recipe", "recipe.json"]
        self._timeout = job.timeout
        self._process = subprocess.Popen(
            [*command, "-o", "out/{stem}.{ext}", *(f"in/{name}" for name in names)],
            cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=self._errors,
        )  # fmt: skip

    def answers(self) -> Iterator[tuple[str, str]]:
        """Each photograph when it is finished, and its error. Ends with the process, or when one takes too long."""
        assert self._process.stdout is not None
        pipe, rest = self._process.stdout.fileno(), b""
        while select.select([pipe], [], [], self._timeout)[0]:
            if not (block := os.read(pipe, 1 << 16)):
                return
            *lines, rest = (rest + block).split(b"\n")
            for line in lines:
                said = json.loads(line)
                yield os.path.basename(said["input"]), said.get("error", "")
        self.expired = True
        self._process.kill()

    def end(self) -> int:
        """Waits for the process; its exit code, negative for a signal."""
        code = self._process.wait()
        if self._process.stdout is not None:
            self._process.stdout.close()
        return code

    def stop(self) -> None:
        self._process.kill()
        self.end()

    def complaint(self) -> str:
        self._errors.seek(0)
        lines = self._errors.read().decode(errors="replace").strip().splitlines()
        return lines[-1].removeprefix("zel: ") if lines else "no message"


def enhance(job: Job, folder: str, names: list[str], patience: Patience, finished: Callable[[], None]) -> dict[str, str]:
    """Runs the tool on in/NAME of the scratch folder, results in out/. Returns every name's error, empty when it is done.

    A photograph at which the tool dies or hangs twice is named as such; the tool goes on behind it.
    """

    def write_recipe() -> None:
        with open(os.path.join(folder, "recipe.json"), "w") as file:
            file.write(job.recipe)

    patience.repeat(write_recipe)
    result: dict[str, str] = {}
    deaths: dict[str, int] = {}
    while left := [name for name in names if name not in result]:
        tool = _Tool(job, folder, left)
        crowded = ""
        for name, error in tool.answers():
            if error.startswith("out/") and "cannot be written" in error:
                # The disk, not the photograph: what is left waits, instead of computing for nothing.
                crowded = error
                tool.stop()
                break
            result[name] = error
            finished()
        code = tool.end()
        if crowded:
            if not patience.wait():
                raise OSError(crowded.split(" ", 1)[1])
            continue
        if code == 2 or (code >= 0 and len(result) < len(names)):
            raise ToolError(tool.complaint())
        if code < 0 and (left := [name for name in names if name not in result]):
            suspect = left[0]
            deaths[suspect] = deaths.get(suspect, 0) + 1
            if deaths[suspect] == 2:
                by = f"took longer than {job.timeout:g} seconds" if tool.expired else f"killed the tool ({signal.Signals(-code).name})"
                result[suspect] = by
                finished()
    return result


def _scratch_name(index: int, key: str) -> str:
    return f"{index:06d}{os.path.splitext(key)[1]}"


class _Chunk:
    """One call of run_chunk."""

    def __init__(self, job: Job, number: int, folder: str, beat: Callable[[int], None], patience: Patience) -> None:
        self.job, self.folder, self._beat = job, folder, beat
        self.source = open_place(job.source, job.source_options)
        self.target = open_place(job.target, job.target_options)
        self.patience = patience
        self.report = Report()
        self._finished = 0
        self._part = f"{STATE}/{job.run}/{number:08d}.jsonl"
        for part in ("in", "out"):
            patience.repeat(functools.partial(os.makedirs, os.path.join(folder, part), exist_ok=True))

    def _tick(self) -> None:
        self._finished += 1
        self._beat(self._finished)

    def _fail(self, key: str, reason: str) -> None:
        self.report.failed.append((key, reason))

    def _fetch(self, entry: Entry, path: str) -> bool:
        def action() -> None:
            if os.path.lexists(path):
                os.unlink(path)
            self.source.fetch(entry.key, path)

        try:
            self.patience.repeat(action)
        except Exception as error:
            self._fail(entry.key, f"cannot be fetched: {error}")
            return False
        return True

    def _publish(self, entry: Entry, path: str, output: str, ours: bool, extra: Record) -> None:
        length, sha = os.path.getsize(path), digest(path)
        try:
            self.patience.repeat(lambda: self.target.publish(path, output, ours or self.job.overwrite))
        except Exists:
            self._fail(entry.key, f"{output} exists already with other content; replace it with --overwrite")
            return
        except Exception as error:
            self._fail(entry.key, f"{output} cannot be stored: {error}")
            return
        record = {
            "output": output,
            "input": entry.key,
            "input_stamp": entry.stamp,
            "recipe": self.job.recipe_digest,
            "version": self.job.version,
            "options": " ".join(self.job.arguments),
            "length": length,
            "sha256": sha,
        }
        self.report.lines.append(json.dumps(record | extra))
        self.report.done += 1
        self.report.bytes += entry.size

    def photographs(self, items: list[Item]) -> None:
        names = {}
        for index, (entry, output, ours) in enumerate(items):
            name = _scratch_name(index, entry.key)
            if self._fetch(entry, os.path.join(self.folder, "in", name)):
                names[name] = (entry, output, ours)
        errors = enhance(self.job, self.folder, list(names), self.patience, self._tick) if names else {}
        for name, (entry, output, ours) in names.items():
            if errors[name]:
                self._fail(entry.key, errors[name])
                continue
            path = os.path.join(self.folder, "out", output_of(name, self.job.suffix))
            self._publish(entry, path, output, ours, {})

    def shard(self, item: Item) -> None:
        """A tar archive of photographs becomes one of results in the same order; other members go along unchanged."""
        entry, output, ours = item
        path = os.path.join(self.folder, "shard.tar")
        if not self._fetch(entry, path):
            return
        names: dict[str, str] = {}
        try:
            with tarfile.open(path) as archive:
                for index, member in enumerate(archive):
                    if not member.isreg() or not is_photograph(member.name):
                        continue
                    name = _scratch_name(index, member.name)
                    content = archive.extractfile(member)
                    assert content is not None
                    with open(os.path.join(self.folder, "in", name), "wb") as file:
                        shutil.copyfileobj(content, file)
                    names[name] = member.name
        except tarfile.TarError as error:
            self._fail(entry.key, f"is no tar archive: {error}")
            return
        errors = enhance(self.job, self.folder, list(names), self.patience, self._tick) if names else {}
        result = os.path.join(self.folder, "result.tar")
        with tarfile.open(path) as archive, tarfile.open(result, "w", format=tarfile.PAX_FORMAT) as written:
            for index, member in enumerate(archive):
                name = _scratch_name(index, member.name)
                if name not in names:
                    written.addfile(member, archive.extractfile(member) if member.isreg() else None)
                elif not errors[name]:
                    stored = os.path.join(self.folder, "out", output_of(name, self.job.suffix))
                    member.name = output_of(member.name, self.job.suffix)
                    member.size = os.path.getsize(stored)
                    member.pax_headers = {}
                    with open(stored, "rb") as file:
                        written.addfile(member, file)
        failed = [[names[name], reason] for name, reason in errors.items() if reason]
        for member_name, reason in failed:
            self._fail(f"{entry.key}/{member_name}", reason)
        self._publish(entry, result, output, ours, {"photographs": len(names) - len(failed), "failed": failed})

    def keep_manifest(self) -> None:
        """Stores the lines, so that results are known even when nobody hears the report."""
        path = os.path.join(self.folder, "part")

        def keep() -> None:
            with open(path, "w") as file:
                file.writelines(line + "\n" for line in self.report.lines)
                file.flush()
                os.fsync(file.fileno())
            self.target.publish(path, self._part, True)

        if self.report.lines:
            self.patience.repeat(keep)


def run_chunk(job: Job, number: int, items: list[Item], beat: Callable[[int], None] = lambda _: None) -> Report:
    """Enhances a chunk: fetches, runs the tool, publishes, keeps the manifest. Results that appeared before a worker was
    lost are made again and found equal."""
    start = time.monotonic()
    if (version := tool_version(job.tool)) != job.version:
        raise ToolError(f"this worker has version {version} of the tool, the run was started with {job.version}")
    place_for_scratch = open_place(job.target, job.target_options).scratch()
    patience = Patience(job.patience)
    if place_for_scratch is not None:
        place_for_scratch = os.path.join(place_for_scratch, job.run)
        patience.repeat(functools.partial(os.makedirs, place_for_scratch, exist_ok=True))
    # The scratch folder may lie on a disk that is full for a while.
    folder = patience.repeat(functools.partial(tempfile.mkdtemp, prefix="chunk-", dir=place_for_scratch))
    try:
        chunk = _Chunk(job, number, folder, beat, patience)
        if is_shard(items[0][0].key):
            chunk.shard(items[0])
        else:
            chunk.photographs(items)
        chunk.keep_manifest()
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    chunk.report.seconds = time.monotonic() - start
    return chunk.report
