"""The display's own library, for what no tool does."""

import contextlib
import ctypes
import os


@contextlib.contextmanager
def connection():
    """The library and an open connection to the display."""
    x = ctypes.CDLL("libX11.so.6")
    x.XOpenDisplay.restype = ctypes.c_void_p
    for name in ("XInternAtom", "XDefaultRootWindow"):
        getattr(x, name).restype = ctypes.c_ulong
    display = ctypes.c_void_p(x.XOpenDisplay(os.environ["DISPLAY"].encode()))
    if not display:
        raise RuntimeError("The display does not answer.")
    try:
        yield x, display
    finally:
        x.XCloseDisplay(display)
