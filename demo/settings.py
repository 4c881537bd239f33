# SPDX-License-Identifier: MIT
"""The walks' ways through the settings window."""

import os
import subprocess

from application import PANEL, SETTINGS, say
from pictures import Portraits
from waiting import NotSeen, wait_until

CONFIRM = "Uninstall Kestrelnet?"
DONE = "Uninstall Complete"
LAST = "Uninstall Kestrelnet..."

SETTINGS_FILE = """[General]
kestrelnet_api_key=dev_demonstration
kestrelnet_auto_connect={auto_connect}
"""


def entry():
    return os.path.join(os.environ["XDG_CONFIG_HOME"], "autostart/com.kestrelnetvpn.app.desktop")


def await_settings_text(app, text, failure):
    app.wait(lambda: (window := app.window(SETTINGS)) and text in window.texts(), 15, failure)


def open_from_panel(app):
    app.press("Settings...")
    app.await_settings("\"Settings...\" did not open the settings window.")


def without_key(app, portraits):
    """The window as it opens by itself at the first start."""
    portraits.take(SETTINGS, "settings-no-key")
    subprocess.run(["xdotool", "type", "dev_typed_by_hand"], check=True)
    app.press("Show", SETTINGS)
    await_settings_text(app, "Hide", "The key is not shown.")
    portraits.take(SETTINGS, "settings-key-shown")


def while_connected(app, portraits):
    open_from_panel(app)
    for text in ("Key saved", "Connected", "203.0.113.42", "Zurich", "Disconnect"):
        await_settings_text(app, text, f"The settings window does not show \"{text}\".")
    portraits.take(SETTINGS, "settings")
    app.scroll_to(SETTINGS, LAST)
    portraits.take(SETTINGS, "settings-end")
    app.close_settings()


def start_at_login(app):
    """On, and off again."""
    for is_on in (True, False):
        say(f"switching start at login {'on' if is_on else 'off'}")
        app.press_any(SETTINGS, "Start at login")
        app.wait(lambda is_on=is_on: os.path.exists(entry()) == is_on, 10,
                 "The autostart entry does not follow the switch.")


def with_nothing_installed(app, pictures, appearance):
    """No helper and no client, and the wish to connect automatically from better days."""
    portraits = Portraits(app, pictures, appearance)
    app.open_panel()
    app.dismiss_helper_offer(pictures)
    open_from_panel(app)
    for text in ("Not installed", "Not found", "Install the client binary first:",
                 "Install the helper first to enable auto-connect (no password prompt)"):
        await_settings_text(app, text, f"The settings window does not show \"{text}\".")
    portraits.take(SETTINGS, "settings-nothing-installed")
    app.scroll_to(SETTINGS, LAST)
    portraits.take(SETTINGS, "settings-nothing-installed-end")
    app.scroll_to(SETTINGS, "Connect", down=False)
    say("connecting without a client")
    app.press("Connect", SETTINGS)
    await_settings_text(app, "Error", "The settings window does not show the error.")
    portraits.take(SETTINGS, "settings-error")
    app.close_settings()
    app.open_panel()
    app.await_status("Error")
    portraits.take(PANEL, "panel-error")


def write_settings(auto_connect):
    path = os.path.join(os.environ["XDG_CONFIG_HOME"], "com.kestrelnetvpn.app.conf")
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(SETTINGS_FILE.format(auto_connect=str(auto_connect).lower()))


def uninstall(app, portraits):
    """To its end, and out."""
    open_from_panel(app)
    app.press_any(SETTINGS, "Start at login")
    app.wait(lambda: os.path.exists(entry()), 10, "There is no autostart entry.")
    app.scroll_to(SETTINGS, LAST)
    say("uninstalling")
    app.press(LAST, SETTINGS)
    app.wait(lambda: app.window(CONFIRM), 10, "Nobody asks whether to uninstall.")
    portraits.take(CONFIRM, "settings-confirm")
    app.press("Uninstall", CONFIRM)
    app.wait(lambda: app.window(DONE), 20, "Nothing says that the uninstall is complete.")
    portraits.take(DONE, "settings-done")
    if os.path.exists(entry()):
        raise NotSeen("The autostart entry is still there.")
    app.press("Quit", DONE)
    wait_until(lambda: app.process.poll() is not None, 10, "The program did not end.")
