"""Compiles the C and C++ of README.md and docs/: code_test.py compile_commands.json

A block with a main function is a program. The other blocks of a page make up one translation unit
for each language, their #includes first: a block in which functions or types are defined is taken as
it stands, any other is the body of a function. What a block takes for granted stands in a comment
before it, which readers of the page do not see:

    <!-- given
    void use(const char* text);
    -->
"""
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import unittest

# Sources with whose options the code is compiled: they find all headers, and Lua's.
MODELS = {"c": "tests/core/headers_c_test.c", "cpp": "tests/lua/state_test.cpp"}
STANDARDS = {"c": "c11", "cpp": "c++20"}

BLOCK = re.compile(r"(?:^<!-- given\n(?P<given>.*?)^-->\n+)?"
                   r"^```(?P<language>c|cpp)\n(?P<code>.*?)^```$", re.M | re.S)
INCLUDE = re.compile(r"^#include .*\n", re.M)
MAIN = re.compile(r"^int main\(", re.M)
DEFINITION = re.compile(r"^(?:(?:class|struct|union|enum|namespace|template)\b"
                        r"|(?!return\b)[\w:<>,*& ]*[\w>*&] [*&]?[\w:~]+\([^;]*$)", re.M)

COMMANDS = {}


class Block:
    def __init__(self, page, text, match):
        self.page = page
        self.language = match["language"]
        self.parts = [(text.count("\n", 0, match.start(name)) + 1, match[name])
                      for name in ("given", "code") if match[name] is not None]
        self.is_program = MAIN.search(match["code"]) is not None
        self.defines = DEFINITION.search(match["code"]) is not None

    def includes(self):
        return "".join(line for _, text in self.parts for line in INCLUDE.findall(text))

    def body(self, number):
        """With the includes left out, and positions that name the page."""
        code = "".join(f'#line {line} "{self.page}"\n' + INCLUDE.sub("\n", text)
                       for line, text in self.parts)
        if self.is_program or self.defines:
            return code
        return f"void fragment{number}(void);\nvoid fragment{number}(void) {{\n{code}}}\n"


def units(page, text):
    """The translation units of a page, each a list of blocks."""
    blocks = [Block(page, text, match) for match in BLOCK.finditer(text)]
    programs = [[block] for block in blocks if block.is_program]
    fragments = [[block for block in blocks if block.language == language and not block.is_program]
                 for language in MODELS]
    return programs + [unit for unit in fragments if unit]


def problems(unit):
    """What the compiler says about a translation unit; nothing if all is well."""
    source = ("".join(block.includes() for block in unit) +
              "".join(block.body(number) for number, block in enumerate(unit)))
    language = unit[0].language
    lax = [] if unit[0].is_program else ["-Wno-unused"]
    command = COMMANDS[language] + lax + ["-fsyntax-only", "-x",
                                          {"c": "c", "cpp": "c++"}[language], "-"]
    run = subprocess.run(command, input=source, capture_output=True, text=True, check=False)
    return "" if run.returncode == 0 else run.stderr or f"status {run.returncode}"


def pages():
    root = pathlib.Path()
    return [root / "README.md", *sorted(root.glob("docs/**/*.md"))]


class CodeTest(unittest.TestCase):
    def test_pages_compile(self):
        all_units = [unit for page in pages()
                     for unit in units(page, page.read_text(encoding="utf-8"))]
        self.assertGreater(len(all_units), 2)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
            for unit, found in zip(all_units, workers.map(problems, all_units)):
                with self.subTest(page=str(unit[0].page)):
                    if found:
                        self.fail("\n" + found)

    def test_mistakes_are_found(self):
        for code in ('qz_log("M", QZ_LOG_INFO);', "qz_log_begin();",
                     "int half(double x) {\n    return x / 2;\n}"):
            with self.subTest(code=code):
                text = f"```cpp\n#include <Core/Log.h>\n\n{code}\n```\n"
                self.assertRegex(problems(units("page.md", text)[0]), "page.md:[45]:.* error:")


def read_commands(path):
    entries = json.loads(pathlib.Path(path).read_text(encoding="utf-8"))
    for language, model in MODELS.items():
        command = next(entry["command"] for entry in entries if entry["file"].endswith(model))
        arguments = shlex.split(command)
        # All options but the files and the standard, which CMake may have raised.
        arguments = arguments[:arguments.index("-o")]
        COMMANDS[language] = arguments + [f"-std={STANDARDS[language]}"]


if __name__ == "__main__":
    read_commands(sys.argv[1])
    unittest.main(argv=sys.argv[:1])
