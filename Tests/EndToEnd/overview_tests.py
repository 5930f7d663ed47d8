"""The Overview pane: what assistive tools read is what the command line tells of the same home."""

import json

from support.case import WindowTest
from support.waiting import until
from support.window import Role

UNKNOWN = "—"


class Overview(WindowTest):
    def expected(self):
        """The five rows, made from what the command line says."""
        status = self.sample.told("status")
        size = self.sample.told("size", status["modelPath"])[0]["human"] if status["modelPresent"] else ""
        return {
            "Status": "Installed" if status["installed"] else "Not installed",
            "Version": f"{status['version']} ({status['commit']})",
            "Backend": f"running {self.sample.label}:{self.sample.port}" if status["backendRunning"] else "stopped",
            "Model": f"present {size}" if status["modelPresent"] else "absent",
            "Provider": status["provider"],
        }

    def expect_rows(self, window, rows):
        until(lambda: window.rows() == rows, lambda: f"the rows read {rows}, not {window.rows()}")
        self.assertEqual(list(window.rows()), list(rows))

    def judgements(self, window):
        return {node.name.partition(":")[0]: node.description for node in window.all(Role.LABEL) if ": " in node.name}

    def test_the_title_is_the_product_s(self):
        window = self.open()
        self.assertEqual(window.title, "Zyn Manager")

    def test_the_rows_are_what_the_command_line_says(self):
        window = self.open_at_rest()
        self.assertEqual(self.expected()["Status"], "Installed")
        self.expect_rows(window, self.expected())
        healthy = {"Status": "healthy", "Version": "", "Backend": "unhealthy", "Model": "healthy", "Provider": ""}
        self.assertEqual(self.judgements(window), healthy)

    def test_before_the_first_look_nothing_is_claimed(self):
        hanging = self.sample.program("hang", "exec sleep 600\n")
        descriptor = self.sample.scratch / "hanging.toml"
        descriptor.write_text(f'display = "Hung"\nbinaries = ["{hanging}"]\n')
        window = self.open(CM_IDENTITY_TOML=descriptor)
        self.expect_rows(window, dict.fromkeys(("Status", "Version", "Backend", "Model", "Provider"), UNKNOWN))
        self.assertEqual(set(self.judgements(window).values()), {""})
        self.assertIn("Working", [node.name for node in window.all() if node.shown])

    def test_refresh_looks_again(self):
        window = self.open_at_rest()
        for how, verb in ((lambda: window.button("Refresh").press(), "start"),
                          (lambda: window.keys("F5"), "stop"),
                          (lambda: window.keys("ctrl+r"), "start"),
                          (lambda: window.click(window.button("Refresh")), "stop")):
            self.sample.service(verb)
            expected = self.expected()
            self.assertEqual(expected["Backend"] == "stopped", verb == "stop")
            self.assertNotEqual(window.rows(), expected, "it looks only when it is asked to")
            how()
            self.expect_rows(window, expected)

    def test_a_product_that_is_not_there(self):
        descriptor = self.sample.scratch / "absent.toml"
        descriptor.write_text('display = "Gone"\nbinaries = ["/nowhere/zyn"]\nlaunch_agent = "com.example.no-such"\n')
        window = self.open(CM_IDENTITY_TOML=descriptor)
        self.rest(window)
        self.assertEqual(window.title, "Gone Manager")
        self.expect_rows(window, {"Status": "Not installed", "Version": "— (—)", "Backend": "stopped",
                                  "Model": "absent", "Provider": UNKNOWN})
        self.assertEqual(self.judgements(window)["Status"], "unhealthy")

    def found(self, window):
        """The rows of a check: name and message."""
        words = (", OK", ", Warning", ", Error")
        return [(node.name, node.description) for node in window.all() if node.name.endswith(words)]

    def told(self):
        """What the command line finds, as the window shows it."""
        told = json.loads(self.sample.tool("doctor", "--json").stdout)
        order, words = ["error", "warning", "ok"], {"ok": "OK", "warning": "Warning", "error": "Error"}
        told.sort(key=lambda finding: order.index(finding["state"]))
        return [(f"{finding['check'].capitalize()}, {words[finding['state']]}", finding["message"]) for finding in told]

    def test_a_check_finds_what_the_command_line_finds(self):
        window = self.open_at_rest()
        rows = window.rows()
        self.assertEqual(self.found(window), [])
        window.button("Check").press()
        until(lambda: self.found(window) == self.told(), lambda: f"{self.told()} is shown, not {self.found(window)}")
        self.assertIn("Databases, Warning", [name for name, _ in self.found(window)])
        heads = [node.name for node in window.all(Role.HEADING)]
        self.assertIn("Check", heads)
        self.assertEqual(window.rows(), rows, "the rest of the pane stays as it is")

        agent = self.sample.agent_file.read_bytes()
        self.addCleanup(self.sample.agent_file.write_bytes, agent)
        self.sample.agent_file.write_bytes(b"no property list")
        window.click(window.button("Check"))
        until(lambda: self.found(window)[0][0] == "Agent file, Error", lambda: f"it looks again: {self.found(window)}")
        self.assertEqual(self.found(window), self.told())

    def test_a_check_is_made_and_closed_by_the_keyboard(self):
        window = self.open_at_rest()
        self.press_by_keyboard(window, "Check")
        until(lambda: self.found(window), "the findings are shown")
        self.press_by_keyboard(window, "Close the check")
        until(lambda: not self.found(window), "the findings are gone")
        until(lambda: window.focused().name == "Check", lambda: f"the keyboard is at {window.focused()}")

    def press_by_keyboard(self, window, name):
        def place():
            node = window.focused()
            return node and (node.name, node.description, node.place)

        for _ in range(50):
            before = place()
            if before[0] == name:
                break
            window.keys("Tab")
            until(lambda: place() not in (None, before), "Tab leads on")
        window.keys("Return")

    def test_a_row_can_be_copied(self):
        window = self.open_at_rest()
        self.desktop.copy("something else")
        while not window.focused().name.startswith("Version: "):
            before = window.focused().name
            window.keys("Tab")
            until(lambda: window.focused().name != before, "Tab leads on")
        window.keys("ctrl+c")
        version = self.expected()["Version"]
        until(lambda: self.desktop.clipboard() == version,
              lambda: f"{version!r} is copied, not {self.desktop.clipboard()!r}")
