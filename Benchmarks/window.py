"""How long the program's window takes to its first frame and for each that follows while a list is scrolled through,
and how much memory, seen by the watch within it."""

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


class Watched:
    """A program while it runs, `told` the file in which its watch tells of it; it has shown its first frame."""

    def __init__(self, command, watch, environment, folder):
        self.told, self._frames = pathlib.Path(folder, "watch.json"), pathlib.Path(folder, "frames")
        self._started = time.monotonic_ns()
        settings = {**environment, "QT_PLUGIN_PATH": str(watch), "QT_QPA_GENERIC_PLUGINS": "window-watch",
                    "WINDOW_WATCH_FILE": str(self.told), "WINDOW_WATCH_FRAMES": str(self._frames),
                    "WINDOW_WATCH_STARTED": str(self._started)}
        self._environment = settings
        self._process = subprocess.Popen(command, env=settings, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def until_shown(self):
        end = time.monotonic() + 20
        while not self.told.exists():
            if self._process.poll() is not None or time.monotonic() > end:
                raise RuntimeError(f"{self._process.args} showed no window.")
            time.sleep(0.01)

    def peak(self):
        """The most KiB of memory that it ever held."""
        lines = pathlib.Path(f"/proc/{self._process.pid}/status").read_text().splitlines()
        return next(int(line.split()[1]) for line in lines if line.startswith("VmHWM:"))

    def _processor_time(self):
        fields = pathlib.Path(f"/proc/{self._process.pid}/stat").read_text().rpartition(")")[2].split()
        return int(fields[11]) + int(fields[12])

    def until_idle(self):
        """Until it has used next to no processor time for a second: it has done all it was asked to."""
        while True:
            before = self._processor_time()
            time.sleep(1)
            if self._processor_time() - before <= 1:
                return

    def drive(self, *words):
        """Has xdotool do this in the window."""
        subprocess.run(["xdotool", *map(str, words)], check=True, env=self._environment, stdout=subprocess.DEVNULL)

    def take_keyboard(self):
        found = subprocess.run(["xdotool", "search", "--sync", "--onlyvisible", "--pid", str(self._process.pid)],
                               check=True, env=self._environment, capture_output=True, text=True).stdout.split()
        self.drive("windowfocus", "--sync", found[-1])

    def clipboard(self):
        return subprocess.run(["xclip", "-selection", "clipboard", "-o"], check=True, env=self._environment,
                              capture_output=True, text=True).stdout

    def frames(self, action):
        """Of each frame that was shown during the action and until nothing was left to do, the milliseconds that it
        took and those of them in which the interface thread ran: the rest was spent waiting for the display's server."""
        begin = (time.monotonic_ns() - self._started) / 1e6
        action()
        self.until_idle()
        frames = (map(float, line.split()) for line in self._frames.read_text().splitlines())
        return [(away, ran) for end, away, ran in frames if end > begin]

    def close(self):
        self._process.send_signal(signal.SIGTERM)
        self._process.wait(20)


@contextlib.contextmanager
def watched(command, watch, environment):
    """The program while it runs."""
    with tempfile.TemporaryDirectory() as folder:
        program = Watched(command, watch, environment, folder)
        try:
            program.until_shown()
            yield program
        finally:
            program.close()


def watched_start(program, watch, environment):
    """Starts the program and ends it: milliseconds to its first frame and the most KiB of memory it took."""
    with watched([program], watch, environment) as running:
        # What is measured is a peak, so that all it does at its start has to be over.
        time.sleep(SETTLED)
        return json.loads(running.told.read_text())["firstFrame"], running.peak()


BAR = 974  # how far right the scroll bar is
PACE = 16  # milliseconds between two keys or clicks; a keyboard repeats a held key every 25 or more


def scroll(running, rows, page, bar, at_end=lambda: None):
    """Goes through the list that has the keyboard, by every way there is; its frames. `page` is how many rows a page
    key goes on, `bar` the first and last heights of the scroll bar; `at_end` is called when the page key should have
    led to the last row."""
    frames = []

    def go(*words):
        frames.extend(running.frames(lambda: running.drive(*words)))

    def keys(name, count=1):
        go("key", "--delay", PACE, "--repeat", count, name)

    running.drive("mousemove", 600, 300)
    for button in (5, 4):  # the wheel, down and up
        go("click", "--delay", PACE, "--repeat", 400, button)
    keys("Down", 400)
    keys("Home")
    keys("Next", rows // page + 2)  # every row is on screen once
    at_end()
    keys("Prior", 400)
    keys("Home")
    keys("End")
    keys("Home")
    dragged = [word for height in range(*bar) for word in ("mousemove", BAR, height, "sleep", PACE / 1000)]
    go("mousemove", BAR, bar[0], "mousedown", 1, *dragged, "mouseup", 1)
    return frames
