# SPDX-License-Identifier: MIT
"""A settings portal that provides the desktop's settings."""

from gi.repository import Gio, GLib

APPEARANCE = "org.freedesktop.appearance"
COLOR_SCHEME, CONTRAST = "color-scheme", "contrast"
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
        self._groups = {APPEARANCE: {COLOR_SCHEME: GLib.Variant("u", LIGHT)}}
        self._bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self._interface = Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0]
        self._bus.register_object(self.path, self._interface, self._answer, self._property, None)
        self._bus.call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
            GLib.Variant("(su)", ("org.freedesktop.portal.Desktop", 4)), None,
            Gio.DBusCallFlags.NONE, 5000, None)

    def set(self, scheme):
        self.change(APPEARANCE, COLOR_SCHEME, GLib.Variant("u", scheme))

    def change(self, group, key, value):
        """`value` is a GLib.Variant."""
        self._groups.setdefault(group, {})[key] = value
        self._bus.emit_signal(None, self.path, self._interface.name, "SettingChanged",
                              GLib.Variant("(ssv)", (group, key, value)))

    def _property(self, *_):
        return GLib.Variant("u", 2)

    def _answer(self, _bus, _sender, _path, _interface, method, parameters, invocation):
        if method == "ReadAll":
            wanted, = parameters.unpack()
            invocation.return_value(GLib.Variant("(a{sa{sv}})", (
                {group: values for group, values in self._groups.items() if group in wanted},)))
            return
        group, key = parameters.unpack()
        value = self._groups.get(group, {}).get(key)
        if value is None:
            invocation.return_dbus_error("org.freedesktop.portal.Error.NotFound",
                                         "Requested setting not found")
        elif method == "ReadOne":
            invocation.return_value(GLib.Variant("(v)", (value,)))
        else:  # The deprecated "Read" wraps the value twice.
            invocation.return_value(GLib.Variant("(v)", (GLib.Variant("v", value),)))
