"""Where random mutations are built and tried, and what is remembered there from one run to the next."""
import contextlib
import hashlib
import os
import pickle
import subprocess
import tempfile

from copies import ROOT
from processes import processes

WORK = ROOT / "build" / "mutants"
TREE = WORK / "tree"
BUILD = WORK / "build"
TOOLS = ROOT / "tools" / "mutants"


def output_of(command, **options):
    """Exit status and text of a program."""
    with tempfile.TemporaryFile(dir=WORK) as output:
        status = processes.run(command, stdin=subprocess.DEVNULL, stdout=output,
                               stderr=subprocess.STDOUT, **options)
        output.seek(0)
        return status, output.read().decode(errors="replace")


def shown(path):
    return path.relative_to(ROOT)


def digest(paths):
    state = hashlib.sha256()
    for path in paths:
        state.update(f"{path}\0".encode())
        state.update(hashlib.sha256(path.read_bytes()).digest())
    return state.hexdigest()


def remembered(name, key, make):
    """What @p make returns, or what it returned for the same key before."""
    path = WORK / f"{name}.pickle"
    with contextlib.suppress(OSError, EOFError, ImportError, AttributeError, ValueError,
                             pickle.UnpicklingError):
        known, value = pickle.loads(path.read_bytes())
        if known == key:
            return value
    value = make()
    remember(name, key, value)
    return value


def remember(name, key, value):
    with tempfile.NamedTemporaryFile(dir=WORK, delete=False) as file:
        file.write(pickle.dumps((key, value)))
    os.replace(file.name, WORK / f"{name}.pickle")
