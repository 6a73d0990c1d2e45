"""S3 and stores that speak like it, over boto3, for systems that have no s3fs."""
from __future__ import annotations

import importlib.util
from collections.abc import Iterator
from typing import Any

import fsspec
from fsspec import AbstractFileSystem


class BotoFileSystem(AbstractFileSystem):  # type: ignore[misc]
    """Objects as whole files. Failed requests are repeated by boto3 itself, bodies that break off by us.

    endpoint_url  address of a store other than the default one
    multipart     objects of more bytes than this are sent in parts; they appear when the last has arrived
    Everything else (keys, region) comes from where boto3 looks for it: environment, files, the machine's role.
    """

    protocol = "s3"
    root_marker = ""
    BODY_ATTEMPTS = 8

    def __init__(self, endpoint_url: str | None = None, multipart: int = 32 << 20, **kwargs: Any) -> None:
        super().__init__(**kwargs)
        import boto3
        from boto3.s3.transfer import TransferConfig
        from botocore.config import Config

        # The session is made here because the default one may not be made in two threads at once.
        self._client = boto3.session.Session().client(
            "s3", endpoint_url=endpoint_url, config=Config(retries={"max_attempts": 10, "mode": "standard"})
        )
        self._transfer = TransferConfig(
            multipart_threshold=multipart, multipart_chunksize=max(multipart, 5 << 20), num_download_attempts=self.BODY_ATTEMPTS
        )

    @classmethod
    def _split(cls, path: str) -> tuple[str, str]:
        bucket, _, key = cls._strip_protocol(path).partition("/")
        return bucket, key

    def _info(self, bucket: str, found: dict[str, Any]) -> dict[str, Any]:
        return {"name": f"{bucket}/{found['Key']}", "size": found["Size"], "type": "file", "ETag": found["ETag"]}

    def iterate(self, path: str) -> Iterator[dict[str, Any]]:
        """Everything below `path` in the store's order, a page of a thousand in memory at a time."""
        bucket, key = self._split(path)
        prefix = f"{key}/" if key else ""
        for page in self._client.get_paginator("list_objects_v2").paginate(Bucket=bucket, Prefix=prefix):
            for found in page.get("Contents", []):
                if not found["Key"].endswith("/"):
                    yield self._info(bucket, found)

    def find(self, path: str, maxdepth: int | None = None, withdirs: bool = False, detail: bool = False, **_: Any) -> Any:
        found = {info["name"]: info for info in self.iterate(path)}
        return found if detail else list(found)

    def ls(self, path: str, detail: bool = True, **_: Any) -> list[Any]:
        bucket, key = self._split(path)
        prefix = f"{key}/" if key else ""
        found: list[dict[str, Any]] = []
        for page in self._client.get_paginator("list_objects_v2").paginate(Bucket=bucket, Prefix=prefix, Delimiter="/"):
            for common in page.get("CommonPrefixes", []):
                found.append({"name": f"{bucket}/{common['Prefix'].rstrip('/')}", "size": 0, "type": "directory"})
            found += [self._info(bucket, entry) for entry in page.get("Contents", [])]
        if not found:
            found = [self.info(path)]
        return found if detail else [info["name"] for info in found]

    def info(self, path: str, **_: Any) -> dict[str, Any]:
        from botocore.exceptions import ClientError

        bucket, key = self._split(path)
        try:
            head = self._client.head_object(Bucket=bucket, Key=key)
        except ClientError as error:
            if error.response.get("ResponseMetadata", {}).get("HTTPStatusCode") == 404:
                raise FileNotFoundError(path) from error
            raise
        return self._info(bucket, {"Key": key, "Size": head["ContentLength"], "ETag": head["ETag"]})

    def exists(self, path: str, **_: Any) -> bool:
        try:
            self.info(path)
        except FileNotFoundError:
            return False
        return True

    def cat_file(self, path: str, start: int | None = None, end: int | None = None, **_: Any) -> bytes:
        from botocore.exceptions import ClientError, HTTPClientError, IncompleteReadError, ResponseStreamingError

        bucket, key = self._split(path)
        for attempt in range(self.BODY_ATTEMPTS):
            try:
                return bytes(self._client.get_object(Bucket=bucket, Key=key)["Body"].read())[start:end]
            except self._client.exceptions.NoSuchKey as error:
                raise FileNotFoundError(path) from error
            except (HTTPClientError, IncompleteReadError, ResponseStreamingError):
                if attempt + 1 == self.BODY_ATTEMPTS:
                    raise
            except ClientError:
                raise
        raise AssertionError

    def get_file(self, rpath: str, lpath: str, **_: Any) -> None:
        bucket, key = self._split(rpath)
        self._client.download_file(bucket, key, lpath, Config=self._transfer)

    def put_file(self, lpath: str, rpath: str, **_: Any) -> None:
        bucket, key = self._split(rpath)
        self._client.upload_file(lpath, bucket, key, Config=self._transfer)

    def rm_file(self, path: str) -> None:
        bucket, key = self._split(path)
        self._client.delete_object(Bucket=bucket, Key=key)


def register() -> None:
    """Serves s3:// addresses where s3fs is not installed."""
    if importlib.util.find_spec("s3fs") is None:
        for protocol in ("s3", "s3a"):
            fsspec.register_implementation(protocol, BotoFileSystem, clobber=True)
