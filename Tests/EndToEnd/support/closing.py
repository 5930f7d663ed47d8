"""What a window manager sends to a window when its user closes it; there is none here that would."""

import ctypes

from support.xlib import connection

CLIENT_MESSAGE = 33


class ClientMessage(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("message_type", ctypes.c_ulong),
                ("format", ctypes.c_int), ("data", ctypes.c_long * 5), ("rest", ctypes.c_long * 24)]


def ask_to_close(window):
    with connection() as (x, display):
        protocols, delete = (x.XInternAtom(display, name, 0) for name in (b"WM_PROTOCOLS", b"WM_DELETE_WINDOW"))
        event = ClientMessage(type=CLIENT_MESSAGE, window=window, message_type=protocols, format=32)
        event.data[0] = delete
        x.XSendEvent(display, ctypes.c_ulong(window), 0, ctypes.c_long(0), ctypes.byref(event))
