"""How long the program's window takes to its first frame and how much memory, seen by the watch within it."""

import contextlib
import json
import os
import pathlib
import signal
import subprocess
import tempfile
import time

SETTLED = 2.0  # seconds after the first frame in which the product is looked at


@contextlib.contextmanager
def display():
    """A display without a graphics processor, on a number of its own."""
    reading, writing = os.pipe()
    server = subprocess.Popen(["Xvfb", "-displayfd", str(writing), "-screen", "0", "1280x800x24", "-noreset",
                               "-nolisten", "tcp"], pass_fds=(writing,), stderr=subprocess.DEVNULL)
    os.close(writing)
    try:
        with os.fdopen(reading) as told:
            yield f":{told.readline().strip()}"
    finally:
        server.terminate()
        server.wait()


def watched_start(program, watch, environment):
    """Starts the program and ends it: milliseconds to its first frame and the most KiB of memory it took."""
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder, "watch.json")
        settings = {**environment, "QT_PLUGIN_PATH": str(watch), "QT_QPA_GENERIC_PLUGINS": "window-watch",
                    "WINDOW_WATCH_FILE": str(file), "WINDOW_WATCH_STARTED": str(time.monotonic_ns())}
        process = subprocess.Popen([program], env=settings, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            end = time.monotonic() + 20
            while not file.exists():
                if process.poll() is not None or time.monotonic() > end:
                    raise RuntimeError(f"{program} showed no window.")
                time.sleep(0.01)
            # What is measured is a peak, so that all it does at its start has to be over.
            time.sleep(SETTLED)
            peak = next(int(line.split()[1]) for line in pathlib.Path(f"/proc/{process.pid}/status").read_text()
                        .splitlines() if line.startswith("VmHWM:"))
            return json.loads(file.read_text())["firstFrame"], peak
        finally:
            process.send_signal(signal.SIGTERM)
            process.wait(20)
