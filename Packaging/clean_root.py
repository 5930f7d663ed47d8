"""A root folder with the dependencies of a Debian package and the essential packages only.

The files are copied from the packages that are installed on this machine, so nothing is downloaded. The root is on a
tmpfs in this process's mount namespace, which disappears with it.
"""

import os
import pathlib
import re
import shutil
import subprocess

DATABASE = pathlib.Path("/var/lib/dpkg")
# Files that a system may leave out of every package.
LEFT_OUT = ("/usr/share/doc/", "/usr/share/info/", "/usr/share/locale/", "/usr/share/man/")


def stanzas(text):
    """Each stanza of dpkg's status file with its fields."""
    for stanza in text.strip().split("\n\n"):
        fields, name = {}, None
        for line in stanza.splitlines():
            if line.startswith((" ", "\t")):
                fields[name] += "\n" + line.strip()
            else:
                name, _, value = line.partition(":")
                fields[name] = value.strip()
        yield stanza, fields


def alternatives(relations):
    """For each relation of a field like Depends, the names of its alternatives."""
    for relation in re.split(r"\s*,\s*", relations.strip()):
        if relation:
            yield [re.match(r"[a-z0-9][a-z0-9+.-]*", choice.strip()).group() for choice in relation.split("|")]


class Machine:
    """The installed packages, by name and by provided name."""

    def __init__(self):
        self.stanza, self.fields, self._provided = {}, {}, {}
        native = subprocess.run(["dpkg", "--print-architecture"], check=True, capture_output=True, text=True).stdout.strip()
        for stanza, fields in stanzas((DATABASE / "status").read_text()):
            if fields["Status"] != "install ok installed" or fields["Architecture"] not in (native, "all"):
                continue
            name = fields["Package"]
            self.stanza[name], self.fields[name] = stanza, fields
            for provided in alternatives(fields.get("Provides", "")):
                self._provided.setdefault(provided[0], name)

    def below(self, relations):
        """The packages that satisfy these relations, with their dependencies and the essential packages."""
        needed = {}
        open_ends = list(alternatives(relations)) + [[name] for name in self.fields
                                                     if self.fields[name].get("Essential") == "yes"]
        while open_ends:
            choices = open_ends.pop()
            name = next((self._provided.get(choice, choice) if choice not in self.fields else choice
                         for choice in choices if choice in self.fields or choice in self._provided), None)
            if name is None:
                raise LookupError(f"The package {' or '.join(choices)} is needed, but not installed on this machine.")
            if name not in needed:
                needed[name] = True
                for field in ("Pre-Depends", "Depends"):
                    open_ends += alternatives(self.fields[name].get(field, ""))
        return sorted(needed)

    def records(self, name):
        """dpkg's files about a package, without its scripts."""
        folder = DATABASE / "info"
        full = name if (folder / f"{name}.list").exists() else f"{name}:{self.fields[name]['Architecture']}"
        return [file for file in (folder / f"{full}.{kind}" for kind in ("list", "md5sums", "conffiles")) if file.exists()]

    def files(self, name):
        for path in self.records(name)[0].read_text().splitlines():
            # Folders of the root can be links to /usr.
            place = os.path.join(os.path.realpath(os.path.dirname(path)), os.path.basename(path))
            if os.path.lexists(place) and (os.path.isdir(place) or not place.startswith(LEFT_OUT)):
                yield place


class CleanRoot:
    def __init__(self, folder, package):
        """Makes the root for a package file. The process must have its own mount namespace."""
        self.folder = folder
        machine = Machine()
        relations = subprocess.run(["dpkg-deb", "--field", package, "Depends"], check=True, capture_output=True,
                                   text=True).stdout
        self.packages = machine.below(relations)
        folder.mkdir(parents=True, exist_ok=True)
        mount("-t", "tmpfs", "-o", "mode=755", "tmpfs", folder)
        self._copy(machine)
        self._write_status(machine)
        for name in ("passwd", "group"):
            shutil.copy(folder / f"usr/share/base-passwd/{name}.master", folder / f"etc/{name}")
        for name in ("proc", "dev", "tmp"):
            (folder / name).mkdir(exist_ok=True)
            mount("--rbind", f"/{name}", folder / name)
        self.run("ldconfig")

    def _copy(self, machine):
        places = dict.fromkeys(place for name in self.packages for place in machine.files(name))
        names = b"\0".join(os.fsencode(place.lstrip("/")) for place in places if place not in ("/", "/."))
        pack = subprocess.Popen(["tar", "--create", "--directory=/", "--no-recursion", "--null", "--files-from=-"],
                                stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        unpack = subprocess.Popen(["tar", "--extract", "--preserve-permissions", f"--directory={self.folder}"],
                                  stdin=pack.stdout)
        pack.stdout.close()
        pack.stdin.write(names)
        pack.stdin.close()
        if pack.wait() != 0 or unpack.wait() != 0:
            raise RuntimeError("The files of the packages could not be copied.")

    def _write_status(self, machine):
        database = self.folder / DATABASE.relative_to("/")
        for name in ("info", "triggers", "updates"):
            (database / name).mkdir(parents=True, exist_ok=True)
        (database / "status").write_text("\n\n".join(machine.stanza[name] for name in self.packages) + "\n")
        (database / "info/format").write_text("1\n")
        for name in self.packages:
            for file in machine.records(name):
                shutil.copy(file, database / "info")

    def command(self, *words):
        return ["chroot", str(self.folder), *map(str, words)]

    def run(self, *words, environment=None, status=0):
        """Runs a command in this root, checks its exit status and returns its output."""
        settings = environment or {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8"}
        done = subprocess.run(self.command(*words), capture_output=True, text=True, env=settings, timeout=120,
                              stdin=subprocess.DEVNULL)
        if done.returncode != status:
            raise AssertionError(f"{' '.join(map(str, words))} ended with {done.returncode}: {done.stdout}{done.stderr}")
        return done.stdout

    def contents(self):
        """All paths, without mounts, caches, and dpkg's database and log."""
        found = set()
        for top, folders, files in os.walk(self.folder):
            place = pathlib.Path(top)
            if place == self.folder:
                folders[:] = [name for name in folders if name not in ("proc", "dev", "tmp")]
            found.update(str((place / name).relative_to(self.folder)) for name in folders + files)
        return {path for path in found if not path.startswith(("var/cache/", "var/lib/dpkg/", "var/log/"))}


def mount(*words):
    subprocess.run(["mount", *map(str, words)], check=True)
