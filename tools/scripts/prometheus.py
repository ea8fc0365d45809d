"""A Prometheus that runs for a script, in the private world of that script."""
import asyncio
import contextlib
import json
import re
import subprocess
import threading
import time
import urllib.error
import urllib.parse
import urllib.request

from command_line import Failure

ADDRESS = "127.0.0.1:9090"
READY_SECONDS = 60
ANSWER_SECONDS = 60
OPENMETRICS = "application/openmetrics-text; version=1.0.0; charset=utf-8"
PLAIN = "text/plain; version=0.0.4; charset=utf-8"


class Prometheus:
    def __init__(self, process):
        self.process = process

    def get(self, path, **parameters):
        """The data of the answer."""
        query = urllib.parse.urlencode(parameters)
        try:
            with urllib.request.urlopen(f"http://{ADDRESS}/api/v1/{path}?{query}",
                                        timeout=ANSWER_SECONDS) as answer:
                return json.load(answer)["data"]
        except urllib.error.HTTPError as e:
            raise Failure(f"{parameters}: {json.load(e)['error']}") from e

    def ask(self, expression):
        """The samples of an instant query, each with its labels and its value."""
        return [(one["metric"], float(one["value"][1]))
                for one in self.get("query", query=expression)["result"]]

    def own(self, name):
        """A metric of Prometheus itself."""
        with urllib.request.urlopen(f"http://{ADDRESS}/metrics", timeout=ANSWER_SECONDS) as answer:
            found = re.search(rf"^{name}(?:\{{.*\}})? (\S+)$", answer.read().decode(), re.MULTILINE)
        return float(found[1])

    def number(self, expression):
        """The one value that it has, none if there is no sample."""
        answer = self.ask(expression)
        return answer[0][1] if answer else None


def is_ready():
    try:
        with urllib.request.urlopen(f"http://{ADDRESS}/-/ready", timeout=ANSWER_SECONDS):
            return True
    except OSError:
        return False


@contextlib.contextmanager
def running(folder, configuration, options=None):
    """In a folder of its own, with a configuration in YAML. It has ended at the end."""
    file = folder / "prometheus.yml"
    file.write_text(configuration)
    with open(folder / "prometheus.log", "w") as log:
        process = subprocess.Popen(
            ["prometheus", f"--config.file={file}", f"--web.listen-address={ADDRESS}",
             *(options or [f"--storage.tsdb.path={folder / 'data'}"])],
            stdout=log, stderr=subprocess.STDOUT, start_new_session=True)
        try:
            wait_until(is_ready, READY_SECONDS,
                       lambda: f"Prometheus: {(folder / 'prometheus.log').read_text()[-2000:]}",
                       lambda: process.poll() is None)
            yield Prometheus(process)
        finally:
            process.terminate()
            process.wait()


def wait_until(truth, seconds, otherwise, goes_on=lambda: True):
    """Asks again and again; what there is to wait for has no event."""
    deadline = time.monotonic() + seconds
    while not truth():
        if time.monotonic() > deadline or not goes_on():
            raise Failure(otherwise())
        time.sleep(0.2)


class Exporter(asyncio.Protocol):
    """A connection. All are served by one thread, which carries thousands of homes; with a thread each
    they would wait for one another more than work."""

    def __init__(self, text_of, take):
        self.text_of = text_of
        self.take = take
        self.rest = b""

    def connection_made(self, transport):
        self.transport = transport

    def data_received(self, data):
        self.rest += data
        while b"\r\n\r\n" in self.rest:
            head, rest = self.rest.split(b"\r\n\r\n", 1)
            length = re.search(rb"(?i)^content-length: *(\d+)", head, re.MULTILINE)
            size = int(length[1]) if length else 0
            if len(rest) < size:
                return
            self.rest = rest[size:]
            self.answer(*head.decode().split(" ", 2)[:2], rest[:size])

    def answer(self, method, path, body):
        if method == "POST":
            self.take(body)
            self.transport.write(b"HTTP/1.1 204 No Content\r\n\r\n")
            return
        kind, text = self.text_of(path)
        body = text.encode()
        self.transport.write(f"HTTP/1.1 200 OK\r\nContent-Type: {kind}\r\n"
                             f"Content-Length: {len(body)}\r\n\r\n".encode() + body)


@contextlib.contextmanager
def exporting(port, text_of, take=None):
    """Serves what @p text_of makes of a path: a type and a text. What is posted goes to @p take."""
    loop = asyncio.new_event_loop()
    server = loop.run_until_complete(
        loop.create_server(lambda: Exporter(text_of, take), "127.0.0.1", port, backlog=1024))
    thread = threading.Thread(target=loop.run_forever, daemon=True)
    thread.start()
    try:
        yield
    finally:
        server.close()
        loop.call_soon_threadsafe(loop.stop)
        thread.join()
