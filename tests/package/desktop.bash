# SPDX-License-Identifier: MIT
# A desktop session of an ordinary user, with the real polkit, for the walk with an installed package.
# Sourced, by root, in a world of the test's own that has only a loopback network. The caller sets
# `user`, whose password is "right"; `host`, the exit IP service that the program asks, which here is
# a service of the test; `client`, the demonstration client; and `results`, a folder for screenshots
# and logs.

sources=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd -P)
person=$user
session=c1
home=/home/$user
in_session=("$sources/tests/support/polkit/in-session" "$user" "$session")
. "$sources/tests/support/polkit/login.bash"

raise_loopback() {
    python3 -c 'import fcntl, socket, struct
fcntl.ioctl(socket.socket(), 0x8914, struct.pack("16sh14x", b"lo", 1))'
}

# The exit IP service's certificate, by an authority that this system trusts.
make_certificates() {
    certificates=$(mktemp -d)
    "$sources/demo/make-certificates" "$certificates" "$host"
    "$sources/demo/make-certificates" --trust "$certificates" /etc/ssl/certs
}

install_client() {
    install -D "$client" "$home/.kestrelnet/kestrelnet-client"
    chown -R "$user:$user" "$home/.kestrelnet"
}

prepare_desktop() {
    raise_loopback
    echo "127.0.0.1 $host" >>/etc/hosts
    make_certificates 2>"$results/openssl.log"
    install_client
    chown -R "$user:$user" "$home"
    register_session
    start_polkit
}

# on_desktop COMMAND...: runs it as the user, on a virtual desktop, with an exit IP service.
on_desktop() {
    timeout 240 "$sources/demo/exit-ip-echo" --port 443 --certificate "$certificates/service.crt" \
        --key "$certificates/service.key" "${in_session[@]}" \
        "$sources/tests/support/desktop/virtual-desktop" --log="$home/desktop.log" "$@" || {
        cp "$home"/*.png "$home/desktop.log" /tmp/agent.log "$results"
        fail "$1 failed; its screenshots and logs are in ${WORK-$results}."
    }
}

# walk [OPTION...]: drives the installed program.
walk() {
    on_desktop "$sources/demo/walk" --installed --application=/usr/bin/kestrelnet --output="$home" "$@"
}

polkit_has_asked() {
    grep -q "^request com.kestrelnetvpn.app.connect Kestrelnet needs" /tmp/agent.log
}
