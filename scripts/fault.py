#!/usr/bin/env python3
"""Makes calls fail on purpose, one at a time, and classifies the results of the drivers in fault/.

For each driver a run without faults counts its calls of each kind. Then each call fails once, and,
where that is realistic, once together with all later calls. The result is one of

    clean        the fault had no visible effect
    documented   a call failed as its header says, and worked again afterwards
    wrong        a promise of a header is broken, for example by an undocumented exception
    torn         a file has neither its old nor its new contents
    lost         data is lost and not counted as lost
    leak         more memory or files are in use at the end than without the fault
    crash, hang  the process died, or did not end

The classes from "wrong" down end in exit code 1. Points are tried in an order that spreads over all of
them, so that any budget of time tries a fair sample; the order is always the same.
"""
import argparse
import concurrent.futures
import errno
import itertools
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import zipfile

GOOD = ("clean", "documented")
BAD = ("wrong", "torn", "lost", "leak", "crash", "hang")
LIBRARY = "libqzCore.so.0"
TIMEOUT = 10  # seconds; the library itself waits two at most

# The C library sometimes keeps a small block when setenv or dlopen fails.
ALLOWANCE = {"bytes": 64, "blocks": 1}
# oneTBB whose start has failed cannot be taken down; the loader keeps the text of its last error.
ALLOWANCE_OF = {"tasks": {"bytes": 512, "blocks": 4}, "loading": {"bytes": 256, "blocks": 2}}

# Allocations that the leak sanitizer allows: functions and modules in their call stacks.
KEPT = ("ld-linux", "platform::setVariable", "tasks::Scheduler::Arena")

# These drivers read debugging information. That of the library would take seconds for each point; that of
# the driver is enough.
WITHOUT_DEBUG_INFORMATION = {"crash"}

# These drivers die of signals on purpose, which the sanitizer must not handle.
WITHOUT_HANDLERS = {"crash"}
HANDLERS = "segv sigbus abort sigill sigfpe sigtrap".split()

# Crashes outside this library's control: oneTBB's own start.
FOREIGN = {("loading", "key"), ("loading", "load")}

# The errors with which calls of a kind fail, once and from then on. Interruptions do not last, so they
# only happen once.
BOTH = ("once", "on")
ONCE = ("once",)
FAULTS = {
    "alloc": [("ENOMEM", BOTH)],
    "mmap": [("ENOMEM", BOTH)],
    "protect": [("ENOMEM", BOTH)],
    "thread": [("EAGAIN", BOTH)],
    "open": [("EMFILE", BOTH), ("EACCES", ONCE), ("EINTR", ONCE)],
    "list": [("EIO", BOTH)],
    "read": [("EIO", BOTH), ("EINTR", ONCE), ("SHORT", ONCE)],
    "write": [("ENOSPC", BOTH), ("EIO", ONCE), ("EINTR", ONCE), ("SHORT", ONCE)],
    "stat": [("EACCES", BOTH)],
    "lock": [("ENOLCK", BOTH), ("EINTR", ONCE)],
    "rename": [("ENOSPC", BOTH)],
    "remove": [("EACCES", BOTH)],
    "mkdir": [("ENOSPC", BOTH)],
    "mode": [("EPERM", BOTH)],
    "size": [("ENOSPC", BOTH), ("EINTR", ONCE)],
    "seek": [("EIO", ONCE)],
    "sync": [("EIO", BOTH)],
    "close": [("EIO", BOTH), ("EINTR", ONCE)],
    "shm": [("EMFILE", BOTH)],
    "wait": [("EINTR", ONCE)],
    "signal": [("ENOMEM", ONCE)],
    "key": [("EAGAIN", BOTH)],
    "load": [("ENOMEM", ONCE)],
}


class Point:
    """One fault in one family: `<family> <kind> <number> <once|on> <error>`."""

    def __init__(self, family, kind=None, number=0, mode="once", error="SHORT"):
        self.family, self.kind, self.number = family, kind, int(number)
        self.mode, self.error = mode, error

    def __str__(self):
        return f"{self.family} {self.kind} {self.number} {self.mode} {self.error}"

    def setting(self):
        code = 0 if self.error == "SHORT" else getattr(errno, self.error)
        return f"{self.kind} {self.number} {self.mode} {code}" if self.kind else ""


class Outcome:
    def __init__(self, status, output, errors):
        self.status, self.output, self.errors = status, output, errors

    def lines(self, label):
        return re.findall(rf"^{label}: (.*)$", self.output, re.MULTILINE)

    def use(self):
        return {name: int(value) for name, value in re.findall(r"(\w+)=(-?\d+)", self.output)}

    def counts(self):
        return {kind: int(n) for kind, n in (line.split() for line in self.lines("count"))}

    def judge(self, family, reference):
        """The class, and a message."""
        if self.status is None:
            return "hang", f"still running after {TIMEOUT} s"
        if self.status < 0:
            return "crash", signal.Signals(-self.status).name + self.last_words()
        if "LeakSanitizer" in self.errors:
            return "leak", self.last_words()
        if self.status != 0 or not self.output.endswith("done\n"):
            return "crash", f"ended with {self.status}" + self.last_words()
        for verdict in ("wrong", "torn", "lost"):
            if self.lines(verdict):
                return verdict, "; ".join(self.lines(verdict))
        allowed = ALLOWANCE | ALLOWANCE_OF.get(family, {})
        more = [f"{name} {value - reference[name]:+d}" for name, value in self.use().items()
                if value > reference.get(name, value) + allowed.get(name, 0)]
        if more:
            return "leak", ", ".join(more)
        failed = self.lines("documented")
        return ("documented", "; ".join(failed)) if failed else ("clean", "")

    def last_words(self):
        words = re.findall(r"^.*(?:what\(\)|ERROR: \w+Sanitizer|SUMMARY|runtime error).*$",
                           self.errors, re.MULTILINE)
        return "".join("; " + line.strip() for line in words[-2:])


class Sweep:
    def __init__(self, build):
        self.build = pathlib.Path(build).resolve()
        self.injector = self.build / "lib" / "qz_fault.so"
        if not self.injector.exists():
            sys.exit(f"fault: {self.injector} is missing; build the target qz_fault")
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="qz-fault-"))
        self.fixtures, self.stripped = self.folder / "fixtures", self.folder / "stripped"
        self.stripped.mkdir()
        subprocess.run(["objcopy", "--strip-debug", self.build / "lib" / LIBRARY,
                        self.stripped / LIBRARY], check=True)
        (self.fixtures / "data").mkdir(parents=True)
        (self.fixtures / "data" / "loose.txt").write_text("loose\n" * 500)
        with zipfile.ZipFile(self.fixtures / "data.zip", "w", zipfile.ZIP_DEFLATED) as archive:
            archive.writestr("sub/packed.txt", "packed\n" * 500)
        (self.fixtures / "suppressions").write_text("".join(f"leak:{name}\n" for name in KEPT))
        self.references = {}

    def families(self):
        return sorted(path.name[: -len("_fault")] for path in (self.build / "bin").glob("*_fault"))

    def close(self):
        shutil.rmtree(self.folder, ignore_errors=True)

    def run(self, point, trace=False, timeout=TIMEOUT):
        work = pathlib.Path(tempfile.mkdtemp(prefix="qz-fault-"))
        shutil.copytree(self.fixtures, work, dirs_exist_ok=True)
        home = work / "home"
        home.mkdir()
        asan = ["verify_asan_link_order=0", "allocator_may_return_null=1"]
        asan += [f"handle_{name}=0" for name in HANDLERS if point.family in WITHOUT_HANDLERS]
        environment = {
            "PATH": os.environ["PATH"], "HOME": str(home), "TMPDIR": str(home), "LC_ALL": "C",
            "LD_PRELOAD": str(self.injector), "QZ_FAULT": point.setting(),
            "ASAN_OPTIONS": ":".join(asan),
            "LSAN_OPTIONS": f"suppressions={self.fixtures}/suppressions:print_suppressions=0",
            **({"QZ_FAULT_TRACE": "1"} if trace else {}),
            **({"LD_LIBRARY_PATH": str(self.stripped)}
               if point.family in WITHOUT_DEBUG_INFORMATION else {}),
        }
        program = self.build / "bin" / f"{point.family}_fault"
        try:
            with open(home / "errors", "w+b") as errors, open(home / "output", "w+b") as output:
                process = subprocess.Popen([program], cwd=work, env=environment, stderr=errors,
                                           stdout=output, stdin=subprocess.DEVNULL,
                                           start_new_session=True)
                try:
                    status = process.wait(timeout)
                except subprocess.TimeoutExpired:
                    os.killpg(process.pid, signal.SIGKILL)
                    process.wait()
                    status = None
                texts = []
                for file in (output, errors):
                    file.seek(0)
                    texts.append(file.read().decode("utf-8", "replace"))
            return Outcome(status, *texts)
        finally:
            shutil.rmtree(work, ignore_errors=True)

    def learn(self, family):
        """Calls of each kind, and the resources in use at the end; both vary a little with threads."""
        outcomes = [self.run(Point(family)) for _ in range(3)]
        for outcome in outcomes:
            verdict, detail = outcome.judge(family, {})
            if verdict != "clean":
                sys.exit(f"fault: {family} fails without any fault: {verdict}: {detail}\n"
                         + outcome.errors[-2000:])
        uses = [outcome.use() for outcome in outcomes]
        self.references[family] = {name: max(use[name] for use in uses) for name in uses[0]}
        counts = [outcome.counts() for outcome in outcomes]
        return {kind: max(count[kind] for count in counts) for kind in counts[0]}

    def points(self, family, kinds, modes_wanted):
        """All points with a key: in the order of the keys, any first part of the list is spread evenly."""
        counts = self.learn(family)
        for kind, errors in FAULTS.items():
            wanted = kind in kinds and (family, kind) not in FOREIGN
            for error, modes in errors if wanted else []:
                for mode in (mode for mode in modes if mode in modes_wanted):
                    for number in range(counts[kind]):
                        key = number * 0.6180339887498949 % 1
                        yield key, Point(family, kind, number + 1, mode, error)

    def try_point(self, point):
        outcome = self.run(point)
        verdict, detail = outcome.judge(point.family, self.references[point.family])
        if verdict in ("hang", "leak"):  # a single one may be chance on a busy machine
            outcome = self.run(point)
            verdict, detail = outcome.judge(point.family, self.references[point.family])
        return point, verdict, detail

    def where(self, errors):
        """The call stack, as source lines where they are this tree's."""
        frames = re.findall(r"^frame: (\S+) (0x[0-9a-f]+)$", errors, re.MULTILINE)
        for module, offset in frames:
            if module == str(self.stripped / LIBRARY):
                module = str(self.build / "lib" / LIBRARY)
            if pathlib.Path(module).resolve().is_relative_to(self.build):
                yield subprocess.run(["addr2line", "-Cfips", "-e", module, hex(int(offset, 16) - 1)],
                                     capture_output=True, text=True).stdout.rstrip()
            else:
                yield f"{os.path.basename(module)} {offset}"


def show(sweep, point):
    """Repeats one point and prints everything about it."""
    sweep.learn(point.family)
    outcome = sweep.run(point, trace=True)
    verdict, detail = outcome.judge(point.family, sweep.references[point.family])
    print(outcome.output)
    print("--- standard error\n" + re.sub(r"^frame: .*\n", "", outcome.errors, flags=re.MULTILINE))
    print("--- the way to the call", *sweep.where(outcome.errors), sep="\n")
    print(f"--- {verdict}: {detail}")
    return 0 if verdict in GOOD else 1


def take_turns(lists):
    """One point of each family after the other, so that a large family does not take all the time."""
    turns = itertools.zip_longest(*lists)
    return [keyed[1] for turn in turns for keyed in turn if keyed is not None]


def search(sweep, families, options):
    kinds = set(options.kinds.split(",")) & FAULTS.keys()
    modes = options.modes.split(",")
    budget, jobs = options.budget, options.jobs
    points = take_turns([sorted(sweep.points(family, kinds, modes), key=lambda keyed: keyed[0])
                         for family in families])
    end = time.monotonic() + budget
    table = {family: dict.fromkeys(("points", "tried") + GOOD + BAD, 0) for family in families}
    for point in points:
        table[point.family]["points"] += 1
    lock = threading.Lock()
    remaining = iter(points)

    def work():
        while time.monotonic() < end:
            with lock:
                point = next(remaining, None)
            if point is None:
                return
            _, verdict, detail = sweep.try_point(point)
            with lock:
                table[point.family]["tried"] += 1
                table[point.family][verdict] += 1
                if verdict in BAD:
                    print(f"{verdict:6} {detail}\n       ./dev fault --point '{point}'", flush=True)

    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for worker in [pool.submit(work) for _ in range(jobs)]:
            worker.result()
    columns = ("points", "tried") + GOOD + BAD
    print(f"{'':10}" + "".join(f"{column:>11}" for column in columns))
    for family in families:
        print(f"{family:10}" + "".join(f"{table[family][column]:11}" for column in columns))
    return 1 if any(row[verdict] for row in table.values() for verdict in BAD) else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="build/linux", help="the build folder")
    parser.add_argument("--budget", type=float, default=600, help="seconds for all families")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--kinds", default=",".join(FAULTS), help="only these kinds of calls")
    parser.add_argument("--modes", default="once,on", help="once, on (from then on), or both")
    parser.add_argument("--point", help="repeat one: '<family> <kind> <number> <once|on> <error>'")
    parser.add_argument("families", nargs="*")
    options = parser.parse_args()
    sweep = Sweep(options.build)
    try:
        if options.point:
            return show(sweep, Point(*options.point.split()))
        known = sweep.families()
        unknown = set(options.families) - set(known)
        if unknown:
            sys.exit(f"fault: no such family: {', '.join(unknown)}; there are {', '.join(known)}")
        return search(sweep, options.families or known, options)
    finally:
        sweep.close()


if __name__ == "__main__":
    sys.exit(main())
