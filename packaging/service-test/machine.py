"""The Debian as a container of systemd-nspawn, and commands in it."""
import contextlib
import os
import pathlib
import shutil
import signal
import socket
import tempfile
import time

from control_groups import ControlGroups
from debian import CACHE
from programs import TIME_LIMIT_SECONDS, output_of, running
from verdicts import Lost, require
from workplace import ROOT, WORK

# In the Debian: what only this test needs.
TOOLS = "/usr/lib/service-test"

# The control groups of version 1 are read-only for a container, unless it makes them writable itself.
BEGIN = """#!/bin/sh
while read -r _ target type _; do
    [ "$type" != cgroup ] || mount -o remount,bind,rw "$target"
done </proc/mounts
exec /lib/systemd/systemd
"""


class Machine:
    """What its root holds when it boots is for `furnish`, which a class made of this one may add to."""

    root = WORK / "root"
    name = f"service-test-{os.getpid()}"

    def furnish(self):
        shutil.rmtree(self.root, ignore_errors=True)
        self.root.mkdir()
        output_of("tar", "--directory", self.root, "--extract", "--file", CACHE)
        self.write(f"{TOOLS}/begin", BEGIN, 0o755)
        self.write("/etc/hostname", "controller\n")

    def write(self, path, text, mode=0o644):
        target = self.root / path[1:]
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(text)
        target.chmod(mode)

    @contextlib.contextmanager
    def running(self):
        with contextlib.ExitStack() as stack:
            stack.callback(shutil.rmtree, self.root, ignore_errors=True)
            self.furnish()
            self.groups = stack.enter_context(ControlGroups())
            stack.callback(self.remove_traces)
            folder = stack.enter_context(tempfile.TemporaryDirectory())
            self.news = stack.enter_context(socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM))
            self.news.bind(f"{folder}/news")
            self.news.settimeout(1)
            self.console = stack.enter_context(open(WORK / "console.log", "w"))
            self.boots = stack.enter_context(contextlib.ExitStack())
            # Whoever asks twice for the end would leave something behind.
            stack.callback(ignore_signals)
            self.boot()
            yield self

    def boot(self):
        self.container = self.boots.enter_context(running(
            # A test that is killed takes it along.
            "setpriv", "--pdeathsig=TERM",
            "systemd-nspawn", f"--directory={self.root}", f"--machine={self.name}", "--register=no",
            "--keep-unit", "--private-network", "--console=pipe", "--notify-ready=yes",
            "--kill-signal=SIGRTMIN+3", f"{TOOLS}/begin",
            stdout=self.console, stderr=self.console, preexec_fn=self.groups.join,
            env={**os.environ, "NOTIFY_SOCKET": self.news.getsockname()}))
        limit = time.monotonic() + TIME_LIMIT_SECONDS
        while time.monotonic() < limit and self.container.poll() is None:
            with contextlib.suppress(TimeoutError):
                lines = self.news.recv(4096).decode().split("\n")
                for line in lines:
                    if line.startswith("X_NSPAWN_LEADER_PID="):
                        leader = line.split("=")[1]
                if "READY=1" in lines:
                    return self.hold(leader)
        raise Lost(f"the Debian doesn't boot, see {WORK.relative_to(ROOT)}/console.log")

    def hold(self, leader):
        """Its namespaces and its root, as the number could become that of a process of this machine."""
        kinds = {"cgroup": "cgroup", "ipc": "ipc", "mount": "mnt", "net": "net", "pid": "pid",
                 "uts": "uts"}
        self.namespaces = {}
        for option, name in kinds.items():
            file = self.boots.enter_context(open(f"/proc/{leader}/ns/{name}"))
            require(not os.path.samestat(os.fstat(file.fileno()), os.stat(f"/proc/self/ns/{name}")),
                    f"the Debian has no {name} namespace of its own")
            self.namespaces[option] = f"--{option}=/proc/{os.getpid()}/fd/{file.fileno()}"
        root = os.open(f"/proc/{leader}/root", os.O_PATH)
        self.boots.callback(os.close, root)
        self.view = pathlib.Path(f"/proc/self/fd/{root}")

    def reboot(self):
        self.run("systemctl", "--no-block", "reboot")
        self.container.wait(TIME_LIMIT_SECONDS)
        self.boots.close()
        self.boot()

    def remove_traces(self):
        """systemd-nspawn can't where /run is no file system of its own."""
        with contextlib.suppress(FileNotFoundError):
            os.rmdir(f"/run/systemd/nspawn/propagate/{self.name}")

    def command(self, *command):
        return ["nsenter", *self.namespaces.values(), "--", *command]

    def run(self, *command):
        return output_of(*self.command(*command))


def ignore_signals():
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
        signal.signal(number, signal.SIG_IGN)
