"""Follows the log of another program: qz_log_test.py path/to/log_probe [emulator] path/to/qz"""
import os
import subprocess
import sys
import unittest

PROBE = []
QZ = []

LINES = ("8 NET server is gone", "10 NET server is late", "40 GAME level 3", "80 GAME \x1b[2Jred",
         "100 NET packet 7")


class LogTest(unittest.TestCase):
    def publish(self, name, lines=LINES):
        """Starts a program that logs the lines, and goes on."""
        program = subprocess.Popen([*PROBE, name], text=True, stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE)
        self.addCleanup(self.stop, program)
        self.assertEqual(program.stdout.readline().strip(), "ready")
        self.log(program, *lines)
        return program

    @staticmethod
    def log(program, *lines):
        for line in lines:
            program.stdin.buffer.write((line if isinstance(line, bytes) else line.encode()) + b"\n")
        program.stdin.buffer.flush()

    @staticmethod
    def stop(program):
        program.kill()
        program.wait()
        program.stdin.close()
        program.stdout.close()

    def qz(self, *arguments, code=0):
        done = subprocess.run([*QZ, "log", *arguments], text=True, capture_output=True,
                              stdin=subprocess.DEVNULL, timeout=60)
        self.assertEqual(done.returncode, code, done.stderr)
        return done.stdout if code == 0 else done.stderr

    def follow(self, name, *arguments):
        """The lines without their times, which are checked."""
        lines = self.qz("follow", name, *arguments).splitlines()
        for line in lines:
            self.assertRegex(line, r"^\d{5}\.\d{3} ")
        return [line[10:] for line in lines]

    def setUp(self):
        self.name = f"test-{os.getpid()}-{self._testMethodName}"

    def test_filters(self):
        self.publish(self.name)
        every = ["ERROR   NET: server is gone", "WARNING NET: server is late",
                 "INFO    GAME: level 3", "DEBUG   GAME: ?[2Jred", "TRACE   NET: packet 7"]
        shown = self.follow(self.name, "--timeout", "2")
        # The library's own first lines may be among them.
        self.assertEqual([line for line in shown if " Lua: " not in line], every)
        self.assertEqual(self.follow(self.name, "--count", "2", "--level", "warning"), every[:2])
        self.assertEqual(self.follow("--module", "GAME", self.name, "--count", "2"), every[2:4])
        self.assertEqual(self.follow(self.name, "--grep", "packet", "--count", "1"), every[4:])
        self.assertEqual(self.follow(self.name, "--level", "alert", "--timeout", "0.2"), [])

    def test_controls_are_shown(self):
        # A control sequence as a byte, as a character, in a longer form; and what is none.
        texts = [b"\x9b2Jred", b"\xc2\x9b2Jred", b"\xe0\x82\x9b2Jred", b"\xc3\xa9\xe2\x82\xac"]
        program = self.publish(self.name, [])
        self.log(program, *(b"40 M " + text for text in texts))
        for line, text in zip(self.follow(self.name, "--module", "M", "--count", "4"), texts):
            self.assertNotRegex(line, "[\x00-\x1f\x7f-\x9f]")
            self.assertTrue(line.endswith("2Jred" if b"red" in text else "\u00e9\u20ac"), line)

    def test_live(self):
        program = self.publish(self.name, [])
        follower = subprocess.Popen([*QZ, "log", "follow", self.name, "--module", "M", "--count", "2"],
                                    text=True, stdout=subprocess.PIPE)
        self.addCleanup(follower.stdout.close)
        for message in ("first", "second"):
            self.log(program, f"40 M {message}")
            self.assertRegex(follower.stdout.readline(), f"INFO    M: {message}$")
        self.assertEqual(follower.wait(60), 0)

    def test_list(self):
        names = [self.name, self.name + ".b"]
        programs = [self.publish(name, LINES[:1]) for name in names]
        found = self.qz("list").split()
        self.assertEqual([name for name in found if name in names], names)
        self.stop(programs[0])
        self.assertNotIn(self.name, self.qz("list").split())
        self.assertIn("no running program", self.qz("follow", self.name, code=1))
        self.assertIn(names[1], self.qz("list").split())

    def test_colours(self):
        pty = __import__("pty") if len(QZ) == 1 else self.skipTest("needs a terminal")
        self.publish(self.name)
        for options, expected in (([], "\x1b[31mERROR\x1b[0m   NET"), (["--no-color"], " ERROR   NET")):
            ours, theirs = pty.openpty()
            # The module, because the library's own first lines may be there.
            subprocess.run([*QZ, "log", "follow", self.name, "--module", "NET", "--count", "1", *options],
                           stdout=theirs, env={**os.environ, "TERM": "xterm"}, timeout=60,
                           check=True)
            os.close(theirs)
            self.assertIn(expected, os.read(ours, 1000).decode())
            os.close(ours)

    def test_usage(self):
        self.assertTrue(self.qz("--help").startswith("Usage: qz log"))
        for wrong in ([], ["frob"], ["follow"], ["list", "x"], ["follow", "a", "b"],
                      ["follow", "a", "--level", "loud"], ["follow", "a", "--count", "0"],
                      ["follow", "a", "--timeout", "1s"], ["follow", "a", "--grep"]):
            self.assertRegex(self.qz(*wrong, code=2), "qz: .*error:")


if __name__ == "__main__":
    EMULATOR = sys.argv[2:-1]
    PROBE = [*EMULATOR, sys.argv[1]]
    QZ = [*EMULATOR, sys.argv[-1]]
    unittest.main(argv=sys.argv[:1], verbosity=2)
