"""zel-cluster RECIPE IN OUT"""
from __future__ import annotations

import argparse
import dataclasses
import json
import os
import signal
import sys
from collections.abc import Sequence
from typing import Any

from . import client as runner
from .work import Job, ToolError

DONE, SOME_FAILED, USAGE, NOTHING_DONE = 0, 1, 2, 3

DESCRIPTION = """Runs a recipe over all photographs of a place: a folder, an object store (s3://bucket/folder), anything
that fsspec knows. Tar archives in it are shards: each becomes one of results. The same command goes on where it stopped."""


def parser() -> argparse.ArgumentParser:
    p = argparse.ArgumentParser("zel-cluster", description=DESCRIPTION)
    p.add_argument("recipe", metavar="RECIPE", help="a file of operations, as zel --save-recipe writes it")
    p.add_argument("source", metavar="IN", help="where the photographs are")
    p.add_argument("target", metavar="OUT", help="where the results go, under the same names, with their manifest")
    p.add_argument("--plan", action="store_true", help="count, try a few photographs, say how long it takes; store nothing")
    p.add_argument("--scheduler", metavar="ADDRESS", default="", help="a Dask scheduler; without it this machine does all")
    p.add_argument("--workers", metavar="N", type=int, default=0, help="processes on this machine; one per processor")
    p.add_argument("--chunk", metavar="N", type=int, default=runner.CHUNK, help="photographs that a worker takes at once; %(default)s")
    p.add_argument("--format", metavar="NAME", choices=["png", "jpg", "tif", "ppm"], default="", help="of the results; that of the photograph")
    p.add_argument("--quality", metavar="N", type=int, help="of JPEG, as in zel")
    p.add_argument("--strip", action="store_true", help="store no metadata and no colour profile")
    p.add_argument("--overwrite", action="store_true", help="replace results of other origin")
    p.add_argument("--timeout", metavar="SECONDS", type=float, default=600.0, help="for one photograph; %(default)g")
    p.add_argument("--patience", metavar="SECONDS", type=float, default=600.0, help="to wait for a full disk or a failing store; %(default)g")
    p.add_argument("--endpoint", metavar="URL", default="", help="of an S3-compatible store")
    p.add_argument("--zel", metavar="FILE", default="zel", help="the tool, under this name on every worker")
    p.add_argument("--dashboard", metavar="ADDRESS", default=":0", help="where Dask's own pages appear; any free port")
    p.add_argument("--json", action="store_true", help="plan or summary as JSON on standard output")
    return p


def _size(count: float) -> str:
    for unit in ("bytes", "kB", "MB", "GB"):
        if count < 1000:
            return f"{count:.0f} {unit}" if unit == "bytes" else f"{count:.1f} {unit}"
        count /= 1000
    return f"{count:.1f} TB"


def _time(seconds: float) -> str:
    hours, rest = divmod(round(seconds), 3600)
    return f"{hours}:{rest // 60:02d}:{rest % 60:02d}"


def _job(a: argparse.Namespace) -> Job:
    try:
        with open(a.recipe, encoding="utf-8") as file:
            recipe = file.read()
    except (OSError, UnicodeDecodeError) as error:
        raise runner.UsageError(f"the recipe {a.recipe} cannot be read: {error}") from error
    arguments: list[str] = []
    if a.format:
        arguments += ["--format", a.format]
    if a.quality is not None:
        arguments += ["--quality", str(a.quality)]
    if a.strip:
        arguments += ["--strip"]
    options: dict[str, dict[str, Any]] = {}
    for url in (a.source, a.target):
        options[url] = {"endpoint_url": a.endpoint} if a.endpoint and url.startswith(("s3://", "s3a://")) else {}
    tool = os.path.abspath(a.zel) if "/" in a.zel else a.zel
    return Job(
        source=a.source, target=a.target, recipe=recipe, arguments=tuple(arguments), suffix=a.format, tool=tool,
        overwrite=a.overwrite, timeout=a.timeout, patience=a.patience,
        source_options=options[a.source], target_options=options[a.target],
    )  # fmt: skip


def _plan(a: argparse.Namespace, job: Job) -> int:
    plan = runner.plan(job)
    workers = a.workers or os.cpu_count() or 1
    if a.json:
        print(json.dumps(dataclasses.asdict(plan) | {"workers": workers}))
        return DONE
    print(f"{plan.files} photographs and shards, {_size(plan.bytes)}")
    print(f"{plan.to_do} to do, {_size(plan.to_do_bytes)}")
    if plan.measured:
        print(f"about {_time(plan.seconds)} for one worker, {_time(plan.seconds / workers)} for {workers} (from {plan.measured} photographs)")
    return DONE


def _run(a: argparse.Namespace, job: Job) -> int:
    with runner.connect(a.scheduler, a.workers, a.dashboard) as client:
        if sys.stderr.isatty():
            print(f"Dask's pages: {runner.pages(client, own=not a.scheduler)}", file=sys.stderr)
        summary = runner.run(job, client, chunk=a.chunk)
    if a.json:
        print(json.dumps(dataclasses.asdict(summary)))
    else:
        rate = summary.done / max(summary.seconds, 1e-9)
        print(f"{summary.done} done, {summary.skipped} there already, {len(summary.failed)} failed; {_time(summary.seconds)}, {rate:.1f}/s")
    if not summary.failed:
        return DONE
    return SOME_FAILED if summary.done or summary.skipped else NOTHING_DONE


def main(arguments: Sequence[str] | None = None) -> int:
    a = parser().parse_args(arguments)
    if a.chunk < 1 or a.workers < 0:
        parser().error("--chunk must be 1 or more, --workers 0 or more")
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    try:
        job = runner.check(_job(a))
        return _plan(a, job) if a.plan else _run(a, job)
    except runner.UsageError as error:
        print(f"zel-cluster: {error}", file=sys.stderr)
        return USAGE
    except ToolError as error:
        print(f"zel-cluster: {error}", file=sys.stderr)
        return NOTHING_DONE
    except KeyboardInterrupt:
        print("zel-cluster: stopped; the same command goes on where it stopped", file=sys.stderr)
        return 130


if __name__ == "__main__":
    sys.exit(main())
