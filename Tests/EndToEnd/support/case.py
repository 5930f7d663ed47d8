"""What all tests of the window share: the desktop of their program, a sample home of their class."""

import plistlib
import os
import signal
import unittest

from support import processes
from support.desktop import Desktop
from support.sample import Sample
from support.waiting import until

desktop = None


def open_desktop():
    global desktop
    desktop = Desktop()
    return desktop


class WindowTest(unittest.TestCase):
    """Each class has one home; each test has a window of its own, which `open` opens."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.desktop = desktop
        cls.sample = Sample()
        cls.addClassCleanup(cls.sample.close)

    def folder(self):
        self._folders = getattr(self, "_folders", 0) + 1
        return self.sample.scratch / f"{self.id()}-{self._folders}"

    def open(self, environment=None, focus=True, **variables):
        from support.window import Window

        window = Window(environment or self.sample.environment, self.folder(), **variables)
        self.addCleanup(window.close)
        if focus:
            window.take_keyboard()
        return window

    def open_at_rest(self, **variables):
        """A window whose first look at the product is over."""
        window = self.open(**variables)
        self.rest(window)
        return window

    def rest(self, window):
        until(lambda: "Working" not in shown_names(window), lambda: f"the window is at rest:\n{window.outline()}")

    # ---- a backend that does not end when it is asked to ----

    def make_service_stubborn(self):
        """Its server notes its process, does not listen to being asked to end, and gets long to do so."""
        sample = self.sample
        note = sample.scratch / "stubborn-process"
        script = sample.program("stubborn-server", f'trap "" TERM\necho $$ >"{note}.new"\nmv "{note}.new" "{note}"\n'
                                "while :; do sleep 1000; done\n")
        before = sample.agent_file.read_bytes()
        agent = plistlib.loads(before)
        agent["ProgramArguments"] = [str(script)]
        agent["ExitTimeOut"] = 300
        sample.agent_file.write_bytes(plistlib.dumps(agent))
        self.addCleanup(self._end_stubborn_service, before)
        if sample.service("start").returncode != 0:
            raise AssertionError("The service could not be started.")
        until(note.exists, "the service runs")

    def kill_stubborn_server(self):
        server = int((self.sample.scratch / "stubborn-process").read_text())
        for process in processes.in_group(processes.group_of(server) or server):
            os.kill(process, signal.SIGKILL)

    def _end_stubborn_service(self, agent):
        self.kill_stubborn_server()
        self.sample.service("stop")
        self.sample.agent_file.write_bytes(agent)


def shown_names(window):
    return {node.name for node in window.root.walk() if node.shown}
