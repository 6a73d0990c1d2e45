#!/usr/bin/env python3
"""Writes an SPDX 2.3 bill of materials: sbom.py VERSION EPOCH FOLDER > FILE.

Names every file of a release with its digests, and the Debian packages that its parts were built with or need to run,
as the machine that built them knows them.
"""

import datetime
import hashlib
import json
import pathlib
import re
import subprocess
import sys

# What is compiled or linked into a part, or stands beside it at run time; the library itself needs none of these.
COMPONENTS = {
    "libvips42": "the tool",
    "libcli11-dev": "the tool",
    "nlohmann-json3-dev": "the tool, the GEGL module",
    "libgegl-0.4-0": "the GEGL module",
    "libgimp2.0": "the GIMP procedure",
    "libstdc++6": "all parts",
    "libc6": "all parts",
}


def spdx_id(name: str) -> str:
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)


def digests(path: pathlib.Path) -> list[dict[str, str]]:
    data = path.read_bytes()
    return [
        {"algorithm": "SHA1", "checksumValue": hashlib.sha1(data).hexdigest()},
        {"algorithm": "SHA256", "checksumValue": hashlib.sha256(data).hexdigest()},
    ]


def installed_version(package: str) -> str | None:
    answer = subprocess.run(
        ["dpkg-query", "-W", "-f", "${Version}", package], capture_output=True, text=True, check=False
    )
    return answer.stdout if answer.returncode == 0 else None


def main() -> None:
    version, epoch, folder = sys.argv[1], int(sys.argv[2]), pathlib.Path(sys.argv[3])
    created = datetime.datetime.fromtimestamp(epoch, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
    names = sorted(p.name for p in folder.iterdir() if p.is_file())
    files = [{"SPDXID": spdx_id("file-" + n), "fileName": "./" + n, "checksums": digests(folder / n)} for n in names]
    all_sha1 = sorted(f["checksums"][0]["checksumValue"] for f in files)
    product = {
        "SPDXID": "SPDXRef-zel",
        "name": "zel",
        "versionInfo": version,
        "supplier": "Organization: The Zel authors",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": True,
        "packageVerificationCode": {
            "packageVerificationCodeValue": hashlib.sha1("".join(all_sha1).encode()).hexdigest()
        },
        "licenseConcluded": "MIT",
        "licenseDeclared": "MIT",
        "licenseInfoFromFiles": ["MIT"],
        "copyrightText": "Copyright (c) 2026 The Zel authors",
        "hasFiles": [f["SPDXID"] for f in files],
    }
    packages, relations = [product], []
    for name, users in COMPONENTS.items():
        found = installed_version(name)
        if found is None:
            continue
        packages.append(
            {
                "SPDXID": spdx_id("debian-" + name),
                "name": name,
                "versionInfo": found,
                "supplier": "Organization: Debian",
                "downloadLocation": "NOASSERTION",
                "filesAnalyzed": False,
                "licenseConcluded": "NOASSERTION",
                "licenseDeclared": "NOASSERTION",
                "copyrightText": "NOASSERTION",
                "comment": "used by " + users,
            }
        )
        relations.append(("SPDXRef-zel", "DEPENDS_ON", spdx_id("debian-" + name)))
    relations.append(("SPDXRef-DOCUMENT", "DESCRIBES", "SPDXRef-zel"))
    for f in files:
        f.update(licenseConcluded="MIT", licenseInfoInFiles=["MIT"], copyrightText="NOASSERTION")
        relations.append(("SPDXRef-zel", "CONTAINS", f["SPDXID"]))
    identity = hashlib.sha256("".join(all_sha1).encode()).hexdigest()
    document = {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"zel-{version}",
        "documentNamespace": f"urn:zel:{version}:{identity}",
        "creationInfo": {"created": created, "creators": ["Organization: The Zel authors", "Tool: scripts/sbom.py"]},
        "packages": packages,
        "files": files,
        "relationships": [
            {"spdxElementId": a, "relationshipType": kind, "relatedSpdxElement": b} for a, kind, b in relations
        ],
    }
    json.dump(document, sys.stdout, indent=1)
    print()


if __name__ == "__main__":
    main()
