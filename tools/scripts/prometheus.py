"""A Prometheus that runs for a script, in the private world of that script."""
import contextlib
import http.server
import json
import socketserver
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
def running(folder, configuration, *options):
    """In a folder of its own, with a configuration in YAML. It has ended at the end."""
    file = folder / "prometheus.yml"
    file.write_text(configuration)
    with open(folder / "prometheus.log", "w") as log:
        process = subprocess.Popen(
            ["prometheus", f"--config.file={file}", f"--storage.tsdb.path={folder / 'data'}",
             f"--web.listen-address={ADDRESS}", *options],
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


class Exporter(socketserver.ThreadingMixIn, http.server.HTTPServer):
    """Serves what @p text_of makes of a path: a type and a text."""
    daemon_threads = True
    request_queue_size = 1024

    def __init__(self, port, text_of):
        self.text_of = text_of
        super().__init__(("127.0.0.1", port), Answer)


class Answer(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        kind, text = self.server.text_of(self.path)
        body = text.encode()
        self.send_response(200)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


@contextlib.contextmanager
def exporting(port, text_of):
    with Exporter(port, text_of) as server:
        thread = threading.Thread(target=server.serve_forever, daemon=True)
        thread.start()
        try:
            yield
        finally:
            server.shutdown()
            thread.join()
