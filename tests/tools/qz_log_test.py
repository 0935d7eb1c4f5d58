"""Watches another program: qz_log_test.py path/to/log_probe [emulator] path/to/qz"""
import glob
import json
import os
import re
import signal
import struct
import subprocess
import sys
import unittest

EMULATOR = sys.argv[2:-1]
PROBE = [*EMULATOR, sys.argv[1]]
QZ = [*EMULATOR, sys.argv[-1]]
ON_WINDOWS = bool(EMULATOR) or sys.platform == "win32"

LINES = ("8 NET server is gone", "10 NET server is late", "40 GAME level 3", "80 GAME \x1b[2Jred",
         "100 NET packet 7")


class LogTest(unittest.TestCase):
    def publish(self, name, lines=LINES):
        """Starts a program that logs the lines and goes on running."""
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
        for pipe in (program.stdin, program.stdout, program.stderr):
            if pipe:
                pipe.close()

    def qz(self, *arguments, code=0, command="log"):
        done = subprocess.run([*QZ, command, *arguments], text=True, capture_output=True,
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
        # A control sequence as a byte, as a character and as an overlong form; a surrogate; and ordinary characters.
        texts = [b"\x9b2Jred", b"\xc2\x9b2Jred", b"\xe0\x82\x9b2Jred", b"\xed\xa0\x802Jred",
                 b"\xc3\xa9\xe2\x82\xac"]
        program = self.publish(self.name, [])
        self.log(program, *(b"40 M " + text for text in texts))
        for line, text in zip(self.follow(self.name, "--module", "M", "--count", "5"), texts):
            self.assertNotRegex(line, "[\x00-\x1f\x7f-\x9f]")
            self.assertTrue(line.endswith("2Jred" if b"red" in text else "\u00e9\u20ac"), line)

    def listed(self):
        """The process numbers of the programs of our name."""
        programs = [line.split() for line in self.qz("list").splitlines()]
        return [number for name, number in programs if name == self.name]

    def test_two_of_one_name(self):
        self.publish(self.name + ".b", [])
        one = self.publish(self.name, ["40 M one"])
        first, = self.listed()
        two = self.publish(self.name, ["40 M two"])
        numbers = self.listed()
        self.assertEqual(len(numbers), 2)
        for number in numbers:
            line, = self.follow(f"{self.name}.{number}", "--module", "M", "--count", "1")
            self.assertTrue(line.endswith("one" if number == first else "two"), line)
            self.assertIn(f"{self.name}.{number}", self.qz("follow", self.name, code=1))
        self.stop(two)
        self.assertEqual(self.listed(), [first])
        self.stop(one)
        self.assertEqual(self.listed(), [])
        self.assertIn("no running program", self.qz("follow", self.name, code=1))

    def test_the_next_one_is_found(self):
        def said():
            return re.sub(r"process \d+", "process N", follower.stdout.readline())
        program = self.publish(self.name, [])
        follower = subprocess.Popen([*QZ, "log", "follow", self.name, "--module", "M", "--count", "4"],
                                    text=True, stdout=subprocess.PIPE)
        self.addCleanup(follower.stdout.close)
        for message in ("first", "last words"):
            self.log(program, f"40 M {message}")
            self.assertRegex(said(), f"INFO    M: {message}$")
        self.stop(program)  # with a signal that nothing can catch
        self.assertEqual(said(), f"... {self.name}, process N, has ended\n")
        self.assertEqual(self.listed(), [])
        program = self.publish(self.name, ["40 M anew"])
        self.assertEqual(said(), f"... {self.name}, process N, has started\n")
        self.assertRegex(said(), "INFO    M: anew$")
        program.stdin.close()
        if ON_WINDOWS:
            follower.kill()  # there nothing is published at the end of a process
            follower.wait()
            return
        self.assertRegex(said(), "INFO    M: end of main$")
        self.assertEqual(follower.wait(60), 0)

    def test_no_next_one_of_two(self):
        if ON_WINDOWS:
            self.skipTest("nobody can be made to look late")
        program = self.publish(self.name, ["40 M first"])
        follower = subprocess.Popen([*QZ, "log", "follow", self.name, "--module", "M"], text=True,
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(self.stop, follower)
        follower.stdout.readline()
        follower.send_signal(signal.SIGSTOP)
        self.stop(program)
        two = [f"{self.name}.{self.publish(self.name, []).pid}" for _ in range(2)]
        follower.send_signal(signal.SIGCONT)
        self.assertIn(f"take one of {' '.join(sorted(two))}\n", follower.communicate(timeout=60)[1])
        self.assertEqual(follower.returncode, 1)

    def test_nothing_is_left(self):
        self.stop(self.publish(self.name))
        self.publish(self.name + ".b")  # removes what the first one left
        self.assertEqual(glob.glob(f"/dev/shm/*{self.name}.[0-9]*"), [])

    def top(self, *arguments):
        return self.qz(*arguments, self.name, command="top")

    def test_top(self):
        self.publish(self.name)
        self.follow(self.name, "--grep", "packet", "--count", "1")
        look = json.loads(self.top("--once", "--json"))
        self.assertEqual([look["name"], look["running"]], [self.name, True])
        self.assertEqual(look["watches"]["Level"], "3 \x1b[2J of 7")
        self.assertEqual(look["log"][-1]["message"], "packet 7")
        frames = look["frames"]["milliseconds"]
        self.assertGreater(look["frames"]["count"], 20 * (len(LINES) - 1))
        self.assertTrue(1 < frames["median"] <= frames["p90"] <= frames["p99"] <= frames["max"], frames)
        picture = self.top("--once")
        self.assertNotRegex(picture, "[\x00-\x09\x0b-\x1f\x7f-\x9f]")
        self.assertTrue(all(len(line) <= 80 for line in picture.splitlines()), picture)
        for part in (f"^{self.name}, process ", "^frame .* median .* p90 .* p99 ", "\u2588", "^tasks ",
                     r"^Level +3 \?\[2J of 7$", "^[0-9.]{9} TRACE   NET: packet 7$"):
            self.assertRegex(picture, re.compile(part, re.M))
        values = [line.index("3 ?") for line in picture.splitlines() if line.endswith(" of 7")]
        self.assertEqual(values[:1] * 2, values, "of N\u00e4chste too")
        self.assertGreater(len(self.top("--json", "--timeout", "2").splitlines()), 1)
        self.assertIn("no running program", self.qz("nobody", command="top", code=1))

    def shown_on_terminal(self, *arguments, rows=24, columns=80):
        if ON_WINDOWS:
            self.skipTest("needs a terminal")
        import fcntl, pty, termios
        ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("4H", rows, columns, 0, 0))
        subprocess.run([*QZ, *arguments], stdout=theirs, timeout=60, check=True, env={**os.environ, "TERM": "xterm"})
        shown = os.read(ours, 9000).decode()
        os.close(theirs)
        os.close(ours)
        return shown

    def test_colours(self):
        self.publish(self.name)
        for options, expected in (([], "\x1b[31mERROR\x1b[0m   NET"), (["--no-color"], " ERROR   NET")):
            # With the module, because the library's own first lines may be there.
            for command in (["log", "follow", self.name, "--module", "NET", "--count", "1"],
                            ["top", "--once", self.name]):
                self.assertIn(expected, self.shown_on_terminal(*command, *options))

    def test_top_fits_the_terminal(self):
        self.publish(self.name)
        for columns, rows in ((20, 10), (7, 3), (100, 40)):
            shown = self.shown_on_terminal("top", "--no-color", self.name, "--timeout", "0.1",
                                           rows=rows, columns=columns)
            picture = re.sub("\x1b\\[[0-9]*[A-Z]", "", shown).split("\r\n")
            self.assertLessEqual(len(picture), rows)
            self.assertLessEqual(max(map(len, picture)), columns)

    def test_usage(self):
        self.assertTrue(self.qz("--help").startswith("Usage: qz log"))
        for wrong in ([], ["frob"], ["follow"], ["list", "x"], ["follow", "a", "b"],
                      ["follow", "a", "--level", "loud"], ["follow", "a", "--count", "0"],
                      ["follow", "a", "--timeout", "1s"], ["follow", "a", "--grep"]):
            self.assertRegex(self.qz(*wrong, code=2), "qz: .*error:")
        for wrong in ([], ["a", "b"], ["--frob", "a"], ["a", "--timeout", "0"]):
            self.assertRegex(self.qz(*wrong, command="top", code=2), "qz: .*error:")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
