"""The public headers as Microsoft's compiler reads them, by clang in its mode:
msvc_headers_test.py clang folder/of/headers folder/of/the/C++/library"""
import pathlib
import subprocess
import sys
import unittest

CLANG = sys.argv[1]
HEADERS = pathlib.Path(sys.argv[2])
LIBRARY = pathlib.Path(sys.argv[3])
TARGET = "x86_64-w64-mingw32"
MODE = ["--target=x86_64-pc-windows-msvc", "-fms-compatibility", "-fms-extensions",
        "-fms-compatibility-version=19.39", "-fsyntax-only", "-nostdlibinc", "-D_UCRT", "-Werror",
        "-isystem", f"/usr/{TARGET}/include", "-I", str(HEADERS)]
CPP = ["-xc++", "-std=c++20", "-include", str(pathlib.Path(__file__).with_name("msvc_mode.h")),
       "-U__SIZEOF_INT128__", "-isystem", str(LIBRARY), "-isystem", str(LIBRARY / TARGET),
       "-D__GCC_ATOMIC_TEST_AND_SET_TRUEVAL=1",
       *(f"-D__GCC_ATOMIC_{kind}_LOCK_FREE=2" for kind in (
           "BOOL", "CHAR", "CHAR8_T", "CHAR16_T", "CHAR32_T", "WCHAR_T", "SHORT", "INT", "LONG", "LLONG", "POINTER"))]
SAME_COMPILER = '#include "Core/SameCompiler.h"'


def check(headers, options):
    """What the compiler complains about."""
    source = "".join(f'#include "{header}"\n' for header in headers)
    return subprocess.run([CLANG, *options, *MODE, "-"], input=source, text=True, timeout=300,
                          stderr=subprocess.PIPE).stderr


class HeadersTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        everything = {path.relative_to(HEADERS).as_posix(): path.read_text(encoding="utf-8")
                      for path in sorted(HEADERS.rglob("*.h"))}
        cls.headers = list(everything)
        cls.classes = [name for name, text in everything.items()
                       if SAME_COMPILER in text or name == "Core/SameCompiler.h"]
        cls.flat = [name for name in cls.headers if name not in cls.classes]

    def test_flat_headers(self):
        self.assertIn("Core/Log.h", self.flat)
        for options in (["-xc", "-std=c11"], CPP):
            with self.subTest(options=options):
                self.assertEqual(check(self.flat, options), "")

    def test_headers_of_classes(self):
        self.assertEqual(check(self.headers, [*CPP, "-DQZCORE_BUILT_BY_MSVC"]), "")

    def test_classes_are_for_the_same_compiler(self):
        for name in ("Math/Vector.h", "Lua/Config.h"):
            self.assertIn("needs a qzCore built by the same compiler", check([name], CPP))

    # A header that exports a class is for the same compiler, not flat.
    def test_no_class_is_left_out(self):
        for name in self.flat:
            text = (HEADERS / name).read_text(encoding="utf-8")
            self.assertNotRegex(text, r"\bclass QZ_API\b|\bstruct QZ_API\b", name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
