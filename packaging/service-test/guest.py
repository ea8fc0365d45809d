"""The machine with reader and simulated house, as the checks see it."""
import json
import shutil

import home
from home import Home
from journal import Journal
from machine import TOOLS, Machine
from verdicts import require

UNIT = "modbus-reader.service"
TCP = {"modbusMiscConfig": {"modbusTCPServer": "127.0.0.1", "port": 1502}}


class Guest(Machine):
    def __init__(self, packages):
        self.packages = packages
        self.journal = Journal(self, UNIT)
        self.home = Home(self, self.journal)

    def furnish(self):
        super().furnish()
        self.journal.furnish()
        self.home.furnish()
        self.configure(TCP)
        # Where the service may run programs from.
        shutil.copy(self.root / "usr" / "bin" / "perl", self.root / TOOLS[1:] / "perl")
        for package in self.packages:
            shutil.copy(package, self.root / TOOLS[1:])

    def packages_in(self, *names):
        files = [path.name for path in self.packages]
        return [f"{TOOLS}/{f}" for f in files if not names or f.split("_")[0] in names]

    def property(self, name, unit=UNIT):
        return self.run("systemctl", "show", "--value", "--property", name, unit).strip()

    def reader(self):
        return self.process(UNIT)

    def process(self, unit):
        """Its folder in the guest's /proc."""
        number = self.property("MainPID", unit)
        require(number != "0", f"{unit} doesn't run")
        return self.view / "proc" / number

    def set_up(self, house_options="", configuration=TCP, drop_in=None, port=None):
        """Bus and settings, with house and reader started anew. A port is the numbers of its device."""
        self.run("systemctl", "stop", UNIT, home.UNIT)
        self.run("rm", "--force", "/dev/ttymxc2")
        if port:
            # As udev would.
            self.run("mknod", "--mode=660", "/dev/ttymxc2", "c", *map(str, port))
            self.run("chgrp", "dialout", "/dev/ttymxc2")
        self.home.choose(house_options)
        self.configure(configuration)
        folder = self.root / "etc" / "systemd" / "system" / f"{UNIT}.d"
        shutil.rmtree(folder, ignore_errors=True)
        if drop_in:
            self.write(f"/etc/systemd/system/{UNIT}.d/test.conf", f"[Service]\n{drop_in}\n")
        self.run("systemctl", "daemon-reload")
        self.run("systemctl", "start", home.UNIT, UNIT)

    def configure(self, configuration):
        self.write("/etc/modbus-config.json", json.dumps(configuration))
