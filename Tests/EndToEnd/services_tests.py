"""The Services pane with a real service: what the buttons do, what they and the console say."""

from support.case import WindowTest
from support.waiting import until
from support.window import Role

RUNNING = "The backend is running already."
STOPPED = "The backend is not running."
BUSY = "Another operation is running."


class ServicesTest(WindowTest):
    def setUp(self):
        self.addCleanup(self.sample.service, "stop")

    def open_services(self, **variables):
        window = self.open_at_rest(CM_PANE="services", **variables)
        until(lambda: window.pane() == "Services", "the pane is shown")
        return window

    def reasons(self, window):
        """Why each of the buttons cannot be pressed, empty for those that can."""
        found = {}
        for node in window.all(Role.PUSH_BUTTON):
            if node.name not in ("Refresh", "Stop the operation"):
                found[node.name] = node.description
                self.assertEqual(node.enabled, node.description == "", f"{node}: {node.description}")
        return found

    def expect_state(self, window, running, refused=None):
        state = f"running  :{self.sample.port}" if running else "stopped"
        expected = dict(zip(("Start", "Stop", "Restart"), (RUNNING, "", "") if running else ("", STOPPED, STOPPED)))
        expected["Open Log"] = ""
        self.rest(window)
        until(lambda: window.all(Role.LABEL, state), lambda: f"the state is {state}:\n{window.outline()}")
        until(lambda: self.reasons(window) == expected, lambda: f"the buttons follow:\n{window.outline()}")

    def expect_console(self, window, text):
        until(lambda: window.console() == text, lambda: f"the console says {text!r}, not {window.console()!r}")


class Control(ServicesTest):
    def test_start_restart_and_stop(self):
        window = self.open_services()
        self.expect_state(window, running=False)
        self.assertFalse(self.sample.serves())

        window.button("Start").press()
        self.expect_console(window, "Start: ok")
        self.expect_state(window, running=True)
        until(self.sample.serves, "the service answers")
        before = self.sample.log_file.read_text().count("listening on")

        window.button("Restart").press()
        self.expect_console(window, "Restart: ok")
        self.expect_state(window, running=True)
        until(lambda: self.sample.log_file.read_text().count("listening on") > before, "it was started anew")
        until(self.sample.serves, "the service answers again")

        window.button("Stop").press()
        self.expect_console(window, "Stop: ok")
        self.expect_state(window, running=False)
        self.assertFalse(self.sample.serves())
        self.assertEqual(self.sample.service("status").returncode, 3)

    def test_with_the_pointer(self):
        window = self.open_services()
        for name, running in (("Start", True), ("Restart", True), ("Stop", False)):
            window.click(window.button(name))
            self.expect_console(window, f"{name}: ok")
            self.expect_state(window, running)

    def test_with_the_keyboard(self):
        window = self.open_services()
        for name, key, running in (("Start", "space", True), ("Restart", "Return", True), ("Stop", "KP_Enter", False)):
            self.tab_to(window, name)
            window.keys(key)
            self.expect_console(window, f"{name}: ok")
            self.expect_state(window, running)

    def tab(self, window):
        before = getattr(window.focused(), "name", None)
        window.keys("Tab")
        return until(lambda: next((node for node in [window.focused()] if node and node.name != before), None),
                     lambda: f"Tab leads on from {before}:\n{window.outline()}")

    def tab_to(self, window, name):
        for _ in range(12):
            if self.tab(window).name == name:
                return
        self.fail(f"Tab does not lead to {name}")


class Failures(ServicesTest):
    def test_stop_of_what_was_stopped_elsewhere(self):
        self.sample.service("start")
        window = self.open_services()
        self.expect_state(window, running=True)
        self.sample.service("stop")
        window.button("Stop").press()
        self.expect_console(window, "Stop failed (3)\nBoot-out failed: 3: No such process\n")
        self.expect_state(window, running=False)

    def test_start_of_what_was_started_elsewhere(self):
        window = self.open_services()
        self.sample.service("start")
        window.button("Start").press()
        self.expect_console(window, "Start failed (5)\nBootstrap failed: 5: Input/output error\n")
        self.expect_state(window, running=True)

    def test_start_without_its_property_list(self):
        aside = self.sample.agent_file.with_suffix(".aside")
        self.sample.agent_file.rename(aside)
        self.addCleanup(aside.rename, self.sample.agent_file)
        window = self.open_services()
        told = self.sample.service("start").stderr
        self.assertTrue(told.startswith("Start failed (5)\nBootstrap failed: 5: Input/output error\n"), told)
        window.button("Start").press()
        self.expect_console(window, told)
        self.expect_state(window, running=False)

    def test_a_product_without_an_agent(self):
        descriptor = self.sample.scratch / "no agent.toml"
        text = self.sample.descriptor.read_text().replace(f'launch_agent = "{self.sample.label}"', "")
        descriptor.write_text(text.replace("server_log", "other_key"))
        window = self.open_services(CM_IDENTITY_TOML=descriptor)
        no_agent = "The product's descriptor names no launch agent."
        self.assertEqual(self.reasons(window), {"Start": no_agent, "Stop": no_agent, "Restart": no_agent,
                                                "Open Log": "The product's descriptor names no log."})


class Refusals(ServicesTest):
    def test_what_cannot_be_pressed_does_nothing(self):
        window = self.open_services()
        self.expect_state(window, running=False)
        for name in ("Stop", "Restart"):
            window.button(name).press()
            window.click(window.button(name))
        # Whatever those had begun would have come first.
        window.button("Start").press()
        self.expect_console(window, "Start: ok")
        self.expect_state(window, running=True)

    def test_a_reason_is_shown_to_the_resting_pointer(self):
        window = self.open_services()
        left, top, width, height = window.button("Stop").place
        window.point_at(left + width // 2, top + height // 2)
        until(lambda: [node for node in window.all(name=STOPPED) if node.shown],
              lambda: f"the tool tip is there:\n{window.outline()}")

    def test_nothing_else_can_be_pressed_while_an_operation_runs(self):
        self.make_service_stubborn()
        window = self.open_services()
        self.expect_state(window, running=True)
        window.button("Stop").press()
        busy = {"Start": BUSY, "Stop": BUSY, "Restart": BUSY, "Open Log": ""}
        until(lambda: self.reasons(window) == busy, lambda: f"the buttons say so:\n{window.outline()}")
        self.assertIn("Working", [node.name for node in window.all() if node.shown])
        window.open_pane("Guide")
        window.open_pane("Services")
        self.assertEqual(self.reasons(window), busy)


class ConsoleText(ServicesTest):
    def test_it_can_be_selected_and_copied(self):
        window = self.open_services()
        self.sample.service("start")
        window.button("Start").press()
        text = "Start failed (5)\nBootstrap failed: 5: Input/output error\n"
        self.expect_console(window, text)
        self.desktop.copy("something else")
        window.click(window.find(Role.TEXT, "Console"))
        window.keys("ctrl+a", "ctrl+c")
        until(lambda: self.desktop.clipboard() == text, lambda: f"copied is {self.desktop.clipboard()!r}")

    def test_a_part_of_it_as_well_and_nothing_can_be_typed(self):
        window = self.open_services()
        window.button("Start").press()
        self.expect_console(window, "Start: ok")
        window.click(window.find(Role.TEXT, "Console"))
        window.keys("x", "BackSpace", "ctrl+v", "Home", "shift+ctrl+Right", "ctrl+c")
        until(lambda: self.desktop.clipboard().strip() == "Start:" or self.desktop.clipboard() == "Start",
              lambda: f"copied is {self.desktop.clipboard()!r}")
        self.assertEqual(window.console(), "Start: ok")
