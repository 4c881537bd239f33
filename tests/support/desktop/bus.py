# SPDX-License-Identifier: MIT
"""Calls on a D-Bus."""

import os

from gi.repository import Gio, GLib


def call(bus, name, path, interface, method, arguments=None):
    """The answer's first value, or None where none comes."""
    try:
        answer = bus.call_sync(name, path, interface, method, arguments, None,
                               Gio.DBusCallFlags.NONE, 2000, None)
    except GLib.Error:
        return None
    return answer.unpack()[0]


def session_bus(address=None):
    """A connection of its own, whose end does not end this process."""
    bus = Gio.DBusConnection.new_for_address_sync(
        address or os.environ["DBUS_SESSION_BUS_ADDRESS"],
        Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
        | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
    bus.set_exit_on_close(False)
    return bus


def owner_pid(bus, name):
    """The process behind a name, or None."""
    return call(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "GetConnectionUnixProcessID", GLib.Variant("(s)", (name,)))
