"""Runs the example host as its users do: host_test.py [emulator] path/to/qz_host"""
import ctypes
import json
import os
import pathlib
import pty
import random
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
SYS_TGKILL = 234  # x86-64
COMMAND = []
WINDOWS = False


def posix_path(path):
    """Converts a path that a Windows program printed to one of this system."""
    if not WINDOWS:
        return pathlib.Path(path)
    prefix = pathlib.Path(os.environ.get("WINEPREFIX") or pathlib.Path.home() / ".wine")
    return prefix / "dosdevices" / path[:2].lower() / path[3:].replace("\\", "/")


class HostTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.environment = dict(os.environ, XDG_DATA_HOME=str(self.folder / "data"))

    def script(self, text, name="script.lua"):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return name

    def run_host(self, *arguments, code=0, cwd=None):
        """Checks the exit code; returns standard output and standard error."""
        done = subprocess.run([*COMMAND, *arguments], cwd=cwd or self.folder, env=self.environment,
                              text=True, capture_output=True, stdin=subprocess.DEVNULL, timeout=60)
        self.assertEqual(done.returncode, code, done.stderr)
        return done.stdout, done.stderr

    def start(self, *arguments, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL):
        """Starts a host, which is killed at the end of the test."""
        host = subprocess.Popen([*COMMAND, *arguments], cwd=self.folder, env=self.environment, text=True,
                                stdout=stdout, stderr=stderr)
        self.enterContext(host)
        self.addCleanup(host.kill)
        return host

    def run_script(self, text, *arguments, code=0):
        return self.run_host("--logs", "logs", self.script(text), *arguments, code=code)

    def log(self, name="host"):
        return (self.folder / "logs" / f"{name}.log").read_text()

    def test_default_run_draws_the_flight(self):
        out, _ = self.run_host("--fresh", "--frames", "0", "--logs", str(self.folder / "logs"), cwd=ROOT)
        printed = dict(line.split(":", 1) for line in out.splitlines() if ": " in line)
        picture = posix_path(printed["result"].strip()).read_text()
        self.assertTrue(picture.startswith("<?xml") and picture.endswith("</svg>\n"))
        self.assertGreater(picture.count("<path"), 1000)
        # The flight is the same on every system, processor and Lua.
        self.assertIn("flock: fingerprint of the flight: 866606\n", self.log())
        self.assertIn(" HOST: done\n", self.log())
        # The second output has only the script's messages, and no other output has their TRACE lines.
        self.assertIn("flock: step ", self.log("script"))
        self.assertNotIn("HOST", self.log("script"))
        self.assertNotIn("flock: step ", self.log())
        self.assertEqual([line[:3] for line in out.splitlines() if "%" in line],
                         [f"{percent:3}" for percent in range(0, 101, 10)])

    def test_the_user_decides_what_is_echoed(self):
        for wanted, first in (("info", "INFO"), ("all", "DEBUG"), ("misspelt", "WARNING"), ("none", None),
                              ("all " * 32, "WARNING")):
            self.environment["QZ_LOG_ECHO"] = wanted
            _, err = self.run_script("log('in the script')")
            self.assertEqual(err.split()[1:2], [first] if first else [], (wanted, err))

    def test_usage(self):
        self.assertEqual(self.run_host("--help")[0].split()[0], "Usage:")
        for wrong, answer in (("--frobnicate", "unknown option --frobnicate"),
                              ("--logs", "--logs wants a value"),
                              ("--frames many", 'Failed to parse "--frames" integer argument: "many"'),
                              ("--frames -1", "--frames wants a value")):
            out, err = self.run_host(*wrong.split(), code=2)
            self.assertEqual(out, "")
            self.assertIn(f"qz_host: {answer}\nUsage:", err)
        for wrong, answer in (("--logs logs nowhere.lua", "can't open 'nowhere.lua'"),
                              ("--data nowhere", "there is no directory nowhere")):
            self.assertIn(answer, self.run_host(*wrong.split(), code=1)[1])

    def test_a_log_directory_that_cannot_be_made_is_no_reason_to_stop(self):
        (self.folder / "logs").write_text("a file is in the way")
        out, err = self.run_script("return")
        self.assertIn("no log files", err)
        self.assertNotIn("logs:", out)

    def test_failing_scripts_name_file_and_line(self):
        # Lua itself would shorten this name.
        name = self.script("local function fall()\n  local x = nil + 1\nend\nfall()\n",
                           "a folder with a long name/and/another one below it/failing script.lua")
        self.assertIn(f": {name}:2: attempt to perform arithmetic", self.run_host("--logs", "logs", name, code=1)[1])
        self.assertIn(f"{name}:4: in the main chunk\n", self.log())
        for thrower, message in (("x = 1\nx = = 2\n", "script.lua:2: unexpected symbol"),
                                 ("error({})", "the error is not a text"),
                                 ("local function f() return 1 + f() end f()", "stack overflow")):
            self.assertIn(message, self.run_script(thrower, code=1)[1])

    def fly(self, *arguments, code=0, **changes):
        """Runs the host on a copy of its data: texts in files replaced, a short flight."""
        data = self.folder / "copy"
        shutil.rmtree(data, ignore_errors=True)
        shutil.copytree(ROOT / "examples/data", data)
        changes = {"settings": ("steps = 1100", "steps = 20"), **changes}
        arguments = arguments if "--frames" in arguments else ("--frames", "0", *arguments)
        for name, (old, new) in changes.items():
            path = data / f"{name}.lua"
            text = path.read_text()
            self.assertIn(old, text)
            path.write_text(text.replace(old, new))
        return self.run_host("--data", "copy", "--logs", "logs", *arguments, code=code)

    def test_a_second_run_goes_on_where_the_first_one_ended(self):
        half = ("steps = 1100", "steps = 550")
        for arguments in (["--fresh"], []):  # Windows programs share one write directory
            _, err = self.fly(*arguments, settings=half)
            self.assertEqual("going on from step 550" in err, not arguments)
        # The same to the last bit as one long flight.
        self.assertIn("fingerprint of the flight: 866606\n", err)
        self.assertIn("flock.state.lua: state.title: this is a flight of another world",
                      self.fly(code=1, archipelago=("Three", "Four"))[1])
        self.fly("--fresh", archipelago=("Three", "Four"))

    def test_mistakes_in_files_are_one_line_with_file_and_path(self):
        world = "copy/archipelago.lua: world"
        for name, old, new, message in (
                ("archipelago", "radius =  62", "radios = 62", world + ".islands.1.radius is missing"),
                ("archipelago", "count = 90", "count = 0", world + ".flocks.1.count is 0, not from 1 to 5000"),
                ("archipelago", "dusk", "night", world + ".palette: there is no palettes/night.txt in the data"),
                ("archipelago", '"rose"', '"pink"', world + ".flocks.2.colour: there is no 'pink' in"),
                ("archipelago", '"Gull Rock" } },\n    }', '"Cormorant" } },\n    }',
                 world + ".ferries.4.route.2: no island 'Cormorant' has berths"),
                ("archipelago", '"The Anvil", "Gull Rock" }', '"Grey Stack", "Gull Rock" }',
                 world + ".ferries.4.route: no berth is left in 'Grey Stack'"),
                ("settings", "steps = 1100", 'steps = "many"',
                 "copy/settings.lua: flight.steps must be a number, not a string"),
                ("settings", '"archipelago', '"nowhere', "can't open 'copy/nowhere.lua'")):
            _, err = self.fly(code=1, **{name: (old, new)})
            self.assertIn(message, err)
            self.assertNotIn("in main", err)

    def test_ferries_sail_in_frames(self):
        out, err = self.fly("--fresh", "--frames", "240")
        self.assertNotIn("no way", err)
        self.assertRegex(err, r"HOST: 240 frames, \d+ arrivals")
        self.assertRegex(err, r"\d\d letters, 0 of them lost")
        _, logbook, profile = [posix_path(line.split(": ")[1]) for line in out.splitlines()
                               if line.startswith("result: ")]
        lines = [line.split(maxsplit=1) for line in logbook.read_text().splitlines()]
        self.assertGreaterEqual(len(lines), 3)
        self.assertEqual(lines, sorted(lines, key=lambda line: float(line[0])))
        self.assertIn("Fulmar reached Long Holm", [what for _, what in lines])
        names = [event.get("name") for event in json.loads(profile.read_text())["traceEvents"]]
        self.assertEqual(names.count("frame"), 240)
        self.assertGreaterEqual(names.count("find course"), 4)
        self.assertIn("go on from frame 240", self.fly("--frames", "1")[1])
        saved = logbook.with_name("archipelago.ferries.qzo")
        whole = saved.read_bytes()
        for data, problem in ((whole[:-9] + b"!" + whole[-8:], "a damaged file"),
                              (whole[:100], "the file ends too early")):
            saved.write_bytes(data)
            self.assertRegex(self.fly("--frames", "1", code=1)[1],
                             f"archipelago.ferries.qzo: {problem}.*; --fresh begins anew")
            self.assertEqual(saved.read_bytes(), data)
        saved.write_bytes(whole)

    def sail(self, *arguments):
        shutil.copy(ROOT / "examples/data/archipelago.lua", self.folder / "world.lua")
        return ("--logs", "logs", "--world", "world.lua", "--fast", *arguments,
                self.script("return\n"))

    def test_a_world_that_was_saved_and_loaded_ten_times_is_the_same(self):
        def fingerprint(*arguments):
            return re.findall(r"fingerprint of the ferries: (\d+)", self.run_host(*self.sail(*arguments))[1])

        at_once = fingerprint("--fresh", "--frames", "2200")
        fingerprint("--fresh", "--frames", "200")
        for _ in range(10):
            last = fingerprint("--frames", "200")
        self.assertEqual(last, at_once)
        # Another world has a save of its own; a different world of the same name does not replace a save.
        arguments = self.sail("--frames", "1")
        path = self.folder / "world.lua"
        world = path.read_text()
        other = world.replace("Three", "Four")
        (self.folder / "other.lua").write_text(other)
        self.run_host(*(arg.replace("world.lua", "other.lua") for arg in arguments))
        for text, code, words in ((other, 1, "world.ferries.qzo is of another world; --fresh"),
                                    (world, 0, "the ferries go on from frame 2200")):
            path.write_text(text)
            self.assertIn(words, self.run_host(*arguments, code=code)[1])

    def test_another_host_watches(self):
        name = f"test-{os.getpid()}"
        sail = [one for one in self.sail("--fresh", "--connect", name, "--frames") if one != "--fast"]
        few, many = (sail[:-1] + [frames] + sail[-1:] for frames in ("60", "100000"))

        def watch():
            host = self.start("--logs", "watcher", "--watch", name, stdout=subprocess.PIPE)
            self.assertEqual(host.stdout.readline(), f"watching {name}\n")
            return host

        def sees_what_is_simulated(watcher):
            _, err = self.run_host(*few)
            line = ""
            while "frame 60," not in line:
                line = watcher.stdout.readline()
                self.assertTrue(line)
            self.assertEqual(re.search(r"fingerprint (\d+)", line)[1],
                             re.search(r"fingerprint of the ferries: (\d+)", err)[1])
            return line

        watcher = watch()
        changes, whole = re.search(r"changes, ([\d.]+) .*whole, ([\d.]+)", sees_what_is_simulated(watcher)).groups()
        self.assertLess(0.5, float(changes))
        self.assertLess(float(changes), float(whole) / 2)
        simulating = self.start(*many)
        self.assertIn("Fulmar", watcher.stdout.readline())
        self.assertIn(f"another host simulates under the name {name} already", self.run_host(*few, code=1)[1])
        watcher.kill()
        watcher = watch()  # has missed a part
        self.assertRegex(watcher.stdout.readline(), "frame .*Fulmar")
        simulating.kill()
        simulating.wait()
        sees_what_is_simulated(watcher)

    # Each start shows that the killed host has left a whole world, and not an older one than before.
    def test_a_host_that_is_killed_while_it_saves_leaves_a_whole_world(self):
        chance = random.Random(1)
        self.run_host(*self.sail("--fresh", "--frames", "1"))
        last, kills, cut_off = 1, 0, 0
        # A slow machine may need more kills before one hits a world that is half written.
        while kills < (8 if WINDOWS else 300) or (not WINDOWS and cut_off == 0 and kills < 3000):
            kills += 1
            with self.start(*self.sail("--frames", "1000000", "--save-every", "1"), stderr=subprocess.PIPE) as host:
                said = ""
                while "HOST: the ferries go on from frame" not in said:
                    line = host.stderr.readline()
                    self.assertTrue(line, said)
                    said += line
                time.sleep(chance.uniform(0, 0.3 if WINDOWS else 0.01))
                host.kill()
            frame = int(re.search(r"go on from frame (\d+)", said)[1])
            self.assertGreaterEqual(frame, last)
            last = frame
            cut_off += len(list(self.folder.glob("data/qz_host/*ferries.qzo*"))) > 1
        self.assertGreater(last, 1)
        if not WINDOWS:  # there the directory is elsewhere
            self.assertGreater(cut_off, 0, "kills while a new world lay beside the old one")

    def test_a_mapped_image_is_made_once(self):
        program = COMMAND[-1].replace("qz_host", "qz_mapped")
        image = self.folder / "stars.img"
        for foreign, made in ((None, "made stars.img\n"), (None, ""), (b"no image", None),
                              (b"STR1" + b"\xff" * 12, None)):
            if foreign:
                image.write_bytes(foreign)
            done = subprocess.run([*COMMAND[:-1], program, "stars.img"], cwd=self.folder, text=True,
                                  env=self.environment, stdout=subprocess.PIPE, timeout=60)
            if foreign:
                self.assertEqual((done.returncode, image.read_bytes()), (1, foreign))
            else:
                self.assertEqual(done.stdout, made + "1000 stars, the brightest of 2.953\n")

    def test_a_crash_is_told_of_at_the_next_start(self):
        if WINDOWS:
            self.skipTest("a program cannot be made to crash from outside")
        for name in ("ASAN_OPTIONS", "TSAN_OPTIONS"):  # their own handlers would come first
            self.environment[name] = os.environ.get(name, "") + ":handle_segv=0"
        # The second message may be only half logged when the crash comes.
        # Code that LuaJIT has compiled hides its callers.
        script = self.script("if jit then jit.off() end\n"
                             "log.info('on my way') log.info('still') while true do end\n")
        with self.start("--logs", "logs", script, stderr=subprocess.PIPE) as host:
            while "still" not in host.stderr.readline():
                pass
            # Sent to the main thread: a signal to the process can hit the thread that writes the log.
            ctypes.CDLL(None).syscall(SYS_TGKILL, host.pid, host.pid, signal.SIGSEGV)
        self.assertNotEqual(host.returncode, 0)
        self.assertIn("on my way", self.log())
        (report,) = (self.folder / "logs").glob("qz_host-*.crash")
        self.assertIn("ACCESS_VIOLATION", report.read_text())
        self.assertIn("it crashed: 1 new reports (.crash.info) in logs", self.run_script("return")[1])
        self.assertIn("main", report.with_name(report.name + ".info").read_text())

    def test_mistakes_in_the_start_up_file_are_explained(self):
        path = self.folder / "own.cfg"
        for text, message in (
                ("rates {\r\n", "own.cfg: the file ends too early"),
                ('rates {\r\n checks = "x"; }\r\n',
                 "own.cfg:2: rates.checks must be a whole number from 1 to 1000000, not a text\n"),
                ('log { output { levels = "all"; } }\r\n',
                 "own.cfg:1: log.output.name is missing\n"
                 "own.cfg:1: log.output.levels must be a list, not a text\n"),
                ('log { output { name = "x"; levels = {"loud"}; } }\r\n',
                 "own.cfg:1: log.output.levels.0 names no level: 'loud'")):
            path.write_bytes(text.encode())
            self.assertIn(f"qz_host: {message}",
                          self.run_host("--config", "own.cfg", self.script("return\n"), code=1)[1])

    def test_start_up_file(self):
        (self.folder / "own.cfg").write_bytes(
            b'rates { progress = 2; }\r\n'
            b'log { directory = "own logs"; output { name = "w"; levels = {"warning"}; } }\r\n')
        out, _ = self.run_host("--config", "own.cfg", self.script(
            "log.warning('one') log.info('two')\n"
            "for i = 0, 100 do host.progress(i / 100, 'x') end\n"))
        self.assertEqual(out.count("%"), 3)
        self.assertRegex((self.folder / "own logs/w.log").read_text(),
                         r"^\d+\.\d+ WARNING script: one\n$")

    def test_archives_stand_behind_loose_files(self):
        dusk = (ROOT / "examples/data/palettes/dusk.txt").read_text()
        with zipfile.ZipFile(self.folder / "copy.zip", "w", zipfile.ZIP_DEFLATED) as archive:
            archive.writestr("palettes/dusk.txt", dusk.replace("#58e6d9", "#c0ffee"))
            archive.writestr("palettes/own.txt", dusk.replace("#58e6d9", "#facade"))
        for palette, colour in (("dusk", "#58e6d9"), ("own", "#facade"), ("dawn", "#1f6f78")):
            out, _ = self.fly("--fresh", archipelago=("dusk", palette))
            picture = out.split("result: ")[1].splitlines()[0]
            self.assertIn(colour, posix_path(picture).read_text())
        (self.folder / "copy.zip").write_text("no archive")
        self.assertIn("copy.zip is damaged, or no zip archive", self.fly(code=1)[1])

    def test_what_a_script_keeps(self):
        counting = "state = state or {runs = 0}\nstate.runs = state.runs + 1\nprint(state.runs)\n"
        name = f"kept_by_{os.getpid()}.lua"

        # A state that cannot be saved leaves the last good one.
        for text, code, said in ((counting, 0, ": 1\n"), (counting, 0, ": 2\n"),
                                 ("state = {print}", 1, "the state cannot be saved: Don't know how to write"),
                                 ("state = {['C:\\\\new'] = 1}", 1, ".state.lua: the state cannot be saved: a text"),
                                 (counting, 0, ": 3\n")):
            self.assertIn(said, self.run_host("--logs", "logs", self.script(text, name), code=code)[1])

    def test_arguments_and_exit_code_of_the_script(self):
        self.run_script('print(arg[0], arg[1], select("#", ...), ...)\n'
                        'pcall(os.exit, 7)\n'
                        'while true do end\n', "--data", "ä b", code=7)
        self.assertIn("DEBUG   script: script.lua\t--data\t2\t--data\tä b\n", self.log())

    def test_modules_beside_the_script(self):
        self.script("return 42\n", "lib/answer.lua")
        self.run_script('os.exit(require "answer")', code=42)

    def run_on_terminal(self, *arguments, typed_at=None, typed=b""):
        """Returns the exit code and what was shown; types something when a text has been shown."""
        try:
            process, terminal = pty.fork()
        except OSError as error:  # a bare chroot has none
            self.skipTest(f"no terminal to be had: {error}")
        if process == 0:
            os.chdir(self.folder)
            os.execvpe(COMMAND[0], [*COMMAND, *arguments], self.environment)
        self.addCleanup(os.close, terminal)
        shown = b""
        while select.select([terminal], [], [], 30)[0]:
            try:
                shown += os.read(terminal, 4096)
            except OSError:  # the other end is closed
                break
            if typed_at and typed_at in shown:
                time.sleep(0.5)  # the script is deep in its loop by now
                os.write(terminal, typed)
                typed_at = None
        else:
            os.kill(process, signal.SIGKILL)
        return os.waitstatus_to_exitcode(os.waitpid(process, 0)[1]), shown

    def test_progress_on_a_terminal_is_one_line(self):
        if WINDOWS:
            self.skipTest("Wine draws its console with its own cursor movements")
        name = self.script("for i = 0, 9 do host.progress(i / 10, 'step ' .. i) end\n")
        code, shown = self.run_on_terminal("--logs", "logs", name)
        self.assertEqual(code, 0)
        first, last = shown.index(b"step 0"), shown.index(b"step 9")
        self.assertEqual(shown.count(b"step "), 10)
        self.assertNotIn(b"\n", shown[first:last])

    def test_interrupt_ends_cleanly_even_if_the_script_resists(self):
        # LuaJIT calls no hooks from machine code, so there the script calls the host now and then.
        name = self.script("local jit = string.dump(function() end):sub(2, 3) == 'LJ'\n"
                           "local function spin()\n"
                           "    while true do if jit then host.progress(0) end end\n"
                           "end\n"
                           "log.info('on my way')\n"
                           "while true do pcall(spin) end\n")
        code, _ = self.run_on_terminal("--logs", "logs", name, typed_at=b"on my way", typed=b"\x03")
        self.assertEqual(code, 130)
        self.assertTrue(self.log().endswith("WARNING HOST: interrupted\n"))

    def test_interrupt_ends_frames_cleanly(self):
        shutil.copy(ROOT / "examples/data/archipelago.lua", self.folder / "world.lua")
        code, _ = self.run_on_terminal(
            "--logs", "logs", "--world", "world.lua", "--frames", "100000", self.script("return\n"),
            typed_at=b"leaves", typed=b"\x03")
        self.assertEqual(code, 130)
        self.assertIn("HOST: frame: ", self.log())  # the profile
        self.assertRegex(self.log(), r"\d+ frames, \d+ arrivals\n(.*\n)*.*interrupted\n$")


if __name__ == "__main__":
    COMMAND = sys.argv[1:]
    WINDOWS = COMMAND[-1].endswith(".exe")
    unittest.main(argv=sys.argv[:1], verbosity=2)
