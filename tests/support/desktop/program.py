# SPDX-License-Identifier: MIT
"""The application under test, as the desktop around it sees it."""

import os
import signal
import subprocess

import screen
from accessibility import Accessibility
from process import end_with_parent, ended
from tray import Tray
from waiting import NotSeen, wait_until

PANEL = "Kestrelnet VPN"
SETTINGS = "Kestrelnet Settings"


class Program:
    """One run, from its start to its end. A context manager; at the end of it the program is
    killed when it still runs. `on_failure` is called before that when something has failed."""

    def __init__(self, path, *arguments, on_failure=lambda: None, **variables):
        self._on_failure = on_failure
        self.tray, self.accessibility = Tray(), Accessibility()
        self._node = None
        self.process = subprocess.Popen([path, *arguments], stdin=subprocess.DEVNULL,
                                        stderr=subprocess.PIPE, text=True,
                                        env=dict(os.environ, **variables),
                                        preexec_fn=end_with_parent)

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
        """As wait_until, for as long as the program runs."""
        def observed():
            if ended(self.process):
                raise NotSeen(f"The program has ended (status {self.process.returncode}). "
                              f"{failure} {self.process.stderr.read()}")
            return condition()
        return wait_until(observed, seconds, failure)

    def await_end(self, status=0, seconds=20):
        """Until it has ended by itself; return what it has said."""
        wait_until(lambda: ended(self.process), seconds, "The program does not end.")
        said = self.process.stderr.read()
        if self.process.returncode != status:
            raise NotSeen(f"The program ended with status {self.process.returncode}, not {status}. "
                          f"{said}")
        return said

    # -- What is in view ---------------------------------------------------------------------

    def window(self, title):
        self._node = self._node or self.accessibility.application(pid=self.pid)
        return self._node and self._node.window(title)

    def texts(self, title=PANEL):
        window = self.window(title)
        return window.texts() if window else []

    def shows(self, text, title=PANEL):
        return any(text in shown for shown in self.texts(title))

    def item(self):
        """Its icon in the tray by D-Bus, once there is something to see; or None."""
        item = self.tray.item_of(self.pid)
        return item if item and not item.is_blank() else None

    # -- What a person does ------------------------------------------------------------------

    def await_window(self, title=PANEL):
        return self.wait(lambda: self.window(title), f"There is no window \"{title}\".")

    def await_no_window(self, title=PANEL):
        self.wait(lambda: not self.window(title), f"The window \"{title}\" stays.")

    def await_item(self):
        return self.wait(self.item, "No icon was registered with the tray.")

    def press(self, name, title=PANEL):
        def place():
            window = self.window(title)
            found = window.buttons(name) if window else []
            return found and screen.area_in(title, window, found[0])
        screen.click(self.wait(place, f"\"{title}\" has no button \"{name}\"."))
        screen.park_pointer()

    def freeze(self):
        self.signal(signal.SIGSTOP)
        wait_until(lambda: self._state() == "T", 10, "The program does not stand still.")

    def _state(self):
        with open(f"/proc/{self.pid}/stat", encoding="ascii") as file:
            return file.read().rpartition(") ")[2][0]
