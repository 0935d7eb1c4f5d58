#!/usr/bin/env python3
"""Makes the archives that archive_test.cpp mounts: make_archives.py <folder> <the program zip>."""
import array
import dataclasses
import os
import shutil
import struct
import subprocess
import sys
import zipfile

FILES = {
    "stored.txt": b"as it is",
    "deflated.txt": b"again and again " * 1000,
    "sub/one.txt": b"below",
    "\u0444\u0430\u0439\u043b/\u20ac.txt": b"beyond ASCII",
}
SYMBOLIC_LINK = 0o120777 << 16
ORDINARY = 0o100644 << 16
UNIX = 3 << 8
DOS = 0


def python_zip(path, extra=()):
    with zipfile.ZipFile(path, "w") as archive:
        for name, data in list(extra) + list(FILES.items()):
            stored = name == "stored.txt"
            archive.writestr(name, data, zipfile.ZIP_STORED if stored else zipfile.ZIP_DEFLATED)


def info_zip(path, program):
    folder = path + ".files"
    for name, data in FILES.items():
        file = os.path.join(folder, name)
        os.makedirs(os.path.dirname(file), exist_ok=True)
        with open(file, "wb") as output:
            output.write(data)
    environment = {**os.environ, "LC_ALL": "C.UTF-8"}
    subprocess.run([program, "-q", "-X", "-r", path, "."], cwd=folder, env=environment, check=True)
    shutil.rmtree(folder)


def big_zip(path):
    """Words that count up, four million each."""
    words = array.array("I", range(4 << 20))
    if sys.byteorder == "big":
        words.byteswap()
    with zipfile.ZipFile(path, "w") as archive:
        archive.writestr("stored.bin", words.tobytes(), zipfile.ZIP_STORED)
        archive.writestr("deflated.bin", words.tobytes(), zipfile.ZIP_DEFLATED, 1)


@dataclasses.dataclass
class Entry:
    """One entry, whose headers may say anything; of the sizes, what is true."""

    name: bytes
    data: bytes = b"x"
    system: int = UNIX
    attributes: int = ORDINARY
    method: int = 0
    size: int = None
    packed: int = None
    extra: bytes = b""

    def __post_init__(self):
        self.size = len(self.data) if self.size is None else self.size
        self.packed = len(self.data) if self.packed is None else self.packed

    def local(self):
        return struct.pack("<4s5H3I2H", b"PK\3\4", 20, 0, self.method, 0, 0x21, 0, self.packed,
                           self.size, len(self.name), 0) + self.name + self.data

    def central(self, offset):
        return struct.pack("<4s6H3I5H2I", b"PK\1\2", self.system | 20, 20, 0, self.method, 0, 0x21,
                           0, self.packed, self.size, len(self.name), len(self.extra), 0, 0, 0,
                           self.attributes, offset) + self.name + self.extra


def end(count, size, offset):
    return struct.pack("<4s4H2IH", b"PK\5\6", 0, 0, count, count, size, offset, 0)


def locator64(offset):
    return struct.pack("<4sIQI", b"PK\6\7", 0, offset, 1)


def end64(count, size, offset):
    return struct.pack("<4sQ2H2I4Q", b"PK\6\6", 44, 45, 45, 0, 0, count, count, size, offset)


def pack(entries):
    body = directory = b""
    for entry in entries:
        directory += entry.central(len(body))
        body += entry.local()
    return body, directory


def plain(*entries):
    body, directory = pack(entries)
    return body + directory + end(len(entries), len(directory), len(body))


def zip64(*entries):
    body, directory = pack(entries)
    position = len(body) + len(directory)
    return (body + directory + end64(len(entries), len(directory), len(body)) +
            locator64(position) + end(0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF))


def numbers64(*numbers):
    return struct.pack("<2H%dQ" % len(numbers), 1, 8 * len(numbers), *numbers)


def link(target, **fields):
    return Entry(b"link", target, attributes=SYMBOLIC_LINK, **fields)


FINE = Entry(b"fine.txt", b"fine")

ESCAPING = plain(FINE, Entry(b"../up.txt"), Entry(b"sub/../../up.txt"), Entry(b"/root.txt"),
                 Entry(b"C:/drive.txt"), Entry(b"C:\\dos.txt", system=DOS),
                 Entry(b"..\\dosup.txt", system=DOS))

HUGE = 0xFFFFFFFF
# Nobody can mount these. Some bring down or stop who tries.
HOSTILE = {
    "stored_bomb": plain(FINE, Entry(b"bomb", size=0xFFFFFFF0)),
    "deflated_bomb": plain(FINE, Entry(b"bomb", method=8, size=0xFFFFFFF0)),
    "packed_lie": plain(FINE, Entry(b"bomb", method=8, size=0xFFFFFFF0, packed=0xFFFFFFF0)),
    "bomb64": zip64(FINE, Entry(b"bomb", size=HUGE, extra=numbers64(1 << 40))),
    "negative64": zip64(FINE, Entry(b"bomb", size=HUGE, extra=numbers64((1 << 64) - 2))),
    "missing64": zip64(FINE, Entry(b"bomb", size=HUGE)),
    # An extra field beyond its entry leads to other entries than the ones that were looked at.
    "extra64": zip64(FINE, Entry(b"bomb", size=HUGE, extra=struct.pack("<2H", 7, 60000) + b"...")),
    "circling_link": plain(FINE, link(b"sub/.hidden")),
    "overlong_link": zip64(FINE, link(b"x" * 70000, size=HUGE,
                                      extra=numbers64((1 << 64) - 1))),
    "deep": plain(FINE, Entry(b"/".join([b"d"] * 30000))),
    "levels": plain(FINE, Entry(b"/".join([b"d"] * 100))),
    "many_levels": plain(*(Entry(b"%05d" % i + b"/d" * 62) for i in range(4000))),
    "long": plain(FINE, Entry(b"n" * 2000)),
    "nameless": plain(FINE, Entry(b"")),
    "locator_first": locator64(42) + end(0, 0, 0) + end64(0, 0, 0),
    "locator_ahead": b"PK\3\4" + bytes(96) + end64(0, 0, 0) + locator64(101) + end(0, 0, 0),
    "countless": zip64(FINE).replace(struct.pack("<2Q", 1, 1), struct.pack("<2Q", 1 << 60, 1 << 60)),
    "empty": b"",
    "end_only": b"PK\5\6",
    "text": b"This is not an archive.\n" * 100,
    "other_format": b"7z\xbc\xaf\x27\x1c" + bytes(200),
}


def main(folder, program):
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(os.path.join(folder, "hostile"))

    def path(name):
        return os.path.abspath(os.path.join(folder, name))

    def write(name, data):
        with open(path(name), "wb") as output:
            output.write(data)

    python_zip(path("python.zip"))
    python_zip(path("java.jar"), [("META-INF/MANIFEST.MF", b"Manifest-Version: 1.0\r\n\r\n")])
    info_zip(path("infozip.zip"), program)
    big_zip(path("big.zip"))
    stored = [Entry(name.encode(), data) for name, data in FILES.items()]
    sizes = struct.pack("<3H", 7, 2, 0) + numbers64(3, 3)
    stored64 = zip64(*stored, Entry(b"far.txt", b"far", size=HUGE, packed=HUGE, extra=sizes))
    program_text = b"#!/bin/sh\nexit\n"
    write("zip64.zip", stored64)
    write("behind_program64.zip", program_text + stored64)
    with open(path("python.zip"), "rb") as archive:
        write("behind_program.zip", program_text + archive.read())
    write("small.zip", plain(FINE))
    with zipfile.ZipFile(path("both_kinds.zip"), "w") as archive:
        archive.writestr("s", b"stored")
        archive.writestr("d", b"deflated" * 9, zipfile.ZIP_DEFLATED)
    write("escaping.zip", ESCAPING)
    for name, data in HOSTILE.items():
        write("hostile/%s.zip" % name, data)


main(*sys.argv[1:])
