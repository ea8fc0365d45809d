"""What upgrade, removal and installation of its package do."""
import os
import re

from guest import UNIT
from journal import FAILED
from machine import TOOLS
from verdicts import require

LOG_SETTINGS = """Written by the package modbus-reader, see /usr/share/doc/modbus-reader/operations.md
VX_LOG=W,modbusreaderSocketWriter:N
"""


def upgrade_restarts_it_once(guest):
    """an upgrade while it polls restarts it once, and keeps what was configured"""
    guest.set_up(drop_in="Environment=TZ=UTC")
    guest.write("/etc/libvx", "VX_LOG=N\n")
    guest.home.wait_for_readings(polls=1)
    kept = [guest.root / path for path in ("etc/libvx", "etc/modbus-config.json",
                                           f"etc/systemd/system/{UNIT}.d/test.conf")]
    before = [path.read_text() for path in kept], program_of(guest)
    place = guest.journal.end()
    guest.run("dpkg", "--install", newer_package(guest))
    guest.home.wait_for_readings()
    said = guest.journal.since(place)
    require(said.count("\nStarted ") == 1 and FAILED not in said, f"more than one restart: {said}")
    require([path.read_text() for path in kept] == before[0], "the configuration has changed")
    require(program_of(guest) not in (before[1], None), "the older program runs")


def program_of(guest):
    """What tells the installed file apart, if it is what runs."""
    installed = (guest.root / "usr" / "sbin" / "modbus-reader").stat()
    runs = (guest.reader() / "exe").stat()
    return (runs.st_dev, runs.st_ino) if os.path.samestat(installed, runs) else None


def newer_package(guest):
    """The reader's, under a higher version; gives its place."""
    folder, package = f"{TOOLS}/newer", f"{TOOLS}/newer.deb"
    [older] = guest.packages_in("modbus-reader")
    guest.run("dpkg-deb", "--raw-extract", older, folder)
    control = guest.root / folder[1:] / "DEBIAN" / "control"
    control.write_text(re.sub("^(Version: .*)$", r"\1+newer", control.read_text(), flags=re.MULTILINE))
    guest.run("dpkg-deb", "--build", folder, package)
    return package


def upgrade_leaves_it_off(guest):
    """an upgrade leaves a service off that the administrator switched off"""
    guest.run("systemctl", "disable", "--now", UNIT)
    guest.run("dpkg", "--install", f"{TOOLS}/newer.deb")
    state = guest.property("ActiveState"), guest.property("UnitFileState")
    require(state == ("inactive", "disabled"), f"it is {state}")
    guest.run("systemctl", "enable", "--now", UNIT)
    guest.home.wait_for_readings(polls=1)


def removal_stops_it(guest):
    """removal stops it and takes the unit away; a purge takes the log's settings along"""
    guest.write("/etc/libvx", LOG_SETTINGS)
    reader = guest.reader()
    place = guest.journal.end()
    guest.run("dpkg", "--remove", "modbus-reader")
    require(not reader.exists(), "it still runs")
    require(FAILED not in guest.journal.since(place), "it didn't end well")
    require(guest.property("LoadState") == "not-found", "systemd still knows the unit")
    guest.run("dpkg", "--purge", "modbus-reader")
    left = [path for path in ("etc/libvx", f"lib/systemd/system/{UNIT}",
                              f"etc/systemd/system/multi-user.target.wants/{UNIT}")
            if os.path.lexists(guest.root / path)]
    require(not left, f"left behind: {left}")
    guest.run("id", "modbus-reader")


def installed_anew_it_runs(guest):
    """installed anew it starts and delivers"""
    guest.run("dpkg", "--install", *guest.packages_in("modbus-reader"))
    require((guest.root / "etc" / "libvx").read_text() == LOG_SETTINGS, "the log isn't small")
    guest.home.wait_for_readings()
