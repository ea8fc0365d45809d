"""That it starts, and starts again."""
import re
import time

import home
from guest import UNIT
from journal import FAILED
from verdicts import require

RESTART_SECONDS = 5


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
    began = time.monotonic()
    guest.run("systemctl", "kill", "--kill-who=main", f"--signal={signal_name}", UNIT)
    guest.journal.wait_for(f"code=killed, status=.*/{signal_name}", place)
    guest.journal.wait_for("^Started ", place)
    require(time.monotonic() - began >= RESTART_SECONDS, "it was started earlier")
    require(guest.property("NRestarts") == "1", "systemd counts another number of restarts")
    guest.home.wait_for_readings()
