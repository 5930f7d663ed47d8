"""Processes as /proc tells of them."""

import os
import pathlib


def _fields(pid):
    """What follows the name in /proc/PID/stat: state, parent, group and so on; None for a process that is gone."""
    try:
        text = pathlib.Path(f"/proc/{pid}/stat").read_text(errors="replace")
    except (FileNotFoundError, ProcessLookupError):
        return None
    return text.rpartition(")")[2].split()


def _all():
    for name in os.listdir("/proc"):
        fields = _fields(name) if name.isdigit() else None
        if fields and fields[0] not in "ZX":
            yield int(name), int(fields[1]), int(fields[2])


def all_ids():
    return [process for process, _, _ in _all()]


def children(pid):
    return [process for process, parent, _ in _all() if parent == pid]


def group_of(pid):
    fields = _fields(pid)
    return int(fields[2]) if fields else None


def in_group(group):
    return [process for process, _, its_group in _all() if its_group == group]


def command(pid):
    """The words that the process was started with."""
    try:
        return pathlib.Path(f"/proc/{pid}/cmdline").read_bytes().decode(errors="replace").split("\0")[:-1]
    except (FileNotFoundError, ProcessLookupError):
        return []
