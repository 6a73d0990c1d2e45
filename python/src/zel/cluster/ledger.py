"""What is to be done and what is done: tables on disk, so that a million photographs cost no memory."""
from __future__ import annotations

import contextlib
import json
import posixpath
import sqlite3
import tempfile
from collections.abc import Iterable, Iterator
from typing import Any

from .places import Entry

SUFFIXES = {".jpg", ".jpeg", ".png", ".tif", ".tiff", ".ppm", ".pgm"}
SHARD = ".tar"
CHUNK_BYTES = 2 << 30
Record = dict[str, Any]


def is_photograph(key: str) -> bool:
    return posixpath.splitext(key)[1].lower() in SUFFIXES


def is_shard(key: str) -> bool:
    return key.lower().endswith(SHARD)


def output_of(key: str, suffix: str) -> str:
    """The result's name: that of the photograph, with the suffix of the format it is stored in."""
    if not suffix or is_shard(key):
        return key
    return posixpath.splitext(key)[0] + "." + suffix


class Ledger:
    """Inputs, outputs that are there, and the manifest."""

    def __init__(self, suffix: str) -> None:
        self._file = tempfile.NamedTemporaryFile(prefix="zel-cluster-", suffix=".sqlite")
        self._db = sqlite3.connect(self._file.name, isolation_level=None)
        self._suffix = suffix
        self._db.executescript(
            """
            PRAGMA journal_mode=MEMORY; PRAGMA synchronous=OFF; PRAGMA cache_size=-16000; PRAGMA temp_store=FILE;
            CREATE TABLE input(output TEXT PRIMARY KEY, key TEXT, size INTEGER, stamp TEXT) WITHOUT ROWID;
            CREATE TABLE present(output TEXT PRIMARY KEY, size INTEGER) WITHOUT ROWID;
            CREATE TABLE manifest(output TEXT PRIMARY KEY, work TEXT, stamp TEXT, length INTEGER, failed INTEGER, line TEXT)
              WITHOUT ROWID;
            """
        )

    def close(self) -> None:
        self._db.close()
        self._file.close()

    @contextlib.contextmanager
    def _together(self) -> Iterator[None]:
        with self._db:  # commits, or takes back a listing that broke off
            self._db.execute("BEGIN")
            yield

    def list_inputs(self, entries: Iterable[Entry]) -> list[tuple[str, str]]:
        """Takes all photographs and shards. Returns those that another one's output would replace, with its name."""
        twice = []
        with self._together():
            for entry in entries:
                if not is_photograph(entry.key) and not is_shard(entry.key):
                    continue
                output = output_of(entry.key, self._suffix)
                done = self._db.execute("INSERT OR IGNORE INTO input VALUES(?, ?, ?, ?)", (output, *entry))
                if done.rowcount == 0:
                    twice.append((entry.key, output))
        return twice

    def list_present(self, entries: Iterable[Entry]) -> None:
        with self._together():
            self._db.executemany("INSERT OR REPLACE INTO present VALUES(?, ?)", ((e.key, e.size) for e in entries))

    def add(self, lines: Iterable[bytes | str]) -> None:
        """Takes lines of a manifest; those that no manifest would hold are passed over."""
        with self._together():
            for line in lines:
                try:
                    r = json.loads(line)
                    row = (r["output"], work_of(r), r["input_stamp"], r["length"], len(r.get("failed", [])), json.dumps(r))
                except (ValueError, KeyError, TypeError):
                    continue
                self._db.execute("INSERT OR REPLACE INTO manifest VALUES(?, ?, ?, ?, ?, ?)", row)

    # An output is done when the manifest knows it for this input and this work and it is still there in full length.
    _DONE = """SELECT 1 FROM manifest m JOIN present p ON p.output = m.output
               WHERE m.output = i.output AND m.work = ? AND m.stamp = i.stamp AND m.length = p.size AND m.failed = 0"""

    def totals(self) -> tuple[int, int]:
        """Number and bytes of all inputs."""
        count, size = self._db.execute("SELECT COUNT(*), COALESCE(SUM(size), 0) FROM input").fetchone()
        return count, size

    def to_do(self, work: str) -> tuple[int, int]:
        """Number and bytes of the inputs whose output is missing or belongs to other work."""
        query = f"SELECT COUNT(*), COALESCE(SUM(size), 0) FROM input i WHERE NOT EXISTS ({self._DONE})"
        count, size = self._db.execute(query, (work,)).fetchone()
        return count, size

    def chunks(self, work: str, length: int) -> Iterator[list[tuple[Entry, str, bool]]]:
        """What is to be done, in chunks: input, output, and whether the output is ours to replace. A shard is a chunk."""
        # In pages, so that results can be written while the list is being read.
        query = f"""SELECT i.key, i.size, i.stamp, i.output, m.output IS NOT NULL FROM input i
                    LEFT JOIN manifest m ON m.output = i.output
                    WHERE i.output > ? AND NOT EXISTS ({self._DONE}) ORDER BY i.output LIMIT 1000"""
        after = ""
        chunk: list[tuple[Entry, str, bool]] = []
        weight = 0
        while True:
            page = self._db.execute(query, (after, work)).fetchall()
            for key, size, stamp, output, ours in page:
                if is_shard(key):
                    yield [(Entry(key, size, stamp), output, bool(ours))]
                    continue
                if chunk and (len(chunk) >= length or weight + size > CHUNK_BYTES):
                    yield chunk
                    chunk, weight = [], 0
                chunk.append((Entry(key, size, stamp), output, bool(ours)))
                weight += size
            if not page:
                break
            after = page[-1][3]
        if chunk:
            yield chunk

    def sample(self, count: int) -> list[Entry]:
        """Some photographs from all over the list."""
        total = self.totals()[0]
        step = max(1, total // count)
        rows = [
            self._db.execute("SELECT key, size, stamp FROM input ORDER BY output LIMIT 1 OFFSET ?", (i * step,)).fetchone()
            for i in range(min(count, total))
        ]
        return [Entry(*row) for row in rows]

    def manifest(self) -> Iterator[str]:
        for (line,) in self._db.execute("SELECT line FROM manifest ORDER BY output"):
            yield line


def work_of(record: Record) -> str:
    """What was done, as one text: recipe, version and how results are stored."""
    return f"{record['recipe']} {record['version']} {record['options']}"
