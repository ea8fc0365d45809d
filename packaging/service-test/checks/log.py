"""What the journal has of its log."""
import json
import re

from guest import UNIT
from machine import TOOLS
from verdicts import require

# Longer lines the journal would break.
JOURNALS_OWN_LINE = 48 * 1024


def journal_is_complete(guest):
    """the journal has each byte that is logged at debug severity, in whole lines"""
    drown_in_lines(guest)
    guest.set_up(drop_in="Environment=VX_LOG=D")
    guest.home.wait_for_readings(polls=1)
    written, kept, _ = what_is_logged(guest)
    guest.home.wait_for_readings(polls=4)
    written_later, kept_later, lines = what_is_logged(guest)
    require(kept_later - kept == written_later - written,
            f"of {written_later - written} bytes the journal has {kept_later - kept}")
    longest = max(map(len, lines))
    require(longest > JOURNALS_OWN_LINE, f"no line was longer than {longest}")


def drown_in_lines(guest):
    """Shows that the journal suppresses lines of a service that sets nothing."""
    place = guest.journal.end()
    guest.run("systemd-run", "--unit=chatter", "--wait", f"{TOOLS}/perl", "-e",
              "print qq(line\\n) for 1 .. 20000")
    kept = guest.journal.since(place, "chatter.service").count("line\n")
    require(kept < 10000, "the journal suppresses nothing, so the check would show nothing")


def what_is_logged(guest):
    """Bytes that the reader has written, and those of the journal, while the reader stands still."""
    reader = guest.reader()
    guest.run("systemctl", "kill", "--kill-who=main", "--signal=STOP", UNIT)
    try:
        guest.run("journalctl", "--sync")
        written = int(re.search(r"^wchar: (\d+)$", (reader / "io").read_text(), re.MULTILINE)[1])
        invocation = guest.property("InvocationID")
        entries = [json.loads(line) for line in guest.run(
            "journalctl", "--all", "--output=json", "--output-fields=MESSAGE",
            f"_SYSTEMD_INVOCATION_ID={invocation}").splitlines()]
    finally:
        guest.run("systemctl", "kill", "--kill-who=main", "--signal=CONT", UNIT)
    # A text that isn't one in UTF-8 is an array of its bytes.
    lines = [m.encode() if isinstance(m := entry["MESSAGE"], str) else m for entry in entries]
    return written, sum(len(line) + len("\n") for line in lines), lines
