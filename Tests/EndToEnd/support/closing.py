"""What a window manager sends to a window when its user closes it; there is none here that would."""

import ctypes
import os

CLIENT_MESSAGE = 33


class ClientMessage(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("message_type", ctypes.c_ulong),
                ("format", ctypes.c_int), ("data", ctypes.c_long * 5), ("rest", ctypes.c_long * 24)]


def ask_to_close(window):
    x = ctypes.CDLL("libX11.so.6")
    x.XOpenDisplay.restype = ctypes.c_void_p
    x.XInternAtom.restype = ctypes.c_ulong
    display = ctypes.c_void_p(x.XOpenDisplay(os.environ["DISPLAY"].encode()))
    if not display:
        raise RuntimeError("The display does not answer.")

    def atom(name):
        return x.XInternAtom(display, name, 0)

    event = ClientMessage(type=CLIENT_MESSAGE, window=window, message_type=atom(b"WM_PROTOCOLS"), format=32)
    event.data[0] = atom(b"WM_DELETE_WINDOW")
    x.XSendEvent(display, ctypes.c_ulong(window), 0, ctypes.c_long(0), ctypes.byref(event))
    x.XCloseDisplay(display)
