"""Where things are, and what the tests cannot do without."""

import os
import pathlib
import shutil

TOP = pathlib.Path(__file__).resolve().parents[3]
BUILD = pathlib.Path(os.environ.get("CODE_MANAGER_BUILD", TOP / "build/dev")).resolve()
BIN = BUILD / "bin"
WATCH = BUILD / "window-watch"

BUS_LAUNCHERS = ("/usr/libexec/at-spi-bus-launcher", "/usr/lib/at-spi2-core/at-spi-bus-launcher")


def bus_launcher():
    return next((place for place in BUS_LAUNCHERS if os.access(place, os.X_OK)), None)


def obstacle():
    """Why these tests cannot run here, as one sentence; None when they can."""
    for program in ("Xvfb", "dbus-daemon", "xdotool", "xclip"):
        if shutil.which(program) is None:
            return f"There is no {program} here."
    if bus_launcher() is None:
        return "There is no at-spi-bus-launcher here."
    try:
        import gi

        gi.require_version("Atspi", "2.0")
    except (ImportError, ValueError):
        return "Python has no Atspi here."
    return None
