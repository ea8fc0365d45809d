"""What it may take."""
import contextlib
import os
import re
import subprocess
import sys

import home
from guest import UNIT
from programs import running
from verdicts import Skip, require

HUGE_REPLIES = """
import http.server, sys
class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.send_response(200)
        self.send_header("Content-Length", sys.argv[1])
        self.end_headers()
        self.wfile.write(b"1" * int(sys.argv[1]))
http.server.HTTPServer(("127.0.0.1", 8088), Handler).serve_forever()
"""


def memory_is_limited(guest):
    """a reply that takes more than MemoryMax ends it, again and again until the reply is gone"""
    guest.set_up()
    limit = guest.property("MemoryMax")
    require(limit.isdigit(), f"MemoryMax is {limit}")
    require_limit_in_force(guest, limit)
    guest.run("systemctl", "stop", home.UNIT)
    place = guest.journal.end()
    kernel = os.open("/dev/kmsg", os.O_RDONLY | os.O_NONBLOCK)
    os.lseek(kernel, 0, os.SEEK_END)
    with running("nsenter", guest.namespaces["net"], "--", sys.executable, "-c", HUGE_REPLIES,
                 str(2 * int(limit)), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL):
        guest.journal.wait_for("code=killed, status=9/KILL", place)
        guest.journal.wait_for("restart counter is at 2", place)
    require(re.search(f"CONSTRAINT_MEMCG.*{UNIT}.*task=modbus-reader", rest_of(kernel)),
            "it was not its limit that ended it")
    guest.run("systemctl", "start", home.UNIT)
    guest.home.wait_for_readings()


def require_limit_in_force(guest, limit, unit=UNIT):
    groups = guest.view / "sys" / "fs" / "cgroup"
    files = [file for file in (groups / "memory" / "system.slice" / unit / "memory.limit_in_bytes",
                               groups / "system.slice" / unit / "memory.max") if file.exists()]
    if not files:
        raise Skip("a container gets no control group for memory on this machine")
    [file] = files
    require(file.read_text() == f"{limit}\n", f"the limit is {file.read_text()}")


def rest_of(kernel):
    """What the kernel has logged since."""
    records = []
    with contextlib.suppress(BlockingIOError):
        while True:
            records.append(os.read(kernel, 8192).decode(errors="replace"))
    os.close(kernel)
    return "".join(records)
