#!/bin/bash -p
# SPDX-License-Identifier: MIT
# A tunnel client for Kestrelnet. Runs as root. docs/client.md is the contract that it follows.
#
# The device key names the profile: dev_NAME stands for /etc/kestrelnet/NAME.conf.

set -u
export PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C
umask 077
# Messages of the shell and of the tools are not for the panel.
exec 2>/dev/null
# The application may have ended; then writing must not end this process before it has cleaned up.
trap '' PIPE

profiles=/etc/kestrelnet
state=/run/kestrelnet
device=kestrelnet
# Routing table and packet mark of a full tunnel, unless the profile sets a mark.
own_mark=19270
# How long a reason stays in the panel before the application replaces it.
reason_seconds=5
takeover_seconds=5
# Events are lines in a FIFO: messages of the tools, and these two, from another client and from
# a signal to end.
takeover_request="kestrelnet: take over"
stop_request="kestrelnet: stop"
# Set while a reason is shown.
is_undone=

# One write per line. Nobody may be reading.
say() { printf '%s\n' "$*" || :; }

# fail REASON: tells the reason, without words that the application reads as a status, and ends.
# The application shows its own message once this process has ended, so the reason is shown for a
# few seconds first, and kept in the system's log.
fail() {
    local reason=$* end
    reason=${reason//[Ee]rror/problem}
    reason=${reason//failed/did not succeed}
    reason=${reason//server:/server}
    undo
    say "$reason"
    timeout 1 logger -p daemon.notice -t kestrelnet-client -- "$reason" >/dev/null
    # Another client may begin.
    exec 9>&-
    [[ $holds_lock ]] || sleep "$reason_seconds"
    is_undone=yes
    end=$((SECONDS + reason_seconds))
    while [[ $holds_lock ]] && ((SECONDS < end)); do
        next_event 1
    done
    exit 1
}

# finish FAREWELL: undoes the tunnel and ends.
finish() {
    [[ ! $is_undone ]] || exit 1
    undo
    say "$*"
    exit 0
}

need() {
    local tool
    for tool in "$@"; do
        [[ $(type -P "$tool") ]] || fail "The program $tool is missing; install it."
    done
}

# tool COMMAND...: runs it without the descriptors of the lock and of the events. A process that it
# leaves behind would keep the lock.
tool() { "$@" </dev/null 8>&- 9>&-; }

# Whether only root can change the file or folder.
belongs_to_root() {
    local facts
    facts=$(stat --format '%u %04a' -- "$1") || return 1
    [[ ! -L $1 && $facts == '0 '*[0145][0145] ]]
}

# Sets `name` and `profile`.
find_profile() {
    name=${DEVICE_API_KEY-}
    [[ $name =~ ^dev_[A-Za-z0-9_-]+$ ]] ||
        fail "The device key must be dev_ and the name of a profile: letters, digits, _ and -."
    name=${name#dev_}
    profile=$profiles/$name.conf
    [[ -e $profile ]] || fail "There is no profile $profile."
    [[ -f $profile ]] || fail "The profile $profile is not a file."
    local path
    for path in "$profiles" "$profile"; do
        belongs_to_root "$path" ||
            fail "$path must belong to root, and nobody else may be able to write to it."
    done
    unset -v DEVICE_API_KEY AUTH_URL RELAY_ADDR
}

# Takes the lock that one client at a time holds. Asks a client that holds it to end.
take_lock() {
    local end=$((SECONDS + takeover_seconds))
    mkdir -p "$state" && belongs_to_root "$state" || fail "The folder $state cannot be used."
    exec 9>"$state/lock"
    until flock -n 9; do
        ((SECONDS <= end)) || fail "Another client is running and does not end."
        # Opened for both directions, which does not wait for a reader.
        [[ ! -p $state/events ]] || echo "$takeover_request" 1<>"$state/events"
        sleep 0.05
    done
    holds_lock=yes
    rm -f "$state/events"
    mkfifo "$state/events"
    exec 8<>"$state/events"
}

# The beginning of an event: when the time is over in the middle of a line, "read" returns that.
beginning=

# next_event SECONDS: sets `event` to the next line, or to nothing when the time is over. Ends when a
# signal or another client has asked for it.
next_event() {
    local part
    event=
    if IFS= read -rt "$1" -u 8 part; then
        event=$beginning$part
        beginning=
    else
        beginning+=$part
    fi
    [[ $event != "$stop_request" ]] || finish "The tunnel is closed."
    [[ $event != "$takeover_request" ]] || finish "Another connection takes over."
}

# await_process PID SECONDS: waits for it, and returns its status, or 124 when the time is over.
await_process() {
    local end=$((SECONDS + $2))
    while kill -0 "$1"; do
        ((SECONDS <= end)) || return 124
        next_event 0.02
    done
    wait "$1"
}

# end_process PID SECONDS: sends SIGTERM, and SIGKILL when the time is over.
end_process() {
    local left=$(($2 * 20))
    kill -TERM "$1" || return 0
    while kill -0 "$1"; do
        ((left-- > 0)) || kill -KILL "$1"
        sleep 0.05
    done
}

# Removes what a tunnel has left, also after SIGKILL: the device with its routes, rules, the firewall's
# table, name servers, and the routes that are recorded. The file "in-use" says that there may be some.
clear_network() {
    local mark=$own_mark family route
    [[ ! -s $state/mark ]] || mark=$(<"$state/mark")
    for family in -4 -6; do
        while ip "$family" rule delete table "$mark"; do
            ip "$family" rule delete table main suppress_prefixlength 0
        done
    done
    if [[ $(type -P nft) ]]; then
        nft list tables | sed -n "s/^table .* wg-quick-$device\$/delete &/p" | nft -f -
    fi
    ip link delete dev "$device"
    if [[ -s $state/routes ]]; then
        while read -r route; do
            # shellcheck disable=SC2086 # the words of a route
            ip route delete $route
        done <"$state/routes"
    fi
    if [[ -e $state/dns && $(type -P resolvconf) ]]; then
        local entry
        for entry in "$device" "tun.$device" "$device.openvpn"; do
            tool resolvconf -f -d "$entry" >/dev/null
        done
        # A resolvconf that was killed while it wrote can have lost the servers it should restore.
        if [[ -f /etc/resolv.conf && ! -L /etc/resolv.conf && -s $state/dns ]] &&
            ! grep -q '^nameserver' /etc/resolv.conf; then
            cat "$state/dns" >/etc/resolv.conf
        fi
    fi
    rm -f "$state"/{mark,routes,dns,output,commands,management,"$device.conf",in-use}
}

holds_lock=
# Undoes what this client has done. A client that does not hold the lock has done nothing.
undo() {
    [[ $holds_lock ]] || return 0
    undo_tunnel
    clear_network
}

# run WORK: takes the lock and runs the function WORK, which makes the tunnel and never returns, in a
# process of its own. bash runs the handler of a signal inside "read", and cuts it short when the time
# of the read is over. So the process that gets the signals only waits, and passes them on as events.
run() {
    ((EUID == 0)) || fail "This client must run as root."
    find_profile
    take_lock
    [[ ! -e $state/in-use ]] || clear_network
    : >"$state/in-use"
    "$1" &
    local worker=$! status
    exec 9>&-
    trap 'echo "$stop_request" >&8' TERM INT HUP
    while :; do
        wait "$worker"
        status=$?
        kill -0 "$worker" || exit "$status"
    done
}
