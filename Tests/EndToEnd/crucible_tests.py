"""The Crucible pane with real links and a real service: where weights are served from, what becomes of the links."""

import json
import os
import pathlib
import re
import urllib.request

from support import processes
from support.case import WindowTest
from support.waiting import until
from support.window import Role

ROW = re.compile(r"(?P<volume>.+?) (internal|external), (?P<path>/.*?), (?P<size>[^,]+)(?P<serving>, serving)?")
SERVE = "Serve from this drive"
WEIGHTS = "models/zyn-labs/Vantor-7B/3_final"


def is_link_to(link, target):
    return link.is_symlink() and os.readlink(link) == str(target)


def occupied(folder):
    """What its files take on disk, as the window writes sizes."""
    files = (path.lstat() for path in folder.rglob("*") if path.is_file() and not path.is_symlink())
    return f"{sum(512 * facts.st_blocks for facts in files) / 1e6:.1f} MB"


class CrucibleTest(WindowTest):
    """All tests of a class begin with the same links, and with the service stopped."""

    def setUp(self):
        self.addCleanup(self.make_links, self.links())
        self.addCleanup(self.sample.service, "stop")
        self.before = self.contents()

    @property
    def home(self):
        return self.sample.home

    @property
    def store(self):
        return self.home / ".zyn-crucible"

    @property
    def vault(self):
        return self.home / "Volumes/Vault/zyn-crucible"

    @property
    def tape(self):
        return self.home / "Volumes/Tape/zyn-crucible"

    @property
    def root_link(self):
        return self.home / ".zyn/crucible"

    @property
    def served_link(self):
        return self.home / ".zyn/served-model"

    def links(self):
        """Of the store and what leads to it, with where they lead."""
        found = [self.root_link, self.served_link, *self.store.rglob("*")]
        return {link: os.readlink(link) for link in found if link.is_symlink()}

    def make_links(self, links):
        for link, target in links.items():
            if link.is_symlink():
                link.unlink()
            elif link.exists():
                link.rename(self.sample.scratch / f"aside {link.name}")
            link.symlink_to(target)

    def contents(self):
        """Every file of weights on both drives."""
        return {path: path.read_bytes() for drive in (self.store, self.vault)
                for path in drive.rglob("*") if path.is_file() and not path.is_symlink()}

    def expect_weights_untouched(self):
        self.assertEqual(self.contents().keys(), self.before.keys())
        self.assertTrue(self.contents() == self.before, "no byte of the weights is changed")

    def expect_in_trash(self, name, target):
        trashed = pathlib.Path(self.sample.environment["XDG_DATA_HOME"]) / "Trash/files"
        self.assertTrue(any(is_link_to(item, target) for item in trashed.glob(f"{name}*")), list(trashed.glob("*")))

    # ---- the pane ----

    def open_crucible(self):
        window = self.open_at_rest(CM_PANE="crucible")
        until(lambda: window.pane() == "Crucible" and self.sites(window), "the pane is shown and has rows")
        return window

    def row_nodes(self, window):
        return [node for node in window.all(Role.PANEL) if node.shown and ROW.fullmatch(node.name)]

    def serve_button(self, row):
        """None where nothing can be served from, or already is."""
        return next((node for node in row.children if node.name == SERVE and node.shown), None)

    def sites(self, window):
        """For each row its path, its size, whether it is the one that is served and whether it could be."""
        found = []
        for node in self.row_nodes(window):
            told = ROW.fullmatch(node.name)
            if told:
                found.append((pathlib.Path(told["path"]), told["size"], told["serving"] is not None,
                              self.serve_button(node) is not None))
        return found

    def expect_sites(self, window, *expected):
        until(lambda: self.sites(window) == list(expected),
              lambda: f"the rows are {expected}, not {self.sites(window)}:\n{window.outline()}")

    def link_labels(self, window):
        told = (node.name.partition(": ") for node in window.all(Role.LABEL) if node.shown)
        return {label: pathlib.Path(target) for label, _, target in told if label in ("Crucible root", "Served model")}

    def expect_link_labels(self, window, root, served):
        expected = {"Crucible root": root, "Served model": served}
        until(lambda: self.link_labels(window) == expected, lambda: f"the links are {expected}:\n{window.outline()}")

    def serve_from(self, window, path):
        row = next(node for node in self.row_nodes(window) if ROW.fullmatch(node.name)["path"] == str(path))
        self.serve_button(row).press()

    def expect_console(self, window, *lines):
        text = "\n".join(map(str, lines))
        until(lambda: window.console() == text, lambda: f"the console says {text!r}, not {window.console()!r}")

    # ---- the choosers of files and folders ----

    def chooser(self, window, title):
        """Waits until it has the keyboard."""
        def ready():
            focused = window.focused()
            dialog = next((node for node in window.all(Role.DIALOG, title) if node.shown), None)
            return dialog if dialog and focused and any(node.focused for node in dialog.walk()) else None

        return until(ready, lambda: f"“{title}” has the keyboard:\n{window.outline()}")

    def go_to(self, window, title, folder):
        """Leads a chooser to a folder by its path, which takes the place of the folder's parts for as long."""
        dialog = self.chooser(window, title)
        window.keys("ctrl+l")
        until(lambda: getattr(window.focused(), "role", None) == Role.TEXT,
              lambda: f"a path can be typed:\n{window.outline()}")
        self.desktop.copy(str(folder))
        window.keys("ctrl+a", "ctrl+v")
        until(lambda: window.focused().text == str(folder), lambda: f"the path is there:\n{window.outline()}")
        window.keys("Return")

        def is_there():
            return folder.name in [node.name for node in dialog.walk() if node.role == Role.PUSH_BUTTON]

        until(is_there, lambda: f"the chooser is at {folder}:\n{window.outline()}")
        return dialog

    def pick(self, window, dialog, name):
        """One of the things listed."""
        label = until(lambda: next((node for node in dialog.walk()
                                    if node.role == Role.LABEL and node.name == name and node.shown), None),
                      lambda: f"{name} is listed:\n{window.outline()}")
        window.click(label)

    def accept(self, window, dialog, name):
        button = next(node for node in dialog.walk() if node.role == Role.PUSH_BUTTON and node.name == name)
        until(lambda: button.enabled, lambda: f"{name} can be pressed:\n{window.outline()}")
        self.assertTrue(button.press())
        self.expect_no_chooser(window)

    def expect_no_chooser(self, window):
        until(lambda: not any(node.shown for node in window.all(Role.DIALOG)),
              lambda: f"it is gone:\n{window.outline()}")


class Sites(CrucibleTest):
    def test_every_copy_is_listed_and_where_the_links_lead(self):
        window = self.open_crucible()
        self.expect_sites(window, (self.store, occupied(self.store), True, False),
                          (self.vault, occupied(self.vault), False, True), (self.tape, "absent", False, False))
        self.expect_link_labels(window, self.store, self.store / WEIGHTS)

    def test_they_are_read_anew_when_asked(self):
        window = self.open_crucible()
        self.tape.mkdir(parents=True)
        self.addCleanup(self.tape.rmdir)
        window.button("Refresh").press()
        until(lambda: self.sites(window)[2:] == [(self.tape, "Zero KB", False, True)],
              lambda: f"the drive is there:\n{window.outline()}")


class Serving(CrucibleTest):
    """The service reads its weights where the served link leads when it starts, and tells which it has read."""

    def health(self):
        with urllib.request.urlopen(f"http://127.0.0.1:{self.sample.port}/health", timeout=20) as answer:
            return json.load(answer)

    def server(self):
        """Its process; None while none runs."""
        started = str(self.home / ".zyn/bin/mlx-vantor")
        return next((pid for pid in processes.all_ids() if processes.command(pid)[:1] == [started]), None)

    def more_weights(self, drive):
        """So that what was read there differs from what other drives have."""
        more = drive / WEIGHTS / "more.safetensors"
        more.write_bytes(b"m" * 1000)
        self.addCleanup(more.unlink)
        self.before = self.contents()

    def expect_served_from(self, window, drive, other):
        expected = [(self.store, occupied(self.store)), (self.vault, occupied(self.vault))]
        rows = [(path, size, path == drive, path == other) for path, size in expected]
        self.expect_sites(window, *rows, (self.tape, "absent", False, False))
        self.expect_link_labels(window, self.store, drive / WEIGHTS)
        self.assertTrue(is_link_to(self.served_link, drive / WEIGHTS))

    def test_the_service_is_started_anew_with_the_other_drives_weights(self):
        self.more_weights(self.vault)
        self.sample.service("start")
        until(self.sample.serves, "the service answers")
        first = self.server()
        read = self.health()
        self.assertEqual((read["folder"], read["weight_bytes"]), (str(self.store / WEIGHTS), 6000000))

        window = self.open_crucible()
        self.serve_from(window, self.vault)
        self.expect_console(window, "Restart: ok")
        self.expect_served_from(window, self.vault, self.store)
        until(lambda: self.server() not in (None, first), "another process serves")
        until(self.sample.serves, "the service answers again")
        read = self.health()
        self.assertEqual((read["folder"], read["weight_bytes"]), (str(self.vault / WEIGHTS), 6001000))
        self.assertIn(f"(4 weight files, 6001000 bytes) from {self.vault / WEIGHTS}\n",
                      self.sample.log_file.read_text())
        self.expect_in_trash("served-model", self.store / WEIGHTS)
        self.expect_weights_untouched()

        second = self.server()
        self.serve_from(window, self.store)
        self.expect_served_from(window, self.store, self.vault)
        until(lambda: self.server() not in (None, second), "and a third one")
        until(lambda: self.sample.serves() and self.health()["folder"] == str(self.store / WEIGHTS), "with the first")
        self.expect_in_trash("served-model", self.vault / WEIGHTS)
        self.expect_weights_untouched()

    def test_with_the_keyboard(self):
        self.sample.service("start")
        window = self.open_crucible()
        for _ in range(20):
            before = getattr(window.focused(), "name", None)
            if before == SERVE:
                break
            window.keys("Tab")
            until(lambda: getattr(window.focused(), "name", before) != before,
                  lambda: f"Tab leads on from {before}:\n{window.outline()}")
        self.assertEqual(window.focused().name, SERVE)
        window.keys("Return")
        self.expect_console(window, "Restart: ok")
        self.expect_served_from(window, self.vault, self.store)

    def test_a_stopped_service_begins_with_them_when_it_is_started(self):
        window = self.open_crucible()
        self.serve_from(window, self.vault)
        not_there = f'Could not find service "{self.sample.label}" in domain for user gui: {os.getuid()}'
        self.expect_console(window, "Restart failed (113)", not_there, "")
        self.expect_served_from(window, self.vault, self.store)
        self.assertIsNone(self.server())
        self.sample.service("start")
        until(self.sample.serves, "the service answers")
        self.assertEqual(self.health()["folder"], str(self.vault / WEIGHTS))

    def test_a_drive_without_these_weights_is_refused(self):
        self.tape.mkdir(parents=True)
        self.addCleanup(self.tape.rmdir)
        self.sample.service("start")
        until(self.sample.serves, "the service answers")
        first = self.server()
        window = self.open_crucible()
        self.serve_from(window, self.tape)
        self.expect_console(window, "No copy of these weights on that drive:", self.tape / WEIGHTS)
        self.rest(window)
        self.assertTrue(is_link_to(self.served_link, self.store / WEIGHTS))
        self.assertEqual(self.server(), first)
        self.expect_weights_untouched()


class Root(CrucibleTest):
    TITLE = "Use as Crucible"

    def choose(self, window, folder):
        window.button("Set crucible folder…").press()
        dialog = self.go_to(window, self.TITLE, folder.parent)
        self.pick(window, dialog, folder.name)
        self.accept(window, dialog, "Use as Crucible")

    def test_it_is_the_folder_that_was_picked(self):
        window = self.open_crucible()
        self.choose(window, self.vault)
        self.expect_console(window, "Crucible root now points at:", self.vault)
        self.expect_link_labels(window, self.vault, self.store / WEIGHTS)
        # The first of the declared places is the link itself, which leads to the drive now.
        seen = (self.vault, occupied(self.vault), False, True)
        self.expect_sites(window, seen, seen, (self.tape, "absent", False, False))
        self.assertTrue(is_link_to(self.root_link, self.vault))
        self.expect_in_trash("crucible", self.store)
        self.expect_weights_untouched()

    def test_nothing_happens_when_none_is_picked(self):
        window = self.open_crucible()
        for how in (lambda: window.keys("Escape"),
                    lambda: self.accept(window, self.chooser(window, self.TITLE), "Cancel")):
            window.button("Set crucible folder…").press()
            self.chooser(window, self.TITLE)
            how()
            self.expect_no_chooser(window)
        self.rest(window)
        self.assertIsNone(window.console())
        self.assertTrue(is_link_to(self.root_link, self.store))

    def test_a_folder_in_the_links_place_is_left_alone(self):
        self.root_link.unlink()
        self.root_link.mkdir()
        (self.root_link / "weights").write_bytes(b"w")
        window = self.open_crucible()
        self.choose(window, self.vault)
        self.expect_console(window, f"{self.root_link} is a real folder, not a link.",
                            "Move its contents first — refusing to orphan it.")
        self.rest(window)
        self.assertEqual((self.root_link / "weights").read_bytes(), b"w")


class Links(CrucibleTest):
    """With the root on the drive Vault, so that there is a second place to look for copies."""

    UNCHECKED = "Check the links first."

    def setUp(self):
        super().setUp()
        self.root_link.unlink()
        self.root_link.symlink_to(self.vault)
        models = self.store / "models"
        self.mini, self.code, self.embed = (models / name for name in
                                            ("zyn-labs/Vantor-Mini", "zyn-labs/Vantor-Code", "atlas/Atlas-Embed"))
        self.targets = {link: os.readlink(link) for link in (self.embed, self.code, self.mini)}

    def aim(self, link, target):
        link.unlink()
        link.symlink_to(target)
        self.targets[link] = str(target)

    def copy_of(self, link):
        """Where the drive has it, by the path through the root link."""
        return self.root_link / link.relative_to(self.store)

    def findings(self, dangling):
        return [f"3 links, {len(dangling)} dangling.",
                *(f"{'✗' if link in dangling else '✓'} {link} -> {target}" for link, target in self.targets.items())]

    def expect_repair(self, window, reason):
        button = window.button("Repair")
        until(lambda: (button.description, button.enabled) == (reason, reason == ""),
              lambda: f"Repair: {reason}:\n{window.outline()}")

    def test_a_broken_link_is_found_and_mended(self):
        self.aim(self.mini, self.home / "Volumes/Elsewhere/Vantor-Mini")
        window = self.open_crucible()
        self.expect_repair(window, self.UNCHECKED)
        window.button("Check links").press()
        self.expect_console(window, *self.findings([self.embed, self.code, self.mini]))
        self.expect_repair(window, "")

        window.button("Repair").press()
        self.expect_console(window, f"✗ {self.embed}",
                            "no drive has models/atlas/Atlas-Embed — cannot repair without inventing a path",
                            f"✓ {self.code}", "repaired:", self.copy_of(self.code),
                            f"✓ {self.mini}", "repaired:", self.copy_of(self.mini))
        for link in (self.code, self.mini):
            self.assertTrue(is_link_to(link, self.copy_of(link)))
            self.assertTrue((link / "3_final/config.json").is_file())
            self.expect_in_trash(link.name, self.targets[link])
        self.assertTrue(is_link_to(self.embed, self.targets[self.embed]))
        self.expect_weights_untouched()

        self.rest(window)
        self.targets.update({link: os.readlink(link) for link in self.targets})
        window.button("Check links").press()
        self.expect_console(window, *self.findings([self.embed]))

    def test_without_a_broken_link_there_is_nothing_to_mend(self):
        self.aim(self.code, self.vault / "models/zyn-labs/Vantor-Code")
        self.aim(self.embed, self.vault)
        window = self.open_crucible()
        window.button("Check links").press()
        self.expect_console(window, *self.findings([]))
        self.expect_repair(window, "No link dangles.")

    def test_backed_up_links_come_back(self):
        file = self.sample.scratch / "backup/links.toml"
        file.parent.mkdir()
        window = self.open_crucible()
        window.button("Back up links…").press()
        dialog = self.go_to(window, "Back up links", file.parent)
        self.write_name(window, dialog, file.name)
        self.accept(window, dialog, "Back up")
        self.expect_console(window, "Links backed up:", file)
        self.assertEqual(file.read_text(), self.sample.tool("crucible", "backup").stdout)

        kept = dict(self.targets)
        self.aim(self.mini, "/gone")
        window.button("Restore links…").press()
        dialog = self.go_to(window, "Restore links", file.parent)
        self.pick(window, dialog, file.name)
        self.accept(window, dialog, "Restore")
        missing = [line for link in (self.embed, self.code)
                   for line in (f"✗ {link}", f"target missing, skipped: {kept[link]}")]
        self.expect_console(window, *missing, f"✓ {self.mini}", "restored:", kept[self.mini])
        self.assertEqual({link: os.readlink(link) for link in kept}, kept)
        self.expect_in_trash("Vantor-Mini", "/gone")
        self.expect_weights_untouched()

    def test_a_backup_replaces_no_file(self):
        file = self.sample.scratch / "kept/links.toml"
        file.parent.mkdir()
        file.write_text("mine")
        window = self.open_crucible()
        window.button("Back up links…").press()
        dialog = self.go_to(window, "Back up links", file.parent)
        self.write_name(window, dialog, file.name)
        self.accept(window, dialog, "Back up")
        self.expect_console(window, "The links could not be backed up: The file “links.toml” couldn’t be saved in the "
                                    "folder “kept” because a file with the same name already exists.")
        self.assertEqual(file.read_text(), "mine")

    def write_name(self, window, dialog, name):
        field = next(node for node in dialog.children if node.role == Role.TEXT)
        window.click(field)
        until(lambda: field.focused, lambda: f"the name has the keyboard:\n{window.outline()}")
        self.desktop.copy(name)
        window.keys("ctrl+a", "ctrl+v")
        until(lambda: field.text == name, lambda: f"the name is there:\n{window.outline()}")
        window.keys("Return")

    def test_a_file_that_is_no_backup_restores_nothing(self):
        folder = self.sample.scratch / "other"
        folder.mkdir()
        (folder / "notes.txt").write_text("nothing\n")
        window = self.open_crucible()
        window.button("Restore links…").press()
        dialog = self.go_to(window, "Restore links", folder)
        self.pick(window, dialog, "notes.txt")
        self.accept(window, dialog, "Restore")
        self.expect_console(window, "There was no link to set.")
        self.assertEqual({link: os.readlink(link) for link in self.targets}, self.targets)
