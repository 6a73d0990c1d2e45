"""An S3-like object store on the loopback, in memory, that fails on purpose. For tests alone."""
from __future__ import annotations

import hashlib
import random
import threading
import urllib.parse
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from xml.sax.saxutils import escape

PAGE = 40  # keys in an answer to a listing


class Store:
    """`with Store(failing=0.1) as store:` serves at store.url; store.objects holds what is visible."""

    def __init__(self, failing: float = 0.0, seed: int = 1) -> None:
        self.objects: dict[str, bytes] = {}
        self.uploads: dict[str, dict[int, bytes]] = {}
        self.failing = failing
        self.requests = self.failures = self.in_parts = 0
        self.random, self.lock = random.Random(seed), threading.Lock()
        handler = type("Handler", (_Handler,), {"store": self})
        self.server = ThreadingHTTPServer(("127.0.0.1", 0), handler)
        self.url = f"http://127.0.0.1:{self.server.server_port}"

    def __enter__(self) -> Store:
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        return self

    def __exit__(self, *_: object) -> None:
        self.server.shutdown()
        self.server.server_close()

    def fault(self) -> str:
        with self.lock:
            self.requests += 1
            if self.random.random() >= self.failing:
                return ""
            self.failures += 1
            return self.random.choice(["500", "503", "hang up", "break off", "hang up after"])


class _Handler(BaseHTTPRequestHandler):
    store: Store
    protocol_version = "HTTP/1.1"
    timeout = 30

    def log_message(self, *_: object) -> None:
        pass

    def answer(self, status: int, body: bytes = b"", size: int | None = None, **headers: str) -> None:
        if self.late == "hang up after":
            self.close_connection = True
            return
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name.replace("_", "-"), value)
        self.send_header("Content-Length", str(len(body) if size is None else size))
        self.end_headers()
        if self.command != "HEAD":
            if self.late == "break off" and len(body) > 1:
                body, self.close_connection = body[: len(body) // 2], True
            self.wfile.write(body)

    def error(self, status: int, code: str) -> None:
        body = f"<Error><Code>{code}</Code><Message>on purpose</Message></Error>".encode()
        self.answer(status, body if self.command != "HEAD" else b"", Content_Type="application/xml")

    def begin(self) -> bool:
        """Reads the request; False when it is to fail before anything is done."""
        url = urllib.parse.urlsplit(self.path)
        self.query = dict(urllib.parse.parse_qsl(url.query, keep_blank_values=True))
        self.key = urllib.parse.unquote(url.path).lstrip("/")
        self.body = b""
        length = int(self.headers.get("Content-Length") or 0)
        if self.headers.get("Expect") == "100-continue":
            self.send_response_only(100)
            self.end_headers()
        self.body = self.rfile.read(length)
        self.late = ""
        fault = self.store.fault()
        if fault == "hang up":
            self.close_connection = True
            return False
        if fault in ("500", "503"):
            self.error(int(fault), {"500": "InternalError", "503": "SlowDown"}[fault])
            return False
        self.late = fault
        return True

    def do_GET(self) -> None:
        if not self.begin():
            return
        if "list-type" in self.query:
            return self.list()
        data = self.store.objects.get(self.key)
        if data is None:
            return self.error(404, "NoSuchKey")
        tag = '"' + hashlib.md5(data).hexdigest() + '"'
        part = self.headers.get("Range")
        if part and self.command == "GET":
            first, _, last = part.removeprefix("bytes=").partition("-")
            begin, end = int(first), min(int(last or len(data)), len(data) - 1)
            return self.answer(206, data[begin : end + 1], ETag=tag, Content_Range=f"bytes {begin}-{end}/{len(data)}")
        self.answer(200, data, ETag=tag)

    do_HEAD = do_GET

    def list(self) -> None:
        bucket = self.key.split("/")[0]
        prefix, delimiter = self.query.get("prefix", ""), self.query.get("delimiter", "")
        after = self.query.get("continuation-token", "")
        with self.store.lock:
            keys = sorted(k[len(bucket) + 1 :] for k in self.store.objects if k.startswith(f"{bucket}/{prefix}"))
        entries: dict[str, bool] = {}
        for key in keys:
            rest = key[len(prefix) :]
            common = delimiter and delimiter in rest
            entries[prefix + rest.split(delimiter)[0] + delimiter if common else key] = bool(common)
        names = [name for name in entries if name > after]
        xml = ""
        for name in names[:PAGE]:
            if entries[name]:
                xml += f"<CommonPrefixes><Prefix>{escape(name)}</Prefix></CommonPrefixes>"
            else:
                data = self.store.objects[f"{bucket}/{name}"]
                tag = hashlib.md5(data).hexdigest()
                xml += f"<Contents><Key>{escape(name)}</Key><Size>{len(data)}</Size><ETag>&quot;{tag}&quot;</ETag></Contents>"
        more = len(names) > PAGE
        token = f"<NextContinuationToken>{escape(names[PAGE - 1])}</NextContinuationToken>" if more else ""
        xml = f"<ListBucketResult><IsTruncated>{str(more).lower()}</IsTruncated>{token}{xml}</ListBucketResult>"
        self.answer(200, xml.encode(), Content_Type="application/xml")

    def do_PUT(self) -> None:
        if not self.begin():
            return
        tag = '"' + hashlib.md5(self.body).hexdigest() + '"'
        with self.store.lock:
            if "partNumber" in self.query:
                parts = self.store.uploads.get(self.query["uploadId"])
                if parts is None:
                    return self.error(404, "NoSuchUpload")
                parts[int(self.query["partNumber"])] = self.body
            else:
                self.store.objects[self.key] = self.body
        self.answer(200, ETag=tag)

    def do_POST(self) -> None:
        if not self.begin():
            return
        with self.store.lock:
            if "uploads" in self.query:
                upload = f"u{len(self.store.uploads)}"
                self.store.uploads[upload] = {}
                xml = f"<InitiateMultipartUploadResult><UploadId>{upload}</UploadId></InitiateMultipartUploadResult>"
            else:
                parts = self.store.uploads[self.query["uploadId"]]
                self.store.objects[self.key] = b"".join(parts[n] for n in sorted(parts))
                self.store.in_parts += 1
                xml = '<CompleteMultipartUploadResult><ETag>"x-1"</ETag></CompleteMultipartUploadResult>'
        self.answer(200, xml.encode(), Content_Type="application/xml")

    def do_DELETE(self) -> None:
        if not self.begin():
            return
        with self.store.lock:
            if "uploadId" not in self.query:
                self.store.objects.pop(self.key, None)
        self.answer(204)
