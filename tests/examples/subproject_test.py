"""Configures parents that take the tree in with add_subdirectory, and compiles a host of theirs:
subproject_test.py SOURCE_FOLDER"""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path()

PARENT = """\
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES C CXX)
add_subdirectory({source} qzCore)
get_property(options DIRECTORY PROPERTY COMPILE_OPTIONS)
message(STATUS "left to the parent: '${{options}}' '${{CMAKE_CXX_VISIBILITY_PRESET}}'")
add_executable(host host.cpp)
target_link_libraries(host PRIVATE qzCore::qzCore qzCore::lua)
"""

HOST = """\
#include <Core/Version.h>
#include <Lua/Loader.h>
#include <lua.hpp>
static_assert(__cplusplus >= 202002L, "the library's headers need C++20, and its target says so");
int main() { return QZ_version() == QZ_VERSION_NUMBER ? 0 : 1; }
"""


class SubprojectTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.build = self.folder / "build"
        (self.folder / "CMakeLists.txt").write_text(PARENT.format(source=SOURCE), encoding="utf-8")
        (self.folder / "host.cpp").write_text(HOST, encoding="utf-8")

    def cmake(self, *arguments):
        return subprocess.run(["cmake", *map(str, arguments)], text=True, capture_output=True,
                              timeout=200, check=False)

    def configure(self, *options):
        return self.cmake("-G", "Ninja", "-S", self.folder, "-B", self.build, *options)

    def test_parent_gets_the_library_and_nothing_else(self):
        done = self.configure("-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("left to the parent: '' ''", done.stdout)
        for name in ("CPackConfig.cmake", "qzCore/qzCoreConfig.cmake", "qzCore/tests", "qzCore/tools"):
            self.assertFalse((self.build / name).exists(), name)
        commands = json.loads((self.build / "compile_commands.json").read_text(encoding="utf-8"))
        sources = [entry for entry in commands if "qzCore_EXPORTS" in entry["command"]]
        self.assertGreater(len(sources), 100, "a unity build has few")
        self.assertNotIn("-Werror", sources[0]["command"])
        # Its object alone: linking would build the whole library once more.
        done = self.cmake("--build", self.build, "--target",
                          "CMakeFiles/host.dir/Unity/unity_0_cxx.cxx.o")
        self.assertEqual(done.returncode, 0, done.stdout)

    def test_static_library_is_refused(self):
        done = self.configure("-DBUILD_SHARED_LIBS=OFF")
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("shared library only", done.stderr)

    def test_fixed_folders_stand_in_what_is_installed(self):
        done = self.configure("-DQZ_INSTALL=ON", "-DQZ_BUILD_TOOLS=ON", "-DCMAKE_INSTALL_PREFIX=/opt/q",
                              "-DCMAKE_INSTALL_LIBDIR=/opt/q/lib64")
        self.assertEqual(done.returncode, 0, done.stderr)
        pc_file = (self.build / "qzCore/qzcore.pc").read_text(encoding="utf-8")
        self.assertIn("libdir=/opt/q/lib64\nincludedir=/opt/q/include/qzCore\n", pc_file)
        rules = (self.build / "qzCore/tools/qz/cmake_install.cmake")
        top = (self.build / "qzCore/cmake_install.cmake").read_text(encoding="utf-8")
        self.assertIn('RPATH "/opt/q/lib64"', top + (rules.read_text() if rules.exists() else ""))


if __name__ == "__main__":
    SOURCE = pathlib.Path(sys.argv[1]).resolve()
    unittest.main(argv=sys.argv[:1], verbosity=2)
