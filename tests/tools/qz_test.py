"""Runs the command-line tool as its users do: qz_test.py [emulator] path/to/qz"""
import json
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest

COMMAND = []
ON_WINDOWS = sys.platform == "win32" or "wine" in " ".join(sys.argv)

SETTINGS = ('// how the window looks\r\n'
            'title = "Outpost";\r\n'
            'graphics {\r\n'
            '    width  = 640 * 2;  // pixels\r\n'
            '    scale = 1.50;\r\n'
            '    colors = {{255, 0, 0}, {0, 255, 0}};\r\n'
            '}\r\n'
            'key = 1;\r\n'
            'key = 2;\r\n')


def hash_of(data, seed):
    """MurmurHash2, the sum of the file's format."""
    def mixed(word):
        word = word * 0x5BD1E995 & 0xFFFFFFFF
        return (word ^ word >> 24) * 0x5BD1E995 & 0xFFFFFFFF
    value = seed ^ len(data)
    whole = len(data) & ~3
    for (word,) in struct.iter_unpack("<I", data[:whole]):
        value = (value * 0x5BD1E995 ^ mixed(word)) & 0xFFFFFFFF
    if data[whole:]:
        value = (value ^ int.from_bytes(data[whole:], "little")) * 0x5BD1E995 & 0xFFFFFFFF
    value = (value ^ value >> 13) * 0x5BD1E995 & 0xFFFFFFFF
    return value ^ value >> 15


def saved(body, version=1):
    """A file of saved objects."""
    head = b"\x89QZO\r\n\x1a" + bytes([version]) + struct.pack("<Q", len(body))
    return head + body + struct.pack("<I", hash_of(body, hash_of(head, 0)))


# Version 3; a record with a text and four references: a ship, null, the ship, and a port of version 7
# whose class name has control characters. The ship refers to the port and to itself.
SAVED = saved(b"\3" + b"\x04\x04" + b"\1\0\4Ship\0" + b"\0" + b"\1" + b"\2\1\7P\x1b\x9b\xe2\x80\xae\"\7" + b"\3a\x1bz" +
              b"\x12\x02" + b"\2\1" + bytes(range(64, 82)) + b"\0\0")


def compact(number):
    """The number, seven bits in a byte."""
    more = number >> 7
    return (bytes([number & 127 | 128]) + compact(more)) if more else bytes([number])


def field(name, kind, more=b""):
    return bytes([len(name)]) + name.encode() + bytes([kind]) + more


def group(*fields, kind=11, varies=0):
    """What is behind the kind of a group, a list or an optional value."""
    return bytes([varies]) + compact(len(fields)) + b"".join(fields)


# A list of two references and a place; then a ship, and a port of which not all is told.
NAMED = (b"\x0a\x02" + b"\1\0\4Ship\0" + b"\2\1\4Port\0" + b"\2" + b"\0\0\xc0\x3f" + b"\0\0\x80\x7f" + b"\1" +
         b"\x0c\x01" + b"\2" + b"\2\\\x1b" + b"\1\7" + b"\2\1\2" + b"\1\xff\1" + b"\1" +
         b"\3\x01" + b"\0" + b"\5xy")
NAMES = b"\3" + b"".join((
    field("", 11, group(field("fleet", 12, group(field("", 14))), field("place", 11, group(field("", 7), field("", 7))),
                        field("open", 1))),
    field("", 11, group(field("name", 9, b"\2"), field("crew", 13, group(field("", 6))), field("log", 9, b"\4"),
                        field("depths", 12, group(field("", 5))), field("home", 14), field("home", 1))),
    field("", 11, group(field("kind", 5), varies=1))))


class QzTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.file("settings.cfg", SETTINGS)

    def file(self, name, text):
        (self.folder / name).write_bytes(text.encode())

    def text(self, name="settings.cfg"):
        return (self.folder / name).read_bytes().decode()

    def run_with(self, given, *arguments, **options):
        return subprocess.run([*COMMAND, *arguments], cwd=self.folder, timeout=60, input=given,
                              capture_output=True, **options)

    def run_qz(self, *arguments, code=0):
        """Checks the exit code; returns standard output, or standard error after a failure. The other is empty."""
        done = self.run_with("", *arguments, text=True)
        printed, other = (done.stderr, done.stdout) if code else (done.stdout, done.stderr)
        self.assertEqual((done.returncode, other), (code, ""), printed)
        return printed

    def conf(self, *arguments):
        return self.run_qz("conf", *arguments)

    def refused(self, *arguments):
        return self.run_qz("conf", *arguments, code=1)

    def test_check_shows_the_spot(self):
        self.assertEqual(self.conf("check", "settings.cfg"), "")
        self.file("token.cfg", 'ä = 1;\r\n\r\nb = 2 @ 3;\r\n'.replace("ä", "a"))
        self.file("grammar.cfg", 'text = "äöü" = 1;\r\n')
        self.file("end.cfg", "a {\r\n  b = 1;\r\n")
        err = self.refused("check", "token.cfg", "nowhere.cfg", "grammar.cfg", "end.cfg",
                           "settings.cfg")
        self.assertIn("token.cfg:3: error: nothing begins with this character, at offset 16\n"
                      "    b = 2 @ 3;\n"
                      "          ^\n", err)
        self.assertIn("grammar.cfg:1: error: this is not expected here, at offset 16\n"
                      '    text = "äöü" = 1;\n'
                      "                 ^\n", err)
        self.assertIn("nowhere.cfg: cannot be read: there is no such file\n", err)
        self.assertIn("end.cfg:3: error: the file ends too early", err)
        self.assertNotIn("settings.cfg", err)
        self.file("long.cfg", 'a = "' + "ä" * 40 + '"  @ "' + "ä" * 80 + '";\r\n')
        self.assertIn("    " + "ä" * 23 + '"  @ "' + "ä" * 23 + "\n", self.refused("check", "long.cfg"))
        # The output has nothing that a terminal takes as a command.
        self.file("command.cfg", '\ta = "\u009b2J" @;\r\n')
        self.assertIn('     a = "\\xc2\\x9b2J" @;\n' + " " * 22 + "^\n",
                      self.refused("check", "command.cfg"))

    def test_mistakes_say_what_to_do(self):
        for text, advice in (("a = 1;\nb = 2;\n", "1: error: this line ends in a line feed alone"),
                             ("\ufeffa = 1;\r\n", "1: error: the file begins with a byte-order mark"),
                             ("a = 1; # one\r\n", "write // in its place, at offset 7"),
                             ("a = 1e6;\r\n", "needs a point: 1.0e6, at offset 5"),
                             ("a = 1.5e3x;\r\n", "this is not expected here"),
                             ("a = -2147483649;\r\n", "this one is too large, at offset 4"),
                             ("a = 'x;\r\n", "this quote, or one before it, is not closed"),
                             ("a = 'x;\r\nb = 'y;\r\n", "1: error: this quote is not closed in"),
                             ("a = 'xy';\r\n", "a text stands in double quotes"),
                             ("a = 1; /* one\r\n", "this comment is not closed"),
                             ("a = 1; // one", "needs an end of line behind it")):
            self.file("bad.cfg", text)
            self.assertIn(advice, self.refused("check", "bad.cfg"))
        self.assertIn(": is a directory", self.refused("get", ".", "a"))
        self.assertIn("name\\x1b[2J: cannot be read", self.refused("get", "name\x1b[2J", "a"))

    def test_comment_that_swallows_the_next_line(self):
        self.file("comment.cfg", "a = 1; // one\nb = 2;\r\n")
        done = self.run_with(b"", "conf", "check", "comment.cfg")
        self.assertEqual((done.returncode, done.stdout), (0, b""))
        self.assertIn(b"comment.cfg:1: warning: this line ends in a line feed alone", done.stderr)
        self.conf("fix-eol", "comment.cfg")
        self.assertEqual(self.text("comment.cfg"), "a = 1; // one\r\nb = 2;\r\n")
        self.assertEqual(self.conf("check", "comment.cfg"), "")
        self.file("image.png", "\x89PNG\r\n\x1a\n\0")
        self.assertIn("is no text", self.refused("fix-eol", "image.png"))

    def test_standard_input(self):
        for text, arguments, printed in ((b"a = 7;\r\n", ("get", "-", "a"), b"7\n"),
                                         (b"a = 7; //\r\n", ("set", "-", "a", "8"), b"a = 8; //\r\n")):
            self.assertEqual(self.run_with(text, "conf", *arguments).stdout, printed)

    def test_bare_line_feeds(self):
        self.file("lf.cfg", "a = 1;\n\nb = 2 @ 3;\n")
        self.assertIn("lf.cfg:1:", self.refused("check", "lf.cfg"))
        self.assertIn("lf.cfg:3: error: nothing begins with this character, at offset 14\n",
                      self.refused("check", "--lf", "lf.cfg"))
        self.file("lf.cfg", "// first\na = 1; // one\n")
        self.conf("set", "--lf", "lf.cfg", "a", "2")
        self.assertEqual(self.text("lf.cfg"), "// first\na = 2; // one\n")
        # Changes only what was set, and no text in quotes or lines that end in CR LF.
        self.file("lf.cfg", 's = "1\n\r\n"; // "\nc = \'\n\';\r\n/* \n */ a = 1;\nz = 1;\r\n')
        self.conf("set", "--lf", "lf.cfg", "a", "2")
        self.conf("set", "--lf", "lf.cfg", "b", "3")
        self.assertEqual(self.text("lf.cfg"), 's = "1\n\r\n"; // "\nc = \'\n\';\r\n/* \n */ a = 2;\n'
                         "z = 1;\r\nb = 3;\n")
        self.assertEqual(json.loads(self.conf("json", "--lf", "lf.cfg"))["s"], "1\n\r\n")
        for before, after in (("    1 // one\n// more\r\n// again\r\n", "    1, // one\n// more\r\n// again\r\n    2\n"),
                              ("    1\r\n", "    1,\r\n    2\n")):
            self.file("lf.cfg", "a = {\n" + before + "};\n")
            self.conf("set", "--lf", "lf.cfg", "a.1", "2")
            self.assertEqual(self.text("lf.cfg"), "a = {\n" + after + "};\n")

    def test_get(self):
        for path, value in (("title", "Outpost"), ("graphics.width", "1280"),
                            ("graphics.scale", "1.5"), ("graphics.colors.1", "[0, 255, 0]"),
                            ("graphics.colors.1.1", "255"), ("key", "1")):
            self.assertEqual(self.conf("get", "settings.cfg", path), value + "\n")
        for path, problem in (("graphics.height", "is missing"), ("title.x", "leads through"),
                              ("graphics.colors.x", "leads to no item"),
                              ("graphics.colors.2", "leads to no item"), ("graphics..x", "is no path")):
            self.assertIn(problem, self.refused("get", "settings.cfg", path))

    def test_set_changes_nothing_else(self):
        expected = SETTINGS
        for path, value, old, new in (
                ("graphics.width", "800", "640 * 2;", "800;"),
                ("graphics.colors.1.2", "7", "{0, 255, 0}", "{0, 255, 7}"),
                ("title", "7", '"Outpost"', '"7"')):
            self.conf("set", "settings.cfg", path, value)
            expected = expected.replace(old, new)
            self.assertEqual(self.text(), expected)
        for path, value in (("sound.music.volume", "0.5"), ("graphics.name", "x y"),
                            ("graphics.colors.2", "9")):
            self.conf("set", "settings.cfg", path, value)
            self.assertEqual(self.conf("get", "settings.cfg", path), value + "\n")
        self.assertIn("// pixels\r\n", self.text())
        for path, value, number in (("hex", "0x20", 32), ("hex", "-0X1f", -31), ("hex", "0xFFFFFFFF", -1),
                                    ("text", "0x", "0x"), ("graphics.scale", "1700000000123",
                                                           1700000000123.0)):
            self.conf("set", "settings.cfg", path, value)
            self.assertEqual(self.conf("get", "settings.cfg", path), f"{number}\n")
        for path in ("sub\\s.cfg", "sub/s.cfg"):  # either separator
            (self.folder / "sub").mkdir(exist_ok=True)
            self.file("sub/s.cfg", "a = 1;\r\n")
            self.conf("set", path, "a", "2")
            self.assertEqual(self.text("sub/s.cfg"), "a = 2;\r\n")
        (self.folder / "sub/s.cfg").unlink()
        (self.folder / "sub").rmdir()
        self.file("settings.cfg.new", "somebody else's")
        self.conf("set", "settings.cfg", "key", "true")
        self.assertEqual(self.conf("get", "settings.cfg", "key"), "1\n")
        self.assertEqual(self.text("settings.cfg.new"), "somebody else's")
        (self.folder / "settings.cfg.new").unlink()
        before = self.text()
        for path, value, problem in (("graphics.width", "wide", "is an integer, and 'wide' is"),
                                     ("graphics.scale", "inf", "is a real"),
                                     ("graphics", "1", "is a block or a list"),
                                     ("hex", "0x1G", "is an integer, and '0x1G' is none"),
                                     ("hex", "0x100000000", "an integer is from -2147483648"),
                                     ("large", "1700000000123", "an integer is from -2147483648"),
                                     ("large", "1e400", "no real is as large or as small"),
                                     ("small", "-1e-400", "no real is as large or as small"),
                                     ("hex", "+-5", "is an integer, and '+-5' is none"),
                                     ("no name", "1", "a name that is no identifier")):
            self.assertIn(problem, self.refused("set", "settings.cfg", path, value))
        self.assertEqual(self.text(), before)
        self.assertEqual([path.name for path in self.folder.iterdir()], ["settings.cfg"])

    def test_eight_at_once_lose_nothing(self):
        names = [f"new{i}" for i in range(8)]
        running = [subprocess.Popen([*COMMAND, "conf", "set", "settings.cfg", name, "1"],
                                    cwd=self.folder, stdin=subprocess.DEVNULL) for name in names]
        self.assertEqual([one.wait(60) for one in running], [0] * 8)
        found = json.loads(self.conf("json", "settings.cfg"))
        self.assertLessEqual(set(names), set(found))
        self.assertEqual([path.name for path in self.folder.iterdir()], ["settings.cfg"])

    def test_json_and_format(self):
        expected = {"title": "Outpost", "key": [1, 2],
                    "graphics": {"width": 1280, "scale": 1.5,
                                 "colors": [[255, 0, 0], [0, 255, 0]]}}
        self.assertEqual(json.loads(self.conf("json", "settings.cfg")), expected)
        (self.folder / "bytes.cfg").write_bytes(b'a = "\\\\ \\" \xff\xe4 \x01 \xe2\x82\xac\xed\xa0\x80";\r\n')
        self.assertEqual(json.loads(self.conf("json", "bytes.cfg"))["a"],
                         '\\ " \ufffd\ufffd \x01 \u20ac\ufffd\ufffd\ufffd')
        self.assertIn("width = 1280;", self.conf("fmt", "settings.cfg"))
        self.conf("fmt", "--write", "settings.cfg")
        self.assertEqual(json.loads(self.conf("json", "settings.cfg")), expected)
        self.assertNotIn("pixels", self.text())

    # Redirected output has the same bytes as a file that --write has written.
    def test_output_is_written_as_it_is(self):
        self.file("lines.cfg", 'text = "a\\r\\nb";\r\n')
        self.assertEqual(self.run_with(b"", "conf", "get", "lines.cfg", "text").stdout, b"a\r\nb\n")
        formatted = self.run_with(b"", "conf", "fmt", "settings.cfg").stdout
        self.conf("fmt", "--write", "settings.cfg")
        self.assertEqual(formatted.decode(), self.text())

    @unittest.skipUnless(ON_WINDOWS, "Linux reads devices")
    def test_devices_are_not_opened(self):
        for name in ("NUL", "COM1", "sub/aux.cfg"):
            self.assertIn(": is a device\n", self.refused("check", name))
            self.assertIn(": is a device\n", self.run_qz("dump", name, code=1))

    # Wildcards as shells that do not expand them pass them on.
    @unittest.skipUnless(ON_WINDOWS, "the shell's job")
    def test_wildcards(self):
        for name in ("töne1.cfg", "töne2.cfg"):
            self.file(name, "a = @;\r\n")
        err = self.refused("check", "töne?.cfg")
        self.assertEqual(re.findall(r"^(\S+?):1: error", err, re.M), ["töne1.cfg", "töne2.cfg"])
        self.assertIn("no*.cfg", self.refused("check", "no*.cfg"))
        self.conf("set", "settings.cfg", "filter", "t?ne1.cfg")  # no file
        self.assertEqual(self.conf("get", "settings.cfg", "filter"), "t?ne1.cfg\n")

    def test_retrace(self):
        self.file("a.crash", "# -------------- 20260101-120000 --------------\n/nowhere/game\n"
                             "# C0000005 ACCESS_VIOLATION at 00001234 01:00000234\n"
                             "00001234 00005678 0001:00000234 /nowhere/game\n")
        self.file("b.crash.txt", "no report\n")
        self.run_qz("retrace", ".", "--frob", code=2)
        for count in ("1 report retraced\n", "0 reports retraced\n"):
            self.assertEqual(self.run_qz("retrace", "--", "."), count)
        self.assertEqual(self.text("a.crash.info"), self.text("a.crash")[:-1] +
                         " (not retraced: no such module here)\n")
        self.assertIn("nowhere: no such directory", self.run_qz("retrace", "nowhere", code=1))
        if not ON_WINDOWS:
            (self.folder / "loop.crash").symlink_to("loop.crash")
        with open(self.folder / "large.crash", "wb") as large:
            large.truncate((64 << 20) + 1)
        self.assertIn("0 reports retraced, 1 could not be", self.run_qz("retrace", ".", code=1))

    def test_dump(self):
        (self.folder / "world.qzo").write_bytes(SAVED)
        self.assertEqual(self.run_qz("dump", "world.qzo"), (
            '2 objects, version 3, 4 bytes, 4 references\n'
            '  03 61 1b 7a                                      .a.z\n'
            '  #1 Ship, version 0, 18 bytes, 2 references\n'
            '    40 41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f  @ABCDEFGHIJKLMNO\n'
            '    50 51                                            PQ\n'
            '    #2 P\\x1b\\x9b\\xe2\\x80\\xae", version 7, 0 bytes, 0 references\n'
            '    -> #1\n'
            '  -> null\n'
            '  -> #1\n'
            '  -> #2\n'))
        short = self.run_qz("dump", "--depth", "1", "--bytes", "1", "world.qzo")
        for part in ("  ... 3 more\n  #1 Ship", "    ... 17 more\n    -> #2, below\n    -> #1\n  -> null\n",
                     "  -> #1\n  #2 P"):
            self.assertIn(part, short)
        self.assertEqual(json.loads(self.run_qz("dump", "--json", "world.qzo")), {
            "version": 3, "bytes": "03611b7a", "references": [1, None, 1, 2], "objects": [
                {"number": 1, "class": "Ship", "version": 0, "references": [2, 1],
                 "bytes": bytes(range(64, 82)).hex()},
                {"number": 2, "class": 'P\x1b\ufffd\u202e"', "version": 7, "bytes": "", "references": []}]})

    def test_dump_of_fields_with_names(self):
        body = b"\0" + NAMED + bytes([len(NAMES), 0]) + NAMES
        (self.folder / "world.qzo").write_bytes(saved(body, 2))
        self.assertEqual(self.run_qz("dump", "world.qzo"), (
            '2 objects, version 0, 10 bytes, 2 references\n'
            '  fleet: 2 items\n'
            '    [0]: #1 Ship, version 0, 12 bytes, 1 reference\n'
            '      name: "\\\\\\x1b"\n'
            '      crew (unsigned): 7\n'
            '      log (byte): 1, 2\n'
            '      depths (signed): -128\n'
            '      home: #2 Port, version 0, 3 bytes, 1 reference\n'
            '        kind (signed): -3\n'
            '        78 79                                            xy\n'
            '        -> null\n'
            '      home (bool): true\n'
            '    [1]: -> #2\n'
            '  place (float): 1.5, "inf"\n'
            '  open (bool): true\n'))
        self.assertEqual(json.loads(self.run_qz("dump", "--json", "world.qzo")), {
            "version": 0, "fields": {"fleet": [{"object": 1}, {"object": 2}], "place": [1.5, "inf"], "open": True},
            "objects": [
                {"number": 1, "class": "Ship", "version": 0, "fields": {
                    "name": "\\\x1b", "crew": 7, "log": [1, 2], "depths": [-128], "home": {"object": 2}, "home'2": True}},
                {"number": 2, "class": "Port", "version": 0, "fields": {"kind": -3}, "bytes": "7879",
                 "references": [None]}]})
        # What is said of the values and what there is do not fit; nothing is lost.
        (self.folder / "world.qzo").write_bytes(saved(b"\0\3\0\x7fab" + b"\x11\0\1" + field("", 11, group(
            field("names", 12, group(field("", 9, b"\2"))))), 2))
        self.assertEqual(self.run_qz("dump", "world.qzo"), (
            '0 objects, version 0, 3 bytes, 0 references\n'
            '  7f 61 62                                         .ab\n'))

    def test_dump_of_names_that_come_again(self):
        # One of them is another's key.
        values = compact(8001) + b"\0" + b"\1" * 8001
        names = b"\1" + field("", 11, group(field("a'2", 4), *[field("a", 4)] * 8000))
        (self.folder / "again.qzo").write_bytes(saved(b"\0" + values + compact(len(names)) + b"\0" + names, 2))
        fields = json.loads(self.run_qz("dump", "--json", "again.qzo"))["fields"]
        self.assertEqual(list(fields), ["a'2", "a"] + [f"a'{i}" for i in range(3, 8002)])

    @unittest.skipUnless(sys.platform == "linux", "nothing else tells how much memory a program took")
    def test_dump_takes_less_memory_than_it_prints(self):
        deep = field("", 4)
        for _ in range(64):
            deep = field("n" * 120, 11, group(deep))
        values = compact(10002) + b"\0" + compact(10000) + b"\1" * 10000
        names = b"\1" + field("", 11, group(field("", 12, group(deep))))
        (self.folder / "deep.qzo").write_bytes(saved(b"\0" + values + compact(len(names)) + b"\0" + names, 2))
        with subprocess.Popen([*COMMAND, "dump", "--json", "deep.qzo"], cwd=self.folder, stdout=subprocess.PIPE,
                              env={**os.environ, "ASAN_OPTIONS": "quarantine_size_mb=1"}) as running:
            size = sum(map(len, iter(lambda: running.stdout.read(1 << 16), b"")))
            _, running.returncode, usage = os.wait4(running.pid, 0)
        self.assertEqual(running.returncode, 0)
        self.assertGreater(size, 70_000_000)
        self.assertLess(usage.ru_maxrss * 1024, size)

    def test_dump_of_a_chain_longer_than_any_line(self):
        links = 20000
        body = bytearray(b"\0\0\1\1\0\1L\0")
        for number in range(2, links + 1):
            body += b"\0\1" + compact(number) + b"\0"
        (self.folder / "chain.qzo").write_bytes(saved(bytes(body + b"\0\0")))
        lines = self.run_qz("dump", "chain.qzo").splitlines()
        self.assertEqual([line for line in lines if line.endswith("below")][:2],
                         ["  " * 17 + "-> #17, below", "  " * 17 + "-> #33, below"])
        self.assertEqual([int(line.split("#")[1].split()[0]) for line in lines if "#" in line
                          and "->" not in line], list(range(1, links + 1)))
        self.assertLess(max(map(len, lines)), 100)

    def test_dump_of_files_that_are_wrong(self):
        for data, problem in (
                (b"", "the file ends too early"), (SAVED[:-1], "the file ends too early"),
                (b"GIF89a" * 9, "no file of saved objects"),
                (SAVED[:30] + b"!" + SAVED[31:], "a damaged file: its sum is wrong"),
                (saved(b"\0\0\1\1\0\x80\2" + b"n" * 256 + b"\0\0\0"),
                 "a class whose name is too long"),
                (saved(b"\0\0\2\0\1\0\1A\0\0\7\0"),
                 "references[1]: more references than there can be"),
                (saved(b"\0\0\2\0\1\0\1A\0\0\2\1\2\0\7\0"),
                 "references[1].references[1]: a record that is longer than the file"),
                (saved(b"\0\0\0\0"), "something behind the last object")):
            (self.folder / "bad.qzo").write_bytes(data)
            self.assertEqual(self.run_qz("dump", "bad.qzo", code=1), f"qz: error: bad.qzo: {problem}\n")
        (self.folder / "good.qzo").write_bytes(saved(b"\0\0\1\1\0\xff\1" + b"n" * 255 + b"\0\0\0"))
        self.run_qz("dump", "good.qzo")
        self.assertIn("nowhere: cannot be read: there is no such file", self.run_qz("dump", "nowhere", code=1))
        with open("/dev/zero", "rb") as endless:
            done = subprocess.run([*COMMAND, "dump", "-"], stdin=endless, capture_output=True, timeout=60)
        self.assertEqual(done.stderr, b"qz: error: -: no file of saved objects\n")

    def test_usage(self):
        for command in ([], ["conf"], ["conf", "set"], ["conf", "set", "--string"], ["dump", "a"], ["log"],
                        ["log", "follow", "a"], ["top", "a", "b"], ["retrace", "nowhere"]):
            for help_wanted in ("--help", "-h"):
                usage = self.run_qz(*command, help_wanted)
                self.assertEqual(usage.split()[:3], ["Usage:", "qz", command[0] if command else "<command>"])
        self.assertIn("no running program is called --help", self.run_qz("top", "--", "--help", code=1))
        for wrong in ([], ["frob"], ["retrace"], ["retrace", "--frob"], ["dump"], ["dump", "a", "b"],
                      ["dump", "--frob", "a"], ["dump", "--depth", "2000", "a"], ["conf"], ["conf", "frob"], ["conf", "get", "settings.cfg"],
                      ["conf", "get", "--frob", "settings.cfg", "a"],
                      ["conf", "json", "--write", "settings.cfg"]):
            where = "See qz --help." if wrong in ([], ["frob"]) else f"See qz {wrong[0]} --help."
            self.assertRegex(self.run_qz(*wrong, code=2), f"^qz: error: .*\n{where}\n$")
        self.assertEqual(self.run_qz("help", "conf"), self.conf("--help"))
        if len(COMMAND) == 1 and sys.platform == "linux":  # where an argument can be any bytes
            self.assertIn("argument 2 is not valid Unicode", self.run_qz("conf", b"\xff\n", code=2))


if __name__ == "__main__":
    COMMAND = sys.argv[1:]
    unittest.main(argv=sys.argv[:1], verbosity=2)
