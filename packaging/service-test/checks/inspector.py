"""What the inspector's service does, and may do."""
import json
import os
import re
import subprocess

from checks.memory import require_limit_in_force
from checks.rights import EXPOSURE_TIMES_TEN, require_no_rights
from guest import UNIT as READER
from programs import TIME_LIMIT_SECONDS, output_of, running
from verdicts import Failure, require

UNIT = "modbus-inspector.service"
ADDRESS = "http://127.0.0.1:8090"


def installed_inspector_is_off(guest):
    """the inspector's service is off after the installation"""
    state = guest.property("ActiveState", UNIT), guest.property("UnitFileState", UNIT)
    require(state == ("inactive", "disabled"), f"it is {state}")


def inspector_shows_the_home(guest):
    """enabled, the inspector's page and metrics show each meter as the journal's lines come"""
    guest.run("systemctl", "enable", "--now", UNIT)
    wait_for_home(guest, lambda home: all_are_good(guest, home))
    metrics = output_of(*ask(guest, "/metrics"))
    powers = re.findall(r'^modbus_meter_power_(?:im|ex)port_watts{slave_address="(\d+)"', metrics,
                        re.MULTILINE)
    require({int(address) for address in powers} == set(guest.home.addresses), metrics)


def all_are_good(guest, home):
    healths = {meter["slaveAddress"]: meter["health"] for meter in home["meters"]}
    return healths == dict.fromkeys(guest.home.addresses, "good")


def inspector_survives_the_reader(guest):
    """it outlives a reader that is killed, and shows the next one's readings"""
    inspector = guest.process(UNIT)
    before = json.loads(output_of(*ask(guest, "/api/v1/home")))
    guest.run("systemctl", "kill", "--kill-who=main", "--signal=KILL", READER)
    wait_for_home(guest, lambda home: all_are_good(guest, home) and
                  home["reader"]["restarts"] != before["reader"]["restarts"])
    require(guest.process(UNIT) == inspector, "it has ended meanwhile")


def inspector_boots(guest):
    """it starts with the system once it is enabled"""
    guest.reboot()
    wait_for_home(guest, lambda home: all_are_good(guest, home))


def inspector_is_hardened(guest):
    """it has no rights and no way to write a file, and systemd-analyze finds it as little exposed"""
    guest.run("systemd-analyze", "security", f"--threshold={EXPOSURE_TIMES_TEN}", UNIT)
    require_no_rights(guest, guest.process(UNIT), ["its own", "systemd-journal"])


def inspector_is_limited(guest):
    """its memory is limited, and it needs no half of it"""
    limit = guest.property("MemoryMax", UNIT)
    status = (guest.process(UNIT) / "status").read_text()
    peak = int(re.search(r"^VmHWM:\s*(\d+) kB$", status, re.MULTILINE)[1]) * 1024
    require(peak < int(limit) / 2, f"it took {peak} bytes of {limit}")
    require_limit_in_force(guest, limit, UNIT)


def inspector_removal_stops_it(guest):
    """removal stops the inspector's service, and a purge leaves nothing of it"""
    inspector = guest.process(UNIT)
    guest.run("dpkg", "--remove", "modbus-inspector")
    require(not inspector.exists(), "it still runs")
    guest.run("dpkg", "--purge", "modbus-inspector")
    left = [path for path in (f"lib/systemd/system/{UNIT}",
                              f"etc/systemd/system/multi-user.target.wants/{UNIT}")
            if os.path.lexists(guest.root / path)]
    require(not left, f"left behind: {left}")


def ask(guest, path, *options):
    """The command that does; it begins with the service or a moment later."""
    return ("nsenter", guest.namespaces["net"], "--", "curl", "--silent", "--show-error", "--fail",
            "--retry-connrefused", "--retry", "20", "--retry-delay", "1", *options, ADDRESS + path)


def wait_for_home(guest, is_awaited):
    follow = ask(guest, "/api/v1/events", "--no-buffer", "--max-time", str(TIME_LIMIT_SECONDS))
    last = None
    with running(*follow, stdout=subprocess.PIPE, text=True) as process:
        for line in process.stdout:
            if line.startswith("data: "):
                last = line.removeprefix("data: ")
                if is_awaited(json.loads(last)):
                    return
    raise Failure(f"the page doesn't show it, but {last}")
