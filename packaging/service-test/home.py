"""The simulated house in the Debian."""
import collections
import contextlib
import json
import re

from verdicts import Failure
from workplace import ROOT

UNIT = "house.service"
SETTINGS = """[Service]
EnvironmentFile=/etc/house
ExecStart=/usr/bin/modbus-house --home /etc/home.json $OPTIONS
LogRateLimitIntervalSec=0
[Install]
WantedBy=multi-user.target
"""


class Home:
    def __init__(self, machine, journal):
        self.machine = machine
        self.journal = journal
        self.home = json.loads((ROOT / "tools" / "house" / "home.json").read_text())
        attached = self.home["server"]["attached"]["data"]
        self.meters = [meter["name"] for meter in attached]
        self.addresses = [meter["slaveAddress"] for meter in attached]

    def furnish(self):
        self.machine.write(f"/etc/systemd/system/{UNIT}", SETTINGS)
        self.machine.write("/etc/home.json", json.dumps(self.with_long_replies()))
        self.choose("")

    def with_long_replies(self):
        """So many models that the journal would break the line of the reply."""
        supported = self.home["server"]["supported"]["data"]
        unused = [{**supported[-1], "id": f"unused-{i}"} for i in range(40)]
        server = {**self.home["server"], "supported": {"data": supported + unused}}
        return {**self.home, "server": server}

    def choose(self, options):
        """For its next start."""
        self.machine.write("/etc/house", f"OPTIONS={options}\n")

    def wait_for_readings(self, polls=2):
        """Of each meter. Those of the first poll could be of a reader that has ended."""
        missing = collections.Counter({meter: polls for meter in self.meters})
        with contextlib.closing(self.journal.lines(self.journal.end(), UNIT)) as lines:
            for line in lines:
                missing -= collections.Counter(
                    meter for meter in self.meters if re.match(rf"poll \d+ +{meter} ", line))
                if not missing:
                    return
        raise Failure(f"no readings of {', '.join(missing)}")
