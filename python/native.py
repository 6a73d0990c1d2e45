"""The C extension: libzel_chain's header as it stands, for cffi."""
import os
import re
from pathlib import Path

from cffi import FFI

HERE = Path(__file__).parent
# In the sdist the library's sources lie in native/, in the repository around this folder.
SOURCES = Path(os.environ.get("ZEL_SOURCES") or (HERE / "native" if (HERE / "native").is_dir() else HERE.parent)).resolve()
LIBRARIES = HERE / "build" / ("zel" + re.sub(r"\W+", "-", os.environ.get("ZEL_SANITIZE", "")))


def declarations(header: str) -> str:
    """The declarations of a C header, without what only a compiler needs."""
    text = re.sub(r"/\*.*?\*/", "", header, flags=re.S)
    constants = re.findall(r"^#define (ZEL_\w+) (-?\d+)\s*$", text, flags=re.M)
    text = re.sub(r"^#if.*?^#endif.*?$", lambda m: "" if "ZEL_CHAIN_API" in m[0] or "__cplusplus" in m[0] else m[0], text, flags=re.S | re.M)
    text = re.sub(r"^(#|extern \"C\"|}$).*$", "", text, flags=re.M)
    text = re.sub(r"\bZEL_\w*API\b|\bZEL_CALL\b", "", text)
    return "".join(f"#define {name} {value}\n" for name, value in constants) + text


ffi = FFI()
ffi.cdef(declarations((SOURCES / "include" / "zel_chain.h").read_text()))
ffi.cdef('extern "Python" int32_t zel_progress(void *user, double done);')
sanitize = [f"-fsanitize={os.environ['ZEL_SANITIZE']}"] if os.environ.get("ZEL_SANITIZE") else []
ffi.set_source(
    "zel._native",
    "#define ZEL_STATIC\n#include <zel_chain.h>",
    include_dirs=[str(SOURCES / "include")],
    extra_objects=[str(LIBRARIES / "libzel_chain.a"), str(LIBRARIES / "libzel.a")],
    extra_compile_args=["-fvisibility=hidden", *sanitize],
    # With the C++ library inside, the wheel needs none of the system's; its symbols and ours stay out of sight.
    extra_link_args=["-Wl,--exclude-libs,ALL", "-static-libgcc", "-l:libstdc++.a", "-lm", *sanitize],
)
