"""Over which lines it delivers, and what it refuses as one."""
import contextlib
import fcntl
import os

from machine import TOOLS
from verdicts import Skip

UNUSED_CONSOLE = (4, 63)
# The device of a file system in user space, which anybody may open.
FUSE = (10, 229)
# From <linux/vt.h>: gives the memory of a console back.
VT_DISALLOCATE = 0x5608


def serial_line_delivers(guest):
    """over a serial line it delivers too"""
    guest.set_up("--rtu /dev/ttymxc2", configuration={})
    guest.home.wait_for_readings()


def real_port_is_used(guest):
    """it uses a real terminal of the kernel as port"""
    console = f"/dev/tty{UNUSED_CONSOLE[1]}"
    if not os.path.exists(console):
        raise Skip(f"this machine has no {console}")
    place = guest.journal.end()
    guest.set_up("--rtu /run/unused", configuration={}, port=UNUSED_CONSOLE)
    # Nobody answers there, and the reader knows that only after it has opened, set, written and read.
    guest.journal.wait_for("Could not read register .*Connection timed out", place)
    guest.set_up()
    with open(console, "wb") as terminal, contextlib.suppress(OSError):
        fcntl.ioctl(terminal, VT_DISALLOCATE, UNUSED_CONSOLE[1])


def other_device_is_refused(guest):
    """a device that is no port is refused, though its group may open it"""
    if not os.path.exists("/dev/fuse"):
        raise Skip("this machine has no /dev/fuse")
    place = guest.journal.end()
    guest.set_up("--rtu /run/unused", configuration={}, port=FUSE)
    guest.run("systemd-run", "--wait", "--quiet", "--uid=modbus-reader", "--gid=dialout",
              f"{TOOLS}/perl", "-e", "open(my $port, '+<', '/dev/ttymxc2') or die $!")
    guest.journal.wait_for("Could not connect serial .*Operation not permitted", place)
