"""Lets a program die and reads what it left: crash_test.py path/to/crash_probe strip [emulator]"""
import fcntl
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
# Not where it is on the building machine.
SOURCE = r" (Z:)?[\\/]qzCore[\\/]tests[\\/]core[\\/]crash_probe\.cpp:" if PDB else r"crash_probe\.cpp:"

# The code and the name in the report, the function that dies, and the signal that ends the process at last.
WAYS = {
    "null": ("C0000005", "ACCESS_VIOLATION", "dieOfNull", 11),
    "division": ("C0000094", "INT_DIVIDE_BY_ZERO", "dieOfDivision", 8),
    "float_division": ("C000008E", "FLT_DIVIDE_BY_ZERO", "dieOfFloatDivision", 8),
    "illegal": ("C000001D", "ILLEGAL_INSTRUCTION", "dieOfIllegalInstruction", 4),
    "breakpoint": ("80000003", "BREAKPOINT", "dieOfBreakpoint", 5),
    "single_step": ("80000004", "SINGLE_STEP", "dieOfSingleStep", 5),
    "privilege": ("C0000096", "PRIV_INSTRUCTION", "dieOfPrivilege", 11),
    "abort": ("40000015", None, "dieOfAbort", 6),
    "terminate": ("40000015", None, "dieOfTerminate", 6),
    "nowhere": ("C0000005", "ACCESS_VIOLATION", "dieInNowhere", 11),
    "large_frames": ("C00000FD", "STACK_OVERFLOW", "dieOfLargeFrames", 11),
    "overflow": ("C00000FD", "STACK_OVERFLOW", "dieOfOverflow", 11),
    "system": ("C0000374", None, "dieInSystemWay", None) if ON_WINDOWS else
              ("C0000006", "IN_PAGE_ERROR", "dieInSystemWay", 7),
}
FRAME = re.compile(r"^([0-9A-F]{8}) ([0-9A-F]{8}) ([0-9A-F]{4}):([0-9A-F]{8}) (.*)$")


class CrashTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

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
        for earlier in self.folder.glob("*.crash"):
            earlier.unlink()
        done = self.run_probe(*arguments, probe=probe)
        self.assertTrue(done.returncode != 0 if ON_WINDOWS else done.returncode < 0, done)
        self.assertEqual(len(list(self.folder.glob("*.crash"))), 1, (arguments, done))
        self.report, = self.folder.glob("*.crash")
        self.signal, self.printed, self.report_lines = -done.returncode, done.stderr, self.lines(self.report)
        return self.report_lines

    @staticmethod
    def lines(path):
        lines = path.read_bytes().decode().split("\n")
        assert lines.pop() == ""
        return lines

    def check_frames(self, lines, function):
        frames = [FRAME.match(line) for line in lines]
        self.assertTrue(all(frames), lines)
        at = next(i for i, frame in enumerate(frames) if function + "()+" in frame[5])
        self.assertRegex(frames[at][5], SOURCE if function != "dieInSystemWay" else "crash_probe_")
        if "STACK_OVERFLOW" in self.report_lines[2]:
            self.assertLessEqual(len(frames), 4096)
            self.assertIn(function + "()+", frames[1][5])
        else:
            self.assertIn("outerFrame()+", frames[at + 1][5])
        return frames

    def test_every_way_in_every_thread(self):
        for way, (code, name, function, signal) in WAYS.items():
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
                    if not ON_WINDOWS:
                        self.assertEqual(self.signal, signal)

    def retraced(self):
        """The lines of the copy with names, which is made anew."""
        copy = self.report.with_name(self.report.name + ".info")
        copy.unlink(missing_ok=True)
        self.assertEqual(self.run_probe("retrace", "./").returncode, 1)
        return self.lines(copy)

    def test_retrace_takes_a_folder_with_any_end(self):
        (self.folder / "a").mkdir()
        for end, count in (("", 2), ("/", 1), ("\\", 1)):
            for path in (self.folder / "a" / "x.crash", self.folder / "ab.crash"):
                path.write_text("# title\nmodule\n")
                path.with_name(path.name + ".info").unlink(missing_ok=True)
            self.assertEqual(self.run_probe("retrace", "a" + end).returncode, count)

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
        copy = self.retraced()
        self.assertEqual(copy[:3], lines[:3])
        self.check_frames(copy[3:5], "dieOfNull")
        self.assertEqual(copy[5], "#INVALID LINE: no frame")
        self.assertEqual(copy[6], "12345678 00000001 nothing (not retraced: nothing tells what was there)")
        self.assertEqual(len(copy), len(lines) + 2)
        self.assertEqual(self.run_probe("retrace", "./").returncode, 0, "there is a copy already")

    # A younger module is another build, whose symbols would be wrong.
    def test_retrace_refuses_a_younger_module(self):
        program = self.put_program(symbols=False)
        os.utime(program, (1, 1))
        lines = self.crash("null", "main", probe=program)
        self.put_program(symbols=True)
        os.utime(program, (4102444800, 4102444800))
        self.assertEqual(self.retraced()[3], lines[3] + " (not retraced: the module is younger than the crash)")

    # A stripped program holds only the name and the signature of its PDB.
    @unittest.skipUnless(PDB, "no PDB files")
    def test_symbols_come_from_the_pdb_wherever_it_is(self):
        for place, is_named in (("bin", False), ("symbols", False), ("elsewhere", True)):
            with self.subTest(place=place):
                program = self.folder / "bin" / PROBE.name
                program.parent.mkdir(exist_ok=True)
                shutil.move(self.put_program(symbols=False), program)
                shutil.copy2(PROBE.parent / "qzCore.dll", program.parent)
                symbols = self.folder / place / PDB.name
                symbols.parent.mkdir(exist_ok=True)
                shutil.copy2(PDB, symbols)
                if is_named:
                    os.environ["_NT_SYMBOL_PATH"] = "Z:" + str(symbols.parent)
                    self.addCleanup(os.environ.pop, "_NT_SYMBOL_PATH")
                self.check_frames(self.crash("null", "main", probe=program)[3:], "dieOfNull")
                symbols.rename(self.folder / "hidden")
                self.assertNotIn("dieOfNull", "\n".join(self.crash("null", "main", probe=program)))
                (self.folder / "hidden").rename(symbols)
                self.check_frames(self.retraced()[3:], "dieOfNull")
                symbols.unlink()

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
                self.assertNotIn("dieOfNull", "\n".join(self.retraced()))

    # Reading a mapped file behind the place where it was cut off would crash.
    def test_retrace_survives_a_module_that_is_cut_off(self):
        lines = self.crash("null", "main")
        module = self.folder / "module"
        path = str(module) if not ON_WINDOWS else "Z:" + str(module)
        self.report.write_text("\n".join([lines[0], path, lines[2]] + [line[:32] + path for line in lines[3:]]) + "\n")
        whole = PROBE.read_bytes()
        for length in (len(whole) * part // 16 for part in range(16)):
            cut = bytearray(whole[:length])
            if not ON_WINDOWS and length >= 64:  # moves the table of sections into the part that is left
                begin, = struct.unpack_from("<Q", whole, 0x28)
                count, = struct.unpack_from("<H", whole, 0x3C)
                struct.pack_into("<Q", cut, 0x28, length)
                cut += whole[begin:begin + 64 * count]
            module.write_bytes(cut)
            os.utime(module, (1, 1))
            self.retraced()

    # A module may name a pipe as the file of its symbols.
    @unittest.skipIf(ON_WINDOWS, "makes a pipe")
    def test_retrace_waits_for_no_pipe(self):
        lines = self.crash("null", "main")
        module, pipe = self.folder / "module", self.folder / "pipe"
        shutil.copy(PROBE, pipe)
        subprocess.run([STRIP.replace("strip", "objcopy"), "--strip-all", f"--add-gnu-debuglink={pipe}",
                        PROBE, module], check=True)
        pipe.unlink()
        os.mkfifo(pipe)
        os.utime(module, (1, 1))
        self.report.write_text("\n".join(lines).replace(str(PROBE), str(module)) + "\n")
        self.retraced()

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
        self.report = self.folder / "slow.crash"
        self.report.write_text("%s\n%s%s" % (module, located, "00001000 1\n" * 50_000))
        self.assertEqual(self.retraced()[-1], "00001000 00000001 0000:00000000 %s" % module)

    # If descriptors are short, no copy is made: one that is made later is better than an incomplete one.
    @unittest.skipIf(ON_WINDOWS, "limits descriptors")
    def test_retrace_is_whole_or_waits(self):
        self.crash("null", "main")
        whole = self.retraced()
        copy = self.report.with_name(self.report.name + ".info")
        for limit in range(4, 20):  # UBSan needs a pipe and ends the program at 4
            copy.unlink(missing_ok=True)
            done = self.run_probe("retrace", "./", first=lambda: resource.setrlimit(
                resource.RLIMIT_NOFILE, (limit, limit)))
            self.assertEqual((limit, copy.exists()), (limit, done.returncode == 1))
            self.assertEqual(self.lines(copy) if copy.exists() else whole, whole)
        self.assertTrue(copy.exists())
        copy.unlink()
        with open(self.report) as writing:
            fcntl.flock(writing, fcntl.LOCK_EX)
            self.assertEqual((self.run_probe("retrace", "./").returncode, copy.exists()), (0, False))

    def test_prefix_and_end(self):
        self.crash("null", "prefixed")
        self.assertTrue(self.report.name.startswith("named-"))
        # A prefix may be as long as the system allows, and name a folder with either separator.
        folder = "folder" + "f" * 40
        (self.folder / folder).mkdir()
        for name in ("named", "n" * (100 if ON_WINDOWS else 200)):
            for separator in "/\\":
                done = self.run_probe("null", "prefixed", folder + separator + name)
                report, = self.folder.glob(f"{folder}/{name}-*.crash")
                self.assertIn(f"Crash report: {folder}{separator}{report.name}".encode(), done.stderr)
                report.unlink()
        for prefix, warning, times in (("missing/named", b'There is no folder "missing/" for crash reports', 1),
                                       ("some:where", b'named "some:where" are alternate streams', int(ON_WINDOWS))):
            done = self.run_probe("null", "prefixed", prefix)
            self.assertEqual(done.stderr.count(warning), times, done)
            self.assertIn(b"rash report: " + prefix.encode(), done.stderr)
        if not ON_WINDOWS:
            done = self.run_probe("null", "main", first=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100)))
            self.assertIn(b".crash, cut off: File too large", done.stderr)

    # A foreign thread's stack for handlers may be smaller than a report needs.
    def test_special_places(self):
        places = [("null", "foreign"), ("null" if ON_WINDOWS else "overflow", "foreign"),
                  ("large_frames", "adopted"), ("large_frames", "task"), ("null", "without_descriptors")]
        for where in () if ON_WINDOWS else ("cancelled", "firstless", "ignoring", "streamless"):
            places.append(("null", where))
        for way, where in places:
            with self.subTest(way=way, where=where):
                self.check_frames(self.crash(way, where)[3:], WAYS[way][2])

    @unittest.skipIf(ON_WINDOWS, "deletes a running program")
    def test_report_of_a_deleted_program_has_its_name(self):
        self.crash("null", "deleted", probe=self.put_program(symbols=True))
        self.assertTrue(self.report.name.startswith("crash_probe-"), self.report)

    @unittest.skipIf(ON_WINDOWS, "has no paths so long")
    def test_long_paths_are_cut_between_characters(self):
        for start in ("", "x"):
            folder = self.folder.joinpath(start + "\u00e4" * 100, *["\u00e4" * 100] * 5)
            folder.mkdir(parents=True)
            self.assertGreater(len(self.crash("null", "main", probe=shutil.copy2(PROBE, folder))[1].encode()), 1020)

    # Wine may end the thread silently; the library's threads must not keep the process alive then.
    def test_overflow_of_the_main_thread_ends_the_process(self):
        self.assertNotIn(self.run_probe("overflow").returncode, (0, 2))

    @unittest.skipIf(ON_WINDOWS, "blocks signals")
    def test_abort_with_all_signals_blocked(self):
        os.environ["LD_BIND_NOW"] = "1"  # lazy binding would read the page that the probe protects
        self.addCleanup(os.environ.pop, "LD_BIND_NOW")
        self.assertIn("outerFrame()+", "\n".join(self.crash("abort_signalled")))
        self.assertEqual(self.run_probe("abort_blocked").returncode, -6)

    def test_uncaught_exceptions(self):
        for where in ("main", "entangled"):  # the latter with handlers that call each other
            lines = self.crash("exception", where)
            self.assertEqual(self.printed.count(b"QZCORE: Uncaught exception: nobody wants this"), 1)
            self.assertIn("# 40000015 ", lines[2])
            self.assertEqual(lines[-1], "# Uncaught exception: nobody wants this")
        self.assertEqual(self.crash("number")[-1], "# Uncaught exception: of type int")

    def test_other_handlers(self):
        """How the process ends, the calls of an earlier handler, and the reports."""
        cases = {"finished": (None, 0, 0), "chained": (7, 1, 1),
                 "chained_returning": (7, 100, 16),  # to the fault
                 # A handler between puts back the handler that it found, which is not its own successor.
                 "put_back": (None, 0, 1), "put_back_and_finished": (None, 0, 0)}
        if not ON_WINDOWS:
            # The thread that writes the report, and holds locks, does not exist in a forked child.
            cases |= {"chained_once": (-11, 1, None), "forked": (0, 0, 2),
                      "after_children": (-11, 0, 3)}
        for where, (code, calls, reports) in cases.items():
            with self.subTest(where=where):
                done = self.run_probe("null", where)
                self.assertTrue(done.returncode == code if code is not None else done.returncode not in (0, 2), done)
                self.assertEqual(done.stdout.count(b"other handler"), calls)
                paths = list(self.folder.glob("*.crash"))
                found = sum(path.read_text().count("# ------") for path in paths)
                self.assertEqual(found, found if reports is None else reports)
                for path in paths:
                    path.unlink()

    def test_last_messages_are_in_the_log(self):
        self.crash("null", "logging")
        text = (self.folder / "probe.log").read_text()
        self.assertEqual(text.count("M: message "), 500)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
