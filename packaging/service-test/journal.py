"""What the services in the Debian say."""
import contextlib
import os
import re
import signal
import subprocess
import threading

from programs import TIME_LIMIT_SECONDS, running
from verdicts import Failure

# What systemd says of a service that didn't end well.
FAILED = "Failed with result"

# So small that a service without the reader's settings would lose lines.
SETTINGS = """[Journal]
RateLimitIntervalSec=30s
RateLimitBurst=100
"""


class Journal:
    def __init__(self, machine, unit):
        """The unit is that of which it is asked where no other is named."""
        self.machine = machine
        self.unit = unit

    def furnish(self):
        self.machine.write("/etc/systemd/journald.conf.d/test.conf", SETTINGS)

    def end(self):
        """The place behind all that it has."""
        shown = self.machine.run("journalctl", "--lines=0", "--show-cursor")
        return re.search("^-- cursor: (.+)$", shown, re.MULTILINE)[1]

    def since(self, place, unit=None):
        self.machine.run("journalctl", "--sync")
        return self.machine.run("journalctl", "--output=cat", *self.entries(place, unit))

    def entries(self, place, unit):
        return "--unit", unit or self.unit, "--after-cursor", place

    def lines(self, place, unit=None):
        """As they come, for as long as anything may take."""
        follow = "journalctl", "--follow", "--no-tail", "--output=cat", *self.entries(place, unit)
        with running(*self.machine.command(*follow), stdout=subprocess.PIPE, text=True,
                     errors="replace") as process:
            timer = threading.Timer(TIME_LIMIT_SECONDS, os.killpg, (process.pid, signal.SIGKILL))
            timer.start()
            try:
                yield from process.stdout
            finally:
                timer.cancel()

    def wait_for(self, pattern, place):
        with contextlib.closing(self.lines(place)) as lines:
            if not any(re.search(pattern, line) for line in lines):
                raise Failure(f"{self.unit} says nothing like {pattern!r}")
