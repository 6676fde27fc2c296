#!/bin/sh
# Makes the tables in tests/fxutil/golden with Wine's d3dx9_36.dll. Takes Wine from WINE64 and a ready prefix from
# WINEPREFIX where the caller has them, and else finds and makes its own.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
own_prefix=
finish() {
    if [ -n "$own_prefix" ] && [ -x "${WINESERVER:-}" ]; then "$WINESERVER" -k >/dev/null 2>&1 || true; fi
    rm -rf "$work"
}
trap finish EXIT
trap 'exit 130' INT TERM

command -v x86_64-w64-mingw32-g++ >/dev/null 2>&1 || {
    echo "golden: x86_64-w64-mingw32-g++ is missing; install the Debian package g++-mingw-w64-x86-64" >&2
    exit 1
}
command -v xvfb-run >/dev/null 2>&1 || {
    echo "golden: xvfb-run is missing; install the Debian package xvfb" >&2
    exit 1
}
if [ -z "${WINE64:-}" ]; then
    for candidate in /usr/lib/wine/wine64 /usr/lib/x86_64-linux-gnu/wine/wine64; do
        if [ -x "$candidate" ]; then WINE64=$candidate; break; fi
    done
    [ -n "${WINE64:-}" ] || { echo "golden: wine64 is missing; install the Debian package wine64" >&2; exit 1; }
fi
if [ -z "${WINEPREFIX:-}" ]; then
    own_prefix=yes
    WINESERVER=/usr/lib/wine/wineserver64
    export WINEPREFIX="$work/prefix" WINEDLLOVERRIDES="mscoree,mshtml=;winedbg.exe=d"
fi
export WINEDEBUG=-all LIBGL_ALWAYS_SOFTWARE=1

# -ffp-contract and plain SSE2 are what the engine is built with, for the little arithmetic in the cases themselves.
x86_64-w64-mingw32-g++ -std=c++20 -O1 -ffp-contract=off -Wno-missing-field-initializers -static \
    -o "$work/golden_maker.exe" "$here/golden_maker.cpp" -ld3dx9_36 -ld3d9 -luser32
if [ -n "$own_prefix" ]; then xvfb-run -a "$WINE64" wineboot -i >/dev/null 2>&1; fi

mkdir -p "$here/golden"
run() { # run OUTPUT ARGUMENT...
    output=$1
    shift
    (cd "$here" && xvfb-run -a "$WINE64" "$work/golden_maker.exe" "$@") | tr -d '\r' >"$work/$output"
    # A run that broke off must not replace a table.
    [ "$(wc -l <"$work/$output")" -gt 10 ] || { echo "golden: $output was not made" >&2; exit 1; }
    mv "$work/$output" "$here/golden/$output"
    chmod 644 "$here/golden/$output"
    echo "golden: fxutil/golden/$output, $(wc -l <"$here/golden/$output") lines"
}
run math.txt math
run images.txt images $(cd "$here" && ls images/*)
