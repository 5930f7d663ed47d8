"""The Components pane on a real home: what it finds, what can be ticked, what goes to the Trash and comes back."""

import collections
import os
import subprocess

from support.case import WindowTest
from support.files import Trash, fingerprints, relative_to, without
from support.waiting import until
from support.window import Role, State

INVITATION = "Select items to move to the Trash (recoverable)."
RECOVERABLE = "This can be undone from the Trash."

TICKED, PARTLY, CLEAR = "ticked", "partly ticked", "clear"

Row = collections.namedtuple("Row", ("name", "ticks"))


def ticks_of(box):
    states = box.states
    return PARTLY if State.INDETERMINATE in states else TICKED if State.CHECKED in states else CLEAR


def kilobytes(items):
    """What the items take together, as people read it; less than a megabyte."""
    return f"{(sum(item['sizeBytes'] for item in items) + 500) // 1000} KB"


class ComponentsTest(WindowTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.trash = Trash(cls.sample)
        cls.trash.folder.parent.mkdir(parents=True, exist_ok=True)

    def setUp(self):
        self.addCleanup(self.trash.put_back)

    # ---- what is expected ----

    def found(self, *paths):
        """What was there when the window was opened at these paths of the home, in the order of the rows."""
        wanted = {str(self.sample.home / path) for path in paths}
        return [item for item in self.items if item["path"] in wanted]

    def expected_rows(self):
        """The names of all rows, made from what the command line says for people."""
        names = []
        for line in self.sample.tool("scan").stdout.splitlines():
            size, text = line[:7].strip(), line[9:]
            path = text.removeprefix("  ")
            if path != text:
                names.append(f"{os.path.basename(path)}, {path}, {size}")
            elif text and not text.startswith("Total"):
                names.append(f"{text}, {size}")
        return names

    def section(self, title):
        """The name of the section's row."""
        return next(name for name in self.everything if name.startswith(title + " · "))

    def row_of(self, path):
        """The name of the item's row."""
        (item,) = self.found(path)
        return f"{item['name']}, {item['path']}, {item['humanSize']}"

    # ---- what is seen ----

    def open_components(self, height=2800, **variables):
        """The pane once the disk was read; as high as this, all rows of the sample are seen at once."""
        self.items, self.everything = self.sample.told("scan"), self.expected_rows()
        window = self.open_at_rest(CM_PANE="components", **variables)
        subprocess.run(["xdotool", "windowsize", "--sync", window.number, "980", str(height)], check=True, timeout=20)
        until(lambda: window.root.place[3] == height, "the window has that height")
        until(lambda: window.pane() == "Components", "the pane is shown")
        return window

    def list_rows(self, window):
        """The rows' nodes from top to bottom."""
        rows = [node for node in window.find(Role.LIST, "Found items").children
                if node.role == Role.LIST_ITEM and node.shown]
        return sorted(rows, key=lambda node: node.place[1])

    def box(self, row):
        """Its tick box; None for a row that went meanwhile."""
        return next((node for node in row.children if node.role == Role.CHECK_BOX), None)

    def rows(self, window):
        boxes = ((row, self.box(row)) for row in self.list_rows(window))
        return [Row(row.name, ticks_of(box)) for row, box in boxes if box is not None]

    def row(self, window, name):
        return until(lambda: next((node for node in self.list_rows(window) if node.name == name), None),
                     lambda: f"the row {name} is there:\n{window.outline()}")

    def names(self, window):
        return [row.name for row in self.rows(window)]

    def ticked(self, window):
        """What is not clear, by name."""
        return {name: ticks for name, ticks in self.rows(window) if ticks != CLEAR}

    def expect_names(self, window, names):
        until(lambda: self.names(window) == names, lambda: f"the rows are {names}, not {self.names(window)}")

    def expect_ticks(self, window, ticked, totals):
        """These are not clear, by name, and the bar at the foot says this."""
        until(lambda: self.ticked(window) == ticked, lambda: f"ticked are {ticked}, not {self.ticked(window)}")
        self.expect_totals(window, totals)

    def expect_totals(self, window, text):
        until(lambda: [node for node in window.all(Role.LABEL, text) if node.shown],
              lambda: f"the foot says {text!r}:\n{window.outline()}")

    def expect_console(self, window, *lines):
        text = "\n".join(lines)
        until(lambda: window.console() == text, lambda: f"the console says {text!r}, not {window.console()!r}")

    # ---- what its user does ----

    def press_box(self, window, *row_names):
        for name in row_names:
            self.box(self.row(window, name)).press()

    def tick(self, window, *paths):
        self.press_box(window, *(self.row_of(path) for path in paths))

    def filter(self, window, text):
        window.keys("ctrl+f", "ctrl+a", "BackSpace")
        field = window.find(Role.TEXT, "Filter")
        until(lambda: field.focused, "the field has the focus")
        if text:
            subprocess.run(["xdotool", "type", "--delay", "0", text], check=True, timeout=20)
        until(lambda: field.text == text, lambda: f"the field holds {text!r}, not {field.text!r}")

    def question(self, window):
        """The question's node while it is asked."""
        return next((node for node in window.all(Role.DIALOG) if node.shown), None)

    def ask(self, window, count):
        """Wants the ticked items moved; what is asked then."""
        window.button("Move to Trash").press()
        question = until(lambda: self.question(window), lambda: f"a question is asked:\n{window.outline()}")
        until(lambda: [node.name for node in question.walk() if node.role == Role.LABEL]
              == [f"Move {count} item(s) to the Trash?", RECOVERABLE], lambda: f"it says so:\n{question.outline()}")
        return question

    def answer(self, window, question, name):
        next(node for node in question.walk() if node.role == Role.PUSH_BUTTON and node.name == name).press()
        self.until_answered(window)

    def until_answered(self, window):
        until(lambda: self.question(window) is None, lambda: f"the question is gone:\n{window.outline()}")

    def move(self, window, count):
        self.answer(window, self.ask(window, count), "Move to Trash")

    def refresh(self, window):
        window.button("Refresh").press()
        self.rest(window)


class Selection(ComponentsTest):
    HTTP, LOGS = "Library/Caches/zyn.http", "Library/Logs/zyn"

    def test_the_rows_are_what_the_command_line_finds(self):
        window = self.open_components()
        self.assertGreater(len(self.everything), 40)
        self.expect_names(window, self.everything)
        self.expect_ticks(window, {}, INVITATION)

    def test_a_filter_narrows_the_rows_and_nothing_else(self):
        window = self.open_components()
        self.tick(window, self.HTTP, self.LOGS)
        ticked = {self.row_of(self.HTTP): TICKED, self.section("Caches"): PARTLY,
                  self.row_of(self.LOGS): TICKED, self.section("Logs"): TICKED}
        totals = f"2 items · {kilobytes(self.found(self.HTTP, self.LOGS))}"
        self.expect_ticks(window, ticked, totals)

        self.filter(window, "CACHES/COM.")
        self.expect_names(window, [name for name in self.everything
                                   if name.startswith("Caches · ") or "/Library/Caches/com." in name])
        self.assertEqual(len(self.names(window)), 4)
        self.expect_ticks(window, {}, totals)  # of a section, those of its items that are shown count

        self.filter(window, "no such thing")
        self.expect_names(window, [])
        note = "No item holds “no such thing” in its name or path."
        until(lambda: [node for node in window.all(name=note) if node.shown], "it says that there is none")
        self.expect_totals(window, totals)

        window.keys("Escape")
        self.expect_names(window, self.everything)
        self.expect_ticks(window, ticked, totals)

    def test_a_section_is_clear_partly_ticked_or_ticked(self):
        window = self.open_components()
        caches = [item for item in self.items if item["category"] == "Caches"]
        head = self.section("Caches")
        items = {f"{item['name']}, {item['path']}, {item['humanSize']}": TICKED for item in caches}
        whole = head.rpartition(", ")[2]

        self.press_box(window, self.row_of(self.HTTP))
        one = {head: PARTLY, self.row_of(self.HTTP): TICKED}
        self.expect_ticks(window, one, f"1 item · {kilobytes(self.found(self.HTTP))}")
        self.press_box(window, head)
        self.expect_ticks(window, {head: TICKED, **items}, f"{len(caches)} items · {whole}")
        self.press_box(window, head)
        self.expect_ticks(window, {}, INVITATION)
        self.press_box(window, head)
        self.expect_ticks(window, {head: TICKED, **items}, f"{len(caches)} items · {whole}")
        for name in items:
            if name != self.row_of(self.HTTP):
                self.press_box(window, name)
        self.expect_ticks(window, one, f"1 item · {kilobytes(self.found(self.HTTP))}")
        self.press_box(window, self.row_of(self.HTTP))
        self.expect_ticks(window, {}, INVITATION)

    def test_a_section_that_is_narrowed_ticks_what_is_shown(self):
        window = self.open_components()
        self.filter(window, "zyn.http")
        self.expect_names(window, [self.section("Caches"), self.row_of(self.HTTP)])
        self.press_box(window, self.section("Caches"))
        totals = f"1 item · {kilobytes(self.found(self.HTTP))}"
        self.expect_ticks(window, {self.section("Caches"): TICKED, self.row_of(self.HTTP): TICKED}, totals)
        window.keys("Escape")
        self.expect_ticks(window, {self.section("Caches"): PARTLY, self.row_of(self.HTTP): TICKED}, totals)

    def test_all_and_none(self):
        window = self.open_components()
        window.button("Select All").press()
        total = self.sample.tool("scan").stdout.splitlines()[-1]
        count, size = total.rpartition(" · ")[2], total[:7].strip()
        self.expect_ticks(window, dict.fromkeys(self.everything, TICKED), f"{count} items · {size}")
        window.button("Clear").press()
        self.expect_ticks(window, {}, INVITATION)

    def test_with_the_pointer_and_the_keyboard(self):
        window = self.open_components(height=640)
        preview, bundle = (self.row_of(f"Applications/{name}.app") for name in ("Zyn Preview", "Zyn"))
        head = self.section("Application")
        window.click(self.box(self.row(window, preview)))
        until(lambda: self.ticked(window) == {head: PARTLY, preview: TICKED}, "a click ticks the row")
        window.click(self.row(window, bundle))
        until(lambda: getattr(window.focused(), "name", None) == bundle, "a click beside the box chooses the row")
        window.keys("space")
        until(lambda: self.ticked(window) == {head: TICKED, preview: TICKED, bundle: TICKED}, "the space bar ticks it")
        window.keys("Up", "Up", "space")
        until(lambda: self.ticked(window) == {}, "of the section's row, it clears all of it")
        for key, name in (("End", self.everything[-1]), ("Home", head)):
            window.keys(key)
            until(lambda: getattr(window.focused(), "name", None) == name, lambda: f"{key} leads to {name}")
        window.keys("Next")
        until(lambda: getattr(window.focused(), "name", None) in self.everything[4:], "a page is more than a row")
        window.keys("Prior")
        until(lambda: getattr(window.focused(), "name", None) == head, "and back")
        window.click(window.button("Select All"))
        until(lambda: all(row.ticks == TICKED for row in self.rows(window)), "all are ticked")
        window.click(window.button("Clear"))
        self.expect_totals(window, INVITATION)


class Moving(ComponentsTest):
    """What was ticked and confirmed goes to the Trash as it is, and nothing else on disk changes."""

    def setUp(self):
        super().setUp()
        self.before = self.home_without_trash()

    def home_without_trash(self):
        return without(fingerprints(self.sample.home), self.trash.folder)

    def expect_same(self, found, expected):
        different = {path: (expected.get(path), found.get(path)) for path in {**expected, **found}
                     if expected.get(path) != found.get(path)}
        self.assertEqual(different, {}, "what was expected there and what is")

    def expect_moved(self, *paths):
        """These alone left, for the Trash, where they are what they were."""
        paths = [str(self.sample.home / path) for path in paths]
        self.expect_same(self.home_without_trash(), without(self.before, *paths))
        places = self.trash.items()
        self.assertEqual(sorted(places), sorted(paths))
        for path in paths:
            was = {place: seen for place, seen in self.before.items()
                   if place == path or place.startswith(path + "/")}
            self.expect_same(relative_to(places[path], fingerprints(places[path])), relative_to(path, was))

    def expect_untouched(self):
        self.expect_same(self.home_without_trash(), self.before)
        self.assertEqual(self.trash.items(), {})


class Walk(Moving):
    ITEM, SECTION = ".zyn-code", "Preferences"

    def choose(self, window):
        """A row and a section, whose items and paths are returned."""
        self.press_box(window, self.row_of(self.ITEM), self.section(self.SECTION))
        items = [item for item in self.items
                 if item["category"] == self.SECTION or item in self.found(self.ITEM)]
        self.assertEqual(len(items), 4)
        self.expect_totals(window, f"4 items · {kilobytes(items)}")
        return [item["path"] for item in items]

    def test_to_the_trash_and_back(self):
        window = self.open_components()
        self.expect_names(window, self.everything)
        paths = self.choose(window)
        ticked = self.ticked(window)

        self.answer(window, self.ask(window, 4), "Cancel")
        self.refresh(window)  # what had been begun would be over now
        self.expect_untouched()
        self.expect_names(window, self.everything)
        self.assertEqual(self.ticked(window), ticked)
        self.assertIsNone(window.console())

        self.move(window, 4)
        self.expect_console(window, "Moved 4 items to the Trash.",
                            *(line for path in paths for line in ("Moved to Trash:", path)))
        self.rest(window)
        self.expect_moved(*paths)
        remaining = self.expected_rows()
        self.assertEqual(len(remaining), len(self.everything) - 5)  # the four, and the section with nothing in it
        self.expect_names(window, remaining)
        self.expect_ticks(window, {}, INVITATION)

        self.trash.put_back()
        self.expect_untouched()
        self.assertEqual(self.names(window), remaining)  # it reads only when it is asked to
        self.refresh(window)
        self.expect_names(window, self.everything)
        self.expect_ticks(window, {}, INVITATION)

    def test_every_answer_but_yes_moves_nothing(self):
        window = self.open_components(height=640)
        self.tick(window, "Applications/Zyn.app")
        for key in ("Return", "KP_Enter", "space", "Escape"):
            self.ask(window, 1)
            until(lambda: getattr(window.focused(), "name", None) == "Cancel", "Cancel has the focus")
            window.keys(key)
            self.until_answered(window)
            until(lambda: getattr(window.focused(), "name", None) == "Components", "the keyboard is where it was")
        question = self.ask(window, 1)
        window.click(next(node for node in question.walk() if node.name == "Cancel"))
        self.until_answered(window)
        self.refresh(window)
        self.expect_untouched()
        self.expect_totals(window, f"1 item · {self.found('Applications/Zyn.app')[0]['humanSize']}")

    def test_with_the_pointer(self):
        window = self.open_components(height=640)
        self.tick(window, "Applications/Zyn.app")
        self.expect_totals(window, f"1 item · {self.found('Applications/Zyn.app')[0]['humanSize']}")
        window.click(window.button("Move to Trash"))
        question = until(lambda: self.question(window), "a question is asked")
        window.click(next(node for node in question.walk()
                          if node.role == Role.PUSH_BUTTON and node.name == "Move to Trash"))
        self.expect_console(window, "Moved 1 item to the Trash.", "Moved to Trash:",
                            str(self.sample.home / "Applications/Zyn.app"))
        self.rest(window)
        self.expect_moved("Applications/Zyn.app")


class Circumstances(Moving):
    """What happens to items between the scan and the move, and to what links lead to."""

    def test_what_vanished_meanwhile_is_told_and_the_others_move(self):
        window = self.open_components()
        gone, aside = self.sample.home / ".cache/zyn", self.sample.scratch / "aside"
        self.tick(window, ".zyn-code", ".cache/zyn", "Library/Logs/zyn")
        question = self.ask(window, 3)
        gone.rename(aside)
        self.addCleanup(aside.rename, gone)
        self.answer(window, question, "Move to Trash")
        self.expect_console(window, "Moved 2 of 3 items to the Trash.",
                            "Moved to Trash:", str(self.sample.home / ".zyn-code"),
                            "Remove failed: The file “zyn” doesn’t exist.",
                            "Moved to Trash:", str(self.sample.home / "Library/Logs/zyn"))
        self.rest(window)
        self.before = without(self.before, gone)
        self.expect_moved(".zyn-code", "Library/Logs/zyn")
        self.expect_names(window, self.expected_rows())
        self.expect_ticks(window, {}, INVITATION)

    def test_a_link_goes_and_what_it_leads_to_stays(self):
        photos = self.sample.home / "Pictures/holidays"
        photos.mkdir(parents=True)
        (photos / "one.jpg").write_bytes(b"picture")
        links = {"Library/Caches/com.zyn.folder": photos, "Library/Caches/com.zyn.file": photos / "one.jpg"}
        for place, target in links.items():
            (self.sample.home / place).symlink_to(target)
            self.addCleanup((self.sample.home / place).unlink)
        self.addCleanup(self.trash.put_back)  # before they are removed
        self.before = self.home_without_trash()
        window = self.open_components()
        paths = [item["path"] for item in self.found(*links)]
        self.tick(window, *links)
        self.move(window, 2)
        self.expect_console(window, "Moved 2 items to the Trash.",
                            *(line for path in paths for line in ("Moved to Trash:", path)))
        self.rest(window)
        self.expect_moved(*links)
