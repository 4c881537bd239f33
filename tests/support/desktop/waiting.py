# SPDX-License-Identifier: MIT
"""Waiting for a condition, never for a time."""

import time

from gi.repository import GLib


class NotSeen(Exception):
    """What was waited for did not happen in its bound; the text says what."""


def wait_until(condition, seconds, failure):
    """Return the first true value of `condition`, asked again after each event and at least every
    25 ms, while the events of this process go on being served."""
    context = GLib.MainContext.default()
    deadline = time.monotonic() + seconds
    ticks = GLib.timeout_add(25, lambda: GLib.SOURCE_CONTINUE)
    try:
        while True:
            value = condition()
            if value:
                return value
            if time.monotonic() > deadline:
                raise NotSeen(failure)
            context.iteration(True)
    finally:
        GLib.source_remove(ticks)
