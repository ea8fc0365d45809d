"""What long-running scripts do at their begin and end."""
import fcntl
import os
import signal
import subprocess
import sys

from processes import processes


class Failure(Exception):
    """What the user is told instead of a traceback."""


def say(text):
    print(text, flush=True)


def keep_others_out(folder):
    """Two runs would break what each other makes there. The lock goes with the process."""
    folder.mkdir(parents=True, exist_ok=True)
    lock = open(folder / "lock", "w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        raise Failure("another one is at work in this tree") from None
    return lock


def run(name, obey, usage):
    """The exit status of what @p obey does with the arguments."""
    arguments = sys.argv[1:]
    for number in (signal.SIGHUP, signal.SIGTERM):
        if signal.getsignal(number) != signal.SIG_IGN:
            # An exception, with which the programs that run end too.
            signal.signal(number, lambda number, _: sys.exit(128 + number))
    try:
        if {"-h", "--help"} & set(arguments):
            say(usage.strip())
            return 0
        return obey(arguments)
    except BrokenPipeError:
        # Else Python would complain once more, when it flushes at its end.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 128 + signal.SIGPIPE
    except (Failure, OSError, subprocess.SubprocessError) as e:
        print(f"{name}: {e}", file=sys.stderr)
        return 2
    except KeyboardInterrupt:
        return 128 + signal.SIGINT
    finally:
        processes.stop()
