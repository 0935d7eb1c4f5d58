"""Unpacks a package of the library, or installs it, and moves it to a new folder; builds the small
examples against it and runs them."""
import argparse
import os
import pathlib
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
    done = subprocess.run([str(part) for part in command], text=True, timeout=200,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.prefix = cls.folder / "moved"
        shutil.move(cls.install(cls.folder / "first"), cls.prefix)
        cls.environment = dict(os.environ, LD_LIBRARY_PATH=str(cls.prefix / "lib"),
                               PKG_CONFIG_PATH=str(cls.prefix / "lib/pkgconfig"),
                               WINEPATH=str(cls.prefix / "bin"))

    @staticmethod
    def install(folder):
        """Returns where the package is."""
        if OPTIONS.archive is None:
            run(["cmake", "--install", OPTIONS.build, "--prefix", folder])
            return folder
        shutil.unpack_archive(OPTIONS.archive, folder)
        (place,) = folder.iterdir()
        for tool in (place / "bin").iterdir():
            tool.chmod(0o755)  # zip archives do not tell
        return place

    def test_tool_finds_the_library(self):
        suffix = ".exe" if OPTIONS.target == "Windows" else ""
        self.assertIn("Usage", run([*OPTIONS.emulator, self.prefix / f"bin/qz{suffix}", "--help"],
                                   cwd=self.folder))

    def test_licences_are_there(self):
        documents = self.prefix / "share/doc/qzCore"
        self.assertTrue((documents / "LICENSE").exists())
        if OPTIONS.target == "Windows":  # the package brings what it needs
            files = [path for path in (documents / "licenses").rglob("*") if path.is_file()]
            self.assertLessEqual({"libiconv", "lua", "onetbb", "physfs"},
                                 {path.parent.name for path in files})

    def check_log(self, name, language):
        line = (self.folder / f"{name}.log").read_text().splitlines()[-1]
        self.assertRegex(line, rf"^\d{{5}}\.\d{{3}} INFO    HELLO: hello from {language}$")

    def needs_linux(self):
        if OPTIONS.target != "Linux":
            self.skipTest("for Linux only")

    def test_cpp_through_find_package(self):
        build = self.folder / "hello_cpp"
        # A toolchain for another system ignores prefixes of this one, hence the package's folder.
        place = (f"-DCMAKE_PREFIX_PATH={self.prefix}" if OPTIONS.target == "Linux" else
                 f"-DqzCore_DIR={self.prefix / 'lib/cmake/qzCore'}")
        run(["cmake", "-S", EXAMPLES / "hello_cpp", "-B", build, "-G", "Ninja", place,
             f"-DCMAKE_TOOLCHAIN_FILE={OPTIONS.toolchain}"])
        run(["cmake", "--build", build])
        suffix = ".exe" if OPTIONS.target == "Windows" else ""
        printed = run([*OPTIONS.emulator, build / f"hello_cpp{suffix}", self.folder],
                      env=self.environment)
        self.assertIn("Greetings: 1 so far", printed)
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
    parser.add_argument("--emulator", type=shlex.split, default=[])
    parser.parse_args(namespace=OPTIONS)
    unittest.main(argv=sys.argv[:1], verbosity=2)
