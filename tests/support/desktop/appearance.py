# SPDX-License-Identifier: MIT
"""A settings portal that provides the desktop's colour scheme."""

from gi.repository import Gio, GLib

NAMESPACE, KEY = "org.freedesktop.appearance", "color-scheme"
NO_PREFERENCE, DARK, LIGHT = 0, 1, 2

INTERFACE = """
<node>
  <interface name="org.freedesktop.portal.Settings">
    <method name="Read">
      <arg type="s" direction="in"/><arg type="s" direction="in"/>
      <arg type="v" direction="out"/>
    </method>
    <method name="ReadOne">
      <arg type="s" direction="in"/><arg type="s" direction="in"/>
      <arg type="v" direction="out"/>
    </method>
    <method name="ReadAll">
      <arg type="as" direction="in"/>
      <arg type="a{sa{sv}}" direction="out"/>
    </method>
    <signal name="SettingChanged">
      <arg type="s"/><arg type="s"/><arg type="v"/>
    </signal>
    <property name="version" type="u" access="read"/>
  </interface>
</node>
"""


class AppearanceSetting:
    """Answers on the session bus while this process waits for events."""

    path = "/org/freedesktop/portal/desktop"

    def __init__(self):
        self._scheme = LIGHT
        self._bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self._interface = Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0]
        self._bus.register_object(self.path, self._interface, self._answer, self._property, None)
        self._bus.call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
            GLib.Variant("(su)", ("org.freedesktop.portal.Desktop", 4)), None,
            Gio.DBusCallFlags.NONE, 5000, None)

    def set(self, scheme):
        self._scheme = scheme
        self._bus.emit_signal(None, self.path, self._interface.name, "SettingChanged",
                              GLib.Variant("(ssv)", (NAMESPACE, KEY, self._value())))

    def _value(self):
        return GLib.Variant("u", self._scheme)

    def _property(self, *_):
        return GLib.Variant("u", 2)

    def _answer(self, _bus, _sender, _path, _interface, method, parameters, invocation):
        if method == "ReadAll":
            invocation.return_value(
                GLib.Variant("(a{sa{sv}})", ({NAMESPACE: {KEY: self._value()}},)))
        elif parameters.unpack() != (NAMESPACE, KEY):
            invocation.return_dbus_error("org.freedesktop.portal.Error.NotFound",
                                         "Requested setting not found")
        elif method == "ReadOne":
            invocation.return_value(GLib.Variant("(v)", (self._value(),)))
        else:  # The deprecated "Read" wraps the value twice.
            invocation.return_value(GLib.Variant("(v)", (GLib.Variant("v", self._value()),)))
