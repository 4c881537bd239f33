# SPDX-License-Identifier: MIT
"""Drives one run of the application from outside: by its tray icon, its windows on the
accessibility bus, and the pointer. The desktop tests and the demonstration's walks share it."""

import os
import signal
import subprocess

import screen
from accessibility import PUSH_BUTTON, Accessibility
from process import end_with_parent, ended, pids_of_program
from tray import Tray
from waiting import NotSeen, wait_until

PANEL = "Kestrelnet VPN"
# What the panel says where it is a window.
EXPLANATION = "This desktop has no tray"
SETTINGS = "Kestrelnet Settings"
HELPER_OFFER = "Install Privileged Helper?"
UNINSTALL_CONFIRMATION = "Uninstall Kestrelnet?"
UNINSTALL_DONE = "Uninstall Complete"
CLIENT = "kestrelnet-client"
# The environment of a start by the session.
QUIET_START = {"KESTRELNET_QUIET_START": "1"}


def client_pids():
    return pids_of_program(CLIENT)


class Program:
    """One run, as a context manager. Leaving it kills the program if it still runs. `on_failure` is
    called before that if an exception was raised. `variables` are added to the environment."""

    def __init__(self, path, *arguments, on_failure=lambda: None, stderr=subprocess.PIPE,
                 **variables):
        self._on_failure = on_failure
        self.tray, self.accessibility = Tray(), Accessibility()
        self._node = None
        try:
            self.process = subprocess.Popen([path, *arguments], stdin=subprocess.DEVNULL,
                                            stderr=stderr, text=True,
                                            env=dict(os.environ, **variables),
                                            preexec_fn=end_with_parent)
        except OSError as reason:
            raise NotSeen(f"{path} could not be started ({reason.strerror}).") from None

    def __enter__(self):
        return self

    def __exit__(self, failure, *_):
        if failure:
            self._on_failure()
        if not ended(self.process):
            self.process.kill()
        self.process.communicate()

    @property
    def pid(self):
        return self.process.pid

    def signal(self, number):
        self.process.send_signal(number)

    def wait(self, condition, failure, seconds=20):
        """As wait_until, but fails at once when the program ends."""
        def observed():
            if ended(self.process):
                raise NotSeen(f"The program has ended (status {self.process.returncode}). "
                              f"{failure} {self._messages()}")
            self.observe()
            return condition()
        return wait_until(observed, seconds, failure)

    def observe(self):
        """Called at each step of a wait; for subclasses."""

    def await_end(self, status=0, seconds=20):
        """Wait until the program has ended by itself, and return its standard error."""
        wait_until(lambda: ended(self.process), seconds, "The program does not end.")
        messages = self._messages()
        if self.process.returncode != status:
            raise NotSeen(f"The program ended with status {self.process.returncode}, not {status}. "
                          f"{messages}")
        return messages

    def _messages(self):
        return self.process.stderr.read() if self.process.stderr else ""

    # -- What is in view ---------------------------------------------------------------------

    def window(self, title):
        self._node = self._node or self.accessibility.application(pid=self.pid)
        return self._node and self._node.window(title)

    def nodes(self, title):
        """All objects of the window that are on the screen; none if the window is not."""
        window = self.window(title)
        return window.showing() if window else []

    def texts(self, title=PANEL):
        return [name for name in (node.name() for node in self.nodes(title)) if name]

    def shows(self, text, title=PANEL):
        return any(text in shown for shown in self.texts(title))

    def item(self):
        """Its icon in the tray by D-Bus, or None while it is missing or blank."""
        item = self.tray.item_of(self.pid)
        return item if item and not item.is_blank() else None

    # -- Waiting -----------------------------------------------------------------------------

    def await_window(self, title=PANEL):
        return self.wait(lambda: self.window(title), f"There is no window \"{title}\".")

    def await_no_window(self, title=PANEL):
        self.wait(lambda: not self.window(title), f"The window \"{title}\" stays.")

    def await_front(self, title=PANEL):
        """Wait until the window is the active one and receives the keys, by the X server."""
        self.await_window(title)
        self.wait(lambda: screen.active_window_title() == title,
                  f"\"{title}\" does not come to the front.")

    def await_area(self, title=PANEL):
        """The window's area, once the X server shows it."""
        return self.wait(lambda: screen.window_area(title), f"\"{title}\" is not on the screen.")

    def await_text(self, text, title=PANEL):
        self.wait(lambda: self.shows(text, title), f"\"{title}\" does not show \"{text}\".")

    def await_item(self):
        return self.wait(self.item, "No icon was registered with the tray.")

    def await_tray(self):
        """The tray's area, once it shows an icon."""
        return self.wait(screen.tray_area, "The icon does not show in the tray.")

    def await_control(self, name, title=SETTINGS):
        """The first object of that name."""
        return self.wait(lambda: next((node for node in self.nodes(title) if node.name() == name),
                                      None), f"\"{title}\" has no \"{name}\".")

    # -- What a user does --------------------------------------------------------------------

    def press(self, name, title=PANEL, role=PUSH_BUTTON):
        """Click the control of that name, of any role if that is None."""
        def area():
            window = self.window(title)
            node = next((node for node in (window.showing() if window else [])
                         if node.name() == name and role in (None, node.role())), None)
            return node and screen.area_in(title, window, node)
        screen.click(self.wait(area, f"\"{title}\" has no \"{name}\" to click."))
        screen.park_pointer()

    def close_window(self, title):
        """By the button in its title bar."""
        screen.click(self.wait(lambda: screen.close_button_area(title),
                               f"\"{title}\" has no title bar to close it by."))
        self.await_no_window(title)

    def close_first_settings(self):
        """Without a key, the settings window opens with the first panel. Close it."""
        self.await_window(SETTINGS)
        self.close_window(SETTINGS)

    def freeze(self):
        self.signal(signal.SIGSTOP)
        wait_until(lambda: self._state() == "T", 10, "The program does not stop.")

    def _state(self):
        with open(f"/proc/{self.pid}/stat", encoding="ascii") as file:
            return file.read().rpartition(") ")[2][0]
