# SPDX-License-Identifier: MIT
"""The application's actions, called from outside as scripts and launchers do."""

import subprocess

NAME = "com.kestrelnetvpn.app"


def call(action):
    """Starts the application if it does not run and the desktop knows it."""
    subprocess.run(["gapplication", "action", NAME, action], check=True)


def call_with(action, parameter):
    """The error message of a call with this parameter list; empty if it succeeds."""
    return subprocess.run(
        ["gdbus", "call", "--session", "--dest", NAME, "--object-path", "/com/kestrelnetvpn/app",
         "--method", "org.freedesktop.Application.ActivateAction", action, parameter, "{}"],
        stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, check=False).stderr
