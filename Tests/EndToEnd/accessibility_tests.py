"""What assistive tools are told of everything that is shown, pane by pane."""

from support.case import WindowTest
from support.waiting import until
from support.window import PANES, Role, State

NAMED = (Role.PUSH_BUTTON, Role.TOGGLE_BUTTON, Role.CHECK_BOX, Role.RADIO_BUTTON, Role.LIST_ITEM, Role.TEXT, Role.ENTRY,
         Role.HEADING, Role.LABEL, Role.LIST, Role.PROGRESS_BAR, Role.DIALOG, Role.COMBO_BOX, Role.TABLE_CELL)
PRESSED = (Role.PUSH_BUTTON, Role.LIST_ITEM, Role.CHECK_BOX)


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
            if name and (node.place[2] <= 0 or node.place[3] <= 0):
                faults.append(f"{node} takes no room: {node.place}")
        return faults, controls

    def expect_good(self, window, controls, where):
        faults, found = self.faults(window)
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
