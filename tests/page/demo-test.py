#!/usr/bin/python3
"""Runs script/demo --web as a user does, looks at its page's home, tries another one at the same
address, and ends the first by Ctrl-C. Usage: demo-test.py"""

import json
import os
import re
import signal
import socket
import subprocess
import urllib.request

from served import ROOT, await_that


def lines_until(stream, pattern):
    for line in stream:
        if match := re.search(pattern, line):
            return match
    raise AssertionError(f"no line {pattern}")


def delivered(url):
    with urllib.request.urlopen(url + "api/v1/home", timeout=30) as reply:
        home = json.load(reply)
    return [x for x in home["meters"] if x["health"] == "good" and x["delivered"]]


def command_lines():
    for process in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{process}/cmdline", encoding="utf-8", errors="replace") as file:
                yield file.read()
        except FileNotFoundError:
            pass


def is_open(url):
    port = int(re.search(r":(\d+)/", url)[1])
    with socket.socket() as one:
        return one.connect_ex(("127.0.0.1", port)) == 0


def open_demo(address, errors=None):
    return subprocess.Popen([os.path.join(ROOT, "script/demo"), "--listen", address],
                            stdout=subprocess.PIPE, stderr=errors, text=True,
                            start_new_session=True)


def check_another_at(address):
    another = open_demo(address, errors=subprocess.PIPE)
    _, errors = another.communicate(timeout=60)
    assert another.returncode == 2, another.returncode
    assert errors.endswith(f"modbus-inspector: {address}: Address already in use\n"), errors


def end_by_ctrl_c(demo):
    # A terminal sends it to all.
    os.killpg(demo.pid, signal.SIGINT)
    rest, _ = demo.communicate(timeout=30)
    assert demo.returncode == 0, demo.returncode
    assert rest.startswith("Last readings, "), rest
    assert rest.endswith("\nEnded by a signal.\n"), rest


def main():
    demo = open_demo("127.0.0.1:0")
    log = lines_until(demo.stdout, r"The reader's log: (\S+)")[1]
    url = lines_until(demo.stdout, r"at (http://\S+)")[1]
    await_that("four meters delivered", lambda: len(delivered(url)) == 4)
    check_another_at(url.split("/")[2])
    assert len(delivered(url)) == 4
    end_by_ctrl_c(demo)
    assert not is_open(url)
    assert not [x for x in command_lines() if log in x]
    name = os.path.basename(log)
    left = [x for x in os.listdir(os.path.join(ROOT, "build/demo")) if x.startswith(name[:-4])]
    assert left == [name], left
    print("The demo leaves nothing.")


main()
