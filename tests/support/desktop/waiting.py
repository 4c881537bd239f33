# SPDX-License-Identifier: MIT
"""Waiting for conditions instead of fixed times."""

import time

from gi.repository import GLib


class NotSeen(Exception):
    """A condition did not become true in time. The text names it."""


def wait_until(condition, seconds, failure):
    """Return the first true value of `condition`, which is evaluated after each event and at least
    every 25 ms. The events of this process are handled meanwhile."""
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
