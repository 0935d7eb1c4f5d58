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
import zlib

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


def python_zip(path):
    with zipfile.ZipFile(path, "w") as archive:
        for name, data in FILES.items():
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
    """One entry, whose headers may say anything. The sizes are the true ones unless given."""

    name: bytes
    data: bytes = b"x"
    system: int = UNIX
    attributes: int = ORDINARY
    method: int = 0
    size: int = None
    packed: int = None
    extra: bytes = b""
    flags: int = 0
    at: int = None  # the position given for its local header, if not the true one

    def __post_init__(self):
        self.sum = zlib.crc32(self.data)
        self.size = len(self.data) if self.size is None else self.size
        self.packed = len(self.data) if self.packed is None else self.packed

    def local(self):
        return struct.pack("<4s5H3I2H", b"PK\3\4", 20, self.flags, self.method, 0, 0x21,
                           self.sum, self.packed, self.size, len(self.name), 0) + self.name + self.data

    def central(self, offset):
        return struct.pack("<4s6H3I5H2I", b"PK\1\2", self.system | 20, 20, self.flags,
                           self.method, 0, 0x21, self.sum, self.packed, self.size, len(self.name),
                           len(self.extra), 0, 0, 0, self.attributes,
                           offset if self.at is None else self.at) + self.name + self.extra


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


FINE = Entry(b"fine.txt", b"fine")

ESCAPING = plain(FINE, Entry(b"../up.txt"), Entry(b"sub/../../up.txt"), Entry(b"/root.txt"),
                 Entry(b"C:/drive.txt"), Entry(b"C:\\dos.txt", system=DOS),
                 Entry(b"..\\dosup.txt", system=DOS))

HUGE = 0xFFFFFFFF
PACKED = zlib.compress(b"packed" * 9, wbits=-15)

# Entries that exist and cannot be read.
UNREADABLE = zip64(
    FINE, Entry(b"stored_bomb", size=0xFFFFFFF0), Entry(b"deflated_bomb", method=8, size=0xFFFFFFF0),
    Entry(b"packed_lie", method=8, size=0xFFFFFFF0, packed=0xFFFFFFF0),
    Entry(b"bomb64", size=HUGE, extra=numbers64(1 << 40)),
    Entry(b"negative64", size=HUGE, extra=numbers64((1 << 64) - 2)), Entry(b"missing64", size=HUGE),
    Entry(b"extra64", size=HUGE, extra=struct.pack("<2H", 7, 60000) + b"..."),
    Entry(b"encrypted", flags=1), Entry(b"bzip2", method=12), Entry(b"longer", PACKED, method=8, size=55),
    Entry(b"misplaced", at=1), Entry(b"empty", size=0, packed=0))

# Entries without a place in the tree, and more of them than get a line each.
LEFT_OUT = plain(
    FINE, Entry(b"link", b"fine.txt", attributes=SYMBOLIC_LINK), Entry(b"n" * 2000),
    Entry(b"/".join([b"d"] * 100)), Entry(b""), Entry(b"\ns\x7f/../\xc2\x9b"),
    Entry(b"fine.txt/below"), Entry(b"twice", b"first"), Entry(b"twice", b"second"), Entry(b"folder/file"),
    Entry(b"folder"), Entry(b"//"))

# Archives that cannot be mounted. Some crash or stop a program that trusts them.
HOSTILE = {
    "many_levels": plain(*(Entry(b"%05d" % i + b"/d" * 62) for i in range(4000))),
    "locator_first": locator64(42) + end(0, 0, 0) + end64(0, 0, 0),
    "countless": zip64(FINE).replace(struct.pack("<2Q", 1, 1), struct.pack("<2Q", 1 << 60, 1 << 60)),
    "overlap": plain(*(Entry(b"%d" % i, size=200, packed=200, at=0) for i in range(9))),
    "elsewhere": plain(FINE)[:-12] + struct.pack("<2IH", 50, 50, 0),
    "fewer": plain(FINE, Entry(b"more")).replace(struct.pack("<2H", 2, 2), struct.pack("<2H", 1, 1)),
    "part": plain(FINE)[:-18] + struct.pack("<7H", 1, 1, 1, 1, 0, 0, 0),
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
    info_zip(path("infozip.zip"), program)
    big_zip(path("big.zip"))
    stored = [Entry(name.encode().replace(b"/", b"\\"), data, DOS) for name, data in FILES.items()]
    sizes = struct.pack("<3H", 7, 2, 0) + numbers64(3, 3)
    stored64 = zip64(*stored, Entry(b"far.txt", b"far", size=HUGE, packed=HUGE, extra=sizes))
    program_text = b"#!/bin/sh\nexit\n"
    write("zip64.zip", stored64)
    write("behind_program64.zip", program_text + stored64)
    with open(path("python.zip"), "rb") as archive:
        write("behind_program.zip", program_text + archive.read())
    write("small.zip", plain(FINE))
    comment = b"like " + end(0, 0, 0) + b" or " + end(0, 0, 0)
    write("comment.zip", plain(FINE)[:-2] + struct.pack("<H", len(comment)) + comment)
    with zipfile.ZipFile(path("both_kinds.zip"), "w") as archive:
        archive.writestr("s", b"stored")
        archive.writestr("d", b"deflated" * 9, zipfile.ZIP_DEFLATED)
    write("escaping.zip", ESCAPING)
    write("unreadable.zip", UNREADABLE)
    write("left_out.zip", LEFT_OUT)
    for name, data in HOSTILE.items():
        write("hostile/%s.zip" % name, data)


main(*sys.argv[1:])
