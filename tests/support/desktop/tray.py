# SPDX-License-Identifier: MIT
"""The status notifier items on the session bus, as a tray host sees them."""

import ctypes

from gi.repository import Gio, GLib

from bus import call, owner_pid, session_bus

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"


def has_tray(bus):
    return call(bus, WATCHER, "/StatusNotifierWatcher", "org.freedesktop.DBus.Properties", "Get",
                GLib.Variant("(ss)", (WATCHER, "IsStatusNotifierHostRegistered")))


def has_embedding_tray():
    """Whether a tray for embedded windows owns its X selection."""
    x11 = ctypes.CDLL("libX11.so.6")
    x11.XOpenDisplay.restype = ctypes.c_void_p
    x11.XInternAtom.restype = x11.XGetSelectionOwner.restype = ctypes.c_ulong
    display = ctypes.c_void_p(x11.XOpenDisplay(None))
    if not display:
        return False
    try:
        selection = ctypes.c_ulong(x11.XInternAtom(display, b"_NET_SYSTEM_TRAY_S0", 0))
        return x11.XGetSelectionOwner(display, selection) != 0
    finally:
        x11.XCloseDisplay(display)


class Tray:
    def __init__(self):
        self.bus = session_bus()

    def item_of(self, pid):
        """The item of the process, or None."""
        registered = self.get(WATCHER, "/StatusNotifierWatcher", WATCHER,
                              "RegisteredStatusNotifierItems") or []
        for item in registered:
            name, slash, path = item.partition("/")
            if owner_pid(self.bus, name) == pid:
                return TrayItem(self, name, slash + path)
        return None

    def get(self, name, path, interface, property_name):
        """The value of a property, or None if it cannot be read."""
        return call(self.bus, name, path, "org.freedesktop.DBus.Properties", "Get",
                    GLib.Variant("(ss)", (interface, property_name)))


class TrayItem:
    def __init__(self, tray, name, path):
        self._tray, self._name, self._path = tray, name, path

    def get(self, property_name):
        return self._tray.get(self._name, self._path, ITEM, property_name)

    def click(self, x, y):
        """As the host does at a click on the icon."""
        self._tray.bus.call_sync(self._name, self._path, ITEM, "Activate",
                                 GLib.Variant("(ii)", (x, y)), None, Gio.DBusCallFlags.NONE, 2000,
                                 None)

    def tooltip(self):
        parts = self.get("ToolTip")
        return " ".join(part for part in parts[2:] if part) if parts else ""

    def picture(self):
        """The name and the pixels of its icon."""
        pixmaps = self.get("IconPixmap") or []
        return self.get("IconName") or "", tuple(bytes(pixels) for _, _, pixels in pixmaps)

    def is_blank(self):
        """Whether the icon has neither a name nor a visible pixel."""
        name, pixmaps = self.picture()
        return not name and not any(any(pixels[0::4]) for pixels in pixmaps)

    def menu_labels(self):
        """The labels of the visible menu entries, without separators."""
        return [entry["label"] for entry in self._menu_entries()]

    def enabled_menu_labels(self):
        """The labels of those that can be chosen."""
        return [entry["label"] for entry in self._menu_entries() if entry.get("enabled", True)]

    def _menu_entries(self):
        bus, path = self._tray.bus, self.get("Menu")
        answer = bus.call_sync(self._name, path, MENU, "GetLayout",
                               GLib.Variant("(iias)", (0, -1, [])), None,
                               Gio.DBusCallFlags.NONE, 2000, None)
        entries = [properties for _, properties, _ in answer.unpack()[1][2]]
        return [entry for entry in entries
                if entry.get("visible", True) and entry.get("type") != "separator"]
