"""The Debian that each run unpacks, made once from this machine's package sources."""
import re
import shutil

from programs import output_of
from verdicts import require
from workplace import WORK

CACHE = WORK / "root.tar"
# Beside what the packages depend on: systemd as a system has it, and perl, which Debian always has.
PACKAGES = ["dbus", "systemd-sysv", "udev"]
DEBOOTSTRAP_LIMIT_SECONDS = 3600


def depends_of(package):
    """Names of the packages that it depends on; the first of alternatives."""
    field = output_of("dpkg-deb", "--field", package, "Depends")
    return [re.split(r"[ |(]", entry.strip())[0] for entry in field.split(",")]


def mirror_of(release):
    listed = output_of("apt-get", "indextargets", "--format", "$(RELEASE) $(REPO_URI)",
                       "Origin: Debian", f"Codename: {release}", "Created-By: Packages")
    mirrors = [line.split()[1] for line in listed.splitlines() if line.split()[0] == release]
    require(mirrors, f"the package sources of this machine have no {release}")
    return mirrors[0]


def make_root(packages):
    """The cached one holds the same packages, or is made anew."""
    wanted = sorted({name for package in packages for name in depends_of(package)} | set(PACKAGES))
    listed = CACHE.with_suffix(".packages")
    if CACHE.exists() and listed.exists() and listed.read_text().split() == wanted:
        return
    print("A Debian is made, which takes some minutes.", flush=True)
    root = WORK / "new-root"
    # Of a run that was killed.
    shutil.rmtree(root, ignore_errors=True)
    try:
        # What it mounts goes with it.
        output_of("unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc",
                  "debootstrap", "--variant=minbase", f"--include={','.join(wanted)}", "bookworm",
                  root, mirror_of("bookworm"), limit=DEBOOTSTRAP_LIMIT_SECONDS)
        shutil.rmtree(root / "var" / "cache" / "apt")
        listed.unlink(missing_ok=True)
        output_of("tar", "--directory", root, "--create", "--file", CACHE, ".")
        listed.write_text("\n".join(wanted))
    finally:
        shutil.rmtree(root, ignore_errors=True)
