"""Rings of messages between processes: processes_test.py [emulator] path/to/ring_probe"""
import glob
import os
import random
import subprocess
import sys
import time
import unittest

PROBE = []
KILLS = 25
# An emulator's mutex takes a hundred times as long, and so does the start of a process.
KILLS_EMULATED = 5


class Process:
    def __init__(self, *arguments):
        self.process = subprocess.Popen([*PROBE, *arguments], text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def line(self):
        return self.process.stdout.readline().strip()

    def ask(self):
        self.process.stdin.write("\n")
        self.process.stdin.flush()
        return self.line()

    def finish(self):
        """Returns the exit code and the rest of the output."""
        out, _ = self.process.communicate(timeout=100)
        return self.process.returncode, out.strip()

    def kill(self):
        self.process.kill()
        self.process.communicate()


class RingTest(unittest.TestCase):
    def setUp(self):
        self.name = f"qz test {os.getpid()} {self._testMethodName}"

    def start(self, role, name=None):
        process = Process(role, name or self.name)
        self.addCleanup(process.kill)
        return process

    def start_ready(self, role, says="ready"):
        process = self.start(role)
        self.assertEqual(process.line(), says)
        return process

    def count(self, name=None):
        return self.start("check", name).finish()

    def assert_nothing_left(self, name=None):
        """Checks where shared memory is a file; elsewhere the system removes it."""
        self.assertEqual(glob.glob(f"/dev/shm/*{name or self.name}*"), [])

    def test_killed_in_the_middle(self):
        chance = random.Random(20261121)
        survivor = self.start_ready("check", "0")
        for _ in range(KILLS):
            victims = [self.start_ready("churn") for _ in range(2)]
            time.sleep(chance.uniform(0, 0.02))
            self.assertEqual(survivor.ask(), "fine")
            for victim in victims:
                victim.kill()
                self.assertEqual(survivor.ask(), "fine")
        self.assertEqual(survivor.finish(), (0, ""))
        self.assert_nothing_left()

    def test_killed_while_it_opens(self):
        chance = random.Random(20261122)
        for _ in range(KILLS):
            victims = [self.start("churn") for _ in range(2)]
            time.sleep(chance.uniform(0, 0.02))
            for victim in victims:
                victim.kill()
            self.assertEqual(self.count(), (0, "0"))
        self.assert_nothing_left()

    def test_of_another_user(self):
        if len(PROBE) > 1 or os.geteuid() != 0:
            self.skipTest("only root can give files away, where shared memory is a file")
        for path in (f"/dev/shm/qzCore.memory.{self.name}",
                     f"/dev/shm/qzCore.mutex.{self.name}_mutex"):
            with open(path, "wb"):
                os.chown(path, 65534, 65534)
            self.assertEqual(self.count(), (1, "cannot open"))
            os.chown(path, 0, 0)
            self.assertEqual(self.count(), (0, "0"))
        self.assert_nothing_left()

    def test_all_are_killed(self):
        victims = [self.start_ready("churn") for _ in range(2)]
        for victim in victims:
            victim.kill()
        # A process that makes any ring removes what killed processes have left.
        other = self.name + " other"
        self.assertEqual(self.count(other), (0, "0"))
        self.assert_nothing_left()
        self.assert_nothing_left(other)


if __name__ == "__main__":
    PROBE = sys.argv[1:]
    if len(PROBE) > 1:
        KILLS = KILLS_EMULATED
    unittest.main(argv=sys.argv[:1], verbosity=2)
