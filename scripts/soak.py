#!/usr/bin/env python3
"""Runs the example host for a long time under disturbances, and counts what it loses.

Meanwhile readers of its log are started and killed, programs that make rings are killed, the disk
of its log fills up and is freed, a timer interrupts its calls, and it is stopped and continued. At
the end each arrival that the host counted must be in its log, or be counted as a lost line; no letter
may be lost; and memory, descriptors, threads and mappings must not have grown since the warm-up.

Needs root to make a small disk; without root it says so and does not fill the disk.
"""
import argparse
import contextlib
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

DISK_BYTES = 8 << 20
WARM_UP = 0.5  # of the time, because the profile is full only after 350,000 frames


def usage_of(process):
    """What a process uses: kilobytes, descriptors, threads, mappings."""
    place = pathlib.Path("/proc", str(process.pid))
    status = (place / "status").read_text()
    return {"RSS in kB": int(re.search(r"VmRSS:\s+(\d+)", status)[1]),
            "descriptors": len(list((place / "fd").iterdir())),
            "threads": int(re.search(r"Threads:\s+(\d+)", status)[1]),
            "mappings": len((place / "maps").read_text().splitlines())}


class Disk:
    """A small disk for the log, which can be filled."""

    def __init__(self, place):
        self.place = place
        place.mkdir()
        self.is_own = os.geteuid() == 0 and subprocess.run(
            ["mount", "-t", "tmpfs", "-o", f"size={DISK_BYTES}", "soak", place], check=False).returncode == 0
        if not self.is_own:
            print("the disk is left alone: making one needs root")

    def fill(self):
        with contextlib.suppress(OSError), open(self.place / "ballast", "ab", buffering=0) as ballast:
            while self.is_own and ballast.write(bytes(4096)):
                pass

    def free(self):
        (self.place / "ballast").unlink(missing_ok=True)

    def close(self):
        if self.is_own:
            subprocess.run(["umount", "-l", self.place], check=False)


class Weather:
    """The disturbances of the host, one after the other."""

    def __init__(self, options, host, disk):
        self.options = options
        self.host = host
        self.disk = disk
        self.random = random.Random(options.seed)
        self.done = {}
        self.reader = None

    def change(self):
        event = self.random.choice([self.replace_reader, self.kill_ring, self.fill_disk, self.pause])
        event()
        self.done[event.__name__] = self.done.get(event.__name__, 0) + 1

    def replace_reader(self):
        self.stop()
        look = self.random.choice([["log", "follow"], ["top"]])
        self.reader = subprocess.Popen(
            [self.options.bin / "qz", *look, "qz_host"], stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def kill_ring(self):
        probe = subprocess.Popen([self.options.bin / "ring_probe", "churn", f"soak_{os.getpid()}"],
                                 stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        time.sleep(0.2)
        probe.kill()
        probe.communicate()

    def fill_disk(self):
        self.disk.fill()
        time.sleep(self.random.uniform(0.1, 3))
        self.disk.free()

    def pause(self):
        self.host.send_signal(signal.SIGSTOP)
        time.sleep(self.random.uniform(0.01, 0.5))
        self.host.send_signal(signal.SIGCONT)

    def stop(self):
        if self.reader is not None:
            self.reader.kill()
            self.reader.wait()


def start_host(options, folder, disk):
    data = folder / "data"
    shutil.copytree(options.data, data)
    settings = (data / "settings.lua").read_text()
    settings = re.sub(r"steps = \d+", "steps = 10", settings)  # the script is soon done
    (data / "settings.lua").write_text(re.sub(r"rate = \d+", f"rate = {options.rate}", settings))
    environment = dict(os.environ, HOME=str(folder), LD_PRELOAD=str(options.signals))
    return subprocess.Popen(
        [options.bin / "qz_host", "--fresh", "--frames", str(2**31 - 1), "--data", data,
         "--logs", disk.place], env=environment, stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def sum_of(pattern, text):
    return sum(int(number) for number in re.findall(pattern, text, re.M))


def judge(log, first, last):
    """Prints the counts; returns what is wrong."""
    arrivals = sum_of(r"HOST: \d+ frames, (\d+) arrivals$", log)
    logged = len(re.findall(r" HOST: .* reaches .*$", log, re.M))
    missing = sum_of(r"(\d+) messages lost", log)
    letters = re.search(r"HOST: (\d+) letters, (\d+) of them lost$", log, re.M)
    print(re.search(r"HOST: (\d+ frames, \d+ arrivals)$", log, re.M)[1] if arrivals else "no end in the log")
    print(f"{logged} arrivals in the log, {missing} lines counted as lost; letters:",
          letters.groups() if letters else None)
    wrong = []
    if not arrivals or logged > arrivals or logged + missing < arrivals:
        wrong.append("lines are lost that nobody counted")
    if not letters or letters[2] != "0":
        wrong.append("letters are lost")
    if any(not re.match(r"\d{5}\.\d{3} [A-Z]+ +\S", line) for line in log.splitlines()):
        wrong.append("there are torn lines")
    for what, before in first.items():
        print(f"{what}: {before} after the warm-up, {last[what]} in the end")
        if last[what] > before * 1.1 + (1024 if "kB" in what else 2):
            wrong.append(f"{what} have grown")
    return wrong


def soak(options, folder):
    disk = Disk(folder / "logs")
    host = start_host(options, folder, disk)
    weather = Weather(options, host, disk)
    try:
        end = time.monotonic() + 60 * options.minutes
        warm = time.monotonic() + 60 * options.minutes * WARM_UP
        first = None
        while time.monotonic() < end:
            time.sleep(weather.random.uniform(0.2, 2))
            if host.poll() is not None:
                return [f"the host ended with {host.returncode}"]
            weather.change()
            if first is None and time.monotonic() > warm:
                first = usage_of(host)
        last = usage_of(host)
        host.send_signal(signal.SIGINT)
        host.wait(60)
        print(", ".join(f"{name} {count}" for name, count in sorted(weather.done.items())))
        log = (disk.place / "host.log").read_text(encoding="utf-8")
        if options.keep:
            shutil.copy(disk.place / "host.log", options.keep)
        return judge(log, first, last)
    finally:
        host.kill()
        weather.stop()
        disk.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", type=pathlib.Path, required=True, help="where the programs are")
    parser.add_argument("--data", type=pathlib.Path, required=True)
    parser.add_argument("--signals", type=pathlib.Path, required=True, help="what interrupts calls")
    parser.add_argument("--minutes", type=float, default=60)
    parser.add_argument("--rate", type=int, default=250, help="frames a second")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--keep", help="a file for the host's log")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="qz-soak-") as folder:
        wrong = soak(options, pathlib.Path(folder))
    for sentence in wrong:
        print(sentence)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
