"""Where photographs come from and results go: folders, and everything else that fsspec reaches."""
from __future__ import annotations

import errno
import hashlib
import os
import posixpath
import random
import shutil
import time
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any, NamedTuple, TypeVar

import fsspec

from . import s3

# Hidden in the output place: parts of the manifest, and scratch files where the place is a folder.
STATE = ".zel-cluster"
MANIFEST = "zel-manifest.jsonl"
READ_BLOCK = 1 << 20

T = TypeVar("T")


class Entry(NamedTuple):
    """A file of a place. `stamp` changes when its content does: size and time of a file, the tag of an object."""

    key: str
    size: int
    stamp: str


class Exists(Exception):
    """The output is there already, with other content, and may not be replaced."""


class Patience:
    """Repeats what a crowded store or a full disk may refuse for a while. All waiting comes out of one purse."""

    NEVER = (FileNotFoundError, PermissionError, IsADirectoryError, NotADirectoryError, Exists, TypeError, AttributeError)

    def __init__(self, seconds: float) -> None:
        self._left = seconds
        self._pause = 0.1

    def wait(self) -> bool:
        """Pauses, longer each time; False when no patience is left."""
        pause = self._pause * random.uniform(0.5, 1.5)
        if pause > self._left:
            return False
        self._left -= pause
        self._pause = min(self._pause * 2, 30.0)
        time.sleep(pause)
        return True

    def repeat(self, action: Callable[[], T]) -> T:
        while True:
            try:
                result = action()
                self._pause = 0.1
                return result
            except self.NEVER:
                raise
            except Exception as error:
                # Client libraries raise what they like; what a store answers about the request itself will not change.
                answer = getattr(error, "response", None) or {}
                status = answer.get("ResponseMetadata", {}).get("HTTPStatusCode", 0)
                if 400 <= status < 500 and status not in (408, 429) or not self.wait():
                    raise


def digest(path: str) -> str:
    sha = hashlib.sha256()
    with open(path, "rb") as file:
        while block := file.read(READ_BLOCK):
            sha.update(block)
    return sha.hexdigest()


def stamp_of(size: int, info: dict[str, Any]) -> str:
    for name in ("ETag", "etag", "md5Hash", "md5", "mtime", "LastModified", "last_modified", "updated", "created"):
        if info.get(name):
            return f"{size} {str(info[name]).strip(chr(34))}"
    return str(size)


class Place:
    """A place behind fsspec, mostly an object store, where writing an object makes it appear complete."""

    # Stores that show an object only when all of it has arrived. Elsewhere a hidden name and a rename serve.
    WHOLE_OBJECTS = frozenset({"s3", "s3a", "gs", "gcs", "abfs", "abfss", "az", "adl", "oss", "oci", "memory"})

    def __init__(self, url: str, options: dict[str, Any]) -> None:
        self.url = url
        self.fs, self.root = fsspec.core.url_to_fs(url, **options)
        self.root = self.root.rstrip("/")
        protocol = self.fs.protocol if isinstance(self.fs.protocol, str) else self.fs.protocol[0]
        self._whole = protocol in self.WHOLE_OBJECTS

    def _path(self, key: str) -> str:
        return f"{self.root}/{key}"

    def entries(self) -> Iterator[Entry]:
        """All files below, hidden ones left out, one at a time."""
        listing = getattr(self.fs, "iterate", None)
        if listing is not None:
            found: Iterator[dict[str, Any]] = listing(self.root)
        else:
            found = (info for _, _, files in self.fs.walk(self.root, detail=True) for info in files.values())
        for info in found:
            key = info["name"][len(self.root) :].lstrip("/")
            if key and info["type"] == "file" and not any(part.startswith(".") for part in key.split("/")):
                size = int(info["size"] or 0)
                yield Entry(key, size, stamp_of(size, info))

    def parts(self) -> list[str]:
        """The parts of manifests that earlier runs left."""
        try:
            found = self.fs.find(self._path(STATE))
        except FileNotFoundError:
            return []
        return [name[len(self.root) :].lstrip("/") for name in found if name.endswith(".jsonl")]

    def scratch(self) -> str | None:
        """A folder from which `publish` can take files without copying them, where there is such a thing."""
        return None

    def fetch(self, key: str, path: str) -> None:
        """Makes the content of `key` readable under the local name `path`."""
        self.fs.get_file(self._path(key), path)

    def read(self, key: str) -> bytes:
        return bytes(self.fs.cat_file(self._path(key)))

    def publish(self, path: str, key: str, replace: bool) -> None:
        """Makes the local file appear as `key`: complete or not at all. The same content again is no conflict."""
        target = self._path(key)
        if not replace and self.fs.exists(target):
            if hashlib.sha256(self.read(key)).hexdigest() != digest(path):
                raise Exists
            return
        if self._whole:
            self.fs.put_file(path, target)
            return
        folder, name = posixpath.split(target)
        self.fs.makedirs(folder, exist_ok=True)
        hidden = f"{folder}/.zel-{os.getpid()}-{random.getrandbits(48):012x}.part"
        try:
            self.fs.put_file(path, hidden)
            self.fs.mv(hidden, target)
        except BaseException:
            if self.fs.exists(hidden):
                self.fs.rm_file(hidden)
            raise

    def remove(self, key: str) -> None:
        self.fs.rm_file(self._path(key))

    def tidy(self) -> None:
        """Takes away what a finished run no longer needs."""
        for key in self.parts():
            self.remove(key)


class Folder(Place):
    """A folder that every worker sees under the same name."""

    def __init__(self, path: str) -> None:
        self.url = self.root = os.path.abspath(path)

    def entries(self) -> Iterator[Entry]:
        folders = [self.root]
        while folders:
            with os.scandir(folders.pop()) as found:
                for entry in found:
                    if entry.name.startswith("."):
                        continue
                    if entry.is_dir(follow_symlinks=False):
                        folders.append(entry.path)
                    elif entry.is_file():
                        status = entry.stat()
                        key = os.path.relpath(entry.path, self.root)
                        yield Entry(key, status.st_size, f"{status.st_size} {status.st_mtime_ns}")

    def parts(self) -> list[str]:
        return [os.path.relpath(path, self.root) for path in Path(self.root, STATE).glob("**/*.jsonl")]

    def scratch(self) -> str | None:
        return self._path(STATE)

    def fetch(self, key: str, path: str) -> None:
        os.symlink(self._path(key), path)

    def read(self, key: str) -> bytes:
        return Path(self._path(key)).read_bytes()

    def publish(self, path: str, key: str, replace: bool) -> None:
        target = self._path(key)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        if replace:
            self._move(path, target)
            return
        try:
            try:
                os.link(path, target)
            except OSError as error:
                # Not every file system knows second names; a rename would replace what another has just written.
                if error.errno not in (errno.EPERM, errno.EOPNOTSUPP, errno.EXDEV, errno.EMLINK):
                    raise
                if os.path.exists(target):
                    raise FileExistsError from error
                self._move(path, target)
        except FileExistsError:
            if digest(target) != digest(path):
                raise Exists from None

    def _move(self, path: str, target: str) -> None:
        try:
            os.replace(path, target)
        except OSError as error:
            if error.errno != errno.EXDEV:
                raise
            hidden = os.path.join(os.path.dirname(target), f".zel-{os.getpid()}-{random.getrandbits(48):012x}.part")
            try:
                shutil.copyfile(path, hidden)
                with open(hidden, "rb") as file:
                    os.fsync(file.fileno())
                os.replace(hidden, target)
            except BaseException:
                Path(hidden).unlink(missing_ok=True)
                raise

    def remove(self, key: str) -> None:
        os.unlink(self._path(key))

    def tidy(self) -> None:
        shutil.rmtree(self._path(STATE), ignore_errors=True)


def place(url: str, options: dict[str, Any] | None = None) -> Place:
    """Opens a place by its address: a path, or a URL of any kind that fsspec knows."""
    if "://" not in url:
        return Folder(url)
    if url.startswith("file://"):
        return Folder(url[len("file://") :])
    s3.register()
    return Place(url, options or {})
