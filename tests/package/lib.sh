# SPDX-License-Identifier: MIT
# Shared by the steps inside the minimal Debian.
set -euo pipefail

user=person
bundle=/usr/libexec/kestrelnet

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# expect WHAT COMMAND...: ends the test if COMMAND fails, so that WHAT does not hold.
expect() {
    local what=$1
    shift
    "$@" || fail "this does not hold: $what."
    printf '  [%3d s] %s\n' "$SECONDS" "$what"
}

# await SECONDS COMMAND...: repeats COMMAND until it succeeds, at most for SECONDS.
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

# apt-get without questions.
apt() {
    DEBIAN_FRONTEND=noninteractive apt-get --quiet=2 --assume-yes -o Dpkg::Use-Pty=0 \
        -o APT::Sandbox::User=root -o APT::Keep-Downloaded-Packages=true \
        "$@" </dev/null >/work/apt.log 2>&1 || {
        tail -n 20 /work/apt.log >&2
        fail "apt-get $* failed; its reason is above."
    }
}

# Whether no file of the system mentions the program, by its content or its name.
is_forgotten() {
    ! grep -rsil kestrelnet /etc /usr /var/lib --exclude-dir=apt --exclude-dir=dpkg &&
        ! find /etc /usr /Library /var/lib -iname '*kestrelnet*' 2>/dev/null | grep . &&
        ! dpkg-query --status kestrelnet 2>/dev/null
}
