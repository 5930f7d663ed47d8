"""The program where something is missing, in the way or there twice: displays, descriptors, homes, search paths."""

import os
import pwd
import subprocess
import unittest

from components_tests import Moving
from support import places
from support.case import WindowTest
from support.files import Trash
from support.sample import Sample
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


class Surroundings(WindowTest):
    """Those that do not matter: the window is there and ends as always."""

    def expect_ordinary_window(self, status="Installed", **options):
        window = self.open(**options)
        self.rest(window)
        self.assertEqual(window.title, "Zyn Manager")
        until(lambda: window.rows().get("Status") == status, lambda: f"{window.rows()}")
        for title in PANES:
            window.open_pane(title)
            self.rest(window)
        window.ask_to_close()
        self.assertEqual(window.wait(), 0, window.errors)
        return window

    def without(self, *names):
        return {name: value for name, value in self.sample.environment.items() if name not in names}

    def test_without_temporary_folder_and_search_path_in_a_plain_locale(self):
        self.expect_ordinary_window(environment=self.without("TMPDIR", "PATH"), LC_ALL="C")

    def test_odd_temporary_folder_and_search_path_in_a_locale_of_eight_bits(self):
        place = self.sample.scratch / "locales"
        place.mkdir()
        subprocess.run(["localedef", "-c", "-i", "de_DE", "-f", "ISO-8859-1", place / "de_DE.ISO-8859-1"], check=True,
                       capture_output=True)
        longest = (128 << 10) - len("PATH=") - 1
        self.expect_ordinary_window(TMPDIR=self.sample.scratch / "nowhere", LC_ALL="de_DE.ISO-8859-1", LOCPATH=place,
                                    PATH="::.:../..:~:" + "".join(f"/{number}:" for number in range(40000))[:longest - 12])

    def test_homes(self):
        link = self.sample.scratch / "home of a link"
        link.symlink_to(self.sample.home)
        self.expect_ordinary_window(HOME=link)
        nowhere = self.sample.scratch / "nowhere"
        self.expect_ordinary_window(status="Not installed", HOME=nowhere)
        self.assertFalse(nowhere.exists())

    @unittest.skipUnless(os.geteuid() == 0, "Standing in for the user's own home needs root.")
    def test_without_a_home_it_is_the_user_s_own(self):
        script = 'mount --bind "$1" "$2" && shift 2 && exec "$@"'
        self.expect_ordinary_window(
            environment=self.without("HOME"),
            wrapper=("unshare", "--mount", "--propagation", "private", "sh", "-c", script, "sh", str(self.sample.home),
                     pwd.getpwuid(os.geteuid()).pw_dir))


@unittest.skipUnless(os.geteuid() == 0, "A drive to fill needs root.")
class FullDrive(Moving):
    """Of the home, from the beginning."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        drive = cls.sample.scratch / "drive"
        drive.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=100m", "tmpfs", drive], check=True)
        cls.addClassCleanup(subprocess.run, ["umount", "-l", drive])
        cls.sample = Sample(home=drive / "home")
        cls.addClassCleanup(cls.sample.close)
        cls.trash = Trash(cls.sample)
        cls.trash.folder.parent.mkdir(parents=True, exist_ok=True)
        cls.filling = drive / "filling"
        subprocess.run(["dd", "if=/dev/zero", f"of={cls.filling}", "bs=4096"], capture_output=True)

    def test_the_window_works_and_says_what_could_not_be_done(self):
        window = self.open_components()
        self.assertEqual(window.title, "Zyn Manager")
        self.expect_names(window, self.everything)
        self.tick(window, ".zyn-code", "Library/Logs/zyn")
        self.move(window, 2)
        until(lambda: window.console(), "the console says what came of it")
        self.rest(window)
        self.assertEqual(window.console().count("couldn’t be moved to the trash because the volume is full."), 2,
                         window.console())
        self.expect_untouched()
        for title in PANES:
            window.open_pane(title)
        self.filling.unlink()
        window.open_pane("Components")
        self.move(window, 2)
        until(lambda: "Moved 2 items to the Trash." in window.console(), lambda: f"{window.console()!r}")
        self.rest(window)
        self.expect_moved(".zyn-code", "Library/Logs/zyn")
        window.ask_to_close()
        self.assertEqual(window.wait(), 0, window.errors)


class Twice(Moving):
    """Two windows on the same home at the same time."""

    def test_what_one_moves_the_other_says_is_gone(self):
        windows = [self.open_components(), self.open_components()]
        for window in windows:
            self.tick(window, ".zyn-code", "Library/Logs/zyn")
        questions = [self.ask(window, 2) for window in windows]
        for window, question in zip(windows, questions):
            next(node for node in question.walk() if node.name == "Move to Trash").press()
        moved = "Moved 2 items to the Trash."
        for window in windows:
            until(lambda: window.console(), "the console says what came of it")
            self.rest(window)
        said = sorted(window.console() for window in windows)
        self.expect_moved(".zyn-code", "Library/Logs/zyn")
        told = "".join(said)
        for path in (".zyn-code", "Library/Logs/zyn"):
            self.assertEqual(told.count(f"Moved to Trash:\n{self.sample.home / path}"), 1, said)
        self.assertEqual(told.count("Remove failed: "), 2, said)
        self.assertTrue(told.count(moved) <= 1, said)
        for window in windows:
            self.expect_names(window, self.expected_rows())
            window.ask_to_close()
            self.assertEqual(window.wait(), 0, window.errors)

    def test_one_of_them_starts_the_service(self):
        self.addCleanup(self.sample.service, "stop")
        windows = [self.open_at_rest(CM_PANE="services") for _ in range(2)]
        for window in windows:
            window.button("Start").press()
        for window in windows:
            until(lambda: window.console(), "the console says what came of it")
            self.rest(window)
        said = [window.console() for window in windows]
        self.assertEqual(said.count("Start: ok"), 1, said)
        self.assertEqual(sum(text.startswith("Start failed (5)") for text in said), 1, said)
        until(self.sample.serves, "the service answers")


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
