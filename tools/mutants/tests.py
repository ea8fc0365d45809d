"""Runs tests with a mutation, and tells which mutations each test reaches."""
import dataclasses
import hashlib
import os
import re
import tempfile
import time

from build import EXECUTABLES
from command_line import Failure, say
from copies import test_command
from processes import in_parallel
from workplace import BUILD, TREE, WORK, output_of, remembered, shown

# How much longer than without a mutation tests may take.
TIME_FACTOR = 5
TIME_ALLOWANCE_SECONDS = 20


@dataclasses.dataclass(frozen=True)
class Test:
    executable: str
    name: str
    seconds: float
    reached: frozenset


def at_once():
    """Most tests of the real executable wait for its pauses, so more run than processors exist."""
    return 4 * os.cpu_count()


def run_executable(executable, names, variables, limit=None):
    """Exit status, none beyond the limit, and what the tests wrote."""
    with tempfile.TemporaryDirectory(prefix="mutants-") as temporary:
        return output_of(
            test_command(TREE, BUILD, executable, "--gtest_fail_fast",
                         "--gtest_filter=" + ":".join(names)),
            cwd=BUILD, limit=limit, env=os.environ | {"TMPDIR": temporary} | variables)


def run_tests(tests, number=None):
    """All of one executable, with a mutation or without."""
    limit = TIME_ALLOWANCE_SECONDS + TIME_FACTOR * sum(test.seconds for test in tests)
    variables = {} if number is None else {"MUTANT": str(number)}
    return run_executable(tests[0].executable, [test.name for test in tests], variables, limit)


def test_that_failed(tests, text):
    """By what the executable wrote; the last that began if it crashed. Else the tests behind the one
    that failed begin too, and are skipped."""
    failed = re.search(r"^\[  FAILED  \] (\S+)", text, re.MULTILINE)
    begun = re.findall(r"^\[ RUN      \] (\S+)", text, re.MULTILINE)
    name = failed[1].rstrip(",") if failed else begun[-1] if begun else ""
    return next((test for test in tests if test.name == name), tests[0])


# What they reach


def names_of_tests(executable):
    status, text = output_of([BUILD / executable, "--gtest_list_tests"])
    if status != 0:
        raise Failure(f"{executable} can't list its tests")
    suite, names = "", []
    for line in text.splitlines():
        name = line.split("#")[0].strip()
        if name.endswith(".") and not line.startswith(" "):
            suite = name
        elif line.startswith("  "):
            names.append(suite + name)
    return names


def record(executable, name, size):
    """None if it fails."""
    with tempfile.NamedTemporaryFile(dir=WORK) as reached:
        reached.truncate(size)
        began = time.monotonic()
        status, text = run_executable(executable, [name], {"MUTANT_REACHED": reached.name})
        seconds = time.monotonic() - began
        if status == 0:
            marks = reached.read()
            return Test(executable, name, seconds, frozenset(i for i, m in enumerate(marks) if m))
    (WORK / "test.log").write_text(text)
    return None


def record_alone(executable, name, size):
    """With nothing beside it, as it failed where others ran."""
    say(f"{name} failed without a mutation and is tried again")
    test = record(executable, name, size)
    if test is None:
        raise Failure(f"{name} fails without a mutation, see {shown(WORK / 'test.log')}")
    return test


def record_all(executable, size):
    names = names_of_tests(executable)
    tests = in_parallel(at_once(), lambda name: record(executable, name, size), names)
    return [test or record_alone(executable, name, size) for name, test in zip(names, tests)]


def recorded(mutants):
    """All tests; those of an executable that is still the same aren't run again."""
    size = max(mutants) + 1
    result = []
    for executable in EXECUTABLES:
        key = [size] + [hashlib.sha256((BUILD / name).read_bytes()).hexdigest()
                        for name in (executable, "modbus-reader")]
        result += remembered(f"reached-{executable}", key, lambda: record_all(executable, size))
    return result
