#!/usr/bin/python3
"""Lets the inspector follow a real journal, in a private world. Usage: journal-test.py BUILD"""

import datetime
import os
import pty
import select
import subprocess
import sys
import time

from served import ROOT, Inspector, await_that, poll

BUILD = os.path.abspath(sys.argv[1])
MACHINE = "0123456789abcdef0123456789abcdef"
JOURNAL = f"/run/log/journal/{MACHINE}/system.journal"
# Where journald moves it when it is full: with an id, a number and a time.
FULL_JOURNAL = JOURNAL.replace("system", f"system@{MACHINE}-{1:016x}-{1:016x}")


def write(unit, text):
    """Adds the lines to the journal as what a unit wrote."""
    now, since_boot = time.time_ns() // 1000, time.monotonic_ns() // 1000
    entries = "".join(
        f"__REALTIME_TIMESTAMP={now + i}\n__MONOTONIC_TIMESTAMP={since_boot + i}\n"
        f"_BOOT_ID={MACHINE}\n_MACHINE_ID={MACHINE}\n_SYSTEMD_UNIT={unit}\nMESSAGE={line}\n\n"
        for i, line in enumerate(text.splitlines()))
    subprocess.run(["/lib/systemd/systemd-journal-remote", "--output", JOURNAL, "-"], input=entries,
                   text=True, check=True, stderr=subprocess.DEVNULL)


def poll_before(seconds, meter):
    now = datetime.datetime.now(datetime.timezone.utc).replace(tzinfo=None)
    return poll(now - datetime.timedelta(seconds=seconds), seconds, [meter])


def require_watched(text):
    """On the screen of watch, in a terminal."""
    child, terminal = pty.fork()
    if child == 0:
        os.execv(os.path.join(BUILD, "modbus-inspector"), ["modbus-inspector", "watch", "--journal"])
    screen = b""
    while text not in screen:
        assert select.select([terminal], [], [], 30)[0], screen
        screen += os.read(terminal, 65536)
    os.write(terminal, b"q")
    assert os.waitpid(child, 0)[1] == 0
    os.close(terminal)


def main():
    with open("/etc/machine-id", "w", encoding="utf-8") as file:
        file.write(MACHINE + "\n")
    os.makedirs(os.path.dirname(JOURNAL))
    write("other.service", poll_before(20, 9))
    with Inspector(BUILD) as inspector:
        await_that("a hint that nothing is of the unit", lambda: inspector.home()["hints"])
        write("modbus-reader.service", poll_before(8, 1) + poll_before(6, 1))
        await_that("the meter", lambda: [x["id"] for x in inspector.home()["meters"]] == ["S-1"])
        home = inspector.home()
        assert (home["hints"], home["log"]["lines"]) == ([], 8), home
        write("other.service", poll_before(4, 9))
        write("modbus-reader.service", poll_before(2, 2))
        await_that("another line", lambda: inspector.home()["log"]["lines"] == 12)
        os.rename(JOURNAL, FULL_JOURNAL)
        write("modbus-reader.service", poll_before(0, 1))
        await_that("a line of the next file", lambda: inspector.home()["log"]["lines"] == 16)
    with Inspector(BUILD) as inspector:
        await_that("the past", lambda: inspector.home()["log"]["lines"] == 16)
    require_watched(b"S-2")
    print("The journal is followed.")


if sys.argv[2:] == ["--inside"]:
    main()
else:
    os.execv(os.path.join(ROOT, "tools/private-world"),
             ["private-world", "--rtu", "--", sys.executable, os.path.abspath(__file__), BUILD, "--inside"])
