# SPDX-License-Identifier: MIT
"""What the tunnel tests share: root's hands, the application with its panel, and the checks."""

import json
import os
import socket
import subprocess
import sys
import time

import screen
from files import write_settings
from process import ended
from program import HELPER_OFFER, PANEL, QUIET_START, Program
from waiting import NotSeen, wait_until

APPLICATION = "/usr/bin/kestrelnet"
KEY = "dev_home-zurich"
SERVER = "198.51.100.2"
OTHER = "198.51.100.9"
USER = "192.0.2.2"
STATUSES = ("Disconnected", "Connecting...", "Connected", "Reconnecting...", "Error")


def as_root(command, check=True):
    """The output of a shell command that root runs with the functions of network.bash."""
    with socket.socket(socket.AF_UNIX) as hands:
        hands.connect("/run/hands")
        hands.sendall(json.dumps(command).encode() + b"\n")
        with hands.makefile() as reply:
            status, output = json.loads(reply.read())
    if check and status != 0:
        raise NotSeen(f"root's command \"{command}\" did not work: {output}")
    return output


def run_processes():
    return [tuple(line.split()) for line in as_root("run_processes").splitlines()]


def await_nothing_runs(seconds=10):
    wait_until(lambda: not run_processes(), seconds,
               "Processes of a run are left.")


def fetch(url, seconds=5):
    """What the web server answers, or None."""
    done = subprocess.run(["curl", "--silent", "--max-time", str(seconds), url],
                          capture_output=True, check=False)
    return done.stdout if done.returncode == 0 else None


class Checks:
    """Counts what holds and what does not."""

    def __init__(self):
        self.passed = self.failed = 0
        self._started = time.monotonic()

    def note(self, holds, text):
        self.passed += bool(holds)
        self.failed += not holds
        print(f"[{time.monotonic() - self._started:5.1f} s] "
              f"{'passed' if holds else 'FAILED'}: {text}", flush=True)

    def same_network(self, before, text):
        """Whether everything of the network is as before; waits for what the kernel does late."""
        try:
            wait_until(lambda: as_root("network_state") == before, 5, "")
            self.note(True, text)
        except NotSeen:
            after = as_root("network_state")
            changes = set(before.splitlines()) ^ set(after.splitlines())
            self.note(False, f"{text}; it differs in {sorted(changes)}")


class App(Program):
    """One run of the application, with its panel open."""

    def __init__(self, on_failure, key=KEY, offers_helper=False, **variables):
        write_settings(key, auto_connect=False)
        # A file: nobody reads a pipe while the program runs.
        self.messages = open("/tmp/application.log", "a", encoding="utf-8")
        super().__init__(APPLICATION, on_failure=on_failure, stderr=self.messages,
                         **QUIET_START, **variables)
        try:
            self.await_item()
            screen.click(self.await_tray())
            self.await_window(PANEL)
            self.await_area(PANEL)
            screen.park_pointer()
            if offers_helper:
                self.await_window(HELPER_OFFER)
                self.press("Later", HELPER_OFFER)
                self.await_no_window(HELPER_OFFER)
        except BaseException:
            self.__exit__(*sys.exc_info())
            raise

    def __exit__(self, failure, *rest):
        super().__exit__(failure, *rest)
        self.messages.close()

    def status(self):
        plain = (text.removeprefix("Status: ") for text in self.texts())
        return next((text for text in plain if text in STATUSES), None)

    def await_status(self, status, seconds=20):
        try:
            self.wait(lambda: self.status() == status, "", seconds)
        except NotSeen:
            raise NotSeen(f"The status is \"{self.status()}\", not \"{status}\"; the panel shows "
                          f"{self.texts()}") from None

    def connect(self, address=SERVER, seconds=30):
        """Press Connect and wait for the exit IP. Returns the time that this has taken."""
        area = self.wait(lambda: self._area("Connect"), "There is no \"Connect\".")
        begin = time.monotonic()
        screen.click(area)
        self.await_exit(address, seconds)
        taken = time.monotonic() - begin
        screen.park_pointer()
        return taken

    def _area(self, name):
        window = self.window(PANEL)
        node = next((node for node in (window.showing() if window else []) if node.name() == name),
                    None)
        return node and screen.area_in(PANEL, window, node)

    def await_exit(self, address, seconds=30):
        try:
            self.wait(lambda: f"Exit IP: {address}" in self.texts(), "", seconds)
        except NotSeen as reason:
            if ended(self.process):
                raise
            raise NotSeen(f"The exit IP is not {address}; the panel shows {self.texts()}"
                          f"{reason}") from None

    def disconnect(self):
        self.press("Disconnect")
        self.await_status("Disconnected")

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.pid}/fd"))

    def threads(self):
        return len(os.listdir(f"/proc/{self.pid}/task"))
