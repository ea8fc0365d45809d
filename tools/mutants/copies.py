"""Copies of the tree, in which mutations are put and meet the tests."""
import pathlib
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent

IN_PRIVATE_WORLD = {"modbus-tests", "e2e-tests", "hostile-tests"}


def tracked_files():
    """Also those that are about to be."""
    names = subprocess.run(["git", "-C", ROOT, "ls-files", "-z", "--cached", "--others",
                            "--exclude-standard"],
                           check=True, stdout=subprocess.PIPE, text=True).stdout.split("\0")
    return sorted(name for name in names if name and (ROOT / name).is_file())


def write_if_changed(path, content):
    """So that a file's time tells whether its object is stale."""
    if not path.exists() or path.read_bytes() != content:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)


def copy_files(tree, names, left_out=()):
    """Those left out stay there as they are; what is no file of ours goes."""
    wanted = set(names)
    for path in [p for p in tree.rglob("*") if p.is_file()]:
        if str(path.relative_to(tree)) not in wanted:
            path.unlink()
    for name in wanted.difference(left_out):
        write_if_changed(tree / name, (ROOT / name).read_bytes())
        shutil.copymode(ROOT / name, tree / name)


def test_command(tree, build_folder, executable, *arguments):
    """In bounds that a mutation may well make a test leave."""
    command = ["prlimit", f"--as={4 << 30}", f"--fsize={1 << 30}", "--core=0",
               build_folder / executable, *arguments]
    if executable in IN_PRIVATE_WORLD:
        return [tree / "tools" / "private-world", "--rtu", "--", "env", "TMPDIR=/dev/shm", *command]
    return command
