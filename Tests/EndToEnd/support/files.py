"""What lies in folders and in the Trash."""

import hashlib
import os
import pathlib
import stat
import urllib.parse


def fingerprints(place):
    """Kind, rights and content of everything from the place on downwards, by path; links are not followed."""
    found = {}

    def look(path):
        facts = os.lstat(path)
        if stat.S_ISLNK(facts.st_mode):
            content = os.readlink(path)
        elif stat.S_ISREG(facts.st_mode):
            content = (facts.st_mtime_ns, hashlib.sha256(path.read_bytes()).hexdigest())
        else:
            content = None
        found[str(path)] = (stat.filemode(facts.st_mode), content)
        if stat.S_ISDIR(facts.st_mode):
            for name in os.listdir(path):
                look(path / name)

    look(pathlib.Path(place))
    return found


def without(found, *places):
    """The fingerprints of all that does not lie in one of these places."""
    places = [str(place) for place in places]
    return {path: seen for path, seen in found.items()
            if not any(path == place or path.startswith(place + "/") for place in places)}


def relative_to(place, found):
    """The fingerprints as they would be were the place called nothing."""
    return {path[len(str(place)):]: seen for path, seen in found.items()}


class Trash:
    """The home's Trash, as every desktop on Linux has it."""

    def __init__(self, sample):
        self.folder = pathlib.Path(sample.environment["XDG_DATA_HOME"]) / "Trash"

    def items(self):
        """Where each item lies now, by the path that it came from."""
        found = {}
        for note in (self.folder / "info").glob("*") if self.folder.exists() else ():
            title, *entries = note.read_text().splitlines()
            assert title == "[Trash Info]", f"{note}: {title}"
            origin = dict(entry.split("=", 1) for entry in entries)["Path"]
            found[urllib.parse.unquote(origin)] = self.folder / "files" / note.name.removesuffix(".trashinfo")
        return found

    def put_back(self):
        """Everything, as its owner would by hand."""
        for origin, place in self.items().items():
            os.rename(place, origin)
            (self.folder / "info" / (place.name + ".trashinfo")).unlink()
