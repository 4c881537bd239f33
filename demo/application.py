# SPDX-License-Identifier: MIT
"""One run of the application as the walks see it, and what they do with it."""

import glob
import os
import subprocess
import time

import screen
from accessibility import Accessibility
from tray import Tray
from waiting import NotSeen, wait_until

PANEL = "Kestrelnet VPN"
SETTINGS = "Kestrelnet Settings"
STATUSES = ("Disconnected", "Connecting...", "Connected", "Reconnecting...", "Error")
ALERT = "Install Privileged Helper?"
CLIENT = "kestrelnet-client"

started = time.monotonic()


def say(text):
    print(f"[{time.monotonic() - started:5.1f} s] {text}", flush=True)


class Application:
    """One run of the program, from its start to its end. A context manager."""

    def __init__(self, path, pictures, scale=1):
        self.pictures = pictures
        self.tray = Tray()
        self.accessibility = Accessibility()
        self.item = None
        self.node = None
        self.seen = {}
        environment = dict(os.environ, QT_SCALE_FACTOR=str(scale))
        try:
            self.process = subprocess.Popen([path], env=environment, stdin=subprocess.DEVNULL)
        except OSError as reason:
            raise NotSeen(f"{path} could not be started ({reason.strerror}).") from None

    def await_icon(self):
        self.item = self.wait(lambda: self.tray.item_of(self.process.pid), 20,
                              "No icon was registered with the tray.")
        self.wait(lambda: not self.item.is_blank(), 5, "The tray icon is blank.")
        self.wait(self.item.tooltip, 5, "The tray icon has no tooltip.")
        self.wait(screen.tray_area, 10, "The icon does not show in the desktop's panel.")

    def __enter__(self):
        return self

    def __exit__(self, failure, *_):
        if failure:
            self.pictures.take_failure()
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    def wait(self, condition, seconds, failure):
        def observed():
            if self.process.poll() is not None:
                raise NotSeen(f"The program ended by itself (status {self.process.returncode}). "
                              + failure)
            self.observe()
            return condition()
        return wait_until(observed, seconds, failure)

    def observe(self):
        """Tell each status as it comes into view."""
        self.note("in the tray", self.item.tooltip() if self.item else None)
        self.note("on screen", self.status())

    def note(self, where, text):
        if text and self.seen.get(where) != text:
            self.seen[where] = text
            say(f"{where}: {text}")

    # -- What is in view ---------------------------------------------------------------------

    def window(self, title):
        self.node = self.node or self.accessibility.application(pid=self.process.pid)
        return self.node and self.node.window(title)

    def panel(self):
        return self.window(PANEL)

    def texts(self):
        panel = self.panel()
        return panel.texts() if panel else []

    def status(self):
        for text in self.texts():
            plain = text.removeprefix("Status: ")
            if plain in STATUSES:
                return plain
        return None

    def client_pids(self):
        """By their command lines, which are to be read of root's processes as well."""
        found = []
        for path in glob.glob("/proc/[0-9]*/cmdline"):
            try:
                with open(path, "rb") as file:
                    program = file.read().split(b"\0")[0].decode(errors="replace")
            except OSError:
                continue
            if os.path.basename(program) == CLIENT:
                found.append(int(path.split("/")[2]))
        return found

    # -- What a person does ------------------------------------------------------------------

    def open_panel(self):
        screen.click(self.wait(screen.tray_area, 5, "The icon has gone from the tray."))
        self.wait(self.panel, 10, "A click on the tray icon did not open the panel.")
        self.wait(lambda: screen.window_area(PANEL), 10,
                  "The panel is announced, but no such window is on the screen.")
        screen.park_pointer()

    def press(self, name, title=PANEL):
        def place():
            window = self.window(title)
            found = window.buttons(name) if window else []
            return found and screen.area_in(title, window, found[0])
        screen.click(self.wait(place, 5, f"\"{title}\" has no button \"{name}\"."))
        screen.park_pointer()

    def press_any(self, title, name):
        """As press, what is not a button."""
        def place():
            window = self.window(title)
            found = [node for node in (window.showing() if window else []) if node.name() == name]
            return found and screen.area_in(title, window, found[0])
        screen.click(self.wait(place, 5, f"\"{title}\" has no \"{name}\"."))
        screen.park_pointer()

    def dismiss_helper_offer(self, pictures):
        self.wait(lambda: self.window(ALERT), 10, "The program does not offer its helper.")
        pictures.take("helper-offered")
        self.press("Later", ALERT)
        self.wait(lambda: not self.window(ALERT), 10, "The offer of the helper did not close.")

    def await_text(self, text, failure):
        self.wait(lambda: any(text in shown for shown in self.texts()), 15, failure)

    def await_button(self, name, failure):
        self.wait(lambda: (panel := self.panel()) and panel.buttons(name), 10, failure)

    def await_status(self, status):
        self.wait(lambda: self.status() == status, 20,
                  f"The panel did not come to show \"{status}\".")

    def scroll_to(self, title, name, down=True):
        """Turn the wheel until what has that name is wholly in view."""
        def in_view():
            window = screen.window_area(title)
            node = next((node for node in self.window(title).showing() if node.name() == name), None)
            area = node and screen.area_in(title, self.window(title), node)
            if area and area[1] >= window[1] and area[1] + area[3] <= window[1] + window[3]:
                return True
            screen.wheel(window, down)
            return False
        self.wait(in_view, 10, f"\"{title}\" cannot be scrolled to \"{name}\".")

    def await_settings(self, failure):
        self.wait(lambda: self.window(SETTINGS), 10, failure)
        self.wait(lambda: screen.active_window_title() == SETTINGS, 10,
                  "The settings window did not come to the front.")

    def close_settings(self):
        screen.click(self.wait(lambda: screen.close_button_area(SETTINGS), 10,
                               "The settings window has no title bar to close it by."))
        self.wait(lambda: not self.window(SETTINGS), 10, "The settings window did not close.")

    def quit(self):
        self.press("Quit")
        wait_until(lambda: self.process.poll() is not None, 10,
                   "The program did not end after \"Quit\".")
        wait_until(lambda: not self.client_pids(), 5,
                   "The client is still running after \"Quit\".")
        if self.process.returncode != 0:
            raise NotSeen(f"The program ended with status {self.process.returncode}.")
