#!/usr/bin/env python3
"""Checks rules of the tree that no compiler checks, and names each line that breaks one.

Layers (LAYERS): a file includes only headers of lower layers and of its own folder. Folders of one layer
cannot include each other, except the pairs in BESIDE. Only src/platform includes the system's headers.
Costly headers: a public header includes a large standard header only for what it is needed for (COSTLY).
Names: no two files, and no two headers as they are included, differ only in upper and lower case.
"""
import pathlib
import re
import subprocess
import sys

# From the lowest layer to the highest. A folder of inc/ is in the layer of the src/ folder of that name.
LAYERS = (("platform",),
          ("core",),
          ("common", "random"),
          ("math",),
          ("shm",),
          ("vfs", "tasks", "config"),
          ("lua", "mail", "util"),
          ("io",),
          ("serial",),
          ("globals", "globals.h", "library.cpp"))
LAYER_OF = {folder: number for number, folders in enumerate(LAYERS) for folder in folders}
BESIDE = {("library.cpp", "globals"), ("library.cpp", "globals.h"), ("globals", "globals.h")}
# Headers with ".h" that do not belong to a system: those of C, of the dependencies and of the processor.
C_HEADERS = {"math.h", "stdarg.h", "stddef.h", "stdint.h", "string.h", "stdbool.h"}
OTHERS_HEADERS = re.compile(r"oneapi/|tbb/|lua|lauxlib|lualib|physfs|zlib|iconv|[a-z]+intrin")
ONE_SYSTEMS = re.compile(r"platform/(\w+)/")
# Standard headers of more than 25,000 lines with all that they include. Everybody who includes a public
# header pays for them, so it has to use what is named here.
COSTLY = {"algorithm": "std::ranges::", "functional": "std::function", "memory": "std::(unique|shared)_ptr",
          **dict.fromkeys(("chrono", "filesystem", "fstream", "future", "iostream", "mutex", "ranges", "regex",
                           "sstream", "thread"), "$^")}
INCLUDE = re.compile(r'\s*#\s*include\s+(["<])([^">]+)')


def tracked():
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                           check=True, capture_output=True, text=True).stdout
    return [pathlib.Path(name) for name in names.split("\0") if name and pathlib.Path(name).exists()]


def folder_of(path):
    """The folder below src/ or inc/, or the name of a file directly in src/ or inc/."""
    return path.parts[1].lower()


def may_use(source, system):
    """Whether the source may include headers of the system's folder: it is there, or completes posix."""
    own = ONE_SYSTEMS.search(source.as_posix())
    return own is not None and (own[1] == system or (system == "posix" and own[1] != "win32"))


def include_offence(source, kind, header):
    """What is wrong with the include, or None."""
    own = folder_of(source)
    if own not in LAYER_OF:
        return f"{own} has no layer yet: add it to LAYERS in scripts/check_tree.py"
    other, *names = header.lower().split("/")
    if kind == "<" and not (names and other in LAYER_OF):
        is_system = header.endswith(".h") and header not in C_HEADERS and not OTHERS_HEADERS.match(header)
        return f"<{header}> belongs in src/platform" if is_system and own != "platform" else None
    system = ONE_SYSTEMS.match(header)
    if system and not may_use(source, system[1]):
        return f'"{header}" is one system\'s; include what others have, too'
    if other == own or (own, other) in BESIDE:
        return None
    if other not in LAYER_OF:
        return f'"{header}" is in no folder of the library'
    if LAYER_OF[other] >= LAYER_OF[own]:
        return f'"{header}" is in layer {LAYER_OF[other]} ({other}), this file in {LAYER_OF[own]} ({own})'
    return None


def layer_offences(files):
    for source in files:
        if source.parts[0] not in ("src", "inc") or source.suffix not in (".h", ".cpp", ".c"):
            continue
        for number, line in enumerate(source.read_text().splitlines(), 1):
            include = INCLUDE.match(line)
            offence = include and include_offence(source, *include.groups())
            if offence:
                yield f"{source}:{number}: {offence}"


def cost_offences(files):
    for source in files:
        if source.parts[0] != "inc":
            continue
        text = source.read_text()
        for header in re.findall(r"^#include <(\w+)>", text, re.M):
            if not re.search(COSTLY.get(header, ""), text):
                yield f"{source}: <{header}> is large, and not needed here"


def case_offences(files):
    seen = {}
    included = [path.relative_to(path.parts[0]) for path in files
                if path.parts[0] in ("src", "inc") and path.suffix == ".h"]
    for path in files + included:
        first = seen.setdefault(str(path).lower(), path)
        if first != path:
            yield f"{path}: differs from {first} in upper and lower case alone"


def main():
    files = tracked()
    offences = [*layer_offences(files), *cost_offences(files), *case_offences(files)]
    print("\n".join(offences) if offences else f"{len(files)} files, no offence")
    return 1 if offences else 0


if __name__ == "__main__":
    sys.exit(main())
