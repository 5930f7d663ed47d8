"""Installs the sample product from its project folder, and its models and databases, as its owner would."""

import plistlib
import re
import subprocess

from support import places, processes
from support.case import WindowTest
from support.notifications import Listener
from support.waiting import until
from support.window import Role

LONG = 120  # seconds that builds may take on a busy machine

CLI = """Building zyn 0.5.0 (8b1f60de)
  compiled 3 files
Trying the build
Installing into ~/.zyn/bin
✓ zyn 0.5.0 is installed
"""
MODEL = """Installing zyn-labs/Vantor-7B
  copying the weights that came with the catalog
✓ zyn-labs/Vantor-7B is installed in ~/.zyn/crucible/models/zyn-labs/Vantor-7B/3_final
"""
SERVED = "  now served from ~/.zyn/served-model\n"
MODEL_THERE = "✓ zyn-labs/Vantor-7B is installed already\n"
ENGINE = """Building mlx-vantor 1.7.0
Installing into ~/.zyn/bin
✓ mlx-vantor 1.7.0 is installed; a running server goes on with the old one until it is restarted
"""
DESKTOP = """Building Zyn.app 0.5.0
Putting the bundle together
Installing into ~/Applications
  the bundle from before is in ~/.zyn/trash/Zyn.app-TIME
✓ Zyn.app 0.5.0 is installed
"""


class InstallTest(WindowTest):
    def setUp(self):
        self.addCleanup(self.sample.service, "stop")

    def open_install(self, pane="install", **variables):
        window = self.open_at_rest(CM_PANE=pane, **variables)
        until(lambda: window.pane() == pane.title(), "the pane is shown")
        return window

    def without(self, key):
        """A descriptor of the sample in which the key is empty."""
        descriptor = self.sample.scratch / f"without-{key}.toml"
        text, changed = re.subn(f'(?m)^{key} = .*$', f'{key} = ""', self.sample.descriptor.read_text())
        self.assertEqual(changed, 1)
        descriptor.write_text(text)
        return descriptor

    def script(self, path, text):
        """Replaces a script of the projects until the test is over."""
        place = self.sample.home / "Projects" / path
        before = place.read_bytes()
        self.addCleanup(place.write_bytes, before)
        place.write_text(text)
        return place

    def begin(self, window, name="Install / Update Everything"):
        window.button(name).press()

    def expect_console(self, window, text):
        """To the letter, but for the time that a name is given by."""
        def told():
            return re.sub(r"(Zyn\.app)-\d{8}-\d{6}", r"\1-TIME", window.console() or "")

        until(lambda: told() == text, lambda: f"the console says {text!r}, not {told()!r}", LONG)
        self.rest(window)


class Everything(InstallTest):
    def test_onto_a_machine_that_has_nothing(self):
        home = self.sample.home
        self.assertEqual(self.sample.tool("model", "uninstall").returncode, 0)
        for path in (".zyn/bin/zyn", ".zyn/bin/mlx-vantor", ".zyn/defaults.yaml", ".zyn/served-model"):
            (home / path).unlink()
        self.sample.service("stop")

        window = self.open_at_rest()
        self.assertEqual(window.rows()["Status"], "Not installed")
        window.open_pane("Install")
        self.begin(window)
        self.expect_console(window, f"1/5  Installing the CLI…\n{CLI}"
                                    f"\n2/5  Installing the model…\n{MODEL}{SERVED}"
                                    f"\n3/5  Installing the local engine…\n{ENGINE}"
                                    f"\n4/5  Installing the desktop app…\n{DESKTOP}"
                                    "\n5/5  Starting the service…\n✓ service started.")

        self.assertTrue((home / ".zyn/bin/zyn").exists())
        self.assertIn("model: zyn-labs/Vantor-7B-4bit", (home / ".zyn/defaults.yaml").read_text())
        until(self.sample.serves, "the service answers")
        window.open_pane("Overview")
        until(lambda: window.rows().get("Version") == "0.5.0 (8b1f60de)", window.outline)
        rows = window.rows()
        self.assertEqual(rows["Status"], "Installed")
        self.assertEqual(rows["Backend"], f"running {self.sample.label}:{self.sample.port}")
        self.assertRegex(rows["Model"], "^present ")

    def test_without_the_desktop_app(self):
        window = self.open_install()
        window.find(Role.CHECK_BOX, "Also install the Zyn desktop app").press()
        self.sample.service("start")
        self.begin(window)
        self.expect_console(window, f"1/4  Installing the CLI…\n{CLI}"
                                    f"\n2/4  Installing the model…\n{MODEL_THERE}"
                                    f"\n3/4  Installing the local engine…\n{ENGINE}"
                                    "\n4/4  Starting the service…\nalready running.")

    def test_a_cli_that_does_not_build(self):
        self.script("zyn-v8/build.command", "echo 'no such luck' >&2\nexit 9\n")
        window = self.open_install()
        self.begin(window)
        self.expect_console(window, "1/5  Installing the CLI…\nno such luck\n\n✗ failed (exit 9) — stopping.\n")
        self.assertFalse(self.sample.serves())

    def test_without_a_defaults_path(self):
        window = self.open_install(CM_IDENTITY_TOML=self.without("defaults_path"))
        self.begin(window)
        self.expect_console(window, f"1/5  Installing the CLI…\n{CLI}\n2/5  Installing the model…\n"
                                    "no defaults_path configured for Zyn — stopping.")

    def test_without_a_launch_agent(self):
        window = self.open_install(CM_IDENTITY_TOML=self.without("launch_agent"))
        window.find(Role.CHECK_BOX, "Also install the Zyn desktop app").press()
        self.begin(window)
        self.expect_console(window, f"1/4  Installing the CLI…\n{CLI}"
                                    f"\n2/4  Installing the model…\n{MODEL_THERE}"
                                    f"\n3/4  Installing the local engine…\n{ENGINE}"
                                    "\n4/4  Starting the service…\nno launch_agent configured — skipping.")

    def test_without_a_project(self):
        remembered = self.sample.home / "Library/Application Support/zyn-code-manager/project-dir"
        if remembered.exists():
            aside = remembered.rename(remembered.with_suffix(".aside"))
            self.addCleanup(aside.rename, remembered)
        window = self.open_install(CM_PROJECT_DIR="")
        for name in ("Install / Update Everything", "CLI only"):
            self.begin(window, name)
            self.expect_console(window, "Locate the source project folder first.")
        self.assertTrue(window.button("Locate project folder…").enabled)


class Stopping(InstallTest):
    def open_with_endless_build(self, script):
        self.script("zyn-v8/build.command", script)
        window = self.open_install()
        self.begin(window, "CLI only")
        until(lambda: window.all(Role.PROGRESS_BAR, "Installing Zyn"), lambda: window.outline())
        return window

    def groups(self, window):
        return {processes.group_of(child) for child in processes.children(window.process.pid)}

    def test_ends_the_whole_group(self):
        window = self.open_with_endless_build("echo begun; sleep 1000 & sleep 1001\n")
        groups = self.groups(window)
        self.assertTrue(groups)
        window.button("Stop the operation").press()
        self.expect_console(window, "Installing Zyn…\nbegun\n\n✗ failed (exit 15).")
        for group in groups:
            until(lambda: not processes.in_group(group), "the whole group is gone", 1)
        self.assertTrue(window.button("CLI only").enabled)

    def test_by_force_what_does_not_listen(self):
        window = self.open_with_endless_build("trap '' TERM; echo begun; while :; do sleep 1000; done\n")
        groups = self.groups(window)
        window.button("Stop the operation").press()
        self.expect_console(window, "Installing Zyn…\nbegun\n\n✗ failed (exit 9).")
        for group in groups:
            until(lambda: not processes.in_group(group), "the whole group is gone", 1)

    def test_closing_asks_and_ends_it_too(self):
        window = self.open_with_endless_build("sleep 1000 & sleep 1001\n")
        groups = self.groups(window)
        window.ask_to_close()
        window.button("Stop and Close").press()
        self.assertEqual(window.wait(), 0, window.errors)
        for group in groups:
            until(lambda: not processes.in_group(group), "the whole group is gone", 1)


class Models(InstallTest):
    def test_one_that_fails_between_two_that_do_not(self):
        self.script("install-models/install-one-model.command", 'echo "got $1"; [ "$1" != nimbus/vision ]\n')
        self.script("install-models/catalog/nimbus/vision/model.toml",
                    'release = "yes"\nname = "Nimbus"\nrepo = "nimbus/Vision"\n')
        window = self.open_install("model")
        until(lambda: [row for row in window.pane_rows() if row.name.startswith("Nimbus")], lambda: window.outline())
        for name in ("Atlas", "Nimbus", "Quartz Coder"):
            window.find(Role.CHECK_BOX, f"Select {name}").press()
        self.begin(window, "Install Checked (3)")
        self.expect_console(window, "Installing 3 model(s)…\n1/3  Installing Atlas…\ngot atlas\n"
                                    "\n2/3  Installing Nimbus…\ngot nimbus/vision\n\n✗ failed (exit 1)."
                                    "\n3/3  Installing Quartz Coder…\ngot quartz/coder\n2/3 installed.")

    def remove_and_cancel_first(self, window):
        until(lambda: window.button("Remove model").enabled, "there is a model")
        window.button("Remove model").press()
        window.button("Cancel").press()
        self.assertTrue((self.sample.home / ".zyn/served-model").exists())
        window.button("Remove model").press()
        window.button("Stop backend & move model to Trash").press()

    def test_the_link_that_the_backend_serves_goes_to_the_trash(self):
        served = self.sample.home / ".zyn/served-model"
        weights = served.resolve()
        self.sample.service("start")
        window = self.open_install("model")
        self.remove_and_cancel_first(window)
        self.expect_console(window, f"Model moved to Trash:\n{served}")
        self.assertFalse(self.sample.serves())
        self.assertFalse(served.is_symlink())
        trashed = self.sample.home / ".local/share/Trash/files/served-model"
        self.assertEqual(trashed.resolve(), weights)
        self.assertTrue(list(weights.iterdir()), "the weights stay where they are")
        trashed.rename(served)

    def test_a_model_of_the_catalog_is_removed_by_its_script_and_installed_again(self):
        # No argument of the backend says what it serves: the configured model of the catalog counts.
        before = self.sample.agent_file.read_bytes()
        self.addCleanup(self.sample.agent_file.write_bytes, before)
        agent = plistlib.loads(before)
        agent["ProgramArguments"] = agent["ProgramArguments"][:1]
        self.sample.agent_file.write_bytes(plistlib.dumps(agent))
        window = self.open_install("model")
        self.assertEqual(window.rows()["Catalog"], "zyn-labs/vantor-7b")
        self.remove_and_cancel_first(window)
        until(lambda: (window.console() or "").endswith("\n✓ model moved to Trash."), lambda: window.console(), LONG)
        self.rest(window)
        self.assertFalse((self.sample.home / ".zyn/served-model").exists())
        until(lambda: window.button("Install model").enabled, "nothing runs any more")
        window.button("Install model").press()
        self.expect_console(window, f"Installing model for Zyn…\n{MODEL}")
        self.assertTrue((self.sample.home / ".zyn/served-model").exists())


class Databases(InstallTest):
    def test_install_over_an_old_one_and_remove(self):
        quill = self.sample.home / ".zyn/databases/quill.db"
        window = self.open_install("databases")
        until(lambda: window.all(name="Quill, not installed"),
              lambda: window.outline())
        quill.write_text("an old one")  # since the list was read
        window.button("Install").press()
        self.expect_console(window, f"Installing Quill…\n✓ installed to {quill}")
        self.assertEqual((self.sample.home / ".local/share/Trash/files/quill.db").read_text(), "an old one")
        self.assertNotEqual(quill.read_bytes(), b"an old one")
        until(lambda: window.all(name="Quill, installed"), lambda: window.outline())
        window.all(Role.PUSH_BUTTON, "Remove")[-1].press()
        self.expect_console(window, f"Moved to Trash:\n{quill}")
        self.assertFalse(quill.exists())


    def test_a_window_and_a_command_line_at_once_lose_nothing(self):
        orchid = self.sample.home / ".zyn/databases/orchid"
        trash = self.sample.home / ".local/share/Trash/files"
        source = {path.relative_to(self.sample.home / "Projects/databases/orchid"): path.read_bytes()
                  for path in (self.sample.home / "Projects/databases/orchid").rglob("*") if path.is_file()}
        window = self.open_install("databases")
        until(lambda: window.all(name="Orchid, installed"), lambda: window.outline())
        for turn in range(5):
            (orchid / f"own-{turn}").write_text("of mine")
            other = subprocess.Popen([places.BIN / "zyn-code-manager", "database", "install", "db-orchid"],
                                     env=self.sample.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            window.all(Role.PUSH_BUTTON, "Remove")[0].press()
            other.wait(30)
            self.rest(window)
            kept = [place for place in [*trash.glob("*/" + f"own-{turn}"), orchid / f"own-{turn}"] if place.exists()]
            self.assertEqual([place.read_text() for place in kept], ["of mine"])
            self.assertEqual(self.sample.tool("database", "install", "db-orchid").returncode, 0)
            self.assertEqual({path.relative_to(orchid): path.read_bytes()
                              for path in orchid.rglob("*") if path.is_file()}, source)
            window.button("Refresh").press()
            until(lambda: window.all(name="Orchid, installed"), window.outline)
            self.rest(window)


class Notifications(InstallTest):
    """What took long tells the desktop when it is over, unless its user is looking."""

    def test_only_a_user_who_looks_elsewhere_is_told(self):
        build = self.script("zyn-v8/build.command", "sleep 10.2\n")
        with Listener() as listener:
            window = self.open_install()
            self.begin(window, "CLI only")
            until(lambda: window.all(Role.PROGRESS_BAR), "it runs")
            self.rest(window)
            build.write_text("sleep 10.2; exit 3\n")
            self.begin(window, "CLI only")
            self.desktop.give_keyboard_away()
            application, summary, body = listener.message()  # the first that comes at all
        self.assertEqual(application, "Zyn Manager")
        self.assertRegex(summary, r"^Failed: Installing Zyn \(0:1\d\)$")
        self.assertEqual(body, "")
