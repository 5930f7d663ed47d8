"""Going from pane to pane, by every way there is, and reaching every control of a pane."""

from support.case import WindowTest
from support.waiting import until
from support.window import PANES, Role


class PaneTest(WindowTest):
    def expect_pane(self, window, title):
        def shown():
            selected = [row.name for row in window.pane_rows() if row.selected]
            return window.pane() == title and selected == [title]

        until(shown, lambda: f"{title} is shown, and its row alone selected:\n{window.outline()}")

    def expect_focus(self, window, name):
        until(lambda: getattr(window.focused(), "name", None) == name, lambda: f"{name} has the focus:\n{window.outline()}")


class Ways(PaneTest):
    def test_the_sidebar_lists_the_panes_in_order(self):
        window = self.open()
        until(lambda: [row.name for row in window.pane_rows()] == list(PANES), "the eight rows are there")
        self.expect_pane(window, "Overview")

    def test_each_has_a_shortcut(self):
        window = self.open_at_rest()
        for number, title in reversed(list(enumerate(PANES, 1))):
            window.keys(f"ctrl+{number}")
            self.expect_pane(window, title)

    def test_a_click_opens_one(self):
        window = self.open_at_rest()
        for row in reversed(window.pane_rows()):
            window.click(row)
            self.expect_pane(window, row.name)

    def test_an_assistive_tool_opens_one(self):
        window = self.open_at_rest()
        for row in reversed(window.pane_rows()):
            self.assertTrue(row.press())
            self.expect_pane(window, row.name)

    def test_the_arrows_go_from_row_to_row_and_no_further(self):
        window = self.open_at_rest()
        self.expect_focus(window, "Overview")
        window.keys("Up")
        for title in PANES[1:]:
            window.keys("Down")
            self.expect_pane(window, title)
            self.expect_focus(window, title)
        window.keys("Down")
        for title in reversed(PANES[:-1]):
            window.keys("Up")
            self.expect_pane(window, title)


class FirstPane(PaneTest):
    def test_the_environment_names_it(self):
        for given, title in (("services", "Services"), ("SERVICES", "Services"), ("Guide", "Guide"),
                             ("cRuCible", "Crucible")):
            with self.subTest(given):
                window = self.open(focus=False, CM_PANE=given)
                self.expect_pane(window, title)
                window.close()

    def test_an_unknown_name_gives_the_overview(self):
        for given in ("database", "", " services", "Ünknown", "9"):
            with self.subTest(given):
                window = self.open(focus=False, CM_PANE=given)
                self.expect_pane(window, "Overview")
                window.close()


class Keyboard(PaneTest):
    """Tab goes through every control of every pane and back to where it began, and each shows that it is there."""

    def stops(self, window):
        """The names of where Tab leads, once around; where it comes to, something changes."""
        names = []
        name = until(window.focused, "something has the focus").name
        while len(names) < 60:
            before, look = name, self.desktop.picture()
            window.keys("Tab")
            name = self.next_stop(window, before)
            if name in names or name == before:
                return names or [name]
            self.expect_visible(window.focused(), look)
            names.append(name)
        raise AssertionError(f"Tab does not come around: {names}")

    def next_stop(self, window, before):
        """Where there is nothing else to reach, it stays."""
        if self.expected(window) == [before]:
            return before
        until(lambda: getattr(window.focused(), "name", before) != before,
              lambda: f"Tab leads on from {before}:\n{window.outline()}")
        return until(window.focused, "something has the focus").name

    def expect_visible(self, node, before):
        """Around what has the focus it looks different than before. The console's border is further out."""
        left, top, width, height = node.place
        gap = 16 if node.role == Role.TEXT else 4
        place = (left - gap, top - gap, width + 2 * gap, height + 2 * gap)
        until(lambda: self.desktop.picture().part(place) != before.part(place), f"the focus on {node} can be seen")

    def expected(self, window):
        """Of what is shown: the sidebar's one stop, then every control that can be used. What is in a row of a list is
        reached from the row, and the rows by the arrows."""
        names = []

        def look(node, in_row):
            role = node.role
            if node.shown and not in_row:
                if role == Role.LIST_ITEM and node.selected and node.name in PANES or role == Role.TEXT:
                    names.append(node.name)
                elif role in (Role.PUSH_BUTTON, Role.CHECK_BOX) and node.enabled:
                    names.append(node.name)
            for child in node.children:
                look(child, in_row or role == Role.LIST_ITEM)

        look(window.root, False)
        return names

    def test_every_control_of_every_pane_is_reached_and_shows_it(self):
        self.sample.service("start")
        self.addCleanup(self.sample.service, "stop")
        window = self.open_at_rest()
        window.open_pane("Services")
        window.button("Restart").press()
        until(lambda: window.console() == "Restart: ok", "the console says so")
        self.rest(window)
        for number, title in enumerate(PANES, 1):
            with self.subTest(title):
                window.keys(f"ctrl+{number}")
                self.expect_pane(window, title)
                self.expect_focus(window, title)
                names = self.stops(window)
                missing = [name for name in self.expected(window) if name not in names]
                self.assertEqual(missing, [], f"never reached; Tab led to {names}")

    def test_it_reaches_the_rows_of_the_overview_in_order(self):
        window = self.open_at_rest()
        names = self.stops(window)
        labels = [name.partition(":")[0] for name in names]
        self.assertEqual(labels, ["Check", "Refresh", "Status", "Version", "Backend", "Model", "Provider", "Overview"])

    def test_backwards_as_well(self):
        window = self.open_at_rest()
        self.expect_focus(window, "Overview")
        window.keys("shift+Tab")
        until(lambda: window.focused().name.startswith("Provider: "), "the last row has the focus")
