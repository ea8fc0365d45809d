"""Where the test works, one run at a time."""
import fcntl
import pathlib

from verdicts import Failure

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
WORK = ROOT / "build" / "service"


def keep_others_out():
    """Two runs would take each other's Debian away. The lock goes with the process."""
    WORK.mkdir(parents=True, exist_ok=True)
    lock = open(WORK / "lock", "w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        raise Failure("another one is at work in this tree") from None
    return lock
