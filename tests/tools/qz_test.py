"""Runs the command-line tool as its users do: qz_test.py [emulator] path/to/qz"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

COMMAND = []

SETTINGS = ('// how the window looks\r\n'
            'title = "Outpost";\r\n'
            'graphics {\r\n'
            '    width  = 640 * 2;  // pixels\r\n'
            '    scale = 1.50;\r\n'
            '    colors = {{255, 0, 0}, {0, 255, 0}};\r\n'
            '}\r\n'
            'key = 1;\r\n'
            'key = 2;\r\n')


class QzTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.file("settings.cfg", SETTINGS)

    def file(self, name, text):
        (self.folder / name).write_bytes(text.encode())

    def text(self, name="settings.cfg"):
        return (self.folder / name).read_bytes().decode()

    def run_qz(self, *arguments):
        """Returns the exit code, standard output and standard error, lines ending in line feeds."""
        done = subprocess.run([*COMMAND, *arguments], cwd=self.folder, text=True,
                              capture_output=True, stdin=subprocess.DEVNULL, timeout=60)
        return done.returncode, done.stdout, done.stderr

    def conf(self, *arguments):
        code, out, err = self.run_qz("conf", *arguments)
        self.assertEqual((code, err), (0, ""))
        return out

    def refused(self, *arguments):
        code, out, err = self.run_qz("conf", *arguments)
        self.assertEqual((code, out), (1, ""))
        return err

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
        # Nothing that a terminal takes as a command.
        self.file("command.cfg", '\ta = "\u009b2J" @;\r\n')
        self.assertIn('     a = "\\xc2\\x9b2J" @;\n' + " " * 22 + "^\n",
                      self.refused("check", "command.cfg"))

    def test_mistakes_say_what_to_do(self):
        for text, advice in (("a = 1;\nb = 2;\n", "1: error: this line ends in a line feed alone"),
                             ("\ufeffa = 1;\r\n", "1: error: the file begins with a byte-order mark"),
                             ("a = 1; # one\r\n", "write // in its place, at offset 7"),
                             ("a = 1e6;\r\n", "needs a point: 1.0e6, at offset 5"),
                             ("a = 1.5e3x;\r\n", "this is not expected here"),
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
        code, out, err = self.run_qz("conf", "check", "comment.cfg")
        self.assertEqual((code, out), (0, ""))
        self.assertIn("comment.cfg:1: warning: this line ends in a line feed alone", err)
        self.conf("fix-eol", "comment.cfg")
        self.assertEqual(self.text("comment.cfg"), "a = 1; // one\r\nb = 2;\r\n")
        self.assertEqual(self.conf("check", "comment.cfg"), "")
        self.file("image.png", "\x89PNG\r\n\x1a\n\0")
        self.assertIn("is no text", self.refused("fix-eol", "image.png"))

    def test_standard_input(self):
        def piped(text, *arguments):
            return subprocess.run([*COMMAND, "conf", *arguments], cwd=self.folder, timeout=60,
                                  input=text.encode(), stdout=subprocess.PIPE).stdout
        self.assertEqual(piped("a = 7;\r\n", "get", "-", "a"), b"7\n")
        self.assertEqual(piped("a = 7; //\r\n", "set", "-", "a", "8"), b"a = 8; //\r\n")

    def test_bare_line_feeds(self):
        self.file("lf.cfg", "a = 1;\n\nb = 2 @ 3;\n")
        self.assertIn("lf.cfg:1:", self.refused("check", "lf.cfg"))
        self.assertIn("lf.cfg:3: error: nothing begins with this character, at offset 14\n",
                      self.refused("check", "--lf", "lf.cfg"))
        self.file("lf.cfg", "// first\na = 1; // one\n")
        self.conf("set", "--lf", "lf.cfg", "a", "2")
        self.assertEqual(self.text("lf.cfg"), "// first\na = 2; // one\n")
        # Only what is changed, and nothing within quotes or of lines that end in CR LF.
        self.file("lf.cfg", 's = "1\n\r\n"; // "\nc = \'\n\';\r\n/* \n */ a = 1;\nz = 1;\r\n')
        self.conf("set", "--lf", "lf.cfg", "a", "2")
        self.conf("set", "--lf", "lf.cfg", "b", "3")
        self.assertEqual(self.text("lf.cfg"), 's = "1\n\r\n"; // "\nc = \'\n\';\r\n/* \n */ a = 2;\n'
                         "z = 1;\r\nb = 3;\n")
        self.assertEqual(json.loads(self.conf("json", "--lf", "lf.cfg"))["s"], "1\n\r\n")

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

    # Bytes count: redirected, a file is what --write would have made of it.
    def test_output_is_written_as_it_is(self):
        def output(*arguments):
            return subprocess.run([*COMMAND, "conf", *arguments], cwd=self.folder, timeout=60,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE).stdout
        self.file("lines.cfg", 'text = "a\\r\\nb";\r\n')
        self.assertEqual(output("get", "lines.cfg", "text"), b"a\r\nb\n")
        formatted = output("fmt", "settings.cfg")
        self.conf("fmt", "--write", "settings.cfg")
        self.assertEqual(formatted.decode(), self.text())

    # As shells that expand no wildcards hand them on.
    @unittest.skipUnless(sys.platform == "win32" or "wine" in " ".join(sys.argv), "the shell's job")
    def test_wildcards(self):
        for name in ("töne1.cfg", "töne2.cfg"):
            self.file(name, "a = @;\r\n")
        err = self.refused("check", "töne?.cfg")
        self.assertEqual(re.findall(r"^(\S+?):1: error", err, re.M), ["töne1.cfg", "töne2.cfg"])
        self.assertIn("no*.cfg", self.refused("check", "no*.cfg"))

    def test_retrace(self):
        self.file("a.crash", "# -------------- 20260101-120000 --------------\n/nowhere/game\n"
                             "# C0000005 ACCESS_VIOLATION at 00001234 01:00000234\n"
                             "00001234 00005678 0001:00000234 /nowhere/game\n")
        self.file("b.crash.txt", "no report\n")
        for count in ("1 report retraced\n", "0 reports retraced\n"):
            self.assertEqual(self.run_qz("retrace", "."), (0, count, ""))
        self.assertEqual(self.text("a.crash.info"), self.text("a.crash")[:-1] +
                         " (not retraced: no such module here)\n")
        code, out, err = self.run_qz("retrace", "nowhere")
        self.assertEqual((code, out), (1, ""))
        self.assertIn("nowhere: no such directory", err)

    def test_usage(self):
        for help_wanted in (["--help"], ["conf", "--help"], ["conf", "set", "--help"],
                            ["retrace", "--help"]):
            code, out, err = self.run_qz(*help_wanted)
            self.assertEqual((code, out[:9], err), (0, "Usage: qz", ""))
        for wrong in ([], ["frob"], ["retrace"], ["retrace", "--frob"], ["conf"], ["conf", "frob"], ["conf", "get", "settings.cfg"],
                      ["conf", "get", "--frob", "settings.cfg", "a"],
                      ["conf", "json", "--write", "settings.cfg"]):
            code, out, err = self.run_qz(*wrong)
            self.assertEqual((code, out), (2, ""))
            self.assertIn("qz: error: ", err)


if __name__ == "__main__":
    COMMAND = sys.argv[1:]
    unittest.main(argv=sys.argv[:1], verbosity=2)
