"""The interface thread is never away from its event loop for long, whatever the product keeps busy with."""

import os
import subprocess

from support import places
from support.case import WindowTest
from support.waiting import until
from support.window import PANES, Role

LIMIT = 50  # milliseconds
FILES = 300_000
FOLDERS = 300
PATIENCE = 90


def expect_no_stall(test, window, rounds=20):
    """Tells what the watch has seen from the window's beginning to its end, and judges it."""
    watch = until(window.watch, "the watch has written")
    longest = ", ".join(f"{absence['away']:.1f} ms (at {absence['end']:.0f} ms, {absence['delayed']:.1f} ms without "
                        "a processor left out)" for absence in watch["longest"])
    print(f"\nThe interface thread was away for at most {longest}; {watch['rounds']} rounds, first frame after "
          f"{watch['firstFrame']:.0f} ms, {watch['peakKiB'] / 1024:.0f} MiB at most.", flush=True)
    test.assertTrue(watch["delayKnown"])
    test.assertGreater(watch["rounds"], rounds)
    test.assertLessEqual(watch["longest"][0]["away"], LIMIT)


class Watch(WindowTest):
    """The watch finds a stall that is there, and as long as it is."""

    def longest(self, how, milliseconds):
        window = self.open(focus=False, watched=True, executable=places.BIN / "stalling-window",
                           arguments=(how, str(milliseconds)))
        self.assertEqual(window.wait(), 0, window.errors)
        return window.watch()["longest"][0]

    def test_it_finds_a_thread_that_works(self):
        for milliseconds in (60, 300):
            found = self.longest("works", milliseconds)["away"]
            self.assertGreaterEqual(found, milliseconds)
            self.assertLess(found, milliseconds + 200)

    def test_it_finds_a_thread_that_waits(self):
        # A virtual machine's host may have the processors meanwhile, and that is left out.
        for milliseconds in (60, 300):
            found = self.longest("waits", milliseconds)
            self.assertGreaterEqual(found["away"] + found["delayed"], milliseconds)
            self.assertGreaterEqual(found["away"], milliseconds / 2)
            self.assertLess(found["away"], milliseconds + 200)


class Stalls(WindowTest):
    """With an executable that takes five seconds to tell its version, and a model of 300,000 files."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.sample.program(".zyn/bin/zyn", 'sleep 5\nprintf "zyn 9.9.9\\ncommit: 0123456789\\n"\n')
        model = os.path.realpath(cls.sample.home / ".zyn/served-model")
        for folder in range(FOLDERS):
            os.mkdir(f"{model}/{folder}")
            first = f"{model}/{folder}/0"
            with open(first, "w") as file:
                file.write("tiny")
            for number in range(1, FILES // FOLDERS):
                os.link(first, f"{model}/{folder}/{number}")  # much faster to make, and the same to walk

    def setUp(self):
        self.addCleanup(self.sample.service, "stop")

    def until_at_rest(self, window):
        until(lambda: not [node for node in window.all(name="Working") if node.shown], "the window is at rest", PATIENCE)

    def every_pane(self, window):
        for number, title in enumerate(PANES, 1):
            window.keys(f"ctrl+{number}")
            self.expect_pane(window, title)
        for row in window.pane_rows():
            window.click(row)
            self.expect_pane(window, row.name)

    def expect_pane(self, window, title):
        until(lambda: window.pane() == title, lambda: f"{title} is shown:\n{window.outline()}", PATIENCE)

    def services(self, window):
        window.open_pane("Services")
        for name in ("Start", "Restart", "Stop"):
            until(lambda: window.button(name).enabled, f"{name} can be pressed", PATIENCE)
            window.button(name).press()
            until(lambda: window.console() == f"{name}: ok", lambda: f"the console says {window.console()!r}", PATIENCE)
            self.every_pane(window)
            window.open_pane("Services")
            window.button("Open Log").press()

    def test_every_operation_with_a_slow_product_and_a_huge_model(self):
        window = self.open(watched=True)
        until(lambda: (window.watch() or {}).get("firstFrame"), "the first frame is shown")
        self.every_pane(window)
        window.open_pane("Overview")
        self.until_at_rest(window)
        self.assertEqual(window.rows()["Version"], "9.9.9 (01234567)")
        window.button("Refresh").press()
        self.every_pane(window)
        self.services(window)
        for size in (("760", "520"), ("1200", "780"), ("980", "640")):
            subprocess.run(["xdotool", "windowsize", "--sync", window.number, *size], check=True, timeout=20)
            self.every_pane(window)
        window.open_pane("Services")
        self.until_at_rest(window)
        window.find(Role.PUSH_BUTTON, "Refresh").press()
        window.ask_to_close()
        self.assertEqual(window.wait(), 0, window.errors)
        expect_no_stall(self, window, rounds=200)


class Output(WindowTest):
    """While scripts print far more than anybody reads."""

    def test_a_hundred_megabytes(self):
        script = self.sample.home / "Projects/zyn-v8/build.command"
        script.write_text("yes 'a line of sixty-four characters, which is what many a line has' | head -c 100000000\n"
                          "head -c 1000000 /dev/zero | tr '\\0' x\n")
        window = self.open(watched=True, CM_PANE="install")
        until(lambda: (window.watch() or {}).get("firstFrame"), "the first frame is shown")
        window.button("CLI only").press()
        until(lambda: (window.console() or "").endswith("x" * 1000), "the whole was printed", PATIENCE)
        self.rest(window)
        window.ask_to_close()
        self.assertEqual(window.wait(), 0, window.errors)
        expect_no_stall(self, window)
        self.assertLess(window.watch()["peakKiB"], 120 * 1024)
