"""That it starts, and starts again."""
import re

import home
from guest import UNIT
from journal import FAILED
from verdicts import require

# What the unit says, and as much again for a busy machine.
RESTART_SECONDS = 5
LATEST_RESTART_SECONDS = 10


def installation_starts_it(guest):
    """the installation starts and enables the service, which delivers"""
    place = guest.journal.end()
    guest.run("dpkg", "--install", *guest.packages_in())
    guest.run("systemctl", "enable", "--now", home.UNIT)
    require(guest.property("UnitFileState") == "enabled", "it isn't enabled")
    guest.home.wait_for_readings()
    require(FAILED not in guest.journal.since(place), "it failed in between")


def boot_starts_it(guest):
    """it starts with the system, and waits for neither network nor house"""
    guest.reboot()
    require(guest.property("ActiveState") == "active", "it isn't active after the boot")
    require(guest.property("NRestarts") == "0", "it needed a restart")
    awaited = {name for key in ("After", "Wants", "Requires") for name in guest.property(key).split()}
    require(not {name for name in awaited if re.search("network|house|metering", name)},
            f"it waits for {awaited}")
    guest.home.wait_for_readings()


def kill_is_survived(guest):
    """killed by SIGKILL it starts again after 5 seconds, and delivers"""
    dies_and_starts_again(guest, "KILL")


def abort_is_survived(guest):
    """aborted it starts again after 5 seconds, and delivers"""
    dies_and_starts_again(guest, "ABRT")


def dies_and_starts_again(guest, signal_name):
    guest.set_up()
    guest.home.wait_for_readings(polls=1)
    place = guest.journal.end()
    guest.run("systemctl", "kill", "--kill-who=main", f"--signal={signal_name}", UNIT)
    guest.journal.wait_for(f"code=killed, status=.*/{signal_name}", place)
    guest.journal.wait_for("^Started ", place)
    paused = seconds_at(guest, "ActiveEnter") - seconds_at(guest, "ActiveExit")
    require(RESTART_SECONDS <= paused <= LATEST_RESTART_SECONDS,
            f"it was started after {paused:.1f} seconds")
    require(guest.property("NRestarts") == "1", "systemd counts another number of restarts")
    guest.home.wait_for_readings()


def seconds_at(guest, event):
    """By systemd's own clock, as it may take long until this test sees what happened."""
    return int(guest.property(f"{event}TimestampMonotonic")) / 1e6
