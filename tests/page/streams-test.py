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

from served import Inspector, new_log

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


def line(moment, channel, text):
    time_text = moment.isoformat(timespec="milliseconds")
    return f"[{time_text}+00:00]   412 NOTIC {channel} {text} main.cpp:1\n"


def poll(moment, number):
    lines = line(moment, "modbusreaderMain", "callback ec:Success")
    for meter in range(1, METERS + 1):
        began = moment.isoformat(timespec="milliseconds") + "Z"
        message = (f'{{"id":"S-{meter}","slaveAddress":{meter},"meteringType":"modbus",'
                   f'"lastChanged":"{began}","powerConsumed":{1000 + number % 500}.5,'
                   f'"energyConsumed":{3600000 + 2000 * number}.0}}')
        size = len(message)
        lines += line(moment, "modbusSerial", f"Reading meter now slaveAddress:{meter}")
        lines += line(moment, "modbusreaderSocketWriter", f"Writing  m_buffer:{message}")
        lines += line(moment, "modbusreaderSocketWriter",
                      f"TRANSFERRED  self->m_buffer.size():{size} size:{size}")
    return lines


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
        assert pipe.recv() == STREAMS
        begin = datetime.datetime.now(datetime.timezone.utc).replace(tzinfo=None)
        begin -= datetime.timedelta(seconds=2 * POLLS)
        answers, sizes = [], []
        started = time.monotonic()
        with open(log, "a", encoding="utf-8") as file:
            for number in range(POLLS):
                file.write(poll(begin + datetime.timedelta(seconds=2 * number), number))
                file.flush()
                due = started + SECONDS * number / POLLS
                time.sleep(max(0, due - time.monotonic()))
                if number % 15 == 0:
                    sizes.append(memory(inspector.process))
                    asked = time.perf_counter()
                    inspector.get("")
                    answers.append((time.perf_counter() - asked) * 1000)
        pipe.send("end")
        fewest = pipe.recv()
        streams.join()
    answers.sort()
    middle = sizes[len(sizes) // 4]
    late = answers[int(0.95 * len(answers))]
    print(f"{STREAMS} streams: {middle} kB after a quarter, {sizes[-1]} kB at the end; the page answered "
          f"in {answers[len(answers) // 2]:.1f} ms (95 of 100 in {late:.1f} ms); at least {fewest} news each")
    # The powers and days of the home itself grow by some 100 bytes a minute and meter.
    assert sizes[-1] - middle < 2048, sizes
    assert late < 50, late
    assert fewest > SECONDS, fewest


main()
