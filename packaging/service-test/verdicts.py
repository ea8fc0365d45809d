"""What a check comes to."""
import subprocess


class Failure(Exception):
    """Has one text for the user."""


class Lost(Exception):
    """Ends all checks; has one text for the user."""


class Skip(Exception):
    """Has the reason."""


def require(truth, otherwise):
    if not truth:
        raise Failure(otherwise)


def verdict(check, guest):
    try:
        check(guest)
        return "ok", ""
    except Skip as e:
        return "skipped", f": {e}"
    except (Failure, OSError, subprocess.SubprocessError) as e:
        return "FAILED", f": {e}"
