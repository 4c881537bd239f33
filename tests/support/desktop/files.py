# SPDX-License-Identifier: MIT
"""The application's files in the home folder of the desktop's user."""

import os

SETTINGS_FILE = """[General]
kestrelnet_api_key={key}
kestrelnet_auto_connect={auto_connect}
"""


def autostart_entry():
    return os.path.join(os.environ["XDG_CONFIG_HOME"], "autostart/com.kestrelnetvpn.app.desktop")


def settings_file():
    return os.path.join(os.environ["XDG_CONFIG_HOME"], "com.kestrelnetvpn.app.conf")


def write_settings(key, auto_connect):
    path = settings_file()
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(SETTINGS_FILE.format(key=key, auto_connect=str(auto_connect).lower()))
