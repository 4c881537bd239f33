# SPDX-License-Identifier: MIT
"""The windows of programs on the accessibility bus. Every property is requested anew, because
windows change at any time."""

from gi.repository import GLib

from bus import call, owner_pid, session_bus

ACCESSIBLE = "org.a11y.atspi.Accessible"
COMPONENT = "org.a11y.atspi.Component"
PUSH_BUTTON = 43
CHECKED = 1 << 4
ENABLED = 1 << 8
FOCUSED = 1 << 12
SHOWING = 1 << 25
SCREEN_COORDINATES = 0


class Node:
    """One accessible object: a window, a control, a text. An object that no longer exists has no
    name, no state and no children."""

    def __init__(self, bus, name, path):
        self._bus, self._name, self._path = bus, name, path

    def role(self):
        return self._call(ACCESSIBLE, "GetRole")

    def role_name(self):
        return self._call(ACCESSIBLE, "GetRoleName")

    def has(self, state):
        found = self._call(ACCESSIBLE, "GetState")
        return bool(found and found[0] & state)

    def act(self):
        """Do its first action, without the pointer."""
        return self._call("org.a11y.atspi.Action", "DoAction", GLib.Variant("(i)", (0,)))

    def name(self):
        return self._call("org.freedesktop.DBus.Properties", "Get",
                          GLib.Variant("(ss)", (ACCESSIBLE, "Name"))) or ""

    def text(self):
        """The content of a text field."""
        return self._call("org.a11y.atspi.Text", "GetText", GLib.Variant("(ii)", (0, -1)))

    def is_showing(self):
        return self.has(SHOWING)

    def children(self):
        return [Node(self._bus, name, path)
                for name, path in self._call(ACCESSIBLE, "GetChildren") or []]

    def area(self):
        """(x, y, width, height) in the toolkit's units, or None."""
        place = self._call(COMPONENT, "GetExtents", GLib.Variant("(u)", (SCREEN_COORDINATES,)))
        return place if place and place[2] > 0 and place[3] > 0 else None

    def showing(self):
        """Itself and all its descendants that are on the screen."""
        found = [self] if self.is_showing() else []
        for child in self.children():
            if child.is_showing():
                found += child.showing()
        return found

    def window(self, title):
        """The window of that title, or None if it is not on the screen."""
        return next((child for child in self.children()
                     if child.name() == title and child.is_showing()), None)

    def texts(self):
        return [name for name in (node.name() for node in self.showing()) if name]

    def buttons(self, name=None):
        return [node for node in self.showing() if node.role() == PUSH_BUTTON
                and (name is None or node.name() == name)]

    def pid(self):
        return owner_pid(self._bus, self._name)

    def _call(self, interface, method, arguments=None):
        return call(self._bus, self._name, self._path, interface, method, arguments)


class Accessibility:
    def __init__(self):
        self._bus = session_bus(call(session_bus(), "org.a11y.Bus", "/org/a11y/bus",
                                     "org.a11y.Bus", "GetAddress"))
        self._root = Node(self._bus, "org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root")

    def application(self, pid=None, name=None):
        """The application of that process or of that name, or None."""
        return next((node for node in self._root.children()
                     if (node.pid() == pid if pid else node.name() == name)), None)
