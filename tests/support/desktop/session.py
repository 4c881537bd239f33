# SPDX-License-Identifier: MIT
"""Virtual desktops with a session bus, an accessibility bus and a temporary home folder: X11 with
Xvfb, a window manager and optionally xfce4-panel; or Wayland with sway, to which a test adds a tray host.
All their processes end with them."""

import contextlib
import glob
import os
import shutil
import signal
import subprocess
import tempfile

from gi.repository import Gio, GLib

from bus import session_bus
from hosts import COMMANDS
from process import adopt_orphans, end_with_parent
from tray import has_tray
from waiting import NotSeen, wait_until

PANEL_HEIGHT = 32
BACKGROUND = "#51697a"

# The tray is at the right end of a panel along the upper edge, as on many desktops, and the list of
# windows at the left.
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
        <value type="int" value="3"/>
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
    <property name="plugin-3" type="string" value="tasklist">
      <property name="show-handle" type="bool" value="false"/>
    </property>
  </property>
</channel>
"""

# Without X11, so that no program can fall back to it. Windows keep the size that they request.
SWAY_CONFIGURATION = """xwayland disable
output HEADLESS-1 mode {size}
output HEADLESS-1 background {background} solid_color
for_window [app_id=".*"] floating enable
"""

# The window managers that a desktop can have besides openbox bring a tray of their own.
I3_CONFIGURATION = """# i3 config file (v4)
bar {
    position bottom
}
"""

LXQT_CONFIGURATION = """panels=panel1
__userfile__=true
[panel1]
plugins=taskbar,statusnotifier
position=Bottom
[taskbar]
type=taskbar
[statusnotifier]
alignment=Right
type=statusnotifier
"""

# Variables that would connect a program to the desktop of the user who runs the tests.
FOREIGN_VARIABLES = (
    "AT_SPI_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS", "DESKTOP_SESSION", "GTK_THEME",
    "ICEAUTHORITY", "NO_AT_BRIDGE", "QT_ACCESSIBILITY", "QT_QPA_PLATFORM",
    "QT_QPA_PLATFORMTHEME", "QT_SCALE_FACTOR", "QT_STYLE_OVERRIDE", "SESSION_MANAGER",
    "WAYLAND_DISPLAY", "XAUTHORITY", "XDG_CURRENT_DESKTOP", "XDG_DATA_HOME", "XDG_SEAT",
    "XDG_SESSION_ID", "XDG_SESSION_TYPE",
)


class VirtualDesktop:
    """A context manager. `environment` is the environment for programs on the desktop."""

    def __init__(self, size="1280x800", log=None, tray=True, manager="openbox"):
        self.size = size
        self.manager = manager
        self.has_tray = tray
        self.log_path = log or os.devnull
        self.environment = {}
        self._folder = None
        self._log = None

    def __enter__(self):
        self._folder = tempfile.mkdtemp(prefix="virtual-desktop-")
        self._log = open(self.log_path, "ab")
        adopt_orphans()
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
        self._spawn(self.manager)
        wait_until(self._has_window_manager, 20, "The window manager did not start.")
        self._run("display", "-window", "root", "-size", self.size, f"xc:{BACKGROUND}")
        if self.has_tray:
            self._spawn(*COMMANDS["xfce4-panel"])
            wait_until(self._shows_tray, 30, "The desktop's panel did not offer a tray.")

    def _shows_tray(self):
        bus = session_bus(self.environment["DBUS_SESSION_BUS_ADDRESS"])
        try:
            return has_tray(bus)
        finally:
            bus.close_sync()

    def _make_home(self):
        home = os.path.join(self._folder, "home")
        runtime = os.path.join(self._folder, "run")
        os.makedirs(home)
        os.mkdir(runtime, mode=0o700)
        for name, text in (
                ("xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml", PANEL_CONFIGURATION),
                ("i3/config", I3_CONFIGURATION), ("lxqt/panel.conf", LXQT_CONFIGURATION)):
            path = os.path.join(home, ".config", name)
            os.makedirs(os.path.dirname(path))
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
        self.environment = {k: v for k, v in os.environ.items() if k not in FOREIGN_VARIABLES}
        self.environment.update(
            HOME=home,
            LANG="C.UTF-8",
            XDG_CACHE_HOME=os.path.join(home, ".cache"),
            XDG_CONFIG_HOME=os.path.join(home, ".config"),
            XDG_DATA_HOME=os.path.join(home, ".local/share"),
            XDG_RUNTIME_DIR=runtime,
            # Neither read nor store settings of the user.
            GSETTINGS_BACKEND="memory",
            QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
        )
        self.environment.pop("LC_ALL", None)

    def _start_screen(self):
        reading, writing = os.pipe()
        self._spawn("Xvfb", "-displayfd", str(writing), "-screen", "0", f"{self.size}x24",
                    "-dpi", "96", "-nolisten", "tcp", "-noreset", pass_fds=(writing,))
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
        bus = session_bus(self.environment["DBUS_SESSION_BUS_ADDRESS"])
        enable_accessibility(bus)
        bus.close_sync()

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


class WaylandDesktop(VirtualDesktop):
    """Without a tray host; tests start one."""

    def _start(self):
        self._make_home()
        self._start_bus()
        folder = os.path.join(self.environment["XDG_CONFIG_HOME"], "sway")
        os.makedirs(folder)
        with open(os.path.join(folder, "config"), "w", encoding="utf-8") as file:
            file.write(SWAY_CONFIGURATION.format(size=self.size, background=BACKGROUND))
        runtime = self.environment["XDG_RUNTIME_DIR"]
        sockets = os.path.join(runtime, "wayland-[0-9]"), os.path.join(runtime, "sway-ipc.*.sock")
        self.environment.update(WLR_BACKENDS="headless", WLR_RENDERER="pixman",
                                WLR_LIBINPUT_NO_DEVICES="1", XDG_CURRENT_DESKTOP="sway",
                                XDG_SESSION_TYPE="wayland")
        # sway refuses to run as root, also where there is no other user.
        self._spawn(*(("unshare", "--user", "--map-user=1000", "--map-group=1000")
                      if os.geteuid() == 0 else ()), "sway")
        found = wait_until(lambda: all(made := [glob.glob(socket) for socket in sockets]) and made,
                           20, "The compositor (sway) did not start.")
        self.environment["WAYLAND_DISPLAY"] = os.path.basename(found[0][0])
        self.environment["SWAYSOCK"] = found[1][0]


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
    """Must be called before a program starts, because most programs check only once."""
    for name in ("IsEnabled", "ScreenReaderEnabled"):
        bus.call_sync("org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", "Set",
                      GLib.Variant("(ssv)", ("org.a11y.Status", name, GLib.Variant("b", True))),
                      None, Gio.DBusCallFlags.NONE, 20000, None)


def children():
    with open(f"/proc/self/task/{os.getpid()}/children", encoding="ascii") as file:
        return [int(pid) for pid in file.read().split()]


def end_children():
    """End all descendants of this process, including adopted orphans."""

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
                # Processes of root end together with their clients.
                with contextlib.suppress(PermissionError):
                    os.kill(pid, number)
            return none_left()
        try:
            wait_until(ended, 3, "")
            return
        except NotSeen:
            continue
