"""What it may do."""
import errno
import os
import platform
import re
import shutil

from guest import UNIT
from machine import TOOLS
from verdicts import Skip, require

# As in the Packaging tests.
EXPOSURE_TIMES_TEN = "20"

NUMBERS = {
    "x86_64": {"mmap": 9, "personality": 135, "unshare": 272},
    "aarch64": {"mmap": 222, "personality": 92, "unshare": 97},
}

# What any user may do, in Perl, and how it is refused to the service.
RIGHTS = [
    ("a lower priority", "setpriority(0, 0, 19)", "Operation not permitted"),
    ("a netlink socket", "socket(my $s, 16, 3, 0)", "Address family not supported by protocol"),
    ("memory to write and execute", "syscall({mmap}, 0, 4096, 7, 0x22, -1, 0) != -1",
     "Operation not permitted"),
    ("another personality", "syscall({personality}, 8) != -1", "Operation not permitted"),
    ("a user namespace", "syscall({unshare}, 0x10000000) != -1", "Operation not permitted"),
    ("another program", "system('/bin/true') == 0", "Permission denied"),
    ("a program of its own", "a_program_in('/tmp')", "Permission denied"),
    ("a program in shared memory", "a_program_in('/dev/shm')", "Permission denied"),
    ("a set-user-ID file", "open(my $f, '>', '/tmp/own') && chmod(04755, '/tmp/own')",
     "Operation not permitted"),
    ("a file in /run/lock", "open(my $f, '>', '/run/lock/reader')", "Read-only file system"),
    ("the home directories", "opendir(my $d, '/home')", "Permission denied"),
    ("the processes of others", "-d '/proc/1'", "No such file or directory"),
    ("settings of the kernel", "-d '/proc/sys'", "No such file or directory"),
]

A_PROGRAM_IN = """sub a_program_in {
    my $program = "$_[0]/program";
    open(my $from, '<', '/bin/true');
    open(my $to, '>', $program);
    print {$to} readline($from);
    close($to);
    chmod(0755, $program);
    system($program) == 0;
}
"""


def exposure_is_low(guest):
    """systemd-analyze finds it as little exposed as the tests of the package demand"""
    guest.run("systemd-analyze", "security", f"--threshold={EXPOSURE_TIMES_TEN}", UNIT)


def process_is_hardened(guest):
    """while it polls, the process has no rights and no way to write a file"""
    guest.set_up()
    guest.home.wait_for_readings(polls=1)
    reader = guest.reader()
    require_no_rights(guest, reader, ["dialout", "metering", "modbus-reader"])
    limits = (reader / "limits").read_text()
    require(re.search(r"^Max open files +1024 +1024 ", limits, re.MULTILINE), limits)
    guest.home.wait_for_readings()
    require(guest.reader() == reader, "it has ended meanwhile")


def require_no_rights(guest, process, wanted_groups):
    status = dict(re.findall(r"^(\w+):\s*(.*)$", (process / "status").read_text(), re.MULTILINE))
    groups = {line.split(":")[2]: line.split(":")[0]
              for line in (guest.root / "etc" / "group").read_text().splitlines()}
    # A dynamic user's own group stands in no file.
    groups.setdefault(status["Gid"].split()[0], "its own")
    held = {"NoNewPrivs": status["NoNewPrivs"], "Seccomp": status["Seccomp"], "Umask": status["Umask"],
            "groups": sorted(groups[number] for number in status["Groups"].split()),
            **{name: int(status[name], 16) for name in status if name.startswith("Cap")}}
    expected = {"NoNewPrivs": "1", "Seccomp": "2", "Umask": "0077", "groups": wanted_groups,
                "CapInh": 0, "CapPrm": 0, "CapEff": 0, "CapBnd": 0, "CapAmb": 0}
    require(held == expected, f"it has {held}")
    limits = (process / "limits").read_text()
    require(re.search(r"^Max core file size +0 +0 ", limits, re.MULTILINE), limits)
    written = [place for place in places_of(process) if can_write(place)]
    require(not written, f"it could write {' '.join(map(str, written))}")


def places_of(process):
    """Each mount but the service's own /tmp and /var/tmp, and those of the kernel and the container."""
    mounted = [line.split()[4] for line in (process / "mountinfo").read_text().splitlines()]
    own = re.compile("/(dev|proc|sys|tmp|var/tmp|run/host)(/|$)")
    return [process / "root" / place[1:] for place in mounted if not own.match(place)]


def can_write(place):
    """As root, in the view that the service has."""
    try:
        os.utime(place)
        return True
    except OSError as e:
        require(e.errno == errno.EROFS, f"{place}: {e}")
        return False


def rights_are_refused(guest):
    """what any user may do is refused to the service"""
    numbers = NUMBERS.get(platform.machine())
    if numbers is None:
        raise Skip(f"the numbers of the system calls of {platform.machine()} aren't known here")
    tries = "".join(f"print STDERR '{name}: ', (({call}) ? 'granted' : $!), qq(\\n);\n"
                    for name, call, _ in RIGHTS)
    for name, number in numbers.items():
        tries = tries.replace(f"{{{name}}}", str(number))
    guest.write(f"{TOOLS}/try", tries + A_PROGRAM_IN)
    free = guest.run("systemd-run", "--wait", "--pipe", "--quiet", "--uid=modbus-reader",
                     f"{TOOLS}/perl", f"{TOOLS}/try")
    wanted = "".join(f"{name}: granted\n" for name, _, _ in RIGHTS)
    require(free == wanted, f"without the settings of the unit: {free}")
    shutil.copy(guest.root / "lib" / "systemd" / "system" / UNIT,
                guest.root / "etc" / "systemd" / "system" / "rights.service")
    guest.write("/etc/systemd/system/rights.service.d/test.conf",
                "[Service]\nType=oneshot\nRestart=no\nExecStart=\n"
                f"ExecStart={TOOLS}/perl {TOOLS}/try\n")
    guest.run("systemctl", "daemon-reload")
    place = guest.journal.end()
    guest.run("systemctl", "start", "rights.service")
    said = guest.journal.since(place, "rights.service")
    for name, _, refusal in RIGHTS:
        require(f"{name}: {refusal}\n" in said, f"not refused as it should be: {name}. {said}")
