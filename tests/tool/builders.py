"""Picture files made byte by byte, as cameras, scanners and presses leave them."""
import base64
import gzip
import struct
import zlib

# One colour, 64 x 64; their encoders are not installed everywhere.
HEIC = gzip.decompress(base64.b64decode(
    "H4sIAAAAAAACA2NgYJBJK6ksyEjNTGYAgtzMNEMQOzczMY2BgdEpN7UkkQECFDNScoqgbIaCzOQSBjTAV5BZkgtmMQKxUmZOPthIFwcgnxEsnA"
    "ahgUAaiJUzM/PS4OpFgZxUJigvoyzZEMQ8lFlQVACkl2QWJOcD6QqghDMjcwHcTrkPDH/+/vjBwMDPrADUKOHAyMP4/z9IATPDBBABRHK7mBwU"
    "gZLaToyMaDILFBpZp73y1FyXx8LCwwESghAOSkD17C6MB4s2KDkArRHJLC5IhVrpAMUCBZkVmSABZg4OoC4GscyCXFhYAT3M3MjUDPJkbkoiKK"
    "TENRjXCzc8NT4w/7/O4v8vftvY5WWuDfhqBwBHQ7k5gQEAAA=="))
JXL = base64.b64decode("/wpPQCQIAgEAaABLGIsVANQbY4wb4+4FIgAAJAC6gAQUPzp5FQ==")


def png(width, height, bands, data, bits=8):
    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))
    kind = {1: 0, 2: 4, 3: 2, 4: 6}[bands]
    row = width * bands * bits // 8
    raw = b"".join(b"\0" + data[y * row:(y + 1) * row] for y in range(height))
    header = struct.pack(">IIBBBBB", width, height, bits, kind, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b"")


def png_samples(data):
    """Samples of a PNG whose rows carry any of the five filters."""
    at, body, header = 8, b"", None
    while at < len(data):
        size, kind = struct.unpack(">I4s", data[at:at + 8])
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", data[at + 8:at + 21])
        if kind == b"IDAT":
            body += data[at + 8:at + 8 + size]
        at += 12 + size
    width, height, bits, kind = header[:4]
    step = {0: 1, 2: 3, 4: 2, 6: 4}[kind] * bits // 8
    raw, row, out = zlib.decompress(body), width * step, []
    above = [0] * row
    for y in range(height):
        filtered, line = raw[y * (row + 1):(y + 1) * (row + 1)], []
        for x in range(row):
            a, b = line[x - step] if x >= step else 0, above[x]
            c = above[x - step] if x >= step else 0
            p = a + b - c
            paeth = min((abs(p - a), 0, a), (abs(p - b), 1, b), (abs(p - c), 2, c))[2]
            line.append((filtered[x + 1] + (0, a, b, (a + b) // 2, paeth)[filtered[0]]) % 256)
        out += line
        above = line
    return header, out


def with_orientation(jpeg, orientation):
    entry = struct.pack("<HHIHH", 0x112, 3, 1, orientation, 0)
    exif = b"Exif\0\0II*\0\x08\0\0\0\x01\0" + entry + b"\0\0\0\0"
    return jpeg[:2] + b"\xff\xe1" + struct.pack(">H", len(exif) + 2) + exif + jpeg[2:]


def icc(space, connection, tags):
    """A colour profile of version 2."""
    name = b"Test " + space.strip()
    tags = {b"desc": b"desc\0\0\0\0" + struct.pack(">I", len(name) + 1) + name + bytes(1 + 78),
            b"wtpt": b"XYZ \0\0\0\0" + s15(0.9642, 1, 0.8249), **tags}
    at, table, body = 128 + 4 + 12 * len(tags), struct.pack(">I", len(tags)), b""
    for key, data in tags.items():
        data += bytes(-len(data) % 4)
        table += key + struct.pack(">II", at + len(body), len(data))
        body += data
    kind = b"prtr" if space == b"CMYK" else b"mntr"
    header = struct.pack(">I4sI4s4s4s", at + len(body), b"\0\0\0\0", 0x02100000, kind, space, connection) + bytes(12) + b"acsp"
    return header + bytes(68 - len(header)) + s15(0.9642, 1, 0.8249) + bytes(48) + table + body


def s15(*values):
    return struct.pack(f">{len(values)}i", *(round(v * 65536) for v in values))


def curve(gamma):
    return b"curv\0\0\0\0" + struct.pack(">IH", 1, round(gamma * 256)) + b"\0\0"


def wide_profile():
    """Wider than sRGB, with gamma 2.2."""
    xyz = lambda *values: b"XYZ \0\0\0\0" + s15(*values)
    return icc(b"RGB ", b"XYZ ", {b"rXYZ": xyz(0.60974, 0.31111, 0.01947), b"gXYZ": xyz(0.20528, 0.62567, 0.06087),
                                  b"bXYZ": xyz(0.14919, 0.06322, 0.74457), **{c + b"TRC": curve(2.2) for c in (b"r", b"g", b"b")}})


def grey_profile():
    """Samples in proportion to light."""
    return icc(b"GRAY", b"XYZ ", {b"kTRC": curve(1)})


def ink_profile():
    """Four inks, each taking away light, with a table of two steps an ink."""
    nodes = bytes(v for node in range(16) for c, m, y, k in [(node >> 3, node >> 2 & 1, node >> 1 & 1, node & 1)]
                  for v in ((255 - 70 * c - 70 * m - 20 * y) * (1 - k), 128 - 40 * c + 70 * m, 128 - 45 * c + 90 * y))
    straight = bytes(range(256))
    return icc(b"CMYK", b"Lab ", {b"A2B0": b"mft1\0\0\0\0\4\3\2\0" + s15(1, 0, 0, 0, 1, 0, 0, 0, 1) + straight * 4 + nodes + straight * 3})


def with_chunk(data, kind, body):
    """A PNG with one more chunk behind its header."""
    return data[:33] + struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body)) + data[33:]


def with_profile(data, profile):
    """A PNG with a colour profile."""
    return with_chunk(data, b"iCCP", b"x\0\0" + zlib.compress(profile))


def tiff(pages, photometric=1, channels=1, profile=b""):
    """Pictures of 4 x 4 pixels in one file, each of one colour."""
    data = b"II*\0" + struct.pack("<I", 8)
    for i, pixel in enumerate(pages):
        body = bytes(pixel) * 16
        behind = len(data) + 2 + 12 * (10 if profile else 9) + 4
        depths = behind + len(body)
        entries = [(256, 3, 1, 4), (257, 3, 1, 4), (258, 3, channels, depths if channels > 2 else 8), (259, 3, 1, 1),
                   (262, 3, 1, photometric), (273, 4, 1, behind), (277, 3, 1, channels), (278, 3, 1, 4), (279, 4, 1, len(body))]
        if profile:
            entries.append((34675, 7, len(profile), depths + 8))
        after = depths + 8 + len(profile)
        data += struct.pack("<H", len(entries)) + b"".join(struct.pack("<HHII", *entry) for entry in entries)
        data += struct.pack("<I", 0 if i + 1 == len(pages) else after) + body + struct.pack("<4H", 8, 8, 8, 8) + profile
    return data


def with_thumbnail(jpeg, thumbnail):
    """A JPEG with the maker's name and a small picture in its EXIF block."""
    maker = b"Somebody\0\0"
    first = struct.pack("<H", 1) + struct.pack("<HHII", 0x10F, 2, len(maker), 8 + 18) + struct.pack("<I", 8 + 18 + len(maker))
    at = 8 + 18 + len(maker) + 2 + 3 * 12 + 4
    second = struct.pack("<H", 3) + b"".join(struct.pack("<HHII", *entry) for entry in (
        (0x103, 3, 1, 6), (0x201, 4, 1, at), (0x202, 4, 1, len(thumbnail)))) + bytes(4)
    exif = b"Exif\0\0II*\0\x08\0\0\0" + first + maker + second + thumbnail
    return jpeg[:2] + b"\xff\xe1" + struct.pack(">H", len(exif) + 2) + exif + jpeg[2:]


def with_half_columns(jpeg):
    """A grey JPEG of 4:2:2 with the tables of one of 4:4:4, 64 x 64: every block is the code for nothing new."""
    frame, scan = jpeg.index(b"\xff\xc0"), jpeg.index(b"\xff\xda")
    head = bytearray(jpeg[:scan + 2 + int.from_bytes(jpeg[scan + 2:scan + 4], "big")])
    head[frame + 11] = 0x21
    bits = ("001010" * 2 + "0000" * 2) * (4 * 8)
    return bytes(head) + int(bits, 2).to_bytes(len(bits) // 8, "big") + b"\xff\xd9"
