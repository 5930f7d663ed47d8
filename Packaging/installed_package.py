"""Installs a Debian package into a clean root, uses the programs and removes it.

usage: installed_package.py PACKAGE FOLDER

FOLDER is where the root is mounted. Must run as root in its own mount namespace. CODE_MANAGER_BUILD names the build with
the sample product's programs. Packaging/package-check provides this.
"""

import json
import pathlib
import shutil
import signal
import subprocess
import sys
import time

sys.dont_write_bytecode = True
TOP = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TOP / "Tests/EndToEnd"))

from clean_root import CleanRoot  # noqa: E402
from support import places  # noqa: E402


def expect(condition, message):
    if not condition:
        raise AssertionError(message)


def run_here(*command):
    """Runs a command that checks installed files and returns its output."""
    done = subprocess.run(list(map(str, command)), capture_output=True, text=True, timeout=60)
    expect(done.returncode == 0 and not done.stderr, f"{' '.join(map(str, command))}: {done.stdout}{done.stderr}")
    return done.stdout


def field(package, name):
    return run_here("dpkg-deb", "--field", package, name).strip()


class Check:
    def __init__(self, root, package, sample):
        self.root, self.package, self.sample = root, package, sample
        self.version = field(package, "Version")
        # Without CM_ variables, the programs must find their own descriptor.
        self.alone = {name: value for name, value in sample.environment.items() if not name.startswith("CM_")}

    def tool(self, *words, environment=None, status=0):
        return self.root.run("zyn-code-manager", *words, environment=environment or self.sample.environment, status=status)

    # ---- the installed files ----

    def files(self):
        share = self.root.folder / "usr/share"
        run_here("desktop-file-validate", share / "applications/code-manager.desktop")
        [metadata] = share.glob("metainfo/*")
        run_here("appstreamcli", "validate", "--no-net", metadata)
        expect(f'<release version="{self.version}"' in metadata.read_text(),
               f"{metadata.name} has no version {self.version}.")
        expect(len(list(share.glob("icons/hicolor/*/apps/code-manager.*"))) > 1, "There are no icons.")
        for page in (TOP / "docs/man").glob("*.1"):
            installed = share / f"man/man1/{page.name}.gz"
            expect(installed.exists(), f"{page.name} is not installed.")
            run_here("man", "--warnings", "--encoding=UTF-8", "--local-file", installed)

    def completions(self):
        share = self.root.folder / "usr/share"
        for shell, place, parse in (("bash", "bash-completion/completions/zyn-code-manager", "-n"),
                                    ("zsh", "zsh/vendor-completions/_zyn-code-manager", "-n"),
                                    ("fish", "fish/vendor_completions.d/zyn-code-manager.fish", "--no-execute")):
            expect((share / place).read_text() == self.tool("completion", shell), f"{place} differs from the program's output.")
            run_here(shell, parse, share / place)

    # ---- the programs ----

    def command_line(self):
        expect(self.tool("--version") == f"zyn-code-manager {self.version}\n", "The tool has another version.")
        expect("Usage: zyn-code-manager" in self.tool("--help"), "The tool prints no usage.")
        identity = json.loads(self.tool("identity", "--json", environment=self.alone))["identity"]
        expect(identity["bundlePrefix"], f"The tool does not find its descriptor: {identity}")
        databases = json.loads(self.tool("database", "list", "--json", environment=self.alone))
        expect(databases, "The tool does not find its databases.")
        expect("Installed" in self.tool("status"), "The tool does not find the sample product.")
        expect(json.loads(self.tool("scan", "--json")), "The tool finds nothing of the sample product.")

    def service(self):
        """Uses launchctl, which only the package has installed."""
        self.tool("service", "start")
        try:
            self.tool("service", "status")
        finally:
            self.tool("service", "stop")
        self.tool("service", "status", status=3)

    def window(self, desktop):
        from support.waiting import until
        from support.window import PANES, Role, Window

        output = self.root.run("code-manager", "--version", environment=self.sample.environment)
        expect(output == f"Code Manager {self.version}\n", f"The window has another version: {output}")
        empty = self.picture(desktop)
        window = Window(self.sample.environment, self.sample.scratch / "window", wrapper=self.root.command(),
                        executable="/usr/bin/code-manager")
        try:
            window.take_keyboard()
            until(lambda: self.picture(desktop) != empty, "the window shows its first frame")
            until(lambda: window.rows().get("Status") == "Installed", lambda: f"the Overview is filled: {window.rows()}")
            for title in PANES:
                window.open_pane(title)
            # The folder chooser is in other modules of the toolkit.
            window.open_pane("Crucible")
            window.button("Set crucible folder…").press()
            until(lambda: [node for node in window.all(Role.DIALOG) if node.shown], "the chooser of folders is shown")
            window.process.send_signal(signal.SIGTERM)
            expect(window.wait() == 0, f"The window ended with {window.process.returncode}.")
            expect(not window.errors, "The window printed errors.")
        except AssertionError as wrong:
            raise AssertionError(f"{wrong}\nThe window: {window.errors}") from None
        finally:
            window.close()

    def picture(self, desktop):
        return desktop.picture().part((0, 0, 1280, 800))


def check(package, folder):
    started = time.monotonic()
    root = CleanRoot(folder, package)
    shutil.copy(package, root.folder)
    before = root.contents()
    built = time.monotonic() - started
    root.run("dpkg", "--force-unsafe-io", "--install", f"/{package.name}")
    from support.desktop import Desktop
    from support.sample import Sample

    desktop = Desktop()
    try:
        sample = Sample()
        try:
            it = Check(root, package, sample)
            for look in (it.files, it.completions, it.command_line, it.service):
                look()
            it.window(desktop)
        finally:
            sample.close()
    finally:
        desktop.close()
    installed = len(root.contents() - before)
    root.run("dpkg", "--purge", "code-manager")
    left = root.contents() ^ before
    expect(not left, f"These files differ after the package was removed: {' '.join(sorted(left))}")
    print(f"{package.name}: {installed} files and folders installed, used and removed, with {len(root.packages)} packages "
          f"as dependencies; root made in {built:.0f} s, {time.monotonic() - started:.0f} s in all")


def main():
    if len(sys.argv) != 3:
        print(__doc__.strip(), file=sys.stderr)
        return 2
    obstacle = places.obstacle()
    if obstacle:
        print(f"The package cannot be checked: {obstacle}", file=sys.stderr)
        return 1
    check(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve())
    return 0


if __name__ == "__main__":
    sys.exit(main())
