"""Unpacks a package of the library, or installs it, and moves it to a new folder; builds the small
examples against it and runs them."""
import argparse
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
OPTIONS = argparse.Namespace()


def run(command, **options):
    """Runs a command that must succeed; returns what it printed."""
    done = subprocess.run([str(part) for part in command], text=True, timeout=200, errors="replace",
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.prefix = cls.folder / "moved"
        shutil.move(cls.install(cls.folder / "first"), cls.prefix)
        cls.environment = dict(os.environ, LD_LIBRARY_PATH=str(cls.prefix / "lib"),
                               PKG_CONFIG_PATH=str(cls.prefix / "lib/pkgconfig"),
                               WINEPATH=str(cls.prefix / "bin"))
        if OPTIONS.target == "Linux":  # Wine keeps its own files there
            cls.environment["HOME"] = str(cls.folder)

    @staticmethod
    def install(folder):
        """Returns where the package is."""
        if OPTIONS.archive is None:
            stale = pathlib.Path(OPTIONS.build) / "installed_docs/gone.md"  # as left by an earlier installation
            stale.parent.mkdir(exist_ok=True)
            stale.touch()
            run(["cmake", "--install", OPTIONS.build, "--prefix", folder])
            return folder
        shutil.unpack_archive(OPTIONS.archive, folder)
        (place,) = folder.iterdir()
        for tool in (place / "bin").iterdir():
            tool.chmod(0o755)  # zip archives do not keep it
        return place

    @staticmethod
    def program(path):
        return [*OPTIONS.emulator, f"{path}.exe" if OPTIONS.target == "Windows" else path]

    def test_licences_are_there(self):
        documents = self.prefix / "share/doc/qzCore"
        self.assertTrue((documents / "LICENSE").exists())
        if OPTIONS.target == "Windows":  # the package brings what it needs
            files = [path for path in (documents / "licenses").rglob("*") if path.is_file()]
            self.assertLessEqual({"libiconv", "lua", "onetbb", "physfs", "zlib"},
                                 {path.parent.name for path in files})

    def test_documents_have_no_dead_link_and_nothing_old(self):
        self.assertEqual(list((self.prefix / "share/doc").rglob("gone.md")), [])
        run([sys.executable, EXAMPLES.parent / "scripts/check_links.py", self.prefix / "share/doc"])

    def test_files_are_hardened(self):
        """Overruns end the program, and the addresses of what it calls cannot be overwritten."""
        self.needs_linux()
        for name in ("lib/libqzCore.so", "bin/qz"):
            told = run(["readelf", "--wide", "--dynamic", "--program-headers", "--dyn-syms", self.prefix / name])
            for mark in (r"FLAGS_1.*\bNOW\b", r"GNU_RELRO", r"__stack_chk_fail", r"__\w+_chk\b",
                         r"GNU_STACK +(\w+ +){5}RW "):
                self.assertRegex(told, mark, name)

    def test_symbols_are_in_files_of_their_own(self):
        self.needs_linux()
        for path in (self.prefix / "lib/libqzCore.so", self.prefix / "bin/qz"):
            path = path.resolve()
            symbols = path.parent / f".debug/{path.name}.debug"
            self.assertEqual(symbols.exists(), OPTIONS.separate_symbols)
            if OPTIONS.separate_symbols:
                self.assertNotIn(".debug_info", run(["readelf", "--section-headers", path]))
                self.assertIn(".debug_info", run(["readelf", "--section-headers", symbols]))
                self.assertIn(symbols.name, run(["readelf", "--string-dump=.gnu_debuglink", path]))

    def check_log(self, name, language):
        line = (self.folder / f"{name}.log").read_text().splitlines()[-1]
        self.assertRegex(line, rf"^\d{{5}}\.\d{{3}} INFO    HELLO: hello from {language}$")

    def needs_linux(self):
        if OPTIONS.target != "Linux":
            self.skipTest("for Linux only")

    def readme_blocks(self, language):
        text = (EXAMPLES.parent / "README.md").read_text(encoding="utf-8")
        return re.findall(rf"^```{language}\n(.*?)^```$", text, re.M | re.S)

    def test_readme_builds_with_its_own_commands(self):
        """The programs, the CMakeLists.txt and the compiler's lines of the README, word for word."""
        self.needs_linux()
        place = self.folder / "readme"
        place.mkdir()
        (script,) = (block for block in self.readme_blocks("sh") if "g++" in block)
        plain_c, plain_cpp, with_lua = (line.partition("#")[0].strip()
                                        for line in script.splitlines()[1:])
        (c_program,) = self.readme_blocks("c")
        cpp_program, lua_program = self.readme_blocks("cpp")
        lua = run(["pkg-config", "--variable=lua_module", "qzcore"], env=self.environment).strip()
        with_lua = with_lua.replace("lua5.1", lua)
        for name, program, line, printed in (
                ("host.c", c_program, plain_c, "WARNING NET: server is late"),
                ("host.cpp", cpp_program, plain_cpp, "HOST: ships: 6"),
                ("host.cpp", lua_program, with_lua, "script: writing to ")):
            with self.subTest(line=line):
                (place / name).write_text(program, encoding="utf-8")
                run(["sh", "-c", line], cwd=place, env=self.environment)
                self.assertIn(printed, run([place / "host"], cwd=place, env=self.environment))

    def build_project(self, source, program):
        """Builds a project of CMake against the package; returns the command that runs its program."""
        build = self.folder / f"{program}_build"
        run(["cmake", "-S", source, "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}",
             f"-DCMAKE_TOOLCHAIN_FILE={OPTIONS.toolchain}"])
        run(["cmake", "--build", build])
        return self.program(build / program)

    def test_version_is_one(self):
        version = run([*self.program(self.prefix / "bin/qz"), "--version"]).split()[1]
        pc_file = (self.prefix / "lib/pkgconfig/qzcore.pc").read_text(encoding="utf-8")
        self.assertIn(f"Version: {version}\n", pc_file)

    def test_projects_build_outside_of_the_tree(self):
        readme = self.folder / "readme_project"
        readme.mkdir()
        (project,) = self.readme_blocks("cmake")
        (readme / "CMakeLists.txt").write_text(project, encoding="utf-8")
        (readme / "host.cpp").write_text(self.readme_blocks("cpp")[1], encoding="utf-8")
        (self.folder / "empty.lua").touch()
        for source, program, arguments, printed in (
                (readme, "host", [], "script: writing to "),
                (EXAMPLES / "hello_cpp", "hello_cpp", ["."], "Greetings: 1 so far"),
                (EXAMPLES / "host", "qz_host", ["--fresh", "empty.lua"], "HOST: done\n"),
                (EXAMPLES / "server", "qz_server", ["--directory", "server", "--frames", "10"],
                 "^10 frames, .* 0 failed")):
            with self.subTest(source=source):
                self.assertRegex(run([*self.build_project(source, program), *arguments],
                                     cwd=self.folder, env=self.environment), printed)
        self.check_log("hello_cpp", r"C\+\+")

    def test_c_through_pkg_config(self):
        self.needs_linux()
        flags = run(["pkg-config", "--cflags", "--libs", "qzcore"], env=self.environment)
        program = self.folder / "hello_c"
        run([OPTIONS.cc, "-std=c11", "-Wall", "-Wextra", "-Wpedantic", "-Werror",
             EXAMPLES / "hello_c/hello.c", "-o", program, *shlex.split(flags)])
        run([program, self.folder], env=self.environment)
        self.check_log("hello_c", "C")

    def test_python_through_the_c_functions(self):
        self.needs_linux()
        printed = run([sys.executable, EXAMPLES / "python/hello.py", self.folder],
                      env=self.environment)
        self.assertRegex(printed, r"'hello from Python' is 0x[0-9a-f]{8}\n")
        self.check_log("hello_py", "Python")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    source = parser.add_mutually_exclusive_group(required=True)
    source.add_argument("--build")
    source.add_argument("--archive")
    parser.add_argument("--target", required=True)
    parser.add_argument("--toolchain", default="")
    parser.add_argument("--cc", required=True)
    parser.add_argument("--separate-symbols", action="store_true")
    parser.add_argument("--emulator", type=shlex.split, default=[])
    parser.parse_args(namespace=OPTIONS)
    unittest.main(argv=sys.argv[:1], verbosity=2)
