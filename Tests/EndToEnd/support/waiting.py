"""Waiting for what must come about, rather than for a time."""

import time

PATIENCE = 20  # seconds, long enough for a machine that is busy with other tests


def until(condition, what, seconds=PATIENCE):
    """The first true value of the condition; the test fails when there is none in time."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"Waited {seconds} s in vain: {what() if callable(what) else what}.")
        time.sleep(0.02)
