"""Programs that run side by side and all end with the script that started them."""
import concurrent.futures
import contextlib
import os
import signal
import subprocess
import threading
import time

# With a program that was told to end.
PATIENCE_SECONDS = 5


class Processes:
    def __init__(self):
        self.lock = threading.Lock()
        self.running = set()
        self.stopped = False

    def run(self, command, limit=None, **options):
        """Runs a program in a group of its own; returns its exit status, none beyond the limit."""
        with self.lock:
            if self.stopped:
                raise KeyboardInterrupt
            process = subprocess.Popen(command, start_new_session=True, **options)
            self.running.add(process)
        try:
            return process.wait(limit)
        except subprocess.TimeoutExpired:
            return None
        finally:
            self.end([process])
            with self.lock:
                self.running.discard(process)

    @staticmethod
    def end(processes):
        """And what they left behind in their groups. Ninja hands SIGTERM on to its jobs, which have
        groups of their own."""
        for number in (signal.SIGTERM, signal.SIGKILL):
            for process in processes:
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(process.pid, number)
            deadline = time.monotonic() + PATIENCE_SECONDS
            for process in processes:
                with contextlib.suppress(subprocess.TimeoutExpired):
                    process.wait(max(0, deadline - time.monotonic()))

    def stop(self):
        with self.lock:
            self.stopped = True
            running = list(self.running)
        self.end(running)


processes = Processes()


def in_parallel(threads, function, items):
    """Results in the order of the items. If one fails, all programs are ended."""
    with concurrent.futures.ThreadPoolExecutor(threads) as pool:
        futures = [pool.submit(function, item) for item in items]
        try:
            for future in concurrent.futures.as_completed(futures):
                future.result()
            return [future.result() for future in futures]
        except BaseException:
            pool.shutdown(wait=False, cancel_futures=True)
            processes.stop()
            raise
