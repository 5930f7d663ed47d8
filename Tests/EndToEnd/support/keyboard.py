"""Ways through the window by its keys: from stop to stop with Tab and back, and what can be said of each stop."""

from support.waiting import until
from support.window import Role, State

ACTING = (Role.PUSH_BUTTON, Role.TOGGLE_BUTTON, Role.CHECK_BOX, Role.RADIO_BUTTON, Role.LIST_ITEM, Role.TEXT, Role.ENTRY,
          Role.COMBO_BOX)
AROUND = 16  # pixels beyond a control that what shows the keyboard there may take
SAME_LINE = 8  # pixels by which controls of one line may differ in height


class Stop:
    """What the keyboard is on, as it was when it came there."""

    def __init__(self, node):
        self.node, self.role, self.name, self.place = node, node.role, node.name, node.place
        self.shown, self.enabled = node.shown, node.enabled

    @property
    def key(self):
        return self.role, self.name, self.place

    def __eq__(self, other):
        return isinstance(other, Stop) and self.key == other.key

    def __hash__(self):
        return hash(self.key)

    def __repr__(self):
        return f"{self.role.value_nick} “{self.name}” at {self.place}"


class Walker:
    """Goes round within a window, or within one part of it."""

    def __init__(self, window, part=None):
        self.window, self.part = window, part or window.root
        self._known = []

    def at(self, stop):
        """For those who want to look around at each."""

    def look(self):
        """Learns anew what the keyboard can be on."""
        self._known = [node for node in self.part.walk() if State.FOCUSABLE in node.states]

    def now(self):
        """The innermost that has the focus; None where nothing has."""
        found = [node for node in self._known if node.focused]
        return Stop(found[-1]) if found else None

    def press(self, key):
        """Where the key leads."""
        before = self.now()
        self.window.keys(key)
        return until(lambda: self._other_than(before), lambda: f"{key} leads on from {before}:\n{self.window.outline()}")

    def _other_than(self, before):
        now = self.now()
        if now is None:
            self.look()  # rows and buttons come and go
            now = self.now()
        return now if now is not None and now != before else None

    def round(self, key, most=80):
        """All stops from here until the walk is here again, this one first."""
        self.look()
        stops = [until(self.now, lambda: f"the keyboard is somewhere:\n{self.window.outline()}")]
        while len(stops) <= most:
            stop = self.press(key)
            if stop == stops[0]:
                return stops
            if stop in stops:
                raise AssertionError(f"{key} goes in a circle: {stops + [stop]}")
            stops.append(stop)
            self.at(stop)
        raise AssertionError(f"{key} never comes round: {stops}")


def above_each_other(first, second):
    """Whether the second begins where the first has ended, or below."""
    return second.place[1] >= first.place[1] + first.place[3] - SAME_LINE


def in_reading_order(first, second):
    """Top to bottom, and from left to right on one line; what a group holds comes after it."""
    left, top, width, height = first.place
    if above_each_other(first, second):
        return True
    if above_each_other(second, first):
        return False
    inside = left <= second.place[0] and top <= second.place[1] + SAME_LINE \
        and second.place[0] + second.place[2] <= left + width + SAME_LINE
    return second.place[0] >= left + width - SAME_LINE or inside


def surroundings(root):
    """Every node below with the rows, groups and lists that it stands in, outermost first."""
    def go(node, around):
        yield node, around
        if node.role in (Role.LIST_ITEM, Role.GROUPING, Role.PANEL, Role.LIST, Role.DIALOG, Role.TOOL_BAR):
            around = (*around, node)
        for child in node.children:
            yield from go(child, around)

    return go(root, ())


def twins(root):
    """Controls that are seen and cannot be told apart: the same role and name, in places of the same names."""
    seen, found = set(), []
    for node, around in surroundings(root):
        if node.role in ACTING and node.shown:
            key = (node.role, node.name, tuple(place.name for place in around))
            if key in seen:
                found.append(f"{node} is there twice in {key[2]}")
            seen.add(key)
    return found


def out_of_reach(root, stops):
    """Controls that can act and that no key leads to: neither Tab nor, in a list that Tab leads to, the arrows."""
    reached = set(stops)
    lists = {around_key(node) for node, around in surroundings(root) if node.role == Role.LIST and any(
        Stop(row) in reached for row in [node, *node.children])}
    found = []
    for node, around in surroundings(root):
        if node.role not in ACTING or not (node.shown and node.enabled):
            continue
        if Stop(node) in reached or any(around_key(place) in lists for place in around):
            continue
        found.append(f"{node} at {node.place} is not reached")
    return found


def around_key(node):
    return node.role, node.name, node.place
