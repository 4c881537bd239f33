# SPDX-License-Identifier: MIT
# polkit, and a session of a user in which it may ask for a password. Sourced, by root, in a world of
# the test's own. The caller sets `person` and `session`.

polkit_support=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd -P)

has_polkit() {
    dbus-send --system --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus.GetNameOwner string:org.freedesktop.PolicyKit1 >/dev/null 2>&1
}

# Writes the files of the login service. polkit finds the session of a process by the name of its
# control group, and reads the rest from these files.
register_session() {
    local uid
    uid=$(id -u "$person")
    mkdir -p /run/systemd/{users,sessions,seats} "/run/user/$uid" \
        "/sys/fs/cgroup/user.slice/session-$session.scope"
    chown "$person:$person" "/run/user/$uid"
    chmod 700 "/run/user/$uid"
    printf '%s\n' "NAME=$person" STATE=active "RUNTIME=/run/user/$uid" "DISPLAY=$session" \
        "SESSIONS=$session" "ACTIVE_SESSIONS=$session" "ONLINE_SESSIONS=$session" \
        >"/run/systemd/users/$uid"
    printf '%s\n' "UID=$uid" "USER=$person" ACTIVE=1 IS_DISPLAY=1 STATE=active REMOTE=0 TYPE=x11 \
        CLASS=user SEAT=seat0 LEADER=1 >"/run/systemd/sessions/$session"
    printf '%s\n' IS_VT=1 "ACTIVE=$session" "ACTIVE_UID=$uid" "SESSIONS=$session" "UIDS=$uid" \
        >/run/systemd/seats/seat0
}

# repeat COMMAND...: until it succeeds, at most for 20 s.
repeat_until() {
    local tries
    for ((tries = 0; tries < 400; ++tries)); do
        "$@" && return
        sleep 0.05
    done
    echo "this does not come true: $*" >&2
    return 1
}

# in_session COMMAND...: runs it as the user in the session, with a new environment.
in_session() { "$polkit_support/in-session" "$person" "$session" "$@"; }

# With an agent that enters the password "right".
start_polkit() {
    mkdir -p /run/dbus
    dbus-daemon --system --nofork --nopidfile 2>/dev/null &
    repeat_until test -S /run/dbus/system_bus_socket
    /usr/lib/polkit-1/polkitd --no-debug >/dev/null 2>&1 &
    repeat_until has_polkit
    in_session "$polkit_support/authentication-agent" "$session" "$person" right \
        >/tmp/agent.log 2>&1 &
    repeat_until grep -qs registered /tmp/agent.log
}
