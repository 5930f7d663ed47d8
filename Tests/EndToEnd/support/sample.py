"""Sample homes of the product, each with a label and a port of its own."""

import json
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile

from support import places


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Sample:
    """A home made by Demo/make, gone with `close`; so is its service."""

    made = 0

    def __init__(self, home=None, label=None, port=None):
        Sample.made += 1
        self.label = label or f"com.zyn.mlx-vantor.window-{os.getpid()}-{Sample.made}"
        self.port = port or free_port()
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="code-manager-sample-"))
        self.home = home or self.scratch / "a sample’s home"
        self._make("--programs", places.BIN / "demo", "--label", self.label, "--port", self.port)
        self.environment = self._environment()

    def _make(self, *options):
        done = subprocess.run([places.TOP / "Demo/make", *map(str, options), self.home], capture_output=True, text=True)
        if done.returncode != 0:
            raise RuntimeError(done.stderr)

    def _environment(self):
        """This process's environment with what the home's own file sets."""
        script = '. "$1" && exec env -0'
        told = subprocess.run(["bash", "-c", script, "bash", self.home / "sample-env.sh"], check=True,
                              capture_output=True).stdout.decode()
        return dict(entry.split("=", 1) for entry in told.split("\0") if entry)

    @property
    def agent_file(self):
        return self.home / f"Library/LaunchAgents/{self.label}.plist"

    @property
    def log_file(self):
        return self.home / "Library/Logs/zyn/mlx-vantor.log"

    @property
    def descriptor(self):
        return self.home / "zyn.toml"

    def tool(self, *arguments):
        """Runs the command line on this home."""
        return subprocess.run([places.BIN / "zyn-code-manager", *arguments], capture_output=True, text=True,
                              env=self.environment, timeout=60)

    def told(self, *arguments):
        return json.loads(self.tool(*arguments, "--json").stdout)

    def service(self, verb):
        return self.tool("service", verb)

    def serves(self):
        """Whether something answers on the service's port."""
        try:
            socket.create_connection(("127.0.0.1", self.port), 5).close()
        except OSError:
            return False
        return True

    def program(self, path, script):
        """Replaces a program of the home by a shell script."""
        place = self.home / path
        place.parent.mkdir(parents=True, exist_ok=True)
        place.unlink(missing_ok=True)
        place.write_text("#!/bin/sh\n" + script)
        place.chmod(0o755)
        return place

    def close(self):
        self._make("--remove")
        shutil.rmtree(self.scratch, ignore_errors=True)
