# SPDX-License-Identifier: MIT
"""A notification server that shows nothing and remembers what it was asked to show."""

from gi.repository import Gio, GLib

NAME = "org.freedesktop.Notifications"
PATH = "/org/freedesktop/Notifications"

INTERFACE = """
<node>
  <interface name="org.freedesktop.Notifications">
    <method name="GetCapabilities"><arg type="as" direction="out"/></method>
    <method name="Notify">
      <arg type="s" direction="in"/><arg type="u" direction="in"/><arg type="s" direction="in"/>
      <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="as" direction="in"/>
      <arg type="a{sv}" direction="in"/><arg type="i" direction="in"/>
      <arg type="u" direction="out"/>
    </method>
    <method name="CloseNotification"><arg type="u" direction="in"/></method>
    <signal name="NotificationClosed"><arg type="u"/><arg type="u"/></signal>
    <signal name="ActionInvoked"><arg type="u"/><arg type="s"/></signal>
  </interface>
</node>
"""

CAPABILITIES = ["actions", "body", "body-markup"]


class NotificationServer:
    """Answers on the session bus while this process waits for events. `shown` has a tuple (summary,
    body) for each notification, and `closed` their numbers, which begin with 1."""

    def __init__(self):
        self.shown, self.closed, self.hints = [], [], []
        self._bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        interface = Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0]
        self._bus.register_object(PATH, interface, self._answer, None, None)
        self._bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus",
                            "org.freedesktop.DBus", "RequestName", GLib.Variant("(su)", (NAME, 4)),
                            None, Gio.DBusCallFlags.NONE, 5000, None)

    def click(self):
        """On the latest notification."""
        self._bus.emit_signal(None, PATH, NAME, "ActionInvoked",
                              GLib.Variant("(us)", (len(self.shown), "default")))

    def _answer(self, _bus, _sender, _path, _interface, method, parameters, invocation):
        if method == "GetCapabilities":
            invocation.return_value(GLib.Variant("(as)", (CAPABILITIES,)))
        elif method == "Notify":
            _, _, _, summary, body, _, hints, _ = parameters.unpack()
            self.shown.append((summary, body))
            self.hints.append(hints)
            invocation.return_value(GLib.Variant("(u)", (len(self.shown),)))
        else:
            self.closed.append(parameters.unpack()[0])
            invocation.return_value(None)
