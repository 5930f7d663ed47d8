"""How the program ends: by its window, by a signal, at rest and in the middle of work."""

import os
import random
import signal
import time

from support import processes
from support.case import WindowTest
from support.waiting import until
from support.window import Role

QUESTION = "An operation is still running."


class EndingTest(WindowTest):
    def setUp(self):
        self.addCleanup(self.sample.service, "stop")

    def open_with_stop_under_way(self):
        """A window whose Stop takes long, and the process group of what it runs for it."""
        self.make_service_stubborn()
        window = self.open_at_rest(CM_PANE="services")
        window.button("Stop").press()
        return window, self.group_of_child(window, "bootout")

    def group_of_child(self, window, word):
        """Of the child that was started with this word; it is not the program's own."""
        def found():
            return next((child for child in processes.children(window.process.pid)
                         if word in processes.command(child)), None)

        group = processes.group_of(until(found, f"a child with “{word}” runs"))
        self.assertNotEqual(group, processes.group_of(window.process.pid))
        return group

    def expect_ended(self, window, groups, status=0, seconds=20):
        started = time.monotonic()
        self.assertEqual(window.wait(), status, window.errors)
        self.assertLessEqual(time.monotonic() - started, seconds)
        for group in groups:
            until(lambda: not processes.in_group(group), lambda: f"gone are {processes.in_group(group)}", 1)

    def question(self, window):
        return [node for node in window.all() if node.shown and node.name == QUESTION]

    def expect_question(self, window, is_there):
        until(lambda: bool(self.question(window)) == is_there, lambda: f"asked: {is_there}\n{window.outline()}")


class Closing(EndingTest):
    def test_at_rest_nothing_is_asked(self):
        for how in (lambda window: window.ask_to_close(), lambda window: window.keys("ctrl+w"),
                    lambda window: window.keys("ctrl+q")):
            window = self.open_at_rest()
            how(window)
            self.expect_ended(window, [])

    def test_while_an_operation_runs_it_asks_and_stays_open_if_told_to(self):
        window, group = self.open_with_stop_under_way()
        for how in (lambda: window.keys("ctrl+w"), lambda: window.ask_to_close(), lambda: window.keys("ctrl+q")):
            how()
            self.expect_question(window, True)
            window.keys("Escape")
            self.expect_question(window, False)
        window.keys("ctrl+q")
        self.expect_question(window, True)
        window.button("Cancel").press()
        self.expect_question(window, False)
        self.assertTrue(window.running)
        self.assertTrue(processes.in_group(group))
        window.open_pane("Guide")

    def test_it_asks_once_however_often_it_is_asked_to_close(self):
        window, _ = self.open_with_stop_under_way()
        window.ask_to_close()
        self.expect_question(window, True)
        window.ask_to_close()
        window.ask_to_close()
        window.keys("ctrl+q")
        self.assertTrue(window.running)
        until(lambda: len(window.all(Role.PUSH_BUTTON, "Stop and Close")) == 1, lambda: window.outline())

    def test_the_question_holds_the_keyboard(self):
        window, _ = self.open_with_stop_under_way()
        window.ask_to_close()
        self.expect_question(window, True)
        until(lambda: getattr(window.focused(), "name", None) == "Cancel", lambda: window.outline())
        for expected in ("Stop and Close", "Cancel", "Stop and Close"):
            window.keys("Tab")
            until(lambda: getattr(window.focused(), "name", None) == expected,
                  lambda: f"Tab leads to {expected}:\n{window.outline()}")

    def test_agreed_it_ends_within_a_second_and_takes_its_children_along(self):
        window, group = self.open_with_stop_under_way()
        window.ask_to_close()
        self.expect_question(window, True)
        window.button("Stop and Close").press()
        self.expect_ended(window, [group], seconds=1)

    def test_agreed_by_keyboard(self):
        window, group = self.open_with_stop_under_way()
        window.keys("ctrl+q")
        self.expect_question(window, True)
        until(lambda: getattr(window.focused(), "name", None) == "Cancel", lambda: window.outline())
        window.keys("Tab", "Return")
        self.expect_ended(window, [group], seconds=1)

    def test_when_the_operation_has_ended_meanwhile_nothing_is_lost(self):
        window, _ = self.open_with_stop_under_way()
        window.ask_to_close()
        self.expect_question(window, True)
        self.kill_stubborn_server()
        until(lambda: window.console() == "Stop: ok", lambda: f"the console says {window.console()}")
        window.keys("Escape")
        self.expect_question(window, False)
        window.ask_to_close()
        self.expect_ended(window, [])


class Children(EndingTest):
    """What runs for a look at the product, and what that has started, does not outlive the window."""

    def hang(self, name, script):
        program = self.sample.program(name, script)
        descriptor = self.sample.scratch / f"{name}.toml"
        descriptor.write_text(self.sample.descriptor.read_text() + f'\nbinaries = ["{program}"]\n')
        return descriptor

    def open_hanging(self, name, script):
        window = self.open(CM_IDENTITY_TOML=self.hang(name, script))
        return window, self.group_of_child(window, "--version")

    def test_a_hanging_executable_with_children_of_its_own(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(number):
                window, group = self.open_hanging("hangs", "sleep 600 & sleep 601 | sleep 602\n")
                until(lambda: len(processes.in_group(group)) >= 4, "its own children run")
                window.process.send_signal(number)
                self.expect_ended(window, [group], seconds=1)

    def test_an_executable_that_does_not_want_to_end(self):
        window, group = self.open_hanging("unwilling", 'trap "" TERM INT HUP\nwhile :; do sleep 600; done\n')
        window.ask_to_close()
        self.expect_ended(window, [group], seconds=1.5)

    def test_a_signal_in_the_middle_of_an_operation(self):
        window, group = self.open_with_stop_under_way()
        window.process.send_signal(signal.SIGTERM)
        self.expect_ended(window, [group], seconds=1)

    def test_what_was_ignored_from_the_start_stays_ignored(self):
        window = self.open(wrapper=("/usr/bin/nohup",), focus=False)
        until(lambda: window.title, "the window is there")
        window.process.send_signal(signal.SIGHUP)
        window.open_pane("Guide")
        window.process.send_signal(signal.SIGTERM)
        self.expect_ended(window, [])


class AmidWork(WindowTest):
    """Closed at any moment of its first looks at the product, while panes come and go: 12 times, or as often as
    CODE_MANAGER_CLOSINGS says."""

    def test_it_ends_well_whenever_it_is_closed(self):
        self.sample.program(".zyn/bin/zyn", 'sleep 1\nprintf "zyn 9.9.9\\ncommit: 0123456789\\n"\n')
        chance = random.Random(7)
        for _ in range(int(os.environ.get("CODE_MANAGER_CLOSINGS") or 12)):
            window = self.open(focus=False)
            for _ in range(chance.randrange(6)):
                window.keys(chance.choice([f"ctrl+{pane}" for pane in range(1, 9)] + ["F5", "F5"]))
            time.sleep(chance.random() * 0.15)
            window.ask_to_close()
            self.assertEqual(window.wait(), 0, window.errors)
            self.assertEqual(window.errors, "")
            window.close()
