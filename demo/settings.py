# SPDX-License-Identifier: MIT
"""The parts of the walks that lead through the settings window."""

import os
import subprocess

from application import say
from files import autostart_entry
from pictures import Portraits
from program import PANEL, SETTINGS, UNINSTALL_CONFIRMATION, UNINSTALL_DONE
from waiting import NotSeen

LAST_BUTTON = "Uninstall Kestrelnet..."


def await_text(app, text):
    app.wait(lambda: text in app.texts(SETTINGS), f"\"{SETTINGS}\" does not show \"{text}\".")


def without_key(app, portraits):
    """The window that opens by itself at the first start."""
    portraits.take(SETTINGS, "settings-no-key")
    subprocess.run(["xdotool", "type", "dev_typed_by_hand"], check=True)
    app.press("Show", SETTINGS)
    await_text(app, "Hide")
    portraits.take(SETTINGS, "settings-key-shown")


def while_connected(app, portraits):
    app.open_settings()
    for text in ("Key saved", "Connected", "203.0.113.42", "Zurich", "Disconnect"):
        await_text(app, text)
    portraits.take(SETTINGS, "settings")
    app.scroll_to(SETTINGS, LAST_BUTTON)
    portraits.take(SETTINGS, "settings-end")
    app.close_window(SETTINGS)


def start_at_login(app):
    """Switch it on, and off again."""
    for is_on in (True, False):
        say(f"switching start at login {'on' if is_on else 'off'}")
        app.press("Start at login", SETTINGS, role=None)
        app.wait(lambda is_on=is_on: os.path.exists(autostart_entry()) == is_on,
                 "The autostart entry does not follow the switch.")


def with_nothing_installed(app, pictures, appearance):
    """No helper and no client, with "Connect automatically" on from an earlier installation."""
    portraits = Portraits(app, pictures, appearance)
    app.open_panel()
    app.dismiss_helper_offer(pictures)
    app.open_settings()
    for text in ("Not installed", "Not found", "Install the client binary first:",
                 "Install the helper first to enable auto-connect (no password prompt)"):
        await_text(app, text)
    portraits.take(SETTINGS, "settings-nothing-installed")
    app.scroll_to(SETTINGS, LAST_BUTTON)
    portraits.take(SETTINGS, "settings-nothing-installed-end")
    app.scroll_to(SETTINGS, "Connect", down=False)
    say("connecting without a client")
    app.press("Connect", SETTINGS)
    await_text(app, "Error")
    portraits.take(SETTINGS, "settings-error")
    app.close_window(SETTINGS)
    app.open_panel()
    app.await_status("Error")
    portraits.take(PANEL, "panel-error")


def uninstall(app, portraits):
    """Uninstall with start at login on, and end the program."""
    app.open_settings()
    app.press("Start at login", SETTINGS, role=None)
    app.wait(lambda: os.path.exists(autostart_entry()), "There is no autostart entry.")
    app.scroll_to(SETTINGS, LAST_BUTTON)
    say("uninstalling")
    app.press(LAST_BUTTON, SETTINGS)
    app.await_window(UNINSTALL_CONFIRMATION)
    portraits.take(UNINSTALL_CONFIRMATION, "settings-confirm")
    app.press("Uninstall", UNINSTALL_CONFIRMATION)
    app.await_window(UNINSTALL_DONE)
    portraits.take(UNINSTALL_DONE, "settings-done")
    if os.path.exists(autostart_entry()):
        raise NotSeen("The autostart entry is still there.")
    app.press("Quit", UNINSTALL_DONE)
    app.await_end()
