#!/usr/bin/python3
"""Opens 1,000 event streams and lets an hour of a home pass in a minute. The memory of the inspector
must stay flat, the page must answer within 50 ms, and each stream must get all news.
Usage: streams-test.py BUILD"""

import datetime
import multiprocessing
import os
import resource
import selectors
import socket
import sys
import time
import urllib.parse

from served import Inspector, new_log, poll

BUILD = os.path.abspath(sys.argv[1])
STREAMS = 1000
METERS = 4
POLLS = 1800
SECONDS = 60


def read_streams(url, pipe):
    """Opens the streams, reads whatever comes until it is told to end, and tells the news of the
    stream with the fewest. A process of its own, so that it holds up nobody who measures."""
    news = {}
    selector = selectors.DefaultSelector()
    address = urllib.parse.urlsplit(url)
    for _ in range(STREAMS):
        stream = socket.create_connection((address.hostname, address.port))
        stream.sendall(b"GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
        selector.register(stream, selectors.EVENT_READ)
        news[stream] = 0
    pipe.send(STREAMS)
    while not pipe.poll():
        for key, _ in selector.select(timeout=0.2):
            data = key.fileobj.recv(65536)
            assert data, "a stream was dropped"
            news[key.fileobj] += data.count(b"event: home\n")
    pipe.send(min(news.values()))


def memory(process):
    with open(f"/proc/{process.pid}/status", encoding="utf-8") as status:
        return next(int(x.split()[1]) for x in status if x.startswith("VmRSS"))


def main():
    resource.setrlimit(resource.RLIMIT_NOFILE, (4096, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))
    folder, log = new_log()
    with folder, Inspector(BUILD, log) as inspector:
        pipe, end = multiprocessing.Pipe()
        streams = multiprocessing.Process(target=read_streams, args=(inspector.url, end))
        streams.start()
        # Else nobody would find out that it has ended.
        end.close()
        assert pipe.recv() == STREAMS
        begin = datetime.datetime.now(datetime.timezone.utc).replace(tzinfo=None)
        begin -= datetime.timedelta(seconds=2 * POLLS)
        answers, sizes = {path: [] for path in ("", "api/v1/home", "metrics")}, []
        started = time.monotonic()
        with open(log, "a", encoding="utf-8") as file:
            for number in range(POLLS):
                file.write(poll(begin + datetime.timedelta(seconds=2 * number), number, range(1, METERS + 1)))
                file.flush()
                due = started + SECONDS * number / POLLS
                time.sleep(max(0, due - time.monotonic()))
                if number % 15 == 0:
                    sizes.append(memory(inspector.process))
                    for path, times in answers.items():
                        asked = time.perf_counter()
                        inspector.get(path)
                        times.append((time.perf_counter() - asked) * 1000)
        pipe.send("end")
        fewest = pipe.recv()
        streams.join()
    middle = sizes[len(sizes) // 4]
    print(f"{STREAMS} streams: {middle} kB after a quarter, {sizes[-1]} kB at the end; at least {fewest} news each")
    for path, times in answers.items():
        times.sort()
        late = times[int(0.95 * len(times))]
        print(f"/{path} answered in {times[len(times) // 2]:.1f} ms"
              f" (95 of 100 in {late:.1f} ms, all in {times[-1]:.1f})")
        assert late < 50, (path, late)
    # The powers and days of the home itself grow by some 100 bytes a minute and meter.
    assert sizes[-1] - middle < 2048, sizes
    assert fewest > SECONDS, fewest


main()
