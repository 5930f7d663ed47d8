"""The program where something is missing or in the way: no display, no descriptor, a home it cannot write to."""

import os
import subprocess
import unittest

from support import places
from support.case import WindowTest
from support.waiting import until
from support.window import PANES, Role

NO_DISPLAY = 69


class Descriptor(WindowTest):
    """Without one the window is there, with the empty identity."""

    def expect_window_of_nothing(self, path):
        window = self.open(CM_IDENTITY_TOML=path)
        self.assertEqual(window.title, "Code Manager")
        self.rest(window)
        until(lambda: window.rows() == {"Status": "Not installed", "Version": "— (—)", "Backend": "stopped",
                                        "Model": "absent", "Provider": "—"}, lambda: f"nothing is there: {window.rows()}")
        for title in PANES:
            window.open_pane(title)
        self.assertTrue(window.all(name="Components")[-1].description.startswith("Everything Code put on disk. "))
        window.process.terminate()
        self.assertEqual(window.wait(), 0)
        self.assertEqual(window.output, "")

    def test_missing(self):
        self.expect_window_of_nothing(self.sample.scratch / "nowhere/zyn.toml")

    def test_an_empty_name(self):
        self.expect_window_of_nothing("")

    def test_a_folder(self):
        self.expect_window_of_nothing(self.sample.scratch)

    def test_not_text(self):
        file = self.sample.scratch / "binary.toml"
        file.write_bytes(bytes(range(256)) * 100)
        self.expect_window_of_nothing(file)

    def test_a_pipe_that_nobody_writes_to(self):
        pipe = self.sample.scratch / "pipe.toml"
        os.mkfifo(pipe)
        self.expect_window_of_nothing(pipe)

    def test_a_link_to_itself(self):
        loop = self.sample.scratch / "loop.toml"
        loop.symlink_to(loop)
        self.expect_window_of_nothing(loop)

    def test_without_the_variable_it_is_the_program_s_own(self):
        environment = {name: value for name, value in self.sample.environment.items() if name != "CM_IDENTITY_TOML"}
        window = self.open(environment=environment)
        told = subprocess.run([places.BIN / "zyn-code-manager", "identity", "--json"], env=environment, check=True,
                              capture_output=True, text=True).stdout
        self.assertIn('"display": "Zyn"', told)
        self.assertEqual(window.title, "Zyn Manager")


@unittest.skipUnless(os.geteuid() == 0, "Making a home that nobody can write to needs root.")
class UnwritableHome(WindowTest):
    """Mounted for reading only, in a view of the file system that the window has for itself."""

    def wrapper(self):
        script = 'mount --bind "$1" "$1" && mount -o remount,bind,ro "$1" && shift && exec "$@"'
        return ("unshare", "--mount", "--propagation", "private", "sh", "-c", script, "sh", str(self.sample.home))

    def test_the_window_works(self):
        window = self.open(wrapper=self.wrapper())
        self.rest(window)
        self.assertEqual(window.title, "Zyn Manager")
        until(lambda: window.rows().get("Status") == "Installed", lambda: f"{window.rows()}")
        for title in PANES:
            window.open_pane(title)
        window.open_pane("Services")
        window.button("Start").press()
        until(lambda: window.console() and window.console() != "", "the console says what came of it")
        window.ask_to_close()
        self.assertEqual(window.wait(), 0, window.errors)


class Display(WindowTest):
    """Without one it says so and ends."""

    def run_without(self, **variables):
        environment = {name: value for name, value in self.sample.environment.items()
                       if name not in ("DISPLAY", "WAYLAND_DISPLAY")}
        return subprocess.run([places.BIN / "code-manager"], env={**environment, **variables}, capture_output=True,
                              text=True, timeout=20)

    def expect_refusal(self, words, **variables):
        done = self.run_without(**variables)
        self.assertEqual(done.returncode, NO_DISPLAY, done.stderr)
        self.assertEqual(done.stdout, "")
        self.assertEqual(done.stderr, words)

    def test_none(self):
        sentence = "There is no display to show the window on: neither DISPLAY nor WAYLAND_DISPLAY is set.\n"
        self.expect_refusal(sentence)
        self.expect_refusal(sentence, DISPLAY="", WAYLAND_DISPLAY="")

    def test_one_that_does_not_answer(self):
        for name in ("DISPLAY", "WAYLAND_DISPLAY"):
            display = {"DISPLAY": ":64999", "WAYLAND_DISPLAY": "wayland-9"}[name]
            self.expect_refusal(f"The window cannot be shown: the display {display} does not answer.\n",
                                **{name: display})

    def test_a_display_that_is_no_place(self):
        done = self.run_without(DISPLAY="nonsense")
        self.assertNotEqual(done.returncode, 0)
        self.assertNotEqual(done.stderr, "")

    def test_what_needs_no_window_needs_no_display(self):
        for option, words in (("--help", "CM_IDENTITY_TOML"), ("--version", "Code Manager ")):
            done = subprocess.run([places.BIN / "code-manager", option], env={}, capture_output=True, text=True,
                                  timeout=20)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertIn(words, done.stdout)
        done = subprocess.run([places.BIN / "code-manager", "--what"], env={}, capture_output=True, text=True, timeout=20)
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertEqual(done.stderr, "There is no option --what. See --help.\n")
