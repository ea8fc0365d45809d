"""Control groups in which a container can have its own."""
import errno
import os
import pathlib
import time


class ControlGroups:
    """Some of our own, as a container that no service manager looks after takes those that it is in."""

    def __init__(self):
        self.groups = [mount / path.lstrip("/") / f"service-test-{os.getpid()}"
                       for mount, path in self.places()]

    @staticmethod
    def places():
        mounts = [line.split() for line in open("/proc/mounts")]
        for line in open("/proc/self/cgroup"):
            _, names, path = line.strip().split(":", 2)
            for _, target, kind, options, *_ in mounts:
                if (kind == "cgroup2" if not names else
                        kind == "cgroup" and set(names.split(",")) <= set(options.split(","))):
                    yield pathlib.Path(target), path

    def __enter__(self):
        for group in self.groups:
            group.mkdir()
            # Without these nothing can run there.
            for name in ("cpuset.cpus", "cpuset.mems"):
                if (group.parent / name).exists() and (group / name).exists():
                    (group / name).write_text((group.parent / name).read_text())
        return self

    def join(self):
        for group in self.groups:
            (group / "cgroup.procs").write_text("0")

    def __exit__(self, *_):
        for group in self.groups:
            for folder, _, _ in os.walk(group, topdown=False):
                self.remove(folder)

    @staticmethod
    def remove(folder):
        """What ended there may be counted for a moment, and nothing tells when it no longer is."""
        for _ in range(100):
            try:
                return os.rmdir(folder)
            except OSError as e:
                if e.errno != errno.EBUSY:
                    raise
            time.sleep(0.05)
