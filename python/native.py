"""The C extension: libzel_chain's header as it stands, for cffi."""
import os
import re
from pathlib import Path

from cffi import FFI

HERE = Path(__file__).resolve().parent
# In the sdist the library's sources lie in native/, in the repository around this folder.
SOURCES = HERE / "native" if (HERE / "native").is_dir() else HERE.parent
# A build of the library that is there already, or where one is made.
GIVEN = os.environ.get("ZEL_LIBRARIES", "")
LIBRARIES = Path(GIVEN).resolve() if GIVEN else HERE / "build" / "zel"


def declarations(header: str, other_header: str) -> str:
    """The declarations of a C header without what only a compiler needs; of another its records of places and its numbers."""
    text, other = (re.sub(r"/\*.*?\*/", "", part, flags=re.S).replace("\\\n", " ") for part in (header, other_header))
    constants = re.findall(r"^#define (ZEL_\w+)\s+(-?\d+)\s*$", text + other, flags=re.M)
    text = re.sub(r"^#if.*?^#endif.*?$", lambda m: "" if "define ZEL_" in m[0] or "__cplusplus" in m[0] else m[0], text,
                  flags=re.S | re.M)  # fmt: skip
    text = re.sub(r"^(#|extern \"C\"|}$).*$", "", text, flags=re.M)
    text = re.sub(r"\bZEL_\w*API\b|\bZEL_CALL\b", "", text)
    records = re.findall(r"^typedef struct (?:ZelRect|ZelPoint) \{.*?^\} \w+;", other, flags=re.S | re.M)
    return "".join(f"#define {name} {value}\n" for name, value in constants) + "\n".join(records) + text


ffi = FFI()
INCLUDE = SOURCES / "include"
ffi.cdef(declarations((INCLUDE / "zel_chain.h").read_text(), (INCLUDE / "zel.h").read_text()))
ffi.cdef('extern "Python" int32_t zel_progress(void *user, double done);')
sanitize = [f"-fsanitize={os.environ['ZEL_SANITIZE']}"] if os.environ.get("ZEL_SANITIZE") else []
ffi.set_source(
    "zel._native",
    "#define ZEL_STATIC\n#include <zel_chain.h>",
    include_dirs=[str(INCLUDE)],
    extra_objects=[str(LIBRARIES / "libzel_chain.a"), str(LIBRARIES / "libzel.a")],
    extra_compile_args=["-fvisibility=hidden", *sanitize],
    # With the C++ library inside, the wheel needs none of the system's; its symbols and ours stay out of sight.
    extra_link_args=["-Wl,--exclude-libs,ALL", "-static-libgcc", "-l:libstdc++.a", "-lm", *sanitize],
)
