"""What assistive tools are told of everything that is shown, pane by pane."""

import subprocess

from support import keyboard
from support.case import WindowTest
from support.keyboard import AROUND, Walker
from support.waiting import until
from support.window import PANES, Role, State

NAMED = (Role.PUSH_BUTTON, Role.TOGGLE_BUTTON, Role.CHECK_BOX, Role.RADIO_BUTTON, Role.LIST_ITEM, Role.TEXT, Role.ENTRY,
         Role.HEADING, Role.LABEL, Role.LIST, Role.PROGRESS_BAR, Role.DIALOG, Role.COMBO_BOX, Role.TABLE_CELL)
PRESSED = (Role.PUSH_BUTTON, Role.LIST_ITEM, Role.CHECK_BOX)
# What the keyboard may be on: what acts, what can be scrolled or copied, and rows that hold more of their own.
FOCUSED = (*PRESSED, Role.TEXT, Role.ENTRY, Role.LIST, Role.LABEL, Role.STATIC, Role.GROUPING, Role.PANEL)


class Everything(WindowTest):
    def setUp(self):
        self.addCleanup(self.sample.service, "stop")

    def faults(self, window):
        """What is wrong with what is shown, and how many controls were looked at."""
        faults, controls = [], 0
        for node in window.root.walk():
            if not node.shown:
                continue
            role, name, states = node.role, node.name.strip(), node.states
            if role in (Role.UNKNOWN, Role.INVALID):
                faults.append(f"{node} has no role")
            if not name and (role in NAMED or State.FOCUSABLE in states):
                faults.append(f"{node} at {node.place} has no name")
            if role in PRESSED:
                controls += 1
                if "Press" not in node.actions:
                    faults.append(f"{node} cannot be pressed: {node.actions}")
                if State.ENABLED not in states and not node.description:
                    faults.append(f"{node} is disabled and does not say why")
            if State.FOCUSABLE in states and role not in FOCUSED and node is not window.root:
                faults.append(f"{node} can be focused, which its role does not tell")
            if role == Role.CHECK_BOX and "Toggle" not in node.actions:
                faults.append(f"{node} cannot be ticked: {node.actions}")
            if name and (node.place[2] <= 0 or node.place[3] <= 0):
                faults.append(f"{node} takes no room: {node.place}")
        return faults, controls

    def expect_good(self, window, controls, where):
        faults, found = self.faults(window)
        faults += keyboard.twins(window.root)
        self.assertEqual(faults, [], f"{where}:\n{window.outline()}")
        self.assertGreaterEqual(found, controls, window.outline())

    def test_every_pane(self):
        window = self.open_at_rest()
        for title in PANES:
            with self.subTest(title):
                window.open_pane(title)
                self.rest(window)
                self.expect_good(window, len(PANES), title)
                self.assertEqual([row.name for row in window.pane_rows() if row.selected], [title])

    def test_the_services_in_every_state(self):
        window = self.open_at_rest(CM_PANE="services")
        self.expect_good(window, 12, "stopped")
        for name in ("Start", "Restart", "Stop"):
            window.button(name).press()
            until(lambda: window.console() == f"{name}: ok", lambda: f"the console says {window.console()!r}")
            self.rest(window)
            self.expect_good(window, 12, name)

    def test_what_a_check_has_found(self):
        window = self.open_at_rest()
        window.button("Check").press()
        window.button("Close the check")
        self.rest(window)
        self.expect_good(window, len(PANES) + 3, "checked")

    def test_the_question_before_closing(self):
        self.make_service_stubborn()
        window = self.open_at_rest(CM_PANE="services")
        window.button("Stop").press()
        until(lambda: not window.button("Stop").enabled, "the operation runs")
        self.expect_good(window, 12, "at work")
        window.ask_to_close()
        window.button("Stop and Close")
        self.expect_good(window, 14, "asking")
        # The line of progress may come meanwhile, and what is looked through changes below the eyes.
        until(lambda: [node.name for node in window.all(Role.DIALOG) if node.shown] == ["An operation is still running."],
              window.outline)

    def test_the_guide_reads_title_and_text(self):
        window = self.open_at_rest(CM_PANE="guide")
        window.pane()
        topics = [node for node in window.all(Role.LABEL) if node.description]
        self.assertEqual([node.name for node in topics], [*PANES[:-1], "Missing from Spotlight?"])
        self.assertTrue(topics[1].description.startswith("Everything Zyn put on disk. Tick items and Remove"))
        self.assertIn("`open -a`", topics[-1].description)


class Looker(Walker):
    """Sees at each stop whether anything there shows that the keyboard is on it."""

    def __init__(self, test, window, part=None):
        super().__init__(window, part)
        self.test, self.before = test, test.desktop.picture()

    def at(self, stop):
        self.test.assertTrue(stop.shown, f"{stop} is hidden and has the keyboard")
        left, top, width, height = stop.place
        area = (left - AROUND, top - AROUND, width + 2 * AROUND, height + 2 * AROUND)
        inside = self.test.within(area, self.window.root.place)
        self.test.assertTrue(inside, f"{stop} has the keyboard and is out of sight")
        until(lambda: self.test.desktop.picture().part(area) != self.before.part(area),
              f"it is seen that the keyboard is on {stop}")


class ByKeyboard(WindowTest):
    """Every control of every pane is reached by Tab and back, in the order in which it is read, and is seen then."""

    def setUp(self):
        self.addCleanup(self.sample.service, "stop")

    def within(self, area, place):
        """Whether at least a part of it is there, and its upper edge."""
        left, top, width, height = place
        return left - AROUND <= area[0] < left + width and top - AROUND <= area[1] < top + height

    def open_large(self, **variables):
        """Large enough for what each pane shows of the sample."""
        window = self.open_at_rest(**variables)
        subprocess.run(["xdotool", "windowsize", "--sync", window.number, "1270", "790"], check=True, timeout=20)
        until(lambda: window.root.place[2] == 1270, "the window is as large as that")
        self.desktop.hide_pointer()
        return window

    def go_to_pane(self, window, title):
        """The keyboard is on its row afterwards."""
        window.keys(f"ctrl+{PANES.index(title) + 1}")
        until(lambda: window.pane() == title, lambda: f"the pane {title} is shown")
        self.rest(window)

    def walk(self, window, part=None):
        walker = Looker(self, window, part)
        forward = walker.round("Tab")
        back = walker.round("shift+Tab")
        self.assertEqual([forward[0], *reversed(forward[1:])], back, "the way back is the way there")
        return forward

    def expect_walk(self, window, title, least):
        row = window.find(Role.LIST_ITEM, title)
        row.focus()
        until(lambda: row.focused, "the keyboard is on the pane's row")
        stops = self.walk(window)
        self.assertGreaterEqual(len(stops), least, stops)
        self.assertEqual(keyboard.out_of_reach(window.root, stops), [], stops)
        sidebar = [stop for stop in stops if stop.name in PANES and stop.role == Role.LIST_ITEM]
        pane = stops[1:]
        self.assertEqual((len(sidebar), stops[0].name), (1, sidebar[0].name), stops)
        for first, second in zip(pane, pane[1:]):
            self.assertTrue(keyboard.in_reading_order(first, second), f"{first}, then {second}: {stops}")

    def test_every_pane(self):
        self.sample.service("start")
        window = self.open_large()
        least = dict(zip(PANES, (7, 5, 6, 10, 11, 4, 4, 9)))
        for title in PANES:
            with self.subTest(title):
                self.go_to_pane(window, title)
                self.expect_walk(window, title, least[title])

    def test_while_an_operation_runs(self):
        script = self.sample.home / "Projects/zyn-v8/build.command"
        self.addCleanup(script.write_bytes, script.read_bytes())
        script.write_text("echo begun; sleep 1000 & wait\n")
        window = self.open_large(CM_PANE="install")
        window.button("CLI only").focus()
        window.keys("space")
        until(lambda: [bar for bar in window.all(Role.PROGRESS_BAR) if bar.description == "begun"], "the operation runs")
        self.expect_walk(window, "Install", 6)
        window.button("Stop the operation").focus()
        window.keys("space")
        until(lambda: not window.all(Role.PROGRESS_BAR), "the operation is over")
        until(window.focused, lambda: f"the keyboard is somewhere:\n{window.outline()}")

    def expect_question(self, window, button, *answers):
        """It has the keyboard for itself, from the harmless answer on, and gives it back where it was."""
        before = window.focused().name
        question = until(lambda: next((node for node in window.all(Role.DIALOG) if node.shown), None),
                         lambda: f"a question is asked:\n{window.outline()}")
        until(lambda: (window.focused() or question).name == answers[0], "the harmless answer has the keyboard")
        stops = self.walk(window, question)
        self.assertEqual([stop.name for stop in stops], list(answers))
        self.assertEqual(keyboard.twins(question), [])
        window.keys("Escape")
        until(lambda: not [node for node in window.all(Role.DIALOG) if node.shown], "the question is gone")
        until(lambda: getattr(window.focused(), "name", None) == button, lambda: f"not {window.focused()}, {before}")

    def test_the_questions(self):
        window = self.open_large(CM_PANE="model")
        until(lambda: window.button("Remove model").enabled, "there is a model")
        window.button("Remove model").focus()
        window.keys("space")
        self.expect_question(window, "Remove model", "Cancel", "Stop backend & move model to Trash")
        self.go_to_pane(window, "Components")
        until(lambda: window.button("Select All").enabled, "the disk was read")
        window.button("Select All").press()
        until(lambda: window.button("Move to Trash").enabled, "something is ticked")
        window.button("Move to Trash").focus()
        window.keys("space")
        self.expect_question(window, "Move to Trash", "Cancel", "Move to Trash")

    def test_a_button_that_is_done_hands_the_keyboard_on(self):
        window = self.open_large(CM_PANE="services")
        for name, then in (("Start", "Stop"), ("Stop", "Start")):
            window.button(name).focus()
            until(lambda: window.button(name).focused, f"{name} has the keyboard")
            window.keys("space")
            until(lambda: window.console() == f"{name}: ok", lambda: f"the console says {window.console()!r}")
            until(lambda: window.button(then).focused, lambda: f"{then} has the keyboard, not {window.focused()}")

    def test_the_choosers(self):
        """The toolkit's own, where the desktop has none."""
        for pane, name, title, accept in (("install", "Change", "Locate project folder…", "Choose"),
                                          ("crucible", "Set crucible folder…", "Use as Crucible", "Use as Crucible"),
                                          ("crucible", "Restore links…", "Restore links", "Restore")):
            with self.subTest(name):
                window = self.open_large(CM_PANE=pane)
                until(lambda: window.button(name).enabled, f"{name} can be pressed")
                window.button(name).focus()
                window.keys("space")
                chooser = window.find(Role.DIALOG, title)
                until(lambda: chooser.focused or (window.focused() and window.focused().name != name),
                      "it has the keyboard")
                for answer in (accept, "Cancel"):
                    self.assertTrue([node for node in chooser.walk() if node.name == answer and node.shown], answer)
                window.keys("Escape")
                until(lambda: not [node for node in window.all(Role.DIALOG) if node.shown], "it is gone")
                until(lambda: window.button(name).focused, lambda: f"the keyboard is back, not at {window.focused()}")
                window.close()
