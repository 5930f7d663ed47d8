"""The shipped program, started as its users do and seen as assistive tools see it."""

import contextlib
import json
import os
import signal
import subprocess
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

from support import places  # noqa: E402
from support.closing import ask_to_close  # noqa: E402
from support.waiting import until  # noqa: E402

Role = Atspi.Role
State = Atspi.StateType


class Node:
    """A control, row or text as assistive tools are told of it. What has gone meanwhile reads as empty."""

    def __init__(self, accessible):
        self._accessible = accessible

    def _told(self, question, otherwise=None):
        try:
            self._accessible.clear_cache()
            answer = question(self._accessible)
        except (GLib.Error, AttributeError):
            return otherwise
        return otherwise if answer is None else answer

    @property
    def name(self):
        return self._told(Atspi.Accessible.get_name, "")

    @property
    def description(self):
        return self._told(Atspi.Accessible.get_description, "")

    @property
    def role(self):
        return self._told(Atspi.Accessible.get_role, Role.INVALID)

    @property
    def states(self):
        return set(self._told(lambda it: it.get_state_set().get_states(), []))

    @property
    def children(self):
        def all_of(it):
            found = (it.get_child_at_index(index) for index in range(it.get_child_count()))
            return [Node(child) for child in found if child is not None]

        return self._told(all_of, [])

    @property
    def enabled(self):
        return State.ENABLED in self.states

    @property
    def focused(self):
        return State.FOCUSED in self.states

    @property
    def selected(self):
        return State.SELECTED in self.states

    @property
    def shown(self):
        return State.SHOWING in self.states

    @property
    def actions(self):
        return self._told(lambda it: [it.get_action_name(index) for index in range(it.get_n_actions())], [])

    def press(self):
        actions = self.actions
        if "Press" not in actions:
            raise AssertionError(f"{self} cannot be pressed, only {actions}")
        return self._told(lambda it: it.do_action(actions.index("Press")), False)

    def focus(self):
        """Takes the keyboard there, as far as it can be there."""
        actions = self.actions
        if "SetFocus" in actions:
            return self._told(lambda it: it.do_action(actions.index("SetFocus")), False)
        return self._told(lambda it: it.grab_focus(), False)

    @property
    def text(self):
        return self._told(lambda it: it.get_text(0, it.get_character_count()), "")

    def select_text(self, start, end):
        return self._told(lambda it: it.set_selection(0, start, end) or it.add_selection(start, end), False)

    @property
    def place(self):
        """Left, top, width and height on the screen."""
        def extents(it):
            found = it.get_extents(Atspi.CoordType.SCREEN)
            return found.x, found.y, found.width, found.height

        return self._told(extents, (0, 0, 0, 0))

    def walk(self):
        yield self
        for child in self.children:
            yield from child.walk()

    def __str__(self):
        role = self._told(Atspi.Accessible.get_role_name, "")
        return f"{role} “{self.name}”"

    def outline(self, depth=0):
        """The tree below, for a failure's message."""
        about = " ".join(sorted(state.value_nick for state in self.states))
        lines = [f"{'  ' * depth}{self} ({self.description}) [{about}] {self.actions}"]
        return "\n".join(lines + [child.outline(depth + 1) for child in self.children])


class Window:
    """The program from its start to its end. `environment` is all that it gets."""

    def __init__(self, environment, folder, watched=False, executable=None, arguments=(), wrapper=(),
                 **variables):
        self.folder = folder
        folder.mkdir(parents=True, exist_ok=True)
        self._watch_file = folder / "watch.json"
        self._watch_file.unlink(missing_ok=True)
        settings = {**environment, **{name: str(value) for name, value in variables.items()}}
        if watched:
            settings.update(QT_PLUGIN_PATH=str(places.WATCH), QT_QPA_GENERIC_PLUGINS="window-watch",
                            WINDOW_WATCH_FILE=str(self._watch_file), WINDOW_WATCH_STARTED=str(time.monotonic_ns()))
        command = [*wrapper, executable or places.BIN / "code-manager", *arguments]
        with open(folder / "output", "wb") as output, open(folder / "errors", "wb") as errors:
            self.process = subprocess.Popen(command, env=settings, stdin=subprocess.DEVNULL, stdout=output,
                                            stderr=errors)
        self._root = None

    # ---- what it is ----

    @property
    def errors(self):
        return (self.folder / "errors").read_text(errors="replace")

    @property
    def output(self):
        return (self.folder / "output").read_text(errors="replace")

    @property
    def running(self):
        return self.process.poll() is None

    def _application(self):
        if not self.running:
            raise AssertionError(f"The program ended with {self.process.returncode}: {self.errors}")
        with contextlib.suppress(GLib.Error):
            desktop = Atspi.get_desktop(0)
            desktop.clear_cache()
            for index in range(desktop.get_child_count()):
                child = desktop.get_child_at_index(index)
                if child is not None and child.get_process_id() == self.process.pid:
                    child.set_cache_mask(Atspi.Cache.NONE)
                    return child
        return None

    @property
    def root(self):
        """The window itself; waits until it is there."""
        if self._root is None:
            application = until(self._application, lambda: "the window is not seen by assistive tools: " + self.errors)
            self._root = until(lambda: next(iter(Node(application).children), None), "the program has a window")
        return self._root

    @property
    def title(self):
        return self.root.name

    @property
    def number(self):
        """The display's number of the window; waits until it is on screen."""
        def found():
            told = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(self.process.pid)],
                                  capture_output=True, text=True, timeout=20)
            return told.stdout.split()

        return until(found, "the window is on screen")[-1]

    def watch(self):
        """What the watch has written last; None before it has."""
        try:
            return json.loads(self._watch_file.read_text())
        except FileNotFoundError:
            return None

    # ---- what is in it ----

    def all(self, role=None, name=None):
        return [node for node in self.root.walk()
                if (role is None or node.role == role) and (name is None or node.name == name)]

    def find(self, role, name, what=None):
        """The node of this role and name; waits until it is there."""
        def found():
            return next(iter(self.all(role, name)), None)

        return until(found, lambda: f"{what or name} is not there:\n{self.root.outline()}")

    def button(self, name):
        return self.find(Role.PUSH_BUTTON, name)

    def rows(self):
        """Rows of the Overview that are there by now, value by label."""
        found = {}
        for node in self.all(Role.LABEL) + self.all(Role.STATIC):
            label, colon, value = node.name.partition(": ")
            if colon:
                found[label] = value
        return found

    def pane_rows(self):
        return self.all(Role.LIST_ITEM)

    def pane(self):
        """The title in the head of the pane that is shown."""
        return next((node.name for node in self.all(Role.HEADING) if node.name in PANES), None)

    def console(self):
        """Its text; None while there is no console. Lines are told apart as the toolkit does it."""
        shown = (node for node in self.all(Role.TEXT, "Console") if node.shown)
        return next((node.text.replace("\u2029", "\n") for node in shown), None)

    def focused(self):
        """The innermost node that has the keyboard's focus."""
        found = [node for node in self.root.walk() if node.focused]
        return found[-1] if found else None

    def outline(self):
        return self.root.outline()

    # ---- what its user does ----

    def take_keyboard(self):
        """There is no window manager that would give it."""
        subprocess.run(["xdotool", "windowfocus", "--sync", self.number], check=True, timeout=20)

    def keys(self, *keys):
        subprocess.run(["xdotool", "key", "--delay", "0", *keys], check=True, timeout=20)

    def click(self, node):
        """Once the tool tip of where the pointer was before is gone, if it covers the place."""
        left, top, width, height = node.place
        x, y = left + width // 2, top + height // 2
        self.point_at(x, y)
        until(lambda: not self._covered(x, y), "no tool tip is in the way")
        subprocess.run(["xdotool", "click", "1"], check=True, timeout=20)

    def _covered(self, x, y):
        for tip in self.all(Role.TOOL_TIP):
            left, top, width, height = tip.place
            if tip.shown and left <= x < left + width and top <= y < top + height:
                return True
        return False

    def point_at(self, x, y):
        subprocess.run(["xdotool", "mousemove", str(x), str(y)], check=True, timeout=20)

    def open_pane(self, title):
        self.find(Role.LIST_ITEM, title).press()
        until(lambda: self.pane() == title, lambda: f"the pane {title} is shown:\n{self.outline()}")

    # ---- its end ----

    def ask_to_close(self):
        """As a window manager does when its user closes the window."""
        ask_to_close(int(self.number))

    def wait(self, seconds=30):
        return self.process.wait(seconds)

    def close(self):
        """Whatever happened, it runs no longer."""
        if self.running:
            self.process.send_signal(signal.SIGTERM)
            with contextlib.suppress(subprocess.TimeoutExpired):
                self.process.wait(10)
        if self.running:
            self.process.kill()
            self.process.wait()


PANES = ("Overview", "Components", "Install", "Model", "Crucible", "Services", "Databases", "Guide")
