"""A display, a message bus and assistive tools' own bus that belong to one test program."""

import ctypes
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile

from support import places
from support.screen import Picture
from support.xlib import connection

BUS = """<busconfig>
  <type>session</type>
  <listen>unix:path={socket}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""

# What a desktop or another test would bring along.
FOREIGN = ("WAYLAND_DISPLAY", "XDG_SESSION_TYPE", "DESKTOP_SESSION", "XDG_CURRENT_DESKTOP", "AT_SPI_BUS_ADDRESS",
           "QT_QPA_PLATFORM", "QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE", "QT_SCALE_FACTOR", "QT_QUICK_BACKEND",
           "QT_PLUGIN_PATH", "QT_NO_GLIB", "QT_ACCESSIBILITY", "NO_AT_BRIDGE", "CM_IDENTITY_TOML", "CM_PANE",
           "CM_PROJECT_DIR", "CM_DATABASES_DIR", "LANGUAGE")


def ends_with_us():
    """In a child before it becomes its program: it goes when the test program goes."""
    ctypes.CDLL(None).prctl(1, signal.SIGTERM)


class Desktop:
    """Stands from its making until `close`. Takes this process's environment over, which assistive tools read."""

    def __init__(self, size=(1280, 800)):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="code-manager-desktop-"))
        self._processes = []
        runtime = self.folder / "run"
        runtime.mkdir(mode=0o700)
        for name in FOREIGN:
            os.environ.pop(name, None)
        os.environ.update({
            "XDG_RUNTIME_DIR": str(runtime),
            "GSETTINGS_BACKEND": "memory",
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
            "LC_ALL": "C.UTF-8",
            "TZ": "UTC",
        })
        os.environ["DISPLAY"] = self._start_display(size)
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = self._start_bus()
        self._start([places.bus_launcher(), "--launch-immediately"])

    def _start(self, command, **options):
        with open(self.folder / "log", "ab") as log:
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stderr=log, preexec_fn=ends_with_us,
                                       **{"stdout": log, **options})
        self._processes.append(process)
        return process

    def _start_display(self, size):
        """On the first number that is free, which Xvfb itself finds and tells."""
        reading, writing = os.pipe()
        self._start(["Xvfb", "-displayfd", str(writing), "-screen", "0", f"{size[0]}x{size[1]}x24", "-noreset",
                     "-nolisten", "tcp", "-dpi", "96", "-fbdir", str(self.folder)], pass_fds=(writing,))
        os.close(writing)
        with os.fdopen(reading) as told:
            number = told.readline().strip()
        if not number:
            raise RuntimeError(f"Xvfb did not start: {self.log()}")
        return f":{number}"

    def _start_bus(self):
        socket = self.folder / "run/bus"
        configuration = self.folder / "bus.conf"
        configuration.write_text(BUS.format(socket=socket))
        bus = self._start(["dbus-daemon", f"--config-file={configuration}", "--nofork", "--nopidfile",
                           "--print-address=1"], stdout=subprocess.PIPE)
        address = bus.stdout.readline().decode().strip()
        bus.stdout.close()
        if not address:
            raise RuntimeError(f"The message bus did not start: {self.log()}")
        return address

    def log(self):
        return (self.folder / "log").read_text(errors="replace")

    def picture(self):
        return Picture(self.folder / "Xvfb_screen0")

    def clipboard(self):
        """What would be pasted now; empty when nothing was copied."""
        taken = subprocess.run(["xclip", "-selection", "clipboard", "-o"], capture_output=True, text=True, timeout=20)
        return taken.stdout if taken.returncode == 0 else ""

    def copy(self, text):
        subprocess.run(["xclip", "-selection", "clipboard", "-i"], input=text, text=True, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=20)

    def give_keyboard_away(self):
        """To the empty desktop: no window is in front any more."""
        with connection() as (x, display):
            root = x.XDefaultRootWindow(display)
            x.XSetInputFocus(display, ctypes.c_ulong(root), 0, ctypes.c_ulong(0))

    def hide_pointer(self):
        """Out of the way, so that nothing is hovered over."""
        subprocess.run(["xdotool", "mousemove", "10000", "10000"], check=True, timeout=20)

    def close(self):
        for process in reversed(self._processes):
            process.terminate()
        for process in self._processes:
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)
