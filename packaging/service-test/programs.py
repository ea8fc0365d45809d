"""Runs programs of this machine, none of which outlives the test."""
import contextlib
import os
import signal
import subprocess

from verdicts import Failure, require

# The slowest is a boot on a busy machine.
TIME_LIMIT_SECONDS = 120
# With a program that was told to end.
PATIENCE_SECONDS = 20


def end(process):
    """And its group."""
    for number, limit in [(signal.SIGTERM, PATIENCE_SECONDS), (signal.SIGKILL, None)]:
        with contextlib.suppress(ProcessLookupError, subprocess.TimeoutExpired):
            os.killpg(process.pid, number)
            process.wait(limit)


@contextlib.contextmanager
def running(*command, **options):
    """It ends at the latest with the block."""
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, start_new_session=True, **options)
    try:
        yield process
    finally:
        end(process)


def output_of(*command, limit=TIME_LIMIT_SECONDS):
    with running(*command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                 errors="replace") as process:
        try:
            output, _ = process.communicate(timeout=limit)
        except subprocess.TimeoutExpired:
            raise Failure(f"{command[-1]!r} doesn't end: {' '.join(map(str, command))}") from None
    require(process.returncode == 0, f"{' '.join(map(str, command))}: {output.strip()}")
    return output
