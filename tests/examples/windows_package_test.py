"""What the Windows package is made of: windows_package_test.py --build folder --emulator wine"""
import argparse
import os
import pathlib
import re
import shlex
import sys
import tempfile
import unittest

from package_test import run

HERE = pathlib.Path(__file__).resolve().parent
OPTIONS = argparse.Namespace()


def imports(module):
    """Pairs of a DLL, in lower case, and a function."""
    dll = None
    for key, value in re.findall(r"^ +(Name|Symbol): (\S+)", run(["llvm-readobj-14", "--coff-imports", module]),
                                 re.M):
        if key == "Name":
            dll = value.lower()
        else:
            yield dll, value


class WindowsPackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.prefix = cls.folder / "package"
        run(["cmake", "--install", OPTIONS.build, "--prefix", cls.prefix])
        cls.modules = sorted((cls.prefix / "bin").glob("*.*"))
        cls.environment = dict(os.environ, WINEPATH=str(cls.prefix / "bin"))

    # windows7.txt lists the functions that the package has imported so far. Another function may be newer
    # than Windows 7: look it up in the documentation, and add it to the list or do without it.
    def test_needs_nothing_that_windows_7_lacks(self):
        known = dict(line.split(": ") for line in (HERE / "windows7.txt").read_text().splitlines()
                     if not line.startswith("#"))
        own = {module.name.lower() for module in self.modules}
        self.assertLessEqual({"qzcore.dll", "qz.exe", "libtbb12.dll"}, own)
        unknown = [f"{module.name}: {dll}: {function}"
                   for module in self.modules for dll, function in imports(module)
                   if dll not in own and function not in known.get(dll, "").split()]
        self.assertEqual([], unknown)

    def test_symbols_are_there(self):
        names = {path.name for path in (self.prefix / "symbols").iterdir()}
        self.assertLessEqual({"qzCore.pdb", "qz.pdb", "lua51.pdb"}, names)
        for module in ("qzCore.dll", "qz.exe"):  # not in the modules, which have no path of the building machine
            content = (self.prefix / "bin" / module).read_bytes()
            at = content.index(b"RSDS") + 24
            self.assertEqual(content[at:content.index(b"\0", at)].decode(), module[:-4] + ".pdb")

    # Hardened against overruns, without a DLL of the compiler's.
    def test_files_are_hardened(self):
        for module in self.modules:
            marks = run(["llvm-readobj-14", "--file-headers", module])
            for mark in ("DYNAMIC_BASE", "HIGH_ENTROPY_VA", "NX_COMPAT"):
                self.assertIn(f"IMAGE_DLL_CHARACTERISTICS_{mark}", marks, module.name)
            self.assertNotIn("libssp-0.dll", {dll for dll, _ in imports(module)}, module.name)

    # Microsoft's own tools make import libraries of short import objects.
    def test_microsofts_linker_takes_the_library(self):
        library = self.prefix / "lib/qzCore.lib"
        kinds = set(re.findall(r"^Format: (\S+)$", run(["llvm-readobj-14", "--file-headers", library]), re.M))
        self.assertEqual(kinds, {"COFF-import-file", "COFF-x86-64"})
        names = run(["llvm-nm-14", library])
        self.assertNotIn(" _Z", names)
        host = self.folder / "flat_host.obj"
        run(["clang-14", "--target=x86_64-pc-windows-msvc", "-c", "-Wall", "-Werror", "-nostdlibinc",
             "-isystem", "/usr/x86_64-w64-mingw32/include", "-D_UCRT", "-I", self.prefix / "include/qzCore",
             HERE / "flat_host.c", "-o", host])
        run(["lld-link-14", "/nodefaultlib", "/entry:start", "/subsystem:console", f"/out:{host}.exe", host,
             library, "/usr/x86_64-w64-mingw32/lib/libkernel32.a"])
        run([*OPTIONS.emulator, f"{host}.exe"], cwd=self.folder, env=self.environment)
        self.assertIn("hello from Microsoft's linker", (self.folder / "flat_host.log").read_text())

    def test_find_package_chooses_the_import_library(self):
        project = self.folder / "project"
        project.mkdir()
        (project / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(host LANGUAGES NONE)\n"
            "find_package(qzCore CONFIG REQUIRED)\n"
            "get_target_property(library qzCore::qzCore IMPORTED_IMPLIB_RELWITHDEBINFO)\n"
            "message(STATUS \"imports: ${library}\")\n")
        for arguments, name in (["-DMSVC=ON"], "qzCore.lib"), ([], "libqzCore.dll.a"):
            printed = run(["cmake", "-S", project, "-B", project / name, "-DCMAKE_SYSTEM_NAME=Windows",
                           f"-DqzCore_DIR={self.prefix}/lib/cmake/qzCore", *arguments])
            self.assertIn(f"imports: {self.prefix}/lib/{name}", printed)

    def test_files_tell_what_they_are(self):
        for module in ("qzCore.dll", "qz.exe"):
            content = (self.prefix / "bin" / module).read_bytes()
            for text in ("FileDescription", "FileVersion", module):
                self.assertIn(text.encode("utf-16-le"), content)
        self.assertIn(b"longPathAware", (self.prefix / "bin/qz.exe").read_bytes())


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--emulator", type=shlex.split, default=[])
    parser.parse_args(namespace=OPTIONS)
    unittest.main(argv=sys.argv[:1], verbosity=2)
