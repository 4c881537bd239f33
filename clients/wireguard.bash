# -- WireGuard -----------------------------------------------------------------------------------

# How long to wait for the first handshake, and then for the first answer through the tunnel. A
# server that gets data and has none to send answers by itself after 10 s.
handshake_seconds=15
traffic_seconds=15
# While connected: the time between two looks, each with a probe when nothing has been received, and
# the number of probes without an answer after which the connection counts as lost. WireGuard makes
# a new handshake after 15 s without an answer.
interval=4
lost_after=3

run_copy=$state/$device.conf
setup=

# The value of a setting of the profile; all values, when it is repeated.
setting() { sed -nE "s/^[[:space:]]*$1[[:space:]]*=[[:space:]]*([^#]*[^#[:space:]]).*/\1/Ip" "$profile"; }

undo_tunnel() {
    [[ ! $setup ]] || end_process "$setup" 1
    setup=
    # With the profile's own commands for the end. Without its device this does nothing.
    [[ ! -e $run_copy ]] || tool timeout -k 0.2 1.2 wg-quick down "$run_copy" >/dev/null
}

# wg-quick names the device after the file, and reads the mark of a full tunnel from it.
write_run_copy() {
    local mark
    mark=$(setting FwMark)
    if [[ $mark =~ ^(0x[0-9a-fA-F]+|[0-9]+)$ ]] && ((mark != 0)); then
        echo $((mark)) >"$state/mark"
        cat -- "$profile" >"$run_copy"
    else
        echo "$own_mark" >"$state/mark"
        sed -E "/^[[:space:]]*FwMark[[:space:]]*=/Id; s/^[[:space:]]*\[Interface\].*/&\nFwMark = $own_mark/I" \
            "$profile" >"$run_copy"
    fi
    [[ ! $(setting DNS) ]] || cat /etc/resolv.conf >"$state/dns"
}

# The output of the tool can contain a key, so it is not shown.
explain_setup() {
    case $(<"$state/output") in
    *'Key is not the correct length'* | *'not a valid base64'*) fail "A key in $profile is not valid." ;;
    *'Unrecognized'* | *'parsing'* | *'Invalid'*) fail "$profile is not a valid WireGuard profile." ;;
    *'/dev/net/tun'* | *'CreateTUN'*) fail "There is no /dev/net/tun, and the kernel has no WireGuard." ;;
    *'Unknown device type'* | *'not supported'*)
        [[ $(type -P wireguard-go) ]] ||
            fail "The kernel has no WireGuard, and wireguard-go is not installed."
        [[ -c /dev/net/tun ]] || fail "There is no /dev/net/tun, and the kernel has no WireGuard." ;;
    esac
    fail "wg-quick could not set up the tunnel of $profile."
}

set_up() {
    local status=0
    wg-quick up "$run_copy" </dev/null &>"$state/output" 8>&- 9>&- &
    setup=$!
    await_process "$setup" "$handshake_seconds" || status=$?
    ((status != 124)) || fail "wg-quick did not set up the tunnel in $handshake_seconds seconds."
    setup=
    ((status == 0)) || explain_setup
}

# Sets `handshake`, the time of the latest one, 0 without any, and `received`, in bytes, without the
# answers to the handshakes.
look() {
    local key shared endpoint allowed at in out keepalive
    handshake=0
    received=0
    {
        read -r _
        while read -r key shared endpoint allowed at in out keepalive; do
            ((at <= handshake)) || handshake=$at
            ((at == 0)) || ((received += in - 92))
        done
    } < <(tool wg show "$device" dump)
}

# first_address NETWORK: prints the address of its first host.
first_address() {
    local address=${1%/*} length=${1#*/} number part
    if [[ $address == *:* ]]; then
        [[ $address == *:: ]] && address+=1
    elif ((length < 32)); then
        number=0
        for part in ${address//./ }; do
            number=$((number << 8 | part))
        done
        number=$(((number & ~((1 << (32 - length)) - 1)) + 1))
        address=$((number >> 24)).$((number >> 16 & 255)).$((number >> 8 & 255)).$((number & 255))
    fi
    echo "$address"
}

# Sets `probed` to addresses and ports that lie behind the tunnel: name servers of the profile, and
# others. Any server is likely to answer for one.
find_probes() {
    local candidate network name_servers
    name_servers=" $(setting DNS | tr ',\n' '  ') "
    probed=()
    for candidate in $name_servers $(
        setting AllowedIPs | tr ', ' '\n\n' | while read -r network; do
            [[ ! $network || $network == */0 ]] || first_address "$network"
        done
    ) $(tool wg show "$device" endpoints | sed -nE 's/.*\t\[?([0-9a-fA-F.:]+)\]?:[0-9]+$/\1/p'); do
        [[ $(ip route get "$candidate") == *" dev $device "* ]] || continue
        if [[ $name_servers == *" $candidate "* ]]; then
            probed+=("$candidate/53")
        else
            probed+=("$candidate/9")
        fi
        ((${#probed[@]} < 2)) || break
    done
    ((${#probed[@]})) || fail "The AllowedIPs of $profile lead nothing into the tunnel."
}

# A question for the root's name servers, which name servers answer. Elsewhere it is a datagram to the
# discard service; a refusal counts as an answer, but many systems send only one per second.
probe() {
    local target
    for target in "${probed[@]}"; do
        printf '\0\1\1\0\0\1\0\0\0\0\0\0\0\0\2\0\1' >"/dev/udp/$target"
    done
}

await_handshake() {
    local end=$((SECONDS + handshake_seconds))
    probe
    look
    until ((handshake > 0)); do
        ((SECONDS <= end)) || fail "No answer from $server in $handshake_seconds seconds: it cannot" \
            "be reached, or a key does not match."
        next_event 0.02
        look
    done
}

await_traffic() {
    local end=$((SECONDS + traffic_seconds)) again=$((SECONDS + 1))
    until ((received > 0)); do
        ((SECONDS <= end)) || fail "$server answers, but no traffic passes through the tunnel."
        if ((SECONDS >= again)); then
            probe
            again=$((SECONDS + 1))
        fi
        next_event 0.02
        look
    done
}

tell_routes() {
    local kind="Split-tunnel routes:" allowed
    allowed=$(setting AllowedIPs | tr '\n' ',')
    [[ $allowed != */0* ]] || kind="Full-tunnel:"
    say "$kind ${allowed%,}"
}

# Never returns.
watch() {
    local silent=0 last_received=$received last_handshake=$handshake
    local is_lost=
    while :; do
        next_event "$([[ $is_lost ]] && echo 1 || echo "$interval")"
        look
        if ((received > last_received)); then
            # After a restart of the server, its exit address may be another one.
            if [[ $is_lost ]] || ((silent > 1 && handshake > last_handshake)); then
                tell_routes
            fi
            is_lost=
            silent=0
            last_handshake=$handshake
        else
            ip link show dev "$device" >/dev/null || fail "The device of the tunnel has disappeared."
            ((++silent))
            if [[ ! $is_lost ]] && ((silent > lost_after)); then
                is_lost=yes
                say "Reconnecting: $server does not answer."
            fi
            probe
        fi
        last_received=$received
    done
}

make_tunnel() {
    need ip wg wg-quick nft sysctl
    [[ ! $(setting DNS) || $(type -P resolvconf) ]] ||
        fail "$profile sets DNS, which needs resolvconf; install openresolv."
    server=$(setting Endpoint | head -n 1)
    server=${server%:*}
    server=${server//[^A-Za-z0-9.:_-]/}
    [[ $server ]] || fail "$profile names no Endpoint."
    say "Discovered home server: $server (profile $name)"
    if [[ ! $server =~ ^[0-9a-fA-F.:]+$ ]]; then
        # wg-quick would try for minutes.
        timeout 5 getent ahosts "$server" </dev/null >/dev/null 8>&- 9>&- &
        await_process $! 6 || fail "The name $server cannot be resolved."
    fi
    write_run_copy
    set_up
    find_probes
    await_handshake
    say "Connected to relay $server"
    await_traffic
    tell_routes
    watch
}

run make_tunnel
