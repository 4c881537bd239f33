# SPDX-License-Identifier: MIT
# What root does in the world of tests/tunnel/world: networks, servers, the installation. Sourced.

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd -P)
bundle=/usr/libexec/kestrelnet
person=person
session=c1
keys=/root/keys

# The addresses that the internet sees, and the web server.
user_address=192.0.2.2
server_address=198.51.100.2
other_address=198.51.100.9
web_address=203.0.113.80

in_server() { ip netns exec server "$@"; }
in_internet() { ip netns exec internet "$@"; }

# join LINK NAMESPACE NETWORK4 NETWORK6: connects the namespace ("" is the user's) to "internet".
# The internet has the addresses .1 and ::1 there, the namespace .2 and ::2.
join() {
    local inside=()
    [[ ! $2 ]] || inside=(-n "$2")
    ip -n internet link add "$1" type veth peer name uplink
    ip -n internet link set uplink netns "${2:-$$}"
    # No address that appears only after a while.
    ip "${inside[@]}" link set uplink addrgenmode none up
    ip -n internet link set "$1" up
    ip -n internet address add "$3.1/24" dev "$1"
    ip -n internet address add "$4::1/64" dev "$1" nodad
    ip "${inside[@]}" address add "$3.2/24" dev uplink
    ip "${inside[@]}" address add "$4::2/64" dev uplink nodad
    ip "${inside[@]}" route add default via "$3.1"
    ip "${inside[@]}" -6 route add default via "$4::1"
}

make_networks() {
    ip link set lo up
    ip netns add internet
    ip netns add server
    ip -n internet link set lo up
    ip -n server link set lo up
    in_internet sysctl -qw net.ipv4.ip_forward=1 net.ipv6.conf.all.forwarding=1
    in_server sysctl -qw net.ipv4.ip_forward=1 net.ipv6.conf.all.forwarding=1
    join to-user "" 192.0.2 2001:db8:1
    join to-server server 198.51.100 2001:db8:2
    ip -n server address add "$other_address/24" dev uplink
    ip -n internet address add "$web_address/32" dev lo
    ip -n internet address add 2001:db8:3::80/128 dev lo nodad
}

# start_web HOST: the web server, by the name of the exit IP service, HOST, and by web.test.
start_web() {
    local host=$1
    printf '%s\n' "$web_address $host" "$web_address web.test" "2001:db8:3::80 web6.test" >>/etc/hosts
    mkdir -m 700 /root/web
    "$root/demo/make-certificates" /root/web "$host" 2>/tmp/openssl.log
    "$root/demo/make-certificates" --trust /root/web /etc/ssl/certs
    ip netns exec internet setsid "$root/tests/tunnel/web-server" /root/web >/tmp/web.log 2>&1 &
    until grep -qs ready /tmp/web.log; do read -rt 0.05 <> <(:) || :; done
}

make_wireguard() {
    local server_key person_key
    server_key=$(wg genkey)
    person_key=$(wg genkey)
    cat >"$keys/server.conf" <<END
[Interface]
PrivateKey = $server_key
ListenPort = 51820
[Peer]
PublicKey = $(wg pubkey <<<"$person_key")
AllowedIPs = 10.66.0.2/32, fd00:66::2/128
END
    cat >/etc/kestrelnet/home-zurich.conf <<END
[Interface]
PrivateKey = $person_key
Address = 10.66.0.2/24, fd00:66::2/64
DNS = 10.66.0.1
[Peer]
PublicKey = $(wg pubkey <<<"$server_key")
AllowedIPs = 0.0.0.0/0, ::/0
Endpoint = $server_address:51820
END
    sed 's|^AllowedIPs.*|AllowedIPs = 10.66.0.0/24, 203.0.113.0/24|' \
        /etc/kestrelnet/home-zurich.conf >/etc/kestrelnet/office-split.conf
}

make_openvpn() {
    (
        cd "$keys"
        openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 \
            -subj /CN=authority -keyout authority.key -out authority.crt
        for name in server client; do
            openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj "/CN=$name" \
                -keyout $name.key -out $name.csr
            openssl x509 -req -days 2 -in $name.csr -CA authority.crt -CAkey authority.key \
                -CAcreateserial -out $name.crt -extfile <(printf 'keyUsage=digitalSignature\nextendedKeyUsage=%sAuth\n' $name)
        done
    ) 2>>/tmp/openssl.log
    cat >"$keys/server.conf" <<END
dev vpnserver
dev-type tun
proto udp4
local $server_address
topology subnet
server 10.66.0.0 255.255.255.0
server-ipv6 fd00:66::/64
push "redirect-gateway def1 ipv6"
push "dhcp-option DNS 10.66.0.1"
keepalive 1 4
duplicate-cn
ca $keys/authority.crt
cert $keys/server.crt
key $keys/server.key
dh none
END
    cat >/etc/kestrelnet/home-zurich.conf <<END
client
dev tun
proto udp4
remote $server_address 1194
nobind
remote-cert-tls server
<ca>
$(<"$keys/authority.crt")
</ca>
<cert>
$(openssl x509 -in "$keys/client.crt")
</cert>
<key>
$(<"$keys/client.key")
</key>
END
    {
        echo 'pull-filter ignore "redirect-gateway"'
        echo 'route 203.0.113.0 255.255.255.0'
        cat /etc/kestrelnet/home-zurich.conf
    } >/etc/kestrelnet/office-split.conf
}

# start_exit ADDRESS: the traffic of the tunnel leaves the server from ADDRESS.
start_exit() {
    in_server nft -f - <<END
table ip exit
delete table ip exit
table ip exit {
    chain post {
        type nat hook postrouting priority 100
        ip saddr 10.66.0.0/24 oifname "uplink" snat to $1
    }
}
table ip6 exit
delete table ip6 exit
table ip6 exit {
    chain post {
        type nat hook postrouting priority 100
        ip6 saddr fd00:66::/64 oifname "uplink" masquerade
    }
}
END
}

# start_server ADDRESS: starts the VPN, whose traffic leaves the server from ADDRESS.
start_server() {
    start_exit "$1"
    if [[ $VPN == wireguard ]]; then
        ip -n server link add vpnserver type wireguard 2>/dev/null ||
            in_server wireguard-go vpnserver >/tmp/wireguard-go.log 2>&1 </dev/null
        in_server wg setconf vpnserver "$keys/server.conf"
        ip -n server link set vpnserver up
        ip -n server address add 10.66.0.1/24 dev vpnserver
        ip -n server address add fd00:66::1/64 dev vpnserver nodad
    else
        ip netns exec server setsid openvpn --config "$keys/server.conf" </dev/null >>/tmp/server.log 2>&1 &
        echo $! >/run/vpn-server.pid
        disown
        local tries
        for ((tries = 0; tries < 200; ++tries)); do
            [[ ! $(ip -n server -br address show dev vpnserver up 2>/dev/null) ]] || break
            sleep 0.05
        done
    fi
    ip netns exec server setsid "$root/tests/tunnel/name-server" 10.66.0.1 </dev/null >/tmp/names.log 2>&1 &
    echo $! >/run/name-server.pid
    disown
}

# Without a farewell to its clients.
stop_server() {
    [[ ! -e /run/vpn-server.pid ]] || kill -KILL "$(</run/vpn-server.pid)" 2>/dev/null || :
    [[ ! -e /run/name-server.pid ]] || kill -KILL "$(</run/name-server.pid)" 2>/dev/null || :
    rm -f /run/{vpn,name}-server.pid
    local tries
    for ((tries = 0; tries < 200; ++tries)); do
        ip -n server link delete vpnserver 2>/dev/null || :
        [[ -e /proc ]] && ! ip -n server link show vpnserver >/dev/null 2>&1 && break
        sleep 0.05
    done
}

cut_network() { ip -n internet link set to-server down; }
mend_network() {
    ip -n internet link set to-server up
    # The kernel has forgotten them with the link.
    ip -n internet address add 2001:db8:2::1/64 dev to-server nodad 2>/dev/null || :
}

install_application() {
    cp -a "$BUILD/Kestrelnet" "$bundle"
    cp "$BUILD/clients/$VPN" "$bundle/Contents/Resources/kestrelnet-client"
    cp "$bundle"/Contents/Resources/*.policy /usr/share/polkit-1/actions/
    ln -s "$bundle/Contents/Linux/kestrelnet" /usr/bin/kestrelnet
    chown -R root:root "$bundle"
}

install_helper() { "$bundle/Contents/Resources/install-helper.sh"; }

remove_helper() { rm -f /Library/PrivilegedHelperTools/{com.kestrelnetvpn.tunnel,kestrelnet-client}; }

# Everything of the network that a tunnel can change, and the state of the clients.
network_state() {
    # A neighbour's or a multicast route's age is no change.
    ip -4 route show table all
    ip -6 route show table all | sed -E 's/ expires [0-9]+sec//'
    ip -4 rule
    ip -6 rule
    ip -br link | awk '{ print $1 }'
    nft list ruleset
    cat /etc/resolv.conf
    find /run/resolvconf -type f -name '*kestrelnet*' 2>/dev/null
    find /run/kestrelnet -mindepth 1 ! -name lock ! -name events 2>/dev/null
    find /run/wireguard -name 'kestrelnet*' 2>/dev/null
    return 0
}

# -- The run ---------------------------------------------------------------------------------------

# The processes of runs, as "ROLE PID": the front and the guard of the helper or of the prompt, the
# clients, and the tools that they have started. Those of the server are in another network.
run_processes() {
    local folder pid exe words
    for folder in /proc/[0-9]*; do
        pid=${folder#/proc/}
        [[ $(readlink "$folder/ns/net" 2>/dev/null) == "$(readlink /proc/self/ns/net)" ]] || continue
        exe=$(readlink "$folder/exe" 2>/dev/null) || continue
        words=$(tr '\0' ' ' <"$folder/cmdline" 2>/dev/null) || continue
        case ${exe##*/} in
        com.kestrelnetvpn.tunnel | kestrelnet-run)
            if [[ $(awk '$1 == "Uid:" { print $2 }' "$folder/status") == 0 ]]; then
                echo "guard $pid"
            else
                echo "front $pid"
            fi
            ;;
        openvpn | socat | wireguard-go | wg) echo "tool $pid" ;;
        bash)
            if [[ $words == "/bin/bash -p "* ]]; then
                # A subshell of a client is no client.
                [[ $(tr '\0' ' ' <"/proc/$(ps -o ppid= -p "$pid" | tr -d ' ')/cmdline") == "/bin/bash -p "* ]] ||
                    echo "client $pid"
            elif [[ $words == *wg-quick* ]]; then
                echo "tool $pid"
            fi
            ;;
        esac
    done 2>/dev/null
}

# Removes what a failed case has left, so that the next one begins as the first did.
clear_clients() {
    local mark
    for mark in 19270; do
        while ip rule delete table "$mark" 2>/dev/null; do ip rule delete table main suppress_prefixlength 0; done
        while ip -6 rule delete table "$mark" 2>/dev/null; do ip -6 rule delete table main suppress_prefixlength 0; done
    done
    ip link delete kestrelnet 2>/dev/null || :
    ip route delete "$server_address" 2>/dev/null || :
    nft flush ruleset
    rm -rf /run/kestrelnet /run/wireguard/kestrelnet*
    resolvconf -f -d kestrelnet
    resolvconf -f -d kestrelnet.openvpn
}

# kill_run ROLE: SIGKILL for the processes of that role.
kill_run() {
    local role pid killed=
    while read -r role pid; do
        [[ $role != "$1" ]] || { kill -KILL "$pid" && killed=yes; }
    done < <(run_processes)
    [[ $killed ]]
}

# has_polkit, start_session: polkit, and a session of the person's with an agent that enters the
# password. See tests/support/polkit/login.bash.
. "$root/tests/support/polkit/login.bash"

make_world() {
    mkdir -m 755 /etc/kestrelnet
    mkdir -m 700 "$keys"
    useradd --create-home --shell /bin/bash --groups sudo "$person"
    echo "$person:right" | chpasswd
    # The machine's own file may be a link to what is not there.
    rm -f /etc/resolv.conf
    echo "nameserver 203.0.113.53" >/etc/resolv.conf
    dpkg --no-triggers --install "$RESULTS"/../openresolv_*.deb >/tmp/dpkg.log 2>&1
    make_networks
    start_web "$(sed -n 's|^KESTRELNET_EXIT_IP_URL:STRING=https://\([^/:]*\).*|\1|p' \
        "$BUILD/CMakeCache.txt")"
    "make_$VPN"
    start_server "$server_address"
    install_application
}
