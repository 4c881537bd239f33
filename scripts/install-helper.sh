#!/bin/bash
# SPDX-License-Identifier: MIT
# Installs the privileged helper and a copy of the tunnel client that the helper runs.
#
#   install-helper.sh           installs both, or replaces them
#   install-helper.sh upgrade   replaces the helper if it is installed; the package runs this
#
# Must run as root. The application runs it through the administrator prompt; an administrator can
# run it with sudo. It is located in Contents/Resources of the application's bundle, or in the
# scripts folder of the source tree.
#
# The helper runs only the copy that this script makes, because root must never run a file that a
# user can replace. The script searches for the client where the application does: in the bundle,
# in the folder .kestrelnet of the user who asked, in /usr/local/bin. To update the client, run the
# script again. A running tunnel is not interrupted.
#
# An administrator can restrict who may start the installed helper, by its group and its mode. A
# replacement keeps both.
set -euo pipefail
PATH=/usr/sbin:/usr/bin:/sbin:/bin
export PATH LC_ALL=C
unset -v CDPATH
umask 022

folder=/Library/PrivilegedHelperTools
helper=$folder/com.kestrelnetvpn.tunnel
client=$folder/kestrelnet-client
largest_mib=256
# Other users cannot open this file, so they cannot delay an installation.
lock=/var/run/${helper##*/}.lock
longest_wait=30

say() { printf 'Kestrelnet: %s.\n' "$*"; }

fail() {
    say "$*" >&2
    exit 1
}

# Closes what the caller left open. The processes that run as the user inherit descriptors, and the
# user can duplicate the descriptors of such a process and keep them.
close_descriptors() {
    exec </dev/null
    local path descriptor
    for path in /dev/fd/*; do
        descriptor=${path##*/}
        # bash moves the descriptor of this script out of the way.
        if ((descriptor > 2)); then
            eval "exec $descriptor>&-"
        fi
    done
}

# System-specific commands. BSD tools accept no option after the first operand.
# facts FILE prints "UID:GID MODE". account UID prints "GID:HOME".
if [[ $(uname -s) == Darwin ]]; then
    facts() { stat -f '%u:%g %Mp%Lp' "$1"; }
    group_name() { stat -f %Sg "$1"; }
    account() { id -P "$1" 2>/dev/null | awk -F: '{ print $4 ":" $9 }'; }
    as_user() { sudo -n -u "#$user" -g "#$user_group" -- "$@" 9>&-; }
    store() { sync; }
    forbids_root() { mount | grep -F " on $(df -P "$1" | awk 'END { print $6 }') (" | grep -q nosuid; }
    # "do shell script" sets no variable that names the user. It needs a user at the console.
    console_user() { stat -f %u /dev/console; }
    # There is no program flock. 2 is LOCK_EX.
    take_lock() { perl -e '$SIG{ALRM} = sub {}; alarm shift; exit !flock STDIN, 2' "$longest_wait" <&9; }
else
    facts() { stat --format '%u:%g %04a' "$1"; }
    group_name() { stat --format %G "$1"; }
    account() { getent passwd "$1" | cut -d: -f4,6; }
    as_user() { setpriv --reuid "$user" --regid "$user_group" --clear-groups -- "$@" 9>&-; }
    store() { sync "$1"; }
    forbids_root() { [[ ,$(findmnt --noheadings --output VFS-OPTIONS --target "$1"), == *,nosuid,* ]]; }
    console_user() { :; }
    take_lock() { flock -w "$longest_wait" 9; }
fi

as_root() { "$@"; }

# Sets `bundle`.
find_bundle() {
    local here
    here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd -P)
    if [[ $here == */Contents/Resources ]]; then
        bundle=${here%/Contents/Resources}
        return
    fi
    local source_tree=${here%/*}
    for bundle in "$source_tree"/{Kestrelnet,Kestrelnet.app,build/release/Kestrelnet,build/release/Kestrelnet.app}; do
        if [[ -e $bundle/Contents/Helpers/${helper##*/} ]]; then
            say "installing from $bundle"
            return
        fi
    done
    fail "there is no application next to $here. Build it first, for example with scripts/run"
}

# Sets `user`, `user_group` and `home` for the user who asked; `home` is empty if there is none.
find_user() {
    user=${PKEXEC_UID:-${SUDO_UID:-$(console_user)}}
    user_group=
    home=
    local found
    if [[ $user =~ ^[0-9]+$ ]] && found=$(account "$user") && [[ $found == *:/* ]]; then
        user_group=${found%%:*}
        home=${found#*:}
    fi
}

# Sets `source` to the client's path and `reader` to the function that reads it. A client in the
# user's home is read as that user, so that the copy reveals no file that the user cannot read.
find_client() {
    local own=$home/.kestrelnet/kestrelnet-client
    reader=as_root
    source=$bundle/Contents/Resources/kestrelnet-client
    [[ ! -e $source ]] || return 0
    if [[ $home ]] && as_user test -e "$own" >/dev/null 2>&1; then
        source=$own
        reader=as_user
        return
    fi
    source=/usr/local/bin/kestrelnet-client
    [[ ! -e $source ]] || return 0
    fail "there is no kestrelnet-client to install. It was searched for at" \
        "$bundle/Contents/Resources/kestrelnet-client, ${home:+$own, }and $source"
}

# Waits until no other installation runs. The system ends the lock with this process; the processes
# that a killed script leaves behind must not have descriptor 9.
wait_for_others() {
    umask 077
    exec 9>>"$lock"
    umask 022
    take_lock || fail "another installation of the helper is running. Install again when it has ended"
}

# belongs_to_root FILE: true when only root can change FILE.
belongs_to_root() { [[ ! -L $1 && $(facts "$1") == 0:*' '*[0145][0145] ]]; }

# Creates the target folder, and fails if a user other than root can change its content.
prepare_folder() {
    local part
    for part in / /Library "$folder"; do
        [[ -L $part || -d $part ]] || mkdir -m 0755 "$part"
        if [[ -L $part || ! -d $part ]]; then
            fail "$part is not a folder. Remove it, then install again"
        fi
        if ! belongs_to_root "$part"; then
            fail "$part can be changed by users other than root. Make root its owner and 755" \
                "its mode, then install again"
        fi
    done
    if forbids_root "$folder"; then
        fail "the helper cannot work in $folder: its file system is mounted \"nosuid\""
    fi
    # From interrupted installations. No other one is running.
    rm -f "$folder/.${helper##*/}".?????? "$folder/.${client##*/}".??????
}

# Sets `helper_group` and `helper_mode`: those of the installed helper, without what would let others
# change it, or the default.
find_rights() {
    helper_group=0
    helper_mode=4755
    local rights mode
    [[ -f $helper && ! -L $helper ]] || return 0
    rights=$(facts "$helper")
    [[ $rights == 0:* ]] || return 0
    helper_group=${rights#0:}
    helper_group=${helper_group% *}
    mode=$((8#${rights#* }))
    # See put: an interrupted installation left the sticky bit.
    ((!(mode & 01000))) || mode=$((mode | 04000))
    helper_mode=$(printf %04o $((mode & 04755)))
}

# stage READER FILE TARGET: copies FILE to a temporary file in the folder of TARGET, and sets
# `staged` to its path.
stage() {
    if [[ -d $3 && ! -L $3 ]]; then
        fail "$3 is a folder. Remove it, then install again"
    fi
    "$1" test -f "$2" >/dev/null 2>&1 || fail "$2 is not a file"
    "$1" test -r "$2" >/dev/null 2>&1 || fail "$2 cannot be read as the user who asked"
    staged=$(mktemp "$folder/.${3##*/}.XXXXXX")
    stages+=("$staged")
    # The user's process writes to a pipe. Only root's head has the temporary file open. It does not
    # open it itself: it could do so after a terminated script has removed the file.
    local limit=$((largest_mib << 20)) complete=yes
    exec 3>"$staged"
    {
        exec 3>&- 9>&-
        "$1" cat -- "$2" 2>/dev/null
    } | head -c $((limit + 1)) >&3 2>/dev/null 9>&- || complete=
    exec 3>&-
    (($(wc -c <"$staged") <= limit)) || fail "$2 is larger than $largest_mib MiB"
    [[ $complete ]] || fail "$2 could not be copied"
    [[ -s $staged ]] || fail "$2 is empty"
}

# put STAGED TARGET GROUP MODE: replaces TARGET with one rename. TARGET is always complete, and a
# running program keeps its file.
#
# The set-user-ID bit is set last, so that no file with another name ever has it. Until then the
# sticky bit, which otherwise has no meaning for a file, marks that it is to be set.
put() {
    chown "0:$3" "$1"
    chmod "${4/#4/1}" "$1"
    store "$1"
    mv -f "$1" "$2"
    [[ $4 != 4* ]] || chmod "$4" "$2"
    [[ -f $2 && ! -L $2 && $(facts "$2") == "0:$3 $4" ]] || {
        rm -f "$2"
        fail "$2 does not have root as its owner and the mode $4"
    }
}

put_client() {
    stage "$reader" "$source" "$client"
    put "$staged" "$client" 0 0755
    say "installed $client, a copy of $source"
}

# Leaves an unchanged helper alone: until a new one has its set-user-ID bit, no user can start it.
put_helper() {
    local verb=installed
    find_rights
    if [[ -f $helper && $(facts "$helper") == "0:$helper_group $helper_mode" ]] &&
        cmp -s "$staged_helper" "$helper"; then
        verb=kept
    else
        put "$staged_helper" "$helper" "$helper_group" "$helper_mode"
    fi
    say "$verb $helper, which lets $(who_may_start) run that client as root"
}

# As the group and the mode of the helper say.
who_may_start() {
    if (((8#$helper_mode & 04001) == 04001)); then
        echo "every user of this computer"
    elif (((8#$helper_mode & 04010) == 04010)); then
        echo "the members of the group $(group_name "$helper")"
    else
        echo "no user, because its mode is $helper_mode,"
    fi
}

install_both() {
    find_user
    find_client
    wait_for_others
    prepare_folder
    stage as_root "$bundle/Contents/Helpers/${helper##*/}" "$helper"
    staged_helper=$staged
    # The client first, so that there is never a helper without a client.
    put_client
    put_helper
}

upgrade() {
    [[ -f $helper ]] || exit 0
    wait_for_others
    prepare_folder
    belongs_to_root "$helper" || fail "$helper can be changed by users other than root." \
        "Remove it, then install again"
    stage as_root "$bundle/Contents/Helpers/${helper##*/}" "$helper"
    staged_helper=$staged
    put_helper >/dev/null
}

[[ $# == 0 || $* == upgrade ]] || fail 'the only argument of install-helper.sh is "upgrade"'
[[ $EUID == 0 ]] || fail "the helper must be installed as root; run this script with sudo"

close_descriptors
stages=()
trap 'rm -f ${stages[@]+"${stages[@]}"}' EXIT
find_bundle
# The user's processes get no access to the caller's working directory.
cd /
if [[ $# == 0 ]]; then
    install_both
else
    upgrade
fi
