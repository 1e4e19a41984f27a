"""The instrumented build: a copy of the project in build/mutation whose kvrntob/ holds every mutant.

Mutants that do not compile are left out, which takes some rounds: what the compiler says stands in a
choice, or in the choices that a wrong line holds. Files that have not changed since the last time
keep what was found in them.
"""

import hashlib
import multiprocessing
import os
import pickle
import re
import shutil
import subprocess
import sys

import clang.cindex

import instrument
import sites
import tables

NUMBERS_PER_FILE = 2000
PARSER_OPTIONS = ["-x", "c++", "-std=c++20"]
COMPILER_OPTIONS = (
    "-std=c++20 -O0 -w -Wno-c++11-narrowing -ferror-limit=0 -D_GLIBCXX_ASSERTIONS "
    "-fPIC -fvisibility=hidden -fvisibility-inlines-hidden"
)
ALSO_FREED = ["embedded_host/messages/catalogue.cpp"]  # expands a table of kvrntob/host
TYPE_TABLE = "kvrntob/typedmap/wrapper_types.def"
CLASS_TABLE = "kvrntob/typedmap/wrapper_classes.def"
HERE = os.path.dirname(os.path.abspath(__file__))


class File:
    """A source, its mutants, and where they stand in the instrumented text."""

    def __init__(self, path, digest, text, freed, mutants):
        self.path = path
        self.digest = digest
        self.text = text
        self.freed = freed
        self.mutants = mutants
        self.stillborn = []
        self.spots = []
        for position, mutant in enumerate(mutants):
            mutant.file = path
            mutant.position = position

    def number(self, first):
        for mutant in self.mutants + self.stillborn:
            mutant.number = first + mutant.position

    def drop(self, mutants):
        doomed = {m.number for m in mutants}
        self.stillborn += [m for m in self.mutants if m.number in doomed]
        self.mutants = [m for m in self.mutants if m.number not in doomed]


class Tree:
    def __init__(self, root):
        self.root = root
        self.build = os.path.join(root, "build", "mutation")
        self.copy = os.path.join(self.build, "tree")
        self.binary = os.path.join(self.build, "binary")
        self.cache = os.path.join(self.build, "files.pickle")
        self.files = {}

    def prepare(self, targets, jobs):
        """Copies, finds, instruments and builds. Afterwards `mutants` are those that can be run."""
        self.copy_project()
        self.find(jobs)
        self.write_all()
        self.configure()
        self.settle(targets, jobs)

    @property
    def numbers(self):
        """Every mutant's number is below this."""
        return len(self.sources) * NUMBERS_PER_FILE

    @property
    def mutants(self):
        return [m for file in self.files.values() for m in file.mutants]

    @property
    def stillborn(self):
        return [m for file in self.files.values() for m in file.stillborn]

    # ---- Copy and choices ----

    def copy_project(self):
        listed = git(self.root, "ls-files", "--cached", "--others", "--exclude-standard").split(
            "\n"
        )
        wanted = {path for path in listed if path and os.path.isfile(os.path.join(self.root, path))}
        self.sources = sorted(
            p for p in wanted if p.startswith("kvrntob/") and p.endswith((".h", ".cpp", ".def"))
        )
        for path in sorted(wanted - set(self.sources)):
            with open(os.path.join(self.root, path), "rb") as file:
                content = file.read()
            if path in ALSO_FREED:
                content = instrument.free_constants(content.decode()).encode()
            if path == "CMakeLists.txt":  # position independence is one of the options
                content = content.replace(b"set(CMAKE_POSITION_INDEPENDENT_CODE ON)\n", b"")
            self.put(path, content)
        for folder, _, names in os.walk(self.copy):
            for name in names:
                path = os.path.relpath(os.path.join(folder, name), self.copy)
                if path not in wanted and path != CLASS_TABLE:
                    os.remove(os.path.join(folder, name))

    def put(self, path, content):
        """Writes a file of the copy unless it stands there already."""
        target = os.path.join(self.copy, path)
        if os.path.isfile(target):
            with open(target, "rb") as file:
                if file.read() == content:
                    return
        os.makedirs(os.path.dirname(target), exist_ok=True)
        with open(target, "wb") as file:
            file.write(content)

    def find(self, jobs):
        known = self.known_files()
        finders = "".join(
            read(os.path.join(HERE, name)) for name in ("sites.py", "tables.py", "instrument.py")
        )
        tasks = []
        for path in self.sources:
            text = read(os.path.join(self.root, path))
            digest = hashlib.sha256((finders + text).encode()).hexdigest()
            if path not in known or known[path].digest != digest:
                tasks.append((self.root, path, digest, text))
        with multiprocessing.Pool(jobs) as pool:
            for file in pool.starmap(found, tasks, chunksize=1):
                known[file.path] = file
        for position, path in enumerate(self.sources):
            self.files[path] = known[path]
            self.files[path].number(position * NUMBERS_PER_FILE)
        self.remember()

    def known_files(self):
        try:
            with open(self.cache, "rb") as file:
                return pickle.load(file)
        except (OSError, pickle.PickleError, AttributeError, EOFError):
            return {}

    def remember(self):
        with open(self.cache, "wb") as file:
            pickle.dump(self.files, file)

    def write_all(self):
        for file in self.files.values():
            self.write(file)

    def write(self, file):
        if file.path == TYPE_TABLE:
            self.put(TYPE_TABLE, tables.switch_rows(file.text, file.mutants).encode())
            self.put(CLASS_TABLE, tables.class_rows(file.text, file.mutants).encode())
            return
        text, file.spots = instrument.instrumented(file.freed, file.mutants)
        if file.path == "kvrntob/typedmap/conversion.h":
            text = text.replace(TYPE_TABLE, CLASS_TABLE)
        self.put(file.path, text.encode())

    # ---- Building ----

    def configure(self):
        """Compiler options are the same for all sources, so that one precompiled header serves."""
        switch = os.path.join(self.build, "libkvr_switch.so")
        prefix = os.path.join(self.build, "prefix.h")
        options = COMPILER_OPTIONS.split()
        run_quietly(
            [
                "clang++-14",
                "-std=c++20",
                "-O2",
                "-fPIC",
                "-shared",
                "-o",
                switch,
                os.path.join(HERE, "switch.cpp"),
            ]
        )
        if not os.path.isfile(prefix + ".pch") or read(prefix) != read(
            os.path.join(HERE, "prefix.h")
        ):
            shutil.copy(os.path.join(HERE, "prefix.h"), prefix)
            run_quietly(["clang++-14", *options, "-x", "c++-header", prefix, "-o", prefix + ".pch"])
        run_quietly(
            [
                "cmake",
                "-S",
                self.copy,
                "-B",
                self.binary,
                "-G",
                "Ninja",
                "-DCMAKE_CXX_COMPILER=clang++-14",
                "-DCMAKE_BUILD_TYPE=",
                "-DKVRNTOB_BUILD_TESTS=ON",
                "-DPython3_EXECUTABLE=/usr/bin/python3",
                f"-DCMAKE_CXX_FLAGS={' '.join(options)} -include {prefix}",
                f"-DCMAKE_CXX_STANDARD_LIBRARIES={switch}",
            ]
        )

    def settle(self, targets, jobs):
        """Builds until nothing is left that does not compile: the module first, as it is small."""
        for goal in (["kvr_logic"], targets):
            while True:
                result = subprocess.run(
                    ["ninja", "-C", self.binary, "-k", "0", "-j", str(jobs), *goal],
                    stdout=subprocess.PIPE,
                    stderr=subprocess.STDOUT,
                    text=True,
                    check=False,
                )
                if result.returncode == 0:
                    break
                if not self.drop_what_failed(result.stdout):
                    sys.exit(f"{result.stdout[-6000:]}\nmutate: the instrumented build fails")

    def drop_what_failed(self, log):
        """Leaves the mutants out at which an error of the log, or a note to it, stands."""
        doomed = {}
        for message in re.split(r"\n(?=\S+:\d+:\d+: (?:fatal )?error: )", log):
            places = re.findall(r"^(\S+?):(\d+):(\d+): (?:fatal error|error|note): ", message, re.M)
            for path, line, column in places:
                full = os.path.join(self.binary, path)
                file = self.files.get(os.path.relpath(full, self.copy))
                mutant = file and self.at(file, int(line), int(column))
                if mutant:
                    doomed.setdefault(file.path, []).append(mutant)
                    break
        for path, mutants in doomed.items():
            self.files[path].drop(mutants)
            self.write(self.files[path])
        self.remember()
        return doomed

    def at(self, file, line, column):
        """The innermost mutant at the place, or any of its line."""
        lines = read(os.path.join(self.copy, file.path)).split("\n")
        place = sum(len(text) + 1 for text in lines[: line - 1]) + column - 1
        around = [s for s in file.spots if s[0] <= place < s[1] and s[2] in file.mutants]
        if around:
            return min(around, key=lambda s: s[1] - s[0])[2]
        begin = place - column + 1
        on_line = [
            s[2]
            for s in file.spots
            if begin <= s[0] < begin + len(lines[line - 1]) and s[2] in file.mutants
        ]
        return on_line[0] if on_line else None


def found(root, path, digest, text):
    """A file with all its mutants."""
    full = os.path.join(root, path)
    if path == TYPE_TABLE:
        return File(path, digest, text, text, tables.find_wrapper_rows(full))
    if path.endswith(".def"):
        return File(path, digest, text, text, tables.find_rows(full))
    index = clang.cindex.Index.create()
    source = sites.Source(full, index, [*PARSER_OPTIONS, f"-I{root}"])
    freed = instrument.free_constants(text, source)
    return File(path, digest, text, freed, sites.find_mutants(source))


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def git(root, *arguments):
    return subprocess.run(
        ["git", "-C", root, *arguments], check=True, stdout=subprocess.PIPE, text=True
    ).stdout


def run_quietly(command):
    result = subprocess.run(
        command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False
    )
    if result.returncode != 0:
        sys.exit(f"{result.stdout}\nmutate: failed: {' '.join(command)}")
