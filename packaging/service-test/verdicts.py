"""What a check comes to."""
import subprocess

from command_line import Failure


class Lost(Failure):
    """Ends all checks."""


class Skip(Exception):
    """Has the reason."""


def require(truth, otherwise):
    if not truth:
        raise Failure(otherwise)


def verdict(check, guest):
    try:
        check(guest)
        return "ok", ""
    except Lost:
        raise
    except Skip as e:
        return "skipped", f": {e}"
    except (Failure, OSError, subprocess.SubprocessError) as e:
        return "FAILED", f": {e}"
