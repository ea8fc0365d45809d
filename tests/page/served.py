"""A simulated home with its reader, and the inspector that serves its log."""

import json
import os
import re
import signal
import subprocess
import tempfile
import time
import urllib.request

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
CONFIG = ('{"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502,'
          '"timeoutResponseSec":1}}')


def end(process):
    if process.poll() is None:
        process.send_signal(signal.SIGINT)
    return process.wait(timeout=30)


class Inspector:
    """The inspector, which serves the log, or the journal, at a port of its own choice."""

    def __init__(self, build, log=None):
        self.process = subprocess.Popen(
            [os.path.join(build, "modbus-inspector"), "serve",
             *(["--log", log] if log else ["--journal"]),
             "--listen", "127.0.0.1:0"], stdout=subprocess.PIPE, text=True)
        line = self.process.stdout.readline()
        self.url = re.search(r"http://[^/]*/", line)[0]

    def get(self, path, **headers):
        request = urllib.request.Request(self.url + path, headers=headers)
        with urllib.request.urlopen(request, timeout=30) as reply:
            return reply.read().decode()

    def home(self):
        return json.loads(self.get("api/v1/home"))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        end(self.process)


class House:
    """The simulated home and the real reader, in a world of their own."""

    def __init__(self, build, log, *faults):
        command = [os.path.join(build, "modbus-house"), "--daemon",
                   os.path.join(build, "modbus-reader"), "--log", log]
        for fault in faults:
            command += ["--fault", fault]
        self.process = subprocess.Popen(
            [os.path.join(ROOT, "tools/private-world"), "--", "bash", "-c",
             "echo '" + CONFIG + "' >/etc/modbus-config.json; exec \"$@\"", "house", *command],
            stdout=subprocess.DEVNULL)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        end(self.process)


def await_that(what, condition, limit=90):
    """Asks until the condition holds; only the page and the server can tell that."""
    deadline = time.monotonic() + limit
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(0.05)
    raise AssertionError(f"not within {limit} seconds: {what}")


def line(moment, channel, text):
    time_text = moment.isoformat(timespec="milliseconds")
    return f"[{time_text}+00:00]   412 NOTIC {channel} {text} main.cpp:1\n"


def poll(moment, number, meters):
    """The lines of a poll, the end of the one before included, in which all went well."""
    lines = line(moment, "modbusreaderMain", "callback ec:Success")
    began = moment.isoformat(timespec="milliseconds") + "Z"
    for meter in meters:
        message = (f'{{"id":"S-{meter}","slaveAddress":{meter},"meteringType":"modbus",'
                   f'"lastChanged":"{began}","powerConsumed":{1000 + number % 500}.5,'
                   f'"energyConsumed":{3600000 + 2000 * number}.0}}')
        size = len(message)
        lines += line(moment, "modbusSerial", f"Reading meter now slaveAddress:{meter}")
        lines += line(moment, "modbusreaderSocketWriter", f"Writing  m_buffer:{message}")
        lines += line(moment, "modbusreaderSocketWriter",
                      f"TRANSFERRED  self->m_buffer.size():{size} size:{size}")
    return lines


def new_log():
    folder = tempfile.TemporaryDirectory()
    log = os.path.join(folder.name, "log")
    open(log, "w", encoding="utf-8").close()
    return folder, log
