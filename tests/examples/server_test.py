"""Runs the example server for a second: server_test.py [emulator] path/to/qz_server"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SOURCES = pathlib.Path(__file__).resolve().parents[2] / "examples/server"
COMMAND = []


class ServerTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def run_server(self, frames):
        """Returns the exit code, standard output and the log."""
        done = subprocess.run([*COMMAND, "--directory", ".", "--frames", str(frames)], cwd=self.folder, text=True,
                              stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, timeout=200)
        return done.returncode, done.stdout, (self.folder / "qz_server.log").read_text()

    def change(self, name, old, new):
        text = (SOURCES / name).read_bytes()
        self.assertIn(old, text)
        (self.folder / name).write_bytes(text.replace(old, new))

    def test_serves(self):
        code, out, log = self.run_server(60)
        self.assertEqual(code, 0, log)
        found = re.fullmatch(r"60 frames, \S+ ms each, 1000 actors, (\d+) messages, (\d+) paths found, "
                             r"(\d+) snapshots of (\d+) bytes, 0 failed\n", out)
        self.assertTrue(found, out)
        messages, paths, snapshots, size = map(int, found.groups())
        self.assertGreater(min(messages, paths, snapshots), 0, out)
        self.assertGreater(size / snapshots, 65535)
        names = {event["name"] for event in json.loads((self.folder / "trace.json").read_text())["traceEvents"]}
        self.assertLessEqual({"crowd", "find way", "write snapshot"}, names)

    def test_tells_mistakes(self):
        self.change("server.cfg", b"frame_rate = 60;", b'frame_rate = "x";')
        code, out, log = self.run_server(2)
        self.assertEqual(code, 0, log)
        self.assertRegex(log, r"server\.cfg:3: frame_rate must be a number from 1 to 1000, not a text\n")
        self.change("world.lua", b"golem = { speed", b"golem = { sped")
        code, _, log = self.run_server(2)
        self.assertEqual(code, 1)
        self.assertRegex(log, r"ERROR .*world\.lua: world\.units\.golem\.speed is missing\n")


if __name__ == "__main__":
    COMMAND = [*sys.argv[1:-1], pathlib.Path(sys.argv[-1]).resolve()]
    unittest.main(argv=sys.argv[:1], verbosity=2)
