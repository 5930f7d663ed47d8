"""The part of a desktop that takes applications' messages."""

import json
import subprocess
import sys

INTERFACE = """<node><interface name="org.freedesktop.Notifications">
  <method name="Notify">
    <arg type="s" direction="in"/><arg type="u" direction="in"/><arg type="s" direction="in"/>
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="as" direction="in"/>
    <arg type="a{sv}" direction="in"/><arg type="i" direction="in"/><arg type="u" direction="out"/>
  </method>
</interface></node>"""


def listen():
    """Runs in a process of its own and prints a line for each message."""
    import gi

    gi.require_version("Gio", "2.0")
    from gi.repository import Gio, GLib

    def tell(what):
        print(json.dumps(what), flush=True)

    def called(connection, sender, path, interface, method, given, invocation):
        application, _, _, summary, body, _, _, _ = given.unpack()
        tell([application, summary, body])
        invocation.return_value(GLib.Variant("(u)", (1,)))

    def acquired(connection, name):
        interface = Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0]
        connection.register_object("/org/freedesktop/Notifications", interface, called, None, None)

    Gio.bus_own_name(Gio.BusType.SESSION, "org.freedesktop.Notifications", Gio.BusNameOwnerFlags.NONE, acquired,
                     lambda connection, name: tell("ready"), None)
    GLib.MainLoop().run()


class Listener:
    def __enter__(self):
        self._process = subprocess.Popen([sys.executable, __file__], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                         text=True)
        if json.loads(self._process.stdout.readline()) != "ready":
            raise RuntimeError("Nobody listens for messages.")
        return self

    def __exit__(self, *_):
        self._process.terminate()
        self._process.wait()
        self._process.stdout.close()

    def message(self):
        """The next one: application, summary and body. Waits for it."""
        return json.loads(self._process.stdout.readline())


if __name__ == "__main__":
    listen()
