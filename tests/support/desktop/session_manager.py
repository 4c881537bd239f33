# SPDX-License-Identifier: MIT
"""A session manager of the desktop, with which a test logs out."""

import glob
import os
import subprocess

from process import end_with_parent, ended
from waiting import wait_until

SESSION = """<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-session" version="1.0">
  <property name="general" type="empty">
    <property name="FailsafeSessionName" type="string" value="Failsafe"/>
    <property name="SaveOnExit" type="bool" value="false"/>
  </property>
  <property name="sessions" type="empty">
    <property name="Failsafe" type="empty">
      <property name="IsFailsafe" type="bool" value="true"/>
      <property name="Count" type="int" value="1"/>
      <property name="Client0_Command" type="array">
        <value type="string" value="sh"/>
        <value type="string" value="-c"/>
        <value type="string" value="{command}"/>
      </property>
      <property name="Client0_PerScreen" type="bool" value="false"/>
    </property>
  </property>
</channel>
"""


def hide_installed_autostart():
    """Keep the session from starting what installed programs start in each session."""
    own = os.path.join(os.environ["XDG_CONFIG_HOME"], "autostart")
    os.makedirs(own, exist_ok=True)
    for path in glob.glob("/etc/xdg/autostart/*.desktop"):
        with open(os.path.join(own, os.path.basename(path)), "w", encoding="utf-8") as file:
            file.write("[Desktop Entry]\nType=Application\nHidden=true\n")


class Session:
    """A session manager, as a context manager. One of its clients writes its address to a file."""

    def __enter__(self):
        hide_installed_autostart()
        folder = os.path.join(os.environ["XDG_CONFIG_HOME"], "xfce4/xfconf/xfce-perchannel-xml")
        os.makedirs(folder, exist_ok=True)
        address_file = os.path.join(os.environ["HOME"], "session-manager")
        with open(os.path.join(folder, "xfce4-session.xml"), "w", encoding="utf-8") as file:
            file.write(SESSION.format(command=f'printf %s "$SESSION_MANAGER" >{address_file}'
                                      .replace('"', "&quot;").replace(">", "&gt;")))
        self._process = subprocess.Popen(["xfce4-session"], stdin=subprocess.DEVNULL,
                                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                         preexec_fn=end_with_parent)

        def address():
            try:
                with open(address_file, encoding="utf-8") as file:
                    return file.read()
            except FileNotFoundError:
                return None
        self.address = wait_until(address, 30, "The session did not begin.")
        return self

    def __exit__(self, *_):
        self._process.terminate()
        wait_until(lambda: ended(self._process), 20, "The session does not end.")

    def log_out(self):
        subprocess.run(["xfce4-session-logout", "--logout", "--fast"], check=True)
