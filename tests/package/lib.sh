# SPDX-License-Identifier: MIT
# What the steps inside the bare Debian share.
set -euo pipefail

user=person
bundle=/usr/lib/kestrelnet

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# expect WHAT COMMAND...: WHAT is true, or this ends.
expect() {
    local what=$1
    shift
    "$@" || fail "it does not hold that $what."
    printf '  [%3d s] %s\n' "$SECONDS" "$what"
}

# await SECONDS COMMAND...: asks again until it is so.
await() {
    local end=$((SECONDS + $1)) never
    shift
    exec {never}<> <(:)
    until "$@"; do
        ((SECONDS < end)) || return 1
        read -rt 0.05 -u "$never" || true
    done
    exec {never}<&-
}

# Without a question.
apt() {
    DEBIAN_FRONTEND=noninteractive apt-get --quiet=2 --assume-yes -o Dpkg::Use-Pty=0 \
        -o APT::Sandbox::User=root -o APT::Keep-Downloaded-Packages=true \
        "$@" </dev/null >/work/apt.log 2>&1 || {
        tail -n 20 /work/apt.log >&2
        fail "apt-get $* failed; its reason is above."
    }
}

# Neither in a file nor in a name, where programs and packages keep theirs.
no_word_left() {
    ! grep -rsil kestrelnet /etc /usr /var/lib --exclude-dir=apt --exclude-dir=dpkg &&
        ! find /etc /usr /Library /var/lib -iname '*kestrelnet*' 2>/dev/null | grep . &&
        ! dpkg-query --status kestrelnet 2>/dev/null
}
