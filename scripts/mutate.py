#!/usr/bin/env python3
"""Measures how many faults the tests of a family notice: makes small faults in its sources, one at a time.

Each mutant is a copy of one source with one small change. It is compiled and linked into a library instead
of the original source, and the family's tests run with that library. A mutant survives if all tests pass.
Then either no test checks the changed behaviour, or the change has no effect on behaviour (it may only make
the code slower): look at each survivor. The sources themselves are only read.
"""
import argparse
import hashlib
import json
import os
import random
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build/mutants")
KEPT = os.path.join(BUILD, "libraries")

COMMENT_OR_TEXT = re.compile(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"'
                             r"|(?<![0-9A-Fa-f])'(?:\\.|[^'\\\n])+'|^[ \t]*#[^\n]*", re.S | re.M)
SWAPS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "+": "-", "-": "+",
         "+=": "-=", "-=": "+=", "&&": "||", "||": "&&"}
# Each rule has a pattern for the part that changes, and a function for its replacement (None: no mutant).
RULES = [
    # Operators between operands have a space on both sides; brackets of templates do not.
    (re.compile(r"(?<= )(?:==|!=|<=|>=|<|>|\+=|-=|\+|-|&&|\|\|)(?= )"), lambda m: SWAPS[m[0]]),
    (re.compile(r"(?<![\w.'])\d+(?=[uUlL]*(?![\w.']))"), lambda m: str(int(m[0]) + 1)),
    (re.compile(r"(?<=[ (])!(?=[\w(])"), lambda m: ""),
    (re.compile(r"(?<=return )(?:true|false)(?=;)"),
     lambda m: "false" if m[0] == "true" else "true"),
    (re.compile(r"(?<=return )[^;{}]+(?=;)"),
     lambda m: "{}" if m[0] not in ("true", "false", "nullptr", "0", "{}", "*this") else None),
    # A call or an assignment on a line of its own.
    (re.compile(r"(?<=[;{}]\n)(?P<indent> +)[\w:.>()\[\]*+-]+(?:\([^;{}=]*\)| [-+|&]?= [^;{}]*);"),
     lambda m: None if m[0].lstrip().startswith("return") else m["indent"] + ";"),
]


SYSTEM_HEADER = re.compile(r"^#include <[a-z_]+>$", re.M)
# An entry in the list at the end of ctest's output: a number, a name, and how the test failed.
FAILED_TEST = re.compile(r"^\s+\d+ - (\S+) \(", re.M)


class Mutant:
    def __init__(self, path, text, start, end, change):
        self.path = path
        self.text = text[:start] + change + text[end:]
        line = text.count("\n", 0, start) + 1
        column = start - text.rfind("\n", 0, start)
        self.name = "%s:%d:%d: %s -> %s" % (path, line, column, " ".join(text[start:end].split()),
                                            change.strip() or "nothing")


def mutants_of(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as source:
        text = source.read()
    code = COMMENT_OR_TEXT.sub(lambda m: re.sub(r"[^\n]", "\0", m[0]), text)
    for pattern, change in RULES:
        for match in pattern.finditer(code):
            replacement = change(match)
            if replacement is not None:
                yield Mutant(path, text, match.start(), match.end(), replacement)


def limit_resources():
    """Keeps a mutant from filling the memory or the disk."""
    for limit in (resource.RLIMIT_DATA, resource.RLIMIT_FSIZE):
        resource.setrlimit(limit, (8 << 30, resource.getrlimit(limit)[1]))


class Library:
    """The library of build/mutants, and the mutants that replace it."""

    def __init__(self):
        if not os.path.exists(os.path.join(BUILD, "build.ninja")):
            self.run(["cmake", "--preset", "linux", "-B", BUILD], cwd=ROOT)
        commands = self.run(["ninja", "-t", "commands", "qzCore"]).splitlines()
        self.link = next(line for line in commands if " -shared " in line)
        self.path = os.path.join(BUILD, re.search(r" -o (\S*libqzCore\S*)", self.link)[1])
        with open(os.path.join(BUILD, "compile_commands.json"), encoding="utf-8") as file:
            # Later entries for the same source belong to tests that compile it themselves.
            self.compile = {entry["file"]: entry for entry in reversed(json.load(file))}
        os.makedirs(KEPT, exist_ok=True)
        self.compile_system_headers()
        self.drop()

    @staticmethod
    def run(command, cwd=BUILD):
        result = subprocess.run(command, cwd=cwd, stdout=subprocess.PIPE, text=True, check=False)
        if result.returncode != 0:
            sys.exit("%s\nmutate: this failed: %s" % (result.stdout[-4000:], shlex.join(command)))
        return result.stdout

    def command(self, source, file, built):
        """The command that compiles a file like a source of the build, but faster: with little optimisation
        and no debugging information."""
        command = shlex.split(self.compile[source]["command"])
        command[command.index("-o") + 1] = built
        command[command.index(source)] = file
        return command + ["-w", "-O1", "-g0"]

    def compile_system_headers(self):
        """Precompiles all system headers of the library: reading them is most of the work for a mutant."""
        sources = [path for path in self.compile
                   if path.startswith(os.path.join(ROOT, "src/")) and "/platform/" not in path]
        includes = set()
        for path in sources:
            with open(path, encoding="utf-8") as source:
                includes.update(SYSTEM_HEADER.findall(source.read()))
        with open(os.path.join(BUILD, "system.h"), "w", encoding="utf-8") as header:
            header.write("\n".join(sorted(includes)) + "\n")
        command = self.command(min(sources), "system.h", "system.h.gch")
        command.insert(command.index("-c"), "-xc++-header")
        self.run(command)

    def drop(self):
        """Removes the library, so that the build links the original one again."""
        if os.path.exists(self.path):
            os.remove(self.path)

    def take(self, mutant, sources_hash):
        """Whether the mutant could be built. Its library is kept for later runs with changed tests."""
        digest = hashlib.sha256((sources_hash + mutant.path + mutant.text).encode()).hexdigest()
        library = os.path.join(KEPT, digest[:24] + ".so")
        if not os.path.exists(library) and not self.build(mutant, library):
            return False
        self.drop()
        shutil.copy(library, self.path)
        return True

    def build(self, mutant, library):
        source = os.path.join(ROOT, mutant.path)
        copy = os.path.join(BUILD, "mutant.cpp")
        with open(copy, "w", encoding="utf-8") as file:
            file.write(mutant.text)
        command = self.command(source, copy, "mutant.o")
        command += ["-include", "system.h", "-iquote", os.path.dirname(source)]
        sound = re.search(r" -o (\S+)", self.compile[source]["command"])[1]
        link = self.link.replace(" %s " % sound, " mutant.o ").replace(
            os.path.relpath(self.path, BUILD), "%s -Wl,-S" % library)
        quiet = {"cwd": BUILD, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        return (subprocess.run(command, check=False, **quiet).returncode == 0 and
                subprocess.run(link, shell=True, check=False, **quiet).returncode == 0)


def failing_tests(family, arguments, seconds):
    """The names of the tests that fail: the first one, or with --all all. None if the tests did not end."""
    command = ["ctest", "--test-dir", "tests/" + family, "-j6"]
    command += [] if arguments.all else ["--stop-on-failure"]
    command += ["-E", arguments.skip] if arguments.skip else []
    with subprocess.Popen(command, cwd=BUILD, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, start_new_session=True, text=True,
                          errors="replace", preexec_fn=limit_resources) as tests:
        try:
            output = tests.communicate(timeout=seconds)[0]
            return [] if tests.returncode == 0 else FAILED_TEST.findall(output) or ["ctest"]
        except subprocess.TimeoutExpired:
            return None
        finally:
            try:
                os.killpg(tests.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass


def cover(noticed):
    """A small set of tests that together notice every mutant; `noticed` has the tests of each mutant."""
    kept = set()
    for tests in sorted(noticed, key=len):
        if not kept & tests:
            kept.add(max(sorted(tests), key=lambda test: sum(test in other for other in noticed)))
    return kept


def chosen(arguments, paths):
    mutants = [mutant for path in paths for mutant in mutants_of(path)]
    if not arguments.again:
        random.Random(arguments.seed).shuffle(mutants)
        return mutants
    with open(arguments.again, encoding="utf-8") as file:
        names = {line.split(" ", 1)[1].strip() for line in file if line.startswith("killed ")}
    missing = names - {mutant.name for mutant in mutants}
    if missing:
        sys.exit("mutate: the sources have changed, and have no more\n%s" % "\n".join(missing))
    return [mutant for mutant in mutants if mutant.name in names]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("family", help="a folder of src")
    parser.add_argument("count", type=int, nargs="?", default=30, help="of mutants (30)")
    parser.add_argument("--seed", type=int, default=1, help="another seed makes other mutants")
    parser.add_argument("--skip", metavar="REGEX", help="sources and tests to leave out")
    parser.add_argument("--all", action="store_true",
                        help="run all tests on each mutant, and list the tests that notice it")
    parser.add_argument("--again", metavar="FILE",
                        help="run only the mutants that were killed in the run whose output is in this file")
    arguments = parser.parse_args()

    folder = os.path.join("src", arguments.family)
    paths = ["%s/%s" % (folder, name) for name in sorted(os.listdir(os.path.join(ROOT, folder)))
             if name.endswith(".cpp") and not (arguments.skip and re.search(arguments.skip, name))]
    library = Library()
    paths = [path for path in paths if os.path.join(ROOT, path) in library.compile]
    library.run(["ninja", "qzCore", "tests/%s/all" % arguments.family])
    with open(library.path, "rb") as file:
        sources_hash = hashlib.sha256(file.read()).hexdigest()
    started = time.monotonic()
    if failing_tests(arguments.family, arguments, None):
        sys.exit("mutate: tests of %s fail without a mutant" % arguments.family)
    seconds = 20 + 3 * (time.monotonic() - started)

    made = killed = 0
    noticed = []
    mutants = chosen(arguments, paths)
    limit = len(mutants) if arguments.again else arguments.count
    for mutant in mutants:
        if made == limit:
            break
        if library.take(mutant, sources_hash):
            failing = failing_tests(arguments.family, arguments, seconds)
            survives = failing == []
            made += 1
            killed += 0 if survives else 1
            print("SURVIVES" if survives else "killed", mutant.name, flush=True)
            if arguments.all and not survives:
                print("    by", "running out of time" if failing is None else ", ".join(failing))
                noticed.append(frozenset(failing or ()))
    library.drop()
    print("%s: %d mutants, %d killed" % (arguments.family, made, killed))
    if arguments.all:
        print("these tests are enough: %s" % ", ".join(sorted(cover([n for n in noticed if n]))))


main()
