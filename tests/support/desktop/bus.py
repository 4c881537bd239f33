# SPDX-License-Identifier: MIT
"""Calls on a D-Bus."""

from gi.repository import Gio, GLib


def call(bus, name, path, interface, method, arguments=None):
    """The answer's first value, or None where none comes."""
    try:
        answer = bus.call_sync(name, path, interface, method, arguments, None,
                               Gio.DBusCallFlags.NONE, 2000, None)
    except GLib.Error:
        return None
    return answer.unpack()[0]
