# SPDX-License-Identifier: MIT
# What the scripts share; sourced by each of them.

set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd -P)
me=${0##*/}

say() { printf '%s: %s\n' "$me" "$*"; }

fail() {
    printf '%s: %s\n' "$me" "$*" >&2
    exit 1
}

# The compiler's cache stays in the build folder too, unless somebody has chosen another place.
export CCACHE_DIR=${CCACHE_DIR:-$root/build/ccache}

cores() { nproc 2>/dev/null || echo 1; }

# build PRESET [TARGET...]
build() {
    local preset=$1
    shift
    say "building ($preset)"
    (cd "$root" && cmake --preset "$preset" >"$root/build/$preset-configure.log" 2>&1) || {
        cat "$root/build/$preset-configure.log" >&2
        fail "CMake could not set up the build; its reason is above."
    }
    (cd "$root" && cmake --build --preset "$preset" --parallel "$(cores)" \
        ${1:+--target "$@"}) || fail "The build stopped; the compiler's reason is above."
}

mkdir -p "$root/build"
