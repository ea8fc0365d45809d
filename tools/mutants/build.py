"""Compiles all mutants of src/ into one build, and drops those that don't compile."""
import os
import pathlib
import pickle
import re
import subprocess
import sys
import tempfile

from command_line import Failure, say
from copies import ROOT, copy_files, tracked_files, write_if_changed
from mutated_text import MutatedText
from processes import in_parallel
from workplace import BUILD, TOOLS, TREE, WORK, digest, output_of, remember, remembered, shown

# The quick ones first. Tests of the compiler don't count, nor do those that measure memory.
EXECUTABLES = ["vx-tests", "model-tests", "base-tests", "allocation-tests", "modbus-tests",
               "e2e-tests", "hostile-tests"]

# A read beside a text or a container aborts.
FLAGS = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS=-w -D_GLIBCXX_ASSERTIONS",
         "-DCMAKE_CXX_FLAGS_DEBUG=-O0"]

# What links the switches into every executable.
LIBRARIES = "src/CMakeLists.txt"
LINK_SWITCHES = b"target_sources(vx PRIVATE ${CMAKE_SOURCE_DIR}/tools/mutants/mutant.cpp)\n"

# Ahead of each source, whose lines keep their numbers, which tests know.
SWITCHES = f'#include "{TREE}/tools/mutants/mutant.h"\n#line 1\n'.encode()

TOO_EARLY = "static objects need the constant before it would have a value"


def text_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


# The sources


def is_source(name):
    return name.startswith("src/") and name.endswith((".cpp", ".h"))


def parser_options():
    flags = text_of("pkg-config", "--cflags", "json-c", "libmodbus").split()
    return ["-x", "c++", "-std=c++20", "-w", "-I", str(ROOT / "src"), "-DBOOST_ENABLE_ASSERT_HANDLER",
            "-D_TIME_BITS=64", "-D_FILE_OFFSET_BITS=64", *flags]


PARSER = """
import pathlib, pickle, sys
import mutants
path, name, result, *options = sys.argv[1:]
source = mutants.Source(pathlib.Path(path), name, options)
pathlib.Path(result).write_bytes(pickle.dumps(source))
"""


def parsed(name, options):
    """In a process of its own, as it takes seconds."""
    with tempfile.NamedTemporaryFile(dir=WORK) as result:
        status, text = output_of(
            [sys.executable, "-B", "-c", PARSER, ROOT / name, name, result.name, *options],
            env=os.environ | {"PYTHONPATH": str(TOOLS)})
        if status != 0:
            raise Failure(f"{name} can't be parsed:\n{text}")
        return pickle.loads(result.read())


def parse(names, options):
    """The sources, their mutants numbered throughout."""
    sources = in_parallel(os.cpu_count(), lambda name: parsed(name, options), names)
    for number, mutant in enumerate((m for s in sources for m in s.mutants()), 1):
        mutant.number = number
    return sources


# The errors of the compiler

POSITION = re.compile(r"^(?:In file included from |\s+from )?(\S+?):(\d+):(\d+)", re.MULTILINE)


def error_groups(text):
    """Each error with the lines that lead to it and the notes behind it, the error itself first."""
    groups, before = [], []
    behind_error = False
    for line in text.splitlines():
        if ": error: " in line or ": fatal error: " in line:
            groups.append([line, *before])
            before, behind_error = [], True
        elif ": note: " in line and behind_error:
            groups[-1].append(line)
        elif POSITION.match(line):
            before.append(line)
            behind_error = behind_error and "required" not in line
    return groups


class MutatedTree:
    """The sources as they stand in the copy, with those mutants that compile."""

    def __init__(self, sources, key):
        self.sources = {source.name: source for source in sources}
        self.key = key
        # With the reason of each.
        self.dropped = remembered("dropped", key, self.unusable)
        self.texts = {}

    def unusable(self):
        return {n: TOO_EARLY for s in self.sources.values() for n in s.mutants_of_early_constants()}

    def mutants(self):
        """All, by number."""
        return {m.number: m for s in self.sources.values() for m in s.mutants()}

    def kept(self):
        return {n: m for n, m in self.mutants().items() if n not in self.dropped}

    def write(self):
        kept = set(self.kept())
        for source in self.sources.values():
            self.texts[source.name] = MutatedText(source, kept)
            write_if_changed(TREE / source.name, SWITCHES + self.texts[source.name].bytes)

    @staticmethod
    def places(group):
        """Name of a source, line and column of each line of an error."""
        for line in group:
            found = POSITION.match(line)
            path = pathlib.Path(os.path.normpath(BUILD / found[1])) if found else None
            if path and path.is_relative_to(TREE) and is_source(str(path.relative_to(TREE))):
                yield str(path.relative_to(TREE)), int(found[2]), int(found[3])

    def culprits(self, groups, mutants_at):
        """Numbers of mutants that errors are about, with the words of the error."""
        kept = self.kept()
        result = {}
        for group in groups:
            numbers = (mutants_at(*place).intersection(kept) for place in self.places(group))
            found = next(filter(None, numbers), set())
            result |= {number: group[0].partition("error: ")[2] for number in found}
        return result

    def constants_at(self, name, line, _):
        return self.sources[name].mutants_of_constant_in_line(line)

    def mutants_at(self, name, line, column):
        return self.texts[name].culprits(line, column)

    def build(self, targets):
        """Drops what doesn't compile until all does."""
        while True:
            self.write()
            status, text = output_of(["ninja", "-C", BUILD, "-k", "0", *targets],
                                     env=os.environ | {"LC_ALL": "C"})
            if status == 0:
                return
            groups = error_groups(text)
            # A constant first, as what can't be used any more makes errors elsewhere too.
            culprits = (self.culprits(groups, self.constants_at)
                        or self.culprits(groups, self.mutants_at))
            if not culprits:
                (WORK / "build.log").write_text(text)
                raise Failure(f"The build failed, see {shown(WORK / 'build.log')}")
            self.dropped |= culprits
            remember("dropped", self.key, self.dropped)

    def tell_dropped(self):
        file = WORK / "dropped.txt"
        mutants = self.mutants()
        file.write_text("".join(f"{n:5} {mutants[n]}\n      {reason}\n"
                                for n, reason in sorted(self.dropped.items())))
        early = sum(reason == TOO_EARLY for reason in self.dropped.values())
        say(f"{len(mutants)} mutations; left out are {len(self.dropped) - early} that don't compile and "
            f"{early} of constants that are needed early, see {shown(file)}")


def configure():
    status, text = output_of(["cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", *FLAGS])
    if status != 0:
        raise Failure(f"cmake can't configure {TREE}:\n{text}")


def build():
    """The mutants that compile, by number."""
    names = tracked_files()
    sources = [name for name in names if is_source(name)]
    options = parser_options()
    key = [digest([ROOT / name for name in sources] + [TOOLS / "mutants.py"]), options]
    compiler = os.environ.get("CXX", "c++").split()
    tree = MutatedTree(remembered("sources", key, lambda: parse(sources, options)),
                       [key, FLAGS, text_of(*compiler, "--version")])
    copy_files(TREE, names, [*sources, LIBRARIES])
    write_if_changed(TREE / LIBRARIES, (ROOT / LIBRARIES).read_bytes() + LINK_SWITCHES)
    tree.write()
    configure()
    # The sources alone first, as most errors show there.
    tree.build(["modbus-reader"])
    tree.build(EXECUTABLES)
    tree.tell_dropped()
    return tree.kept()
