"""The client: lists, plans, keeps a bounded number of chunks with the scheduler, gathers the manifest."""
from __future__ import annotations

import contextlib
import functools
import importlib.util
import itertools
import json
import os
import subprocess
import sys
import tempfile
import threading
import time
import uuid
from collections.abc import Callable, Iterator
from dataclasses import dataclass, field, replace
from typing import IO, Any

import distributed

from .ledger import Ledger, is_shard
from .places import MANIFEST, Folder, Patience, Place
from .work import Item, Job, Report, ToolError, enhance, open_place, run_chunk, tool_version

TOPIC = "zel-cluster"
CHUNK = 100
ALLOWED_LOSSES = 3  # of workers at one chunk, before it is taken apart

Work = Callable[[Job, int, list[Item]], Report]


class UsageError(ValueError):
    """The recipe, the places or an option cannot serve; nothing was started."""


@dataclass
class Plan:
    """What a run would do."""

    files: int  # photographs and shards in the place
    bytes: int
    to_do: int  # of them without a result
    to_do_bytes: int
    seconds: float  # for one worker, from a few photographs of the place
    measured: int  # how many


@dataclass
class Summary:
    """What a run did."""

    done: int = 0
    skipped: int = 0  # results that were there
    bytes: int = 0
    seconds: float = 0.0
    failed: list[tuple[str, str]] = field(default_factory=list)  # input, reason


def check(job: Job) -> Job:
    """Completes a job: the tool's version, and whether the tool takes the recipe."""
    try:
        json.loads(job.recipe)
    except ValueError as error:
        raise UsageError(f"the recipe is no JSON: {error}") from error
    # Workers stand in other folders.
    source_url, target_url = (url if "://" in url else os.path.abspath(url) for url in (job.source, job.target))
    run_name = job.run or uuid.uuid4().hex[:12]
    job = replace(job, source=source_url, target=target_url, version=tool_version(job.tool), run=run_name)
    with tempfile.TemporaryDirectory(prefix="zel-cluster-") as folder:
        recipe = os.path.join(folder, "recipe.json")
        with open(recipe, "w") as file:
            file.write(job.recipe)
        picture = b"P6 16 16 255\n" + bytes(16 * 16 * 3)
        command = [job.tool, *job.arguments, "--recipe", recipe, "-", "-o", "-"]
        if not job.suffix:
            command += ["--format", "ppm"]
        tried = subprocess.run(command, input=picture, capture_output=True, timeout=job.timeout)
    if tried.returncode == 2:
        raise UsageError(tried.stderr.decode(errors="replace").strip().removeprefix("zel: ").replace(recipe + ": ", ""))
    source, target = open_place(job.source, job.source_options), open_place(job.target, job.target_options)
    inside = f"{target.root}/".startswith(f"{source.root}/") or f"{source.root}/".startswith(f"{target.root}/")
    if type(source) is type(target) and inside and job.source_options == job.target_options:
        raise UsageError(f"{job.source} and {job.target} lie inside each other")
    return job


@contextlib.contextmanager
def _listed(job: Job, summary: Summary) -> Iterator[tuple[Ledger, Place]]:
    """Lists both places and reads the manifests that are there."""
    source, target = open_place(job.source, job.source_options), open_place(job.target, job.target_options)
    ledger = Ledger(job.suffix)
    patience = Patience(job.patience)
    try:
        try:
            twice = patience.repeat(lambda: ledger.list_inputs(source.entries()))
        except FileNotFoundError as error:
            raise UsageError(f"{job.source} does not exist") from error
        summary.failed += [(key, f"another photograph becomes {output} already") for key, output in twice]
        with contextlib.suppress(FileNotFoundError):
            patience.repeat(lambda: ledger.list_present(target.entries()))
        for name in [MANIFEST, *patience.repeat(target.parts)]:
            with contextlib.suppress(FileNotFoundError):
                ledger.add(patience.repeat(lambda key=name: target.read(key)).splitlines())  # type: ignore[misc]
        yield ledger, target
    finally:
        ledger.close()


def plan(job: Job, photographs: int = 6) -> Plan:
    """Counts, and tries a few photographs from all over the place to tell how long all would take. Stores nothing."""
    with _listed(job, Summary()) as (ledger, _):
        files, size = ledger.totals()
        to_do, to_do_bytes = ledger.to_do(job.work)
        source = open_place(job.source, job.source_options)
        seconds, tried, tried_bytes = 0.0, 0, 0
        with tempfile.TemporaryDirectory(prefix="zel-cluster-") as folder:
            os.mkdir(os.path.join(folder, "in"))
            os.mkdir(os.path.join(folder, "out"))
            names = []
            start = time.monotonic()
            for index, entry in enumerate(ledger.sample(photographs)):
                if not is_shard(entry.key):
                    names.append(f"{index}{os.path.splitext(entry.key)[1]}")
                    source.fetch(entry.key, os.path.join(folder, "in", names[-1]))
                    tried_bytes += entry.size
            if names:
                tried = len(names)
                enhance(job, folder, names, Patience(0), lambda: None)
            seconds = time.monotonic() - start
        share = to_do_bytes / tried_bytes if tried_bytes else 0.0
        return Plan(files, size, to_do, to_do_bytes, seconds * share, tried)


def _chunk_on_worker(work: Work | None, job: Job, number: int, items: list[Item]) -> Report:
    if work is not None:
        return work(job, number, items)
    worker, last = distributed.get_worker(), 0.0

    def beat(finished: int) -> None:
        nonlocal last
        if time.monotonic() - last > 0.5:
            last = time.monotonic()
            worker.log_event(TOPIC, {"run": job.run, "chunk": number, "finished": finished})

    return run_chunk(job, number, items, beat)


class _Progress:
    """The line in the terminal; a line now and then where there is none."""

    def __init__(self, total: int, stream: IO[str] | None) -> None:
        self._total, self._stream = total, stream
        self._start = self._last = time.monotonic()
        self._live = stream is not None and stream.isatty()
        self.finished = 0
        self.workers = 0
        self.underway: dict[int, int] = {}

    def show(self, end: bool = False) -> None:
        now = time.monotonic()
        if self._stream is None or now - self._last < (0.2 if self._live else 30.0) and not end:
            return
        self._last = now
        done = min(self._total, self.finished + sum(self.underway.values()))
        rate = done / max(now - self._start, 1e-9)
        left = (self._total - done) / rate if rate else 0.0
        bar = "#" * (30 * done // max(self._total, 1))
        text = f"[{bar:.<30}] {done} of {self._total}  {rate:.1f}/s  {left // 60:.0f}:{left % 60:02.0f} left  {self.workers} workers"
        self._stream.write(f"\r\033[K{text}" if self._live else text + "\n")
        if end and self._live:
            self._stream.write("\n")
        self._stream.flush()

    def say(self, text: str) -> None:
        if self._stream is not None:
            self._stream.write(("\r\033[K" if self._live else "") + text + "\n")
            self._stream.flush()


def run(
    job: Job,
    client: distributed.Client,
    *,
    chunk: int = CHUNK,
    stream: IO[str] | None = sys.stderr,
    work: Work | None = None,
) -> Summary:
    """Runs a checked job on the workers of `client`. Whatever can be done is done; the rest is named in the summary.

    `work` runs in place of the real work, to try a scheduler.
    """
    summary = Summary()
    start = time.monotonic()
    with _listed(job, summary) as (ledger, target):
        to_do = ledger.to_do(job.work)[0]
        summary.skipped = ledger.totals()[0] - to_do
        progress = _Progress(to_do, stream)
        for key, reason in summary.failed:
            progress.say(f"zel-cluster: {key}: {reason}")
        _Window(job, client, ledger, progress, summary, work).drain(ledger.chunks(job.work, chunk))
        progress.show(end=True)
        _store_manifest(job, ledger, target)
    summary.seconds = time.monotonic() - start
    return summary


class _Window:
    """A bounded number of chunks with the scheduler. The next goes in when one comes back, so nothing piles up."""

    def __init__(
        self, job: Job, client: distributed.Client, ledger: Ledger, progress: _Progress, summary: Summary, work: Work | None
    ) -> None:
        self._job, self._client, self._ledger, self._progress, self._summary = job, client, ledger, progress, summary
        self._work = work
        self._items: dict[str, tuple[int, list[Item]]] = {}
        self._finished = distributed.as_completed(with_results=True, raise_errors=False)
        self._numbers = 0

    def _submit(self, chunks: list[list[Item]]) -> None:
        """Several at once: what a submission costs hardly depends on how much is in it."""
        numbers = range(self._numbers, self._numbers + len(chunks))
        self._numbers += len(chunks)
        keys = [f"zel-chunk-{self._job.run}-{number}" for number in numbers]
        self._items.update(zip(keys, zip(numbers, chunks)))
        work = functools.partial(_chunk_on_worker, self._work, self._job)
        self._finished.update(self._client.map(work, numbers, chunks, key=keys, pure=False, retries=2))

    def drain(self, chunks: Iterator[list[Item]]) -> None:
        def heard(event: tuple[float, dict[str, Any]]) -> None:
            said = event[1]
            if said["run"] == self._job.run and f"zel-chunk-{self._job.run}-{said['chunk']}" in self._items:
                self._progress.underway[said["chunk"]] = said["finished"]
                self._progress.show()

        self._client.subscribe_topic(TOPIC, heard)
        asked, window = 0.0, 0
        try:
            while True:
                if time.monotonic() - asked > 5 or window == 0:
                    threads = self._client.nthreads()
                    self._progress.workers = len(threads)
                    window, asked = 4 * sum(threads.values()) + 16, time.monotonic()
                if len(self._items) <= window // 2 and (more := list(itertools.islice(chunks, window - len(self._items)))):
                    self._submit(more)
                if not self._items:
                    return
                for future, result in self._finished.next_batch():
                    self._take(future, result)
                self._progress.show()
        except BaseException:
            self._client.cancel([distributed.Future(key, self._client) for key in self._items], force=True)
            raise
        finally:
            self._client.unsubscribe_topic(TOPIC)

    def _take(self, future: distributed.Future, result: Any) -> None:
        number, items = self._items.pop(future.key)
        self._progress.underway.pop(number, None)
        if future.status == "finished":
            self._report(items, result)
            return
        error = result[1]
        if isinstance(error, ToolError):
            raise error
        if isinstance(error, distributed.KilledWorker) and len(items) > 1:
            # Something in here takes workers down; in halves it is soon alone.
            middle = len(items) // 2
            self._submit([items[:middle], items[middle:]])
        else:
            reason = "the worker was lost every time" if isinstance(error, distributed.KilledWorker) else str(error)
            self._report(items, Report(failed=[(entry.key, reason) for entry, _, _ in items]))

    def _report(self, items: list[Item], report: Report) -> None:
        self._ledger.add(report.lines)
        self._summary.done += report.done
        self._summary.bytes += report.bytes
        self._summary.failed += report.failed
        self._progress.finished += len(items)
        for key, reason in report.failed:
            self._progress.say(f"zel-cluster: {key}: {reason}")


def _store_manifest(job: Job, ledger: Ledger, target: Place) -> None:
    """One manifest in place of its parts; a run that ends before this leaves the parts, which the next one reads."""
    scratch = target.scratch()
    if scratch is not None:
        os.makedirs(scratch, exist_ok=True)
    with tempfile.NamedTemporaryFile("w", prefix="manifest-", dir=scratch, delete=False) as file:
        try:
            file.writelines(line + "\n" for line in ledger.manifest())
            file.flush()
            os.fsync(file.fileno())
            os.chmod(file.name, 0o644)
            patience = Patience(job.patience)
            patience.repeat(lambda: target.publish(file.name, MANIFEST, True))
        finally:
            with contextlib.suppress(FileNotFoundError):
                os.unlink(file.name)
    patience.repeat(target.tidy)


@contextlib.contextmanager
def connect(scheduler: str = "", workers: int = 0, dashboard: str = ":0") -> Iterator[distributed.Client]:
    """A client of the scheduler at that address, or of a cluster of this machine's own that ends with the context."""
    import dask

    if scheduler:
        with distributed.Client(scheduler) as client:
            yield client
        return
    # The workers wait for the tool; looking a hundred times a second where their Python stands tells nothing.
    # A killed one is started again at once; who is given up after a while meanwhile may be lost for good.
    settings = {
        "distributed.scheduler.allowed-failures": ALLOWED_LOSSES,
        "distributed.worker.profile.enabled": False,
        "distributed.deploy.lost-worker-timeout": "1000h",
    }
    count = workers or os.cpu_count() or 1
    with dask.config.set(settings), distributed.LocalCluster(
        n_workers=count, threads_per_worker=1, dashboard_address=dashboard, silence_logs=50
    ) as cluster, distributed.Client(cluster) as client:
        over = threading.Event()
        keeper = threading.Thread(target=_keep_workers, args=(cluster, count, over), daemon=True)
        keeper.start()
        try:
            yield client
        finally:
            over.set()
            keeper.join()


def _keep_workers(cluster: distributed.LocalCluster, count: int, over: threading.Event) -> None:
    """Replaces workers that nobody starts again: the scheduler sends some away when a result is lost with another one."""
    while not over.wait(5):
        for name, nanny in list(cluster.workers.items()):
            if nanny.status in (distributed.Status.closed, distributed.Status.failed):
                cluster.workers.pop(name, None)
        if len(cluster.workers) < count:
            cluster.scale(count)


def pages(client: distributed.Client, own: bool) -> str:
    """Where Dask shows the run: its dashboard, or plain tables where a cluster of our own finds no Bokeh."""
    link = str(client.dashboard_link)
    if own and importlib.util.find_spec("bokeh") is None:
        return link.replace("/status", "/info/main/workers.html")
    return link


__all__ = ["CHUNK", "Folder", "Plan", "Summary", "UsageError", "check", "connect", "pages", "plan", "run"]
