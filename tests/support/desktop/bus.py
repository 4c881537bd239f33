# SPDX-License-Identifier: MIT
"""D-Bus calls."""

import os

from gi.repository import Gio, GLib


def call(bus, name, path, interface, method, arguments=None):
    """The first value of the reply, or None if the call fails."""
    try:
        answer = bus.call_sync(name, path, interface, method, arguments, None,
                               Gio.DBusCallFlags.NONE, 2000, None)
    except GLib.Error:
        return None
    return answer.unpack()[0]


def session_bus(address=None):
    """A new connection, whose end does not end this process."""
    bus = Gio.DBusConnection.new_for_address_sync(
        address or os.environ["DBUS_SESSION_BUS_ADDRESS"],
        Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
        | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
    bus.set_exit_on_close(False)
    return bus


def owner_pid(bus, name):
    """The process that owns the bus name, or None."""
    return call(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "GetConnectionUnixProcessID", GLib.Variant("(s)", (name,)))
