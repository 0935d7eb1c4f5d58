"""Looks at objects in gdb, with the library's printers: gdb_test.py BUILD path/to/gdb_probe
Exits with 77 where there is no gdb that can do it."""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PRINTERS = pathlib.Path(__file__).resolve().parents[2] / "tools/gdb/qzcore.py"
BUILD, PROBE = sys.argv[1:3]

SOUND = {
    "chunk": "Mail::Chunk at 0x, 2 references = {1024 bytes: 41 41 41 41",
    "tank": "(anonymous namespace)::Tank at 0x, 1 reference",
    "entry": "width = 1280",
    "block": "video {4 entries}",
    "list": "list = {2 values}",
    "text": r'title = "a\xff\x01"',
    "real": "scale = 0.5",
    "end": "the end",
    "message": "to 42, 5 bytes, tag 3, user data 0x0, 5 bytes: 68 65 6c 6c 6f",
    "*loader": 'at units.tank, file ""',
    "*deep": "at " + 200 * "x" + "....0.1." + ".".join(map(str, range(2, 63))) + '..., file ""',
    "index": "7",
    "key": '"speed"',
}
EMPTY = {"chunk": "null", "tank": "null", "entry": "the end", "message": "no message"}


def gdb(*commands, options=()):
    """Runs commands in gdb; returns its exit code and what it printed."""
    command = ["gdb", "-batch", "-nx", "-iex", "set debuginfod enabled off", *options]
    for line in commands:
        command += ["-ex", line]
    done = subprocess.run(command, text=True, timeout=100, errors="replace",
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.returncode, done.stdout


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(77)


class GdbTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        """Collects what gdb prints of each member at each stop of the probe but the first."""
        commands = [f"file {PROBE}", f"source {PRINTERS}", "break lookHere", "run"]
        for stop in range(2, 6):
            commands.append("continue")
            for name in SOUND:
                star = "*" if name.startswith("*") else ""
                objects = "objects" if stop == 2 else "noObjects"
                commands += [f"echo \\n{stop} {name}|",
                             f"output {star}{objects}->{name.lstrip('*')}"]
        status, printed = gdb(*commands)
        if "ptrace: Operation not permitted" in printed or "Could not trace" in printed:
            skip("this machine lets nobody trace a process")
        cls.printed = dict(line.split("|", 1) for line in printed.splitlines() if "|" in line)
        if status != 0 or len(cls.printed) != 4 * len(SOUND):
            raise AssertionError(printed)

    def test_sound_objects(self):
        for name, expected in SOUND.items():
            with self.subTest(member=name):
                self.assertIn(expected,
                              re.sub(r"0x[0-9a-f]{4,}", "0x", self.printed[f"2 {name}"]))

    def test_memory_without_objects(self):
        for name, expected in EMPTY.items():
            self.assertEqual(self.printed[f"3 {name}"], expected)
        for stop in (4, 5):
            for name in SOUND:
                with self.subTest(stop=stop, member=name):
                    self.assertRegex(self.printed[f"{stop} {name}"],
                                     "<unreadable|<noise>|Cannot access memory")

    def test_gdb_loads_what_is_installed(self):
        with tempfile.TemporaryDirectory() as folder:
            for component in ("runtime", "development"):
                subprocess.run(["cmake", "--install", BUILD, "--prefix", folder, "--component",
                                component], check=True, stdout=subprocess.DEVNULL)
            (library,) = pathlib.Path(folder).glob("lib/**/libqzCore.so.*.*.*")
            scripts = f"{folder}/share/gdb/auto-load"
            _, printed = gdb(f"file {library}", "info pretty-printer", options=[
                "-iex", f"set auto-load scripts-directory {scripts}",
                "-iex", f"set auto-load safe-path {scripts}"])
            self.assertRegex(printed, r"\n  qzCore\n(.*\n)*    Mem::Ptr\n")


def main():
    if shutil.which("gdb") is None:
        skip("no gdb")
    if gdb("python print('it has')")[1].strip() != "it has":
        skip("gdb without Python")
    unittest.main(argv=sys.argv[:1])


if __name__ == "__main__":
    main()
