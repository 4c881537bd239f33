# SPDX-License-Identifier: MIT
"""The application as the walks drive it: prints each status as it is seen."""

import time

import screen
from program import HELPER_OFFER, PANEL, QUIET_START, SETTINGS, Program, client_pids
from waiting import wait_until

STATUSES = ("Disconnected", "Connecting...", "Connected", "Reconnecting...", "Error")
# Of the demonstration client, in percent: slow enough to take a picture of each status, even on a
# busy machine.
CLIENT_PACE = 200

started = time.monotonic()


def say(text):
    print(f"[{time.monotonic() - started:5.1f} s] {text}", flush=True)


class Application(Program):
    """One run of the program, with its standard error on the terminal."""

    def __init__(self, path, pictures, scale=1):
        self.icon = None
        self._last = {}
        super().__init__(path, on_failure=pictures.take_failure, stderr=None,
                         QT_SCALE_FACTOR=str(scale), KESTRELNET_DEMO_PACE=str(CLIENT_PACE),
                         **QUIET_START)

    def observe(self):
        self._note("in the tray", self.icon.tooltip() if self.icon else None)
        self._note("on screen", self.status())

    def _note(self, where, text):
        if text and self._last.get(where) != text:
            self._last[where] = text
            say(f"{where}: {text}")

    def await_menu(self, state):
        """Wait until the icon's menu begins with that line."""
        self.wait(lambda: self.icon.menu_labels()[0] == state,
                  f"The icon's menu does not begin with \"{state}\".")
        say(f"in the tray's menu: {state}")

    def status(self):
        """The panel's status, or None while the panel is closed."""
        plain = (text.removeprefix("Status: ") for text in self.texts())
        return next((text for text in plain if text in STATUSES), None)

    def await_icon(self):
        self.icon = self.await_item()
        self.wait(self.icon.tooltip, "The tray icon has no tooltip.")
        self.await_tray()

    def await_status(self, status):
        self.wait(lambda: self.status() == status, f"The panel does not show \"{status}\".")

    def open_panel(self):
        screen.click(self.await_tray())
        self.await_window()
        self.await_area()
        screen.park_pointer()

    def open_settings(self):
        self.press("Settings...")
        self.await_window(SETTINGS)

    def dismiss_helper_offer(self, pictures):
        self.await_window(HELPER_OFFER)
        pictures.take("helper-offered")
        self.press("Later", HELPER_OFFER)
        self.await_no_window(HELPER_OFFER)

    def scroll_to(self, title, name, down=True):
        """Turn the wheel until the control of that name is wholly in view."""
        def in_view():
            window = screen.window_area(title)
            node = next((node for node in self.nodes(title) if node.name() == name), None)
            area = node and screen.area_in(title, self.window(title), node)
            if area and area[1] >= window[1] and area[1] + area[3] <= window[1] + window[3]:
                return True
            screen.wheel(window, down)
            return False
        self.wait(in_view, f"\"{title}\" cannot be scrolled to \"{name}\".")

    def quit(self):
        self.press("Quit", PANEL)
        self.await_end()
        wait_until(lambda: not client_pids(), 5, "The client is still running after \"Quit\".")
