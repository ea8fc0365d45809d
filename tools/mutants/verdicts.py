"""Tells which mutations the tests catch."""
import collections
import dataclasses
import threading

from build import EXECUTABLES
from command_line import say
from known import line_of
from processes import in_parallel
from tests import Test, at_once, run_tests, test_that_failed
from workplace import WORK

WANTED_PERCENT = 97
# Seconds of tests that run in one process before the next, larger part of them.
FIRST_BATCH_SECONDS = 0.5
BATCH_GROWTH = 4


@dataclasses.dataclass
class Verdict:
    mutant: object
    catcher: str
    reaching: int
    known: bool


@dataclasses.dataclass
class NoEnd(Exception):
    """A test took far longer than usual, which may be the machine's fault."""
    test: Test


def batches(tests):
    """The quick tests of the first executable, then more and more at once."""
    by_executable = collections.defaultdict(list)
    for test in sorted(tests, key=lambda t: t.seconds):
        by_executable[test.executable].append(test)
    for executable in EXECUTABLES:
        batch, limit = [], FIRST_BATCH_SECONDS
        for test in by_executable[executable]:
            if batch and sum(t.seconds for t in batch) + test.seconds > limit:
                yield batch
                batch, limit = [], limit * BATCH_GROWTH
            batch.append(test)
        if batch:
            yield batch


telling = threading.Lock()


class Judge:
    def __init__(self, tests, known):
        self.tests = tests
        self.known = known
        self.hanging = []

    def verdicts(self, chosen):
        (WORK / "caught.txt").write_text("")
        result = in_parallel(at_once(), self.verdict_beside_others, chosen)
        if self.hanging:
            say(f"{len(self.hanging)} came to no end, and are tried again with nothing beside them")
        return [v for v in result if v] + [self.verdict_alone(*one) for one in self.hanging]

    def verdict_beside_others(self, mutant):
        """None if a test came to no end."""
        try:
            return self.verdict(mutant, alone=False)
        except NoEnd as e:
            self.hanging.append((mutant, e.test))
            return None

    def verdict_alone(self, mutant, test):
        """The test that came to no end is the first to run."""
        if proves(test, mutant.number):
            return self.told(mutant, test.name)
        return self.verdict(mutant, alone=True)

    def verdict(self, mutant, alone):
        for batch in batches(self.reaching(mutant)):
            name = failing_test(mutant.number, batch, alone)
            if name:
                return self.told(mutant, name)
        return self.told(mutant, "")

    def reaching(self, mutant):
        return [test for test in self.tests if mutant.number in test.reached]

    def told(self, mutant, catcher):
        one = Verdict(mutant, catcher, len(self.reaching(mutant)), mutant.number in self.known)
        with telling:
            if one.catcher:
                with open(WORK / "caught.txt", "a") as file:
                    print(mutant.number, f"{mutant.file}:{mutant.line}", catcher, file=file)
            if one.known or not one.catcher:
                show(one)
        return one


def failing_test(number, batch, alone):
    """Name of one that the mutation makes fail; none if all pass."""
    batch = list(batch)
    while batch:
        status, text = run_tests(batch, number)
        if status == 0:
            break
        test = test_that_failed(batch, text)
        if status is None and not alone:
            raise NoEnd(test)
        if proves(test, number):
            return test.name
        batch.remove(test)
    return ""


def proves(test, number):
    """Whether it fails with the mutation and passes without."""
    if run_tests([test], number)[0] == 0:
        return False
    if run_tests([test])[0] == 0:
        return True
    say(f"{test.name} failed without a mutation too and counts for nothing here")
    return False


def show(verdict):
    mutant = verdict.mutant
    if verdict.known:
        how = f"KNOWN, but {verdict.catcher} fails" if verdict.catcher else "known"
    elif verdict.reaching:
        how = f"SURVIVED {verdict.reaching} tests"
    else:
        how = "SURVIVED, as no test reaches it"
    say(f"{mutant.number:5} {mutant.file}:{mutant.line}: {how}\n"
        f"      {line_of(mutant)}\n      - {mutant.old}\n      + {mutant.new}")


def summary(verdicts):
    """The exit status."""
    known = [v for v in verdicts if v.known]
    others = [v for v in verdicts if not v.known]
    wrong = sum(1 for v in known if v.catcher)
    caught = sum(1 for v in others if v.catcher)
    percent = 100 * caught / len(others) if others else 100
    say(f"{caught} of {len(verdicts)} caught, {len(known)} are known to change nothing that can be "
        f"observed, {len(others) - caught} survived: {percent:.1f} percent caught of those that can be "
        f"observed, {100 * caught / len(verdicts):.1f} of all")
    if wrong:
        say(f"{wrong} of those known were caught: their reasons are wrong")
    return 0 if percent >= WANTED_PERCENT and not wrong else 1
