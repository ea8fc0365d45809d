"""The mutations that are known to change nothing that can be observed."""
import functools

from command_line import Failure
from copies import ROOT

LEFT = ROOT / "script" / "mutants-left.txt"


@functools.lru_cache(None)
def lines_of(name):
    return [line.strip() for line in (ROOT / name).read_text().splitlines()]


def line_of(mutant):
    return lines_of(mutant.file)[mutant.line - 1]


def stands_at(mutant, place):
    """Which is its line, maybe behind some of those ahead of it."""
    ahead = "\n".join(lines_of(mutant.file)[:mutant.line])
    return f"\n{ahead}".replace("\n", " / ").endswith(f" / {place}")


def mutant_of(block, mutants):
    lines = block.strip("\n").split("\n")
    if len(lines) < 5 or not lines[2].startswith("- ") or not lines[3].startswith("+ "):
        raise Failure(f"{LEFT.name} has a block that isn't one:\n{block}")
    file, place, old, new = lines[0], lines[1].strip(), lines[2][2:], lines[3][2:]
    fitting = [m for m in mutants.values()
               if (m.file, m.old, m.new) == (file, old, new) and stands_at(m, place)]
    if len(fitting) != 1:
        lines = ", ".join(str(m.line) for m in fitting)
        raise Failure(f"{LEFT.name} has a block that fits "
                      + (f"several mutations, in the lines {lines}" if fitting else "no mutation")
                      + f":\n{block}")
    return fitting[0].number


def known_survivors(mutants):
    """Numbers of those that mutants-left.txt holds. Its blocks are a file, the place there, "- old",
    "+ new" and the reason."""
    blocks = LEFT.read_text().split("\n\n")
    numbers = [mutant_of(b, mutants) for b in blocks if b.strip() and not b.startswith("#")]
    twice = {number for number in numbers if numbers.count(number) > 1}
    if twice:
        raise Failure(f"{LEFT.name} tells twice of {mutants[min(twice)]}")
    return set(numbers)
