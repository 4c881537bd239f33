# -- OpenVPN -------------------------------------------------------------------------------------

# How long the first connection may take.
connect_seconds=20

run_copy=$state/$device.conf
vpn=

undo_tunnel() {
    # Before its connection, so that it does not take its loss for a request.
    [[ ! $vpn ]] || end_process "$vpn" 1
    vpn=
}

# Without what would take the process or its output away from this client.
write_run_copy() {
    sed -E '/^[[:space:]]*(daemon|syslog|log|log-append|verb|mute|writepid|dev|dev-node|management[a-z-]*)([[:space:]]|$)/d' \
        "$profile" >"$run_copy"
}

has_option() { grep -qE "^[[:space:]]*$1([[:space:]]|\$)" "$profile"; }

# Sets `dns` to the options that apply the server's name servers, in the way of this system.
choose_dns() {
    local script=
    dns=()
    if [[ -x /etc/openvpn/update-systemd-resolved && -d /run/systemd/resolve ]]; then
        script=/etc/openvpn/update-systemd-resolved
    elif [[ -x /etc/openvpn/update-resolv-conf && $(type -P resolvconf) ]]; then
        script=/etc/openvpn/update-resolv-conf
        cat /etc/resolv.conf >"$state/dns"
    fi
    # The profile may have commands of its own.
    if [[ $script ]] && ! has_option up; then
        dns=(--script-security 2 --up "$script" --down "$script" --down-pre)
    fi
}

# Starts it. Its messages and those of its management interface become events.
start() {
    local type=tun
    [[ ! $(sed -nE 's/^[[:space:]]*dev(-type)?[[:space:]]+(tap).*/\2/p' "$profile") ]] || type=tap
    cd "$profiles" || fail "The folder $profiles cannot be used."
    # Defaults come before the profile, so that it can change them.
    openvpn --connect-retry 1 10 --server-poll-timeout 10 --ping 10 --ping-restart 30 \
        --config "$run_copy" --dev "$device" --dev-type "$type" --verb 3 --suppress-timestamps \
        ${dns[@]+"${dns[@]}"} --management "$state/management" unix --management-hold \
        --management-query-passwords </dev/null >&8 2>&1 8>&- 9>&- &
    vpn=$!
    local tries=0
    until [[ -S $state/management ]]; do
        # It has refused the profile, and the reason is among the events.
        kill -0 "$vpn" && ((++tries < 500)) || return 0
        sleep 0.01
    done
    # Opened for both directions, so that it does not end before the other side does.
    rm -f "$state/commands"
    mkfifo "$state/commands"
    exec 7<>"$state/commands"
    printf '%s\n' 'state on' 'hold off' 'hold release' >&7
    socat -b 4000 - "UNIX-CONNECT:$state/management" <&7 >&8 7>&- 8>&- 9>&- &
}

# The routes to the server itself, which do not lead into the tunnel, are not removed by the kernel
# when the device goes.
record_route() {
    local address
    [[ $1 =~ net_route_v[46]_add:\ ([0-9a-fA-F.:]+/[0-9]+)\ via\ ([0-9a-fA-F.:]+)\ dev\ ([^ ]+) ]] || return 0
    address=${BASH_REMATCH[1]}
    [[ ${BASH_REMATCH[3]} == "$device" ]] || echo "$address via ${BASH_REMATCH[2]}" >>"$state/routes"
}

tell_routes() {
    local kind="Split-tunnel routes:" networks
    networks=$(ip route show dev "$device"; ip -6 route show dev "$device")
    networks=$(awk '$1 !~ /^fe80:|^ff00:/ { printf "%s%s", comma, $1; comma = ", " }' <<<"$networks")
    [[ ", $networks" != *', 0.0.0.0/1'* && ", $networks" != *', default'* && ", $networks" != *', ::/3'* ]] || kind="Full-tunnel:"
    say "$kind $networks"
}

# state DESCRIPTION DETAIL
handle_state() {
    case $1 in
    GET_CONFIG | ASSIGN_IP)
        [[ $is_related ]] || say "Connected to relay $server"
        is_related=yes
        ;;
    CONNECTED)
        [[ $2 == SUCCESS ]] || fail "The routes of the tunnel could not be set."
        is_connected=yes
        tell_routes
        ;;
    RECONNECTING)
        if [[ $is_connected ]]; then
            say "Reconnecting: $server does not answer ($2)."
        elif [[ $2 == tls-error ]]; then
            fail "$server and $profile do not accept each other's certificate or key."
        fi
        ;;
    EXITING)
        ended "$2"
        ;;
    esac
}

ended() {
    [[ $is_connected ]] && fail "openvpn has ended: ${1:-no reason given}."
    fail "openvpn has ended: ${1:-${reason:-no reason given}}."
}

handle_event() {
    case $event in
    '>STATE:'*)
        local fields
        IFS=, read -ra fields <<<"$event"
        handle_state "${fields[1]-}" "${fields[2]-}"
        ;;
    '>PASSWORD:Need'*)
        fail "$profile asks for a password. Write it to a file and name that in the profile."
        ;;
    '>PASSWORD:Verification Failed'*)
        fail "$server does not accept the user name or the password."
        ;;
    *net_route_v[46]_add:*) record_route "$event" ;;
    *'annot resolve host address'*) reason="the name of the server cannot be resolved" ;;
    'Options error: '*) reason=${reason:-${event#Options error: }} ;;
    *'/dev/net/tun'*) reason="/dev/net/tun cannot be used" ;;
    *'Cannot load'* | *'error reading'*) reason=${event%% (*} ;;
    esac
}

make_tunnel() {
    local deadline
    need ip openvpn socat
    [[ -c /dev/net/tun ]] || fail "There is no /dev/net/tun."
    server=$(sed -nE 's/^[[:space:]]*remote[[:space:]]+([A-Za-z0-9.:_-]+).*/\1/p' "$profile" | head -n 1)
    [[ $server ]] || fail "$profile names no remote."
    say "Discovered home server: $server (profile $name)"
    is_related=
    is_connected=
    reason=
    write_run_copy
    choose_dns
    start
    deadline=$((SECONDS + connect_seconds))
    while :; do
        next_event 1
        if [[ $event ]]; then
            handle_event
        elif ! kill -0 "$vpn"; then
            ended ""
        fi
        [[ $is_connected ]] || ((SECONDS <= deadline)) ||
            fail "${reason:+$reason: }no connection to $server in $connect_seconds seconds."
    done
}

run make_tunnel
