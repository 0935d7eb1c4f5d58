"""Lets a program die and reads what it left: crash_test.py path/to/crash_probe strip [emulator]"""
import os
import pathlib
import re
import resource
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

PROBE = pathlib.Path(sys.argv[1]).resolve()
STRIP = sys.argv[2]
EMULATOR = sys.argv[3:]
ON_WINDOWS = bool(EMULATOR)
# The file of the program's symbols, if they are not in the program.
PDB = PROBE.with_suffix(".pdb") if ON_WINDOWS and PROBE.with_suffix(".pdb").exists() else None

NAMES = {
    "null": ("C0000005", "ACCESS_VIOLATION", "dieOfNull"),
    "division": ("C0000094", "INT_DIVIDE_BY_ZERO", "dieOfDivision"),
    "float_division": ("C000008E", "FLT_DIVIDE_BY_ZERO", "dieOfFloatDivision"),
    "illegal": ("C000001D", "ILLEGAL_INSTRUCTION", "dieOfIllegalInstruction"),
    "breakpoint": ("80000003", "BREAKPOINT", "dieOfBreakpoint"),
    "single_step": ("80000004", "SINGLE_STEP", "dieOfSingleStep"),
    "privilege": ("C0000096", "PRIV_INSTRUCTION", "dieOfPrivilege"),
    "abort": ("40000015", None, "dieOfAbort"),
    "terminate": ("40000015", None, "dieOfTerminate"),
    "nowhere": ("C0000005", "ACCESS_VIOLATION", "dieInNowhere"),
    "large_frames": ("C00000FD", "STACK_OVERFLOW", "dieOfLargeFrames"),
    "overflow": ("C00000FD", "STACK_OVERFLOW", "dieOfOverflow"),
    "system": ("C0000374", None, "dieInSystemWay") if ON_WINDOWS else
              ("C0000006", "IN_PAGE_ERROR", "dieInSystemWay"),
}
FRAME = re.compile(r"^([0-9A-F]{8}) ([0-9A-F]{8}) ([0-9A-F]{4}):([0-9A-F]{8}) (.*)$")


class CrashTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def put_program(self, symbols):
        """Copies the program to the test's folder, with or without its symbols. No others are found."""
        program = self.folder / PROBE.name
        shutil.copy2(PROBE, program)
        os.environ["WINEPATH"] = os.environ.get("WINEPATH", "") + ";" + str(PROBE.parent)
        if PDB:  # else the library of the build folder, with all PDB files beside it, would be used
            shutil.copy2(PROBE.parent / "qzCore.dll", self.folder)
        if PDB and symbols:
            shutil.copy2(PDB, self.folder)
        elif not symbols:
            subprocess.run([STRIP, str(program)], check=True)
        return program

    def run_probe(self, *arguments, probe=PROBE, first=None):
        # Without the sanitizers' own handlers, so the system handles the fault after the report.
        own = ":".join("handle_%s=0" % name for name in ("segv", "sigbus", "abort", "sigill", "sigfpe",
                                                         "sigtrap"))
        environment = dict(os.environ, ASAN_OPTIONS=own + ":detect_leaks=0", TSAN_OPTIONS=own,
                           UBSAN_OPTIONS="exitcode=99")
        return subprocess.run([*EMULATOR, str(probe), *arguments], cwd=self.folder, env=environment,
                              capture_output=True, stdin=subprocess.DEVNULL, timeout=120,
                              preexec_fn=first)

    def crash(self, *arguments, probe=PROBE):
        """Returns the report's lines. Checks that there is one report and that the process has failed."""
        done = self.run_probe(*arguments, probe=probe)
        self.assertTrue(done.returncode != 0 if ON_WINDOWS else done.returncode < 0, done)
        reports = list(self.folder.glob("*.crash"))
        self.assertEqual(len(reports), 1, (arguments, done))
        self.report = reports[0]
        lines = self.lines(self.report)
        self.report_lines = lines
        return lines

    def lines(self, path):
        text = path.read_bytes().decode()
        self.assertTrue(text.endswith("\n"))
        return text.split("\n")[:-1]

    def check_frames(self, lines, function):
        frames = [FRAME.match(line) for line in lines]
        self.assertTrue(all(frames), lines)
        at = next(i for i, frame in enumerate(frames) if function + "()+" in frame[5])
        self.assertIn("crash_probe.cpp:" if function != "dieInSystemWay" else "crash_probe_", frames[at][5])
        if "STACK_OVERFLOW" in self.report_lines[2]:
            self.assertLessEqual(len(frames), 4096)
            self.assertIn(function + "()+", frames[1][5])
        else:
            self.assertIn("outerFrame()+", frames[at + 1][5])
        return frames

    def test_every_way_in_every_thread(self):
        for way, (code, name, function) in NAMES.items():
            if way == "overflow" and ON_WINDOWS:
                print("skipped: overflow in small steps, for which Wine leaves no stack to its dispatcher")
                continue
            for where in ("main", "thread"):
                with self.subTest(way=way, where=where):
                    lines = self.crash(way, where)
                    stamp = re.fullmatch(r"crash_probe-(\d{8}-\d{6})\.crash", self.report.name)[1]
                    self.assertEqual(lines[0], "# -------------- %s --------------" % stamp)
                    cause = re.fullmatch(r"# ([0-9A-F]{8}) (.+) at ([0-9A-F]{8}) ([0-9A-F]{2}):([0-9A-F]{8})",
                                         lines[2])
                    self.assertEqual(cause[1], code)
                    if name is not None:
                        self.assertEqual(cause[2], name)
                    frames = self.check_frames(lines[3:], function)
                    if way == "nowhere":
                        self.assertEqual((lines[1], lines[3].split()[0]), ("", "00000000"))
                    elif code != "40000015":
                        self.assertEqual((frames[0][1], frames[0][4]), (cause[3], cause[5]))
                        self.assertIn(lines[1], frames[0][5])
                self.report.unlink()

    def retrace(self, folder=None):
        done = self.run_probe("retrace", folder or str(self.folder) + "/")
        return done.returncode

    def test_retrace_takes_a_folder_with_any_end(self):
        (self.folder / "a").mkdir()
        for end in ("", "/", "\\"):
            for path in (self.folder / "a" / "x.crash", self.folder / "ab.crash"):
                path.write_text("# title\nmodule\n")
                path.with_name(path.name + ".info").unlink(missing_ok=True)
            self.assertEqual(self.retrace("a" + end), 1 if end else 2)

    # A frame of a stripped program has a place but no name; with the symbols at hand, it gets one.
    def test_retrace_names_what_had_no_symbols(self):
        program = self.put_program(symbols=False)
        lines = self.crash("null", "main", probe=program)
        self.assertNotIn("dieOfNull", "\n".join(lines))
        self.assertIn(PROBE.name, lines[3])
        self.put_program(symbols=True)
        # A line without its text is completed from the other lines; an invalid line is kept.
        self.report.write_text("\n".join(lines[:4] + [lines[4][:17], "no frame", "12345678 1 nothing"]
                                         + lines[5:]) + "\n")
        self.assertEqual(self.retrace(), 1)
        copy = self.lines(self.report.with_name(self.report.name + ".info"))
        self.assertEqual(copy[:3], lines[:3])
        self.check_frames(copy[3:5], "dieOfNull")
        self.assertEqual(copy[5], "#INVALID LINE: no frame")
        self.assertEqual(copy[6], "12345678 00000001 nothing (not retraced: nothing tells what was there)")
        self.assertEqual(len(copy), len(lines) + 2)
        self.assertEqual(self.retrace(), 0)

    # A younger module is another build, whose symbols would be wrong.
    def test_retrace_refuses_a_younger_module(self):
        program = self.put_program(symbols=False)
        os.utime(program, (1, 1))
        lines = self.crash("null", "main", probe=program)
        self.put_program(symbols=True)
        os.utime(program, (4102444800, 4102444800))
        self.assertEqual(self.retrace(), 1)
        copy = self.lines(self.report.with_name(self.report.name + ".info"))
        self.assertEqual(copy[3], lines[3] + " (not retraced: the module is younger than the crash)")

    def symbol_path(self, folder):
        os.environ["_NT_SYMBOL_PATH"] = "Z:" + str(folder)
        self.addCleanup(os.environ.pop, "_NT_SYMBOL_PATH")

    # A stripped program holds only the name and the signature of its PDB.
    @unittest.skipUnless(PDB, "no PDB files")
    def test_symbols_come_from_the_pdb_wherever_it_is(self):
        for place, is_named in (("bin", False), ("symbols", False), ("elsewhere", True)):
            with self.subTest(place=place):
                program = self.folder / "bin" / PROBE.name
                program.parent.mkdir(exist_ok=True)
                shutil.move(self.put_program(symbols=False), program)
                shutil.copy2(PROBE.parent / "qzCore.dll", program.parent)
                symbols = self.folder / place
                symbols.mkdir(exist_ok=True)
                shutil.copy2(PDB, symbols)
                if is_named:
                    self.symbol_path(symbols)
                lines = self.crash("null", "main", probe=program)
                self.report.unlink()
                self.check_frames(lines[3:], "dieOfNull")
                (symbols / PDB.name).rename(self.folder / "hidden")
                lines = self.crash("null", "main", probe=program)
                self.assertNotIn("dieOfNull", "\n".join(lines))
                (self.folder / "hidden").rename(symbols / PDB.name)
                self.assertEqual(self.retrace(), 1)
                copy = self.report.with_name(self.report.name + ".info")
                self.check_frames(self.lines(copy)[3:], "dieOfNull")
                for path in (self.report, copy, symbols / PDB.name):
                    path.unlink()

    # The PDB must have the program's signature and its number of links.
    @unittest.skipUnless(PDB, "no PDB files")
    def test_pdb_of_another_build_is_not_believed(self):
        program = self.put_program(symbols=False)
        image = PROBE.read_bytes()
        at = image.index(b"RSDS") + 4
        signature, (age,) = image[at:at + 16], struct.unpack_from("<I", image, at + 16)
        for foreign in (signature[:-1] + bytes([signature[-1] ^ 1]) + struct.pack("<I", age),
                        signature + struct.pack("<I", age + 1)):
            with self.subTest(foreign=foreign.hex()):
                shutil.copy2(PDB, self.folder)
                program.chmod(0o755)
                program.write_bytes(image[:at] + foreign + image[at + 20:])
                self.assertNotIn("dieOfNull", "\n".join(self.crash("null", "main", probe=program)))
                self.assertEqual(self.retrace(), 1)
                copy = self.report.with_name(self.report.name + ".info")
                self.assertNotIn("dieOfNull", copy.read_text())
                self.report.unlink()
                copy.unlink()

    # Reading a mapped file behind the place where it was cut off would crash.
    def test_retrace_survives_a_module_that_is_cut_off(self):
        lines = self.crash("null", "main")
        module = self.folder / "module"
        for length in (PROBE.stat().st_size * part // 16 for part in range(16)):
            module.write_bytes(PROBE.read_bytes()[:length])
            if not ON_WINDOWS and length >= 64:  # moves the table of sections into the part that is left
                self.move_sections(module)
            os.utime(module, (1, 1))
            path = str(module) if not ON_WINDOWS else "Z:" + str(module)
            self.report.write_text("\n".join([lines[0], path, lines[2]] +
                                             [line[:32] + path for line in lines[3:]]) + "\n")
            self.assertEqual(self.retrace(), 1)
            self.report.with_name(self.report.name + ".info").unlink()

    def move_sections(self, module):
        whole = PROBE.read_bytes()
        begin, = struct.unpack_from("<Q", whole, 0x28)
        count, = struct.unpack_from("<H", whole, 0x3C)
        cut = bytearray(module.read_bytes())
        struct.pack_into("<Q", cut, 0x28, len(cut))
        module.write_bytes(cut + whole[begin:begin + 64 * count])

    # A module may name a pipe as the file of its symbols.
    @unittest.skipIf(ON_WINDOWS, "makes a pipe")
    def test_retrace_waits_for_no_pipe(self):
        lines = self.crash("null", "main")
        module = self.folder / "module"
        (self.folder / "pipe").write_bytes(PROBE.read_bytes())
        subprocess.run([STRIP.replace("strip", "objcopy"), "--strip-all",
                        "--add-gnu-debuglink=%s" % (self.folder / "pipe"), str(PROBE), str(module)], check=True)
        (self.folder / "pipe").unlink()
        os.mkfifo(self.folder / "pipe")
        os.utime(module, (1, 1))
        self.report.write_text("\n".join(lines).replace(str(PROBE), str(module)) + "\n")
        self.assertEqual(self.retrace(), 1)

    # A report may name a file that was made to be slow.
    @unittest.skipIf(ON_WINDOWS, "makes an ELF file")
    def test_retrace_is_done_with_a_module_of_too_many_sections(self):
        sections = 65535
        header = struct.pack("<16sHHIQQQIHHHHHH", b"\x7fELF\x02\x01\x01", 3, 62, 1, 0, 64, 120, 0, 64, 56, 1,
                             64, sections, 0)
        segment = struct.pack("<IIQQQQQQ", 1, 5, 0, 0, 0, 1 << 20, 1 << 20, 4096)
        section = struct.pack("<IIQQQQIIQQ", 0, 1, 2, 0, 0, 16, 0, 0, 1, 0)
        module = self.folder / "module"
        module.write_bytes(header + segment + sections * section)
        located = "00000000 1 0001:00000000 %s\n" % module
        (self.folder / "slow.crash").write_text("%s\n%s%s" % (module, located, "00001000 1\n" * 50_000))
        self.assertEqual(self.retrace(), 1)
        copy = self.lines(self.folder / "slow.crash.info")
        self.assertEqual(copy[-1], "00001000 00000001 0000:00000000 %s" % module)

    # If descriptors are short, no copy is made: one that is made later is better than an incomplete one.
    @unittest.skipIf(ON_WINDOWS, "limits descriptors")
    def test_retrace_is_whole_or_waits(self):
        self.crash("null", "main")
        copy = self.report.with_name(self.report.name + ".info")
        self.assertEqual(self.retrace(), 1)
        whole = copy.read_text()
        for limit in range(4, 20):  # UBSan needs a pipe and ends the program at 4
            copy.unlink(missing_ok=True)
            done = self.run_probe("retrace", str(self.folder) + "/", first=lambda: resource.setrlimit(
                resource.RLIMIT_NOFILE, (limit, limit)))
            self.assertEqual((limit, copy.exists()), (limit, done.returncode == 1))
            self.assertEqual(copy.read_text() if copy.exists() else whole, whole)
        self.assertTrue(copy.exists())

    def test_prefix_and_end(self):
        self.crash("null", "prefixed")
        self.assertTrue(self.report.name.startswith("named-"))
        self.report.unlink()
        # A prefix may be as long as the system allows, and name a folder with either separator.
        for name in ("named", "n" * (100 if ON_WINDOWS else 200)):
            for separator in "/\\":
                folder = self.folder / ("folder" + "f" * 40)
                folder.mkdir()
                done = self.run_probe("null", "prefixed", folder.name + separator + name)
                reports = list(folder.glob(name + "-*.crash"))
                self.assertEqual(len(reports), 1, (name, separator, done))
                self.assertIn(b"Crash report: " + (folder.name + separator + reports[0].name).encode(), done.stderr)
                shutil.rmtree(folder)
        done = self.run_probe("null", "prefixed", "missing/named")
        self.assertEqual(done.stderr.count(b'There is no folder "missing/" for crash reports'), 1, done)
        done = self.run_probe("null", "prefixed", "some:where")
        self.assertEqual(done.stderr.count(b'named "some:where" are alternate streams'), int(ON_WINDOWS), done)
        for report in self.folder.glob("some*"):
            report.unlink()
        self.assertNotIn(self.run_probe("null", "finished").returncode, (0, 2))
        self.assertEqual(list(self.folder.glob("*.crash")), [])

    def test_earlier_handler_runs_afterwards(self):
        done = self.run_probe("null", "chained")
        self.assertEqual((done.returncode, done.stdout.strip()), (7, b"other handler"))
        self.assertEqual(len(list(self.folder.glob("*.crash"))), 1)

    # A foreign thread's stack for handlers may be smaller than a report needs.
    def test_threads_of_others(self):
        for way, where in (("null", "foreign"), ("null" if ON_WINDOWS else "overflow", "foreign"),
                           ("large_frames", "adopted"), ("large_frames", "task")):
            with self.subTest(way=way, where=where):
                self.check_frames(self.crash(way, where)[3:], NAMES[way][2])
            self.report.unlink()

    # Wine may end the thread silently; the library's threads must not keep the process alive then.
    def test_overflow_of_the_main_thread_ends_the_process(self):
        self.assertNotIn(self.run_probe("overflow").returncode, (0, 2))

    def test_report_when_descriptors_have_run_out(self):
        self.check_frames(self.crash("null", "without_descriptors")[3:], "dieOfNull")

    @unittest.skipIf(ON_WINDOWS, "blocks signals")
    def test_abort_with_all_signals_blocked(self):
        os.environ["LD_BIND_NOW"] = "1"  # lazy binding would read the page that the probe protects
        self.addCleanup(os.environ.pop, "LD_BIND_NOW")
        self.assertIn("outerFrame()+", "\n".join(self.crash("abort_signalled")))
        self.assertEqual(self.run_probe("abort_blocked").returncode, -6)

    @unittest.skipIf(ON_WINDOWS, "cancels a thread")
    def test_cancelled_thread(self):
        self.check_frames(self.crash("null", "cancelled")[3:], "dieOfNull")

    # The thread that writes the report, and holds locks, does not exist in the child.
    @unittest.skipIf(ON_WINDOWS, "forks")
    def test_child_forked_during_a_report(self):
        self.assertEqual(self.run_probe("null", "forked").returncode, 0)
        self.assertEqual(self.count_reports(), 2)

    def test_uncaught_exception_is_in_the_log_and_the_report(self):
        done = self.run_probe("exception")
        self.assertIn(b"QZCORE: Uncaught exception: nobody wants this", done.stderr)
        self.assertEqual(self.count_reports(), 1)
        last = self.lines(next(self.folder.glob("*.crash")))[-1]
        self.assertEqual(last, "# Uncaught exception: nobody wants this")

    def test_handlers_for_exceptions_that_call_each_other(self):
        done = self.run_probe("exception", "entangled")
        self.assertEqual(done.stderr.count(b"Uncaught exception"), 1, done)
        self.assertIn("# 40000015 ", self.lines(next(self.folder.glob("*.crash")))[2])

    def count_reports(self):
        return sum(path.read_text().count("# ------") for path in self.folder.glob("*.crash"))

    def test_earlier_handler_that_returns_to_the_fault(self):
        done = self.run_probe("null", "chained_returning")
        self.assertEqual((done.returncode, done.stdout.count(b"other handler")), (7, 100))
        self.assertEqual(self.count_reports(), 16)

    @unittest.skipIf(ON_WINDOWS, "where handlers are for any number of calls")
    def test_earlier_handler_for_one_call(self):
        done = self.run_probe("null", "chained_once")
        self.assertEqual((done.returncode, done.stdout.count(b"other handler")), (-11, 1))

    # A handler that was installed in between puts back the handler that it found: the library's.
    def test_handler_is_not_its_own_successor(self):
        for where, reports in (("put_back", 1), ("put_back_and_finished", 0)):
            self.assertNotIn(self.run_probe("null", where).returncode, (0, 2))
            self.assertEqual(self.count_reports(), reports)
            for path in self.folder.glob("*.crash"):
                path.unlink()

    def test_system_ends_the_process(self):
        if ON_WINDOWS:
            return
        for way, signal in (("null", 11), ("abort", 6), ("breakpoint", 5), ("division", 8), ("system", 7)):
            self.assertEqual(self.run_probe(way).returncode, -signal)

    def test_last_messages_are_in_the_log(self):
        self.crash("null", "logging")
        text = (self.folder / "probe.log").read_text()
        self.assertEqual(text.count("M: message "), 500)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
