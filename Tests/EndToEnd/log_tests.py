"""Open Log: the desktop's default application gets the file, and a failure is said in the console."""

from support.case import WindowTest
from support.waiting import until

TYPES = ("text/plain", "text/x-log", "application/octet-stream", "application/x-zerosize")

ENTRY = """[Desktop Entry]
Type=Application
Name=Reader
Exec="{program}" %f
MimeType={types};
"""


class OpenLog(WindowTest):
    def setUp(self):
        home = self.sample.home
        self.note = self.sample.scratch / "opened"
        self.note.unlink(missing_ok=True)
        self.program = self.sample.program("reader", f'printf "%s" "$1" >"{self.note}.new"; mv "{self.note}.new" '
                                           f'"{self.note}"\n')
        entry = home / ".local/share/applications/reader.desktop"
        entry.parent.mkdir(parents=True, exist_ok=True)
        entry.write_text(ENTRY.format(program=self.program, types=";".join(TYPES)))
        defaults = home / ".config/mimeapps.list"
        defaults.write_text("[Default Applications]\n" + "".join(f"{name}=reader.desktop\n" for name in TYPES))

    def open_log(self, **variables):
        window = self.open_at_rest(CM_PANE="services", **variables)
        window.button("Open Log").press()
        return window

    def expect_opened(self, file):
        until(self.note.exists, "the reader was started")
        self.assertEqual(self.note.read_text(), str(file))

    def test_the_default_application_gets_the_file(self):
        window = self.open_log()
        self.expect_opened(self.sample.log_file)
        self.assertIn(window.console(), (None, ""))

    def test_a_name_with_everything_in_it(self):
        log = self.sample.home / "a log’s “100 %” & 1?.log"
        log.write_text("a line\n")
        self.open_log(CM_IDENTITY_TOML=self.descriptor(f"~/{log.name}"))
        self.expect_opened(log)

    def test_a_missing_log_is_told(self):
        window = self.open_log(CM_IDENTITY_TOML=self.descriptor("~/no such.log"))
        self.expect_sentence(window, "The log could not be opened: The file “no such.log” doesn’t exist.")
        self.assertFalse(self.note.exists())

    def test_no_application_for_it_is_told(self):
        (self.sample.home / ".config/mimeapps.list").unlink()
        (self.sample.home / ".local/share/applications/reader.desktop").unlink()
        window = self.open_log(XDG_DATA_DIRS=self.sample.scratch)
        until(lambda: (window.console() or "").startswith("The log could not be opened: "),
              lambda: f"the console says {window.console()!r}")
        self.assertTrue(window.console().endswith("."), window.console())

    def test_an_application_that_is_gone_is_told(self):
        self.program.unlink()
        window = self.open_log()
        until(lambda: (window.console() or "").startswith("The log could not be opened: "),
              lambda: f"the console says {window.console()!r}")

    def test_it_works_while_an_operation_runs(self):
        self.make_service_stubborn()
        window = self.open_at_rest(CM_PANE="services")
        window.button("Stop").press()
        until(lambda: not window.button("Stop").enabled, "the operation runs")
        window.button("Open Log").press()
        self.expect_opened(self.sample.log_file)

    def test_a_missing_log_leaves_the_console_of_an_operation(self):
        script = self.sample.home / "Projects/zyn-v8/build.command"
        self.addCleanup(script.write_bytes, script.read_bytes())
        script.write_text('while [ ! -e "$HOME/go" ]; do sleep 0.1; done; echo built\n')
        go = self.sample.home / "go"
        self.addCleanup(go.unlink, missing_ok=True)
        window = self.open_at_rest(CM_PANE="install", CM_IDENTITY_TOML=self.descriptor("~/no such.log"))
        window.button("CLI only").press()
        window.open_pane("Services")
        window.button("Open Log").press()
        told = "Installing Zyn…\nThe log could not be opened: The file “no such.log” doesn’t exist.\n"
        self.expect_sentence(window, told)
        go.touch()
        self.expect_sentence(window, told + "built\n")

    def descriptor(self, log):
        lines = [line for line in self.sample.descriptor.read_text().splitlines() if not line.startswith("server_log")]
        file = self.sample.scratch / "other log.toml"
        file.write_text("\n".join([*lines, f'server_log = "{log}"', ""]))
        return file

    def expect_sentence(self, window, sentence):
        until(lambda: window.console() == sentence, lambda: f"the console says {window.console()!r}")
