# SPDX-License-Identifier: MIT
"""A desktop on a virtual screen: Xvfb, a session bus, the accessibility bus, openbox, and
xfce4-panel with its tray. It lives in a home of its own and ends with all its processes."""

import ctypes
import os
import shutil
import signal
import subprocess
import tempfile

from gi.repository import Gio, GLib

from bus import call
from waiting import NotSeen, wait_until

PANEL_HEIGHT = 32
GROUND = "#51697a"

# The tray stands at the right end of a panel along the upper edge, as on many desktops.
PANEL_CONFIGURATION = f"""<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="length" type="uint" value="100"/>
      <property name="size" type="uint" value="{PANEL_HEIGHT}"/>
      <property name="plugin-ids" type="array">
        <value type="int" value="1"/>
        <value type="int" value="2"/>
      </property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="separator">
      <property name="expand" type="bool" value="true"/>
      <property name="style" type="uint" value="0"/>
    </property>
    <property name="plugin-2" type="string" value="systray"/>
  </property>
</channel>
"""

# Variables that would lead a program from here to the desktop of whoever started us.
FOREIGN_VARIABLES = (
    "AT_SPI_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS", "DESKTOP_SESSION", "GTK_THEME",
    "ICEAUTHORITY", "NO_AT_BRIDGE", "QT_ACCESSIBILITY", "QT_QPA_PLATFORM",
    "QT_QPA_PLATFORMTHEME", "QT_SCALE_FACTOR", "QT_STYLE_OVERRIDE", "SESSION_MANAGER",
    "WAYLAND_DISPLAY", "XAUTHORITY", "XDG_CURRENT_DESKTOP", "XDG_DATA_HOME", "XDG_SEAT",
    "XDG_SESSION_ID", "XDG_SESSION_TYPE",
)

libc = ctypes.CDLL(None, use_errno=True)
PR_SET_PDEATHSIG = 1
PR_SET_CHILD_SUBREAPER = 36


class VirtualDesktop:
    """A context manager. Inside it `environment` holds what a program needs to run there."""

    def __init__(self, size="1280x800", log=None):
        self.size = size
        self.log_path = log or os.devnull
        self.environment = {}
        self._folder = None
        self._log = None

    def __enter__(self):
        self._folder = tempfile.mkdtemp(prefix="virtual-desktop-")
        self._log = open(self.log_path, "ab")
        # What these programs start in turn becomes ours too when they end, so that it can be
        # found and ended.
        libc.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
        try:
            self._start()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        end_children()
        self._log.close()
        shutil.rmtree(self._folder, ignore_errors=True)

    def _start(self):
        self._make_home()
        self._start_screen()
        self._start_bus()
        bus = Gio.DBusConnection.new_for_address_sync(
            self.environment["DBUS_SESSION_BUS_ADDRESS"],
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
            | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
        bus.set_exit_on_close(False)
        enable_accessibility(bus)
        self._spawn("openbox")
        wait_until(self._has_window_manager, 20, "The window manager did not come up.")
        self._run("display", "-window", "root", "-size", self.size, f"xc:{GROUND}")
        self._spawn("xfce4-panel", "--disable-wm-check")
        wait_until(lambda: has_tray(bus), 30, "The desktop's panel did not offer a tray.")
        bus.close_sync()

    def _make_home(self):
        home = os.path.join(self._folder, "home")
        runtime = os.path.join(self._folder, "run")
        channels = os.path.join(home, ".config/xfce4/xfconf/xfce-perchannel-xml")
        os.makedirs(channels)
        os.mkdir(runtime, mode=0o700)
        with open(os.path.join(channels, "xfce4-panel.xml"), "w", encoding="utf-8") as file:
            file.write(PANEL_CONFIGURATION)
        self.environment = {k: v for k, v in os.environ.items() if k not in FOREIGN_VARIABLES}
        self.environment.update(
            HOME=home,
            LANG="C.UTF-8",
            XDG_CACHE_HOME=os.path.join(home, ".cache"),
            XDG_CONFIG_HOME=os.path.join(home, ".config"),
            XDG_DATA_HOME=os.path.join(home, ".local/share"),
            XDG_RUNTIME_DIR=runtime,
            # Nobody's settings are to be read or kept.
            GSETTINGS_BACKEND="memory",
            QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
        )
        self.environment.pop("LC_ALL", None)

    def _start_screen(self):
        reading, writing = os.pipe()
        self._spawn("Xvfb", "-displayfd", str(writing), "-screen", "0", f"{self.size}x24",
                    "-dpi", "96", "-nolisten", "tcp", pass_fds=(writing,))
        os.close(writing)
        number = read_line(reading, 20, "The virtual screen (Xvfb) did not start.")
        self.environment["DISPLAY"] = f":{number}"

    def _start_bus(self):
        reading, writing = os.pipe()
        self._spawn("dbus-daemon", "--session", "--nofork", "--nopidfile",
                    f"--address=unix:path={os.path.join(self._folder, 'run/bus')}",
                    f"--print-address={writing}", pass_fds=(writing,))
        os.close(writing)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = read_line(
            reading, 20, "The session bus did not start.")

    def _has_window_manager(self):
        return b"window id" in self._run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK")

    def _run(self, *command):
        return subprocess.run(command, env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=self._log, check=False).stdout

    def _spawn(self, *command, pass_fds=()):
        try:
            subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL,
                             stdout=self._log, stderr=self._log, pass_fds=pass_fds,
                             preexec_fn=end_with_parent)
        except FileNotFoundError:
            raise NotSeen(f"{command[0]} is not installed; run scripts/bootstrap.") from None


def end_with_parent():
    libc.prctl(PR_SET_PDEATHSIG, signal.SIGTERM, 0, 0, 0)


def read_line(descriptor, seconds, failure):
    os.set_blocking(descriptor, False)
    text = b""

    def complete():
        nonlocal text
        try:
            text += os.read(descriptor, 4096)
        except BlockingIOError:
            pass
        return text.endswith(b"\n")

    try:
        wait_until(complete, seconds, failure)
    finally:
        os.close(descriptor)
    return text.decode().strip()


def enable_accessibility(bus):
    """Ask for it before a program starts: most look only once."""
    for name in ("IsEnabled", "ScreenReaderEnabled"):
        bus.call_sync("org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", "Set",
                      GLib.Variant("(ssv)", ("org.a11y.Status", name, GLib.Variant("b", True))),
                      None, Gio.DBusCallFlags.NONE, 20000, None)


def has_tray(bus):
    return call(bus, "org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                "org.freedesktop.DBus.Properties", "Get",
                GLib.Variant("(ss)", ("org.kde.StatusNotifierWatcher",
                                      "IsStatusNotifierHostRegistered")))


def children():
    with open(f"/proc/self/task/{os.getpid()}/children", encoding="ascii") as file:
        return [int(pid) for pid in file.read().split()]


def end_children():
    """End every process below this one, those that others have left to it included."""

    def none_left():
        try:
            while os.waitpid(-1, os.WNOHANG)[0] != 0:
                pass
        except ChildProcessError:
            return True
        return False

    for number in (signal.SIGTERM, signal.SIGKILL):
        def ended(number=number):
            for pid in children():
                os.kill(pid, number)
            return none_left()
        try:
            wait_until(ended, 3, "")
            return
        except NotSeen:
            continue
