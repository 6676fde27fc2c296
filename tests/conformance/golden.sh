#!/bin/sh
# Makes the reference data with the Direct3D 9 of Debian's Wine: tests/golden/*.png here, and whatever other
# tests/*/golden.sh make for themselves. Usage: golden.sh [CASE...]
set -eu

here=$(cd "$(dirname "$0")" && pwd)
tests=$(dirname "$here")
golden=$tests/golden

need() { # need COMMAND PACKAGE
    command -v "$1" >/dev/null 2>&1 || { echo "golden: $1 is missing; install the Debian package $2" >&2; exit 1; }
}
need x86_64-w64-mingw32-g++ g++-mingw-w64-x86-64
need g++ g++
need pkg-config pkg-config
need xvfb-run xvfb
pkg-config --exists libpng || { echo "golden: libpng is missing; install the Debian package libpng-dev" >&2; exit 1; }
# Debian's wine64 puts its binary into the package's own folder.
WINE64=
for candidate in /usr/lib/wine/wine64 /usr/lib/x86_64-linux-gnu/wine/wine64 "$(command -v wine64 || true)"; do
    if [ -x "$candidate" ]; then WINE64=$candidate; break; fi
done
[ -n "$WINE64" ] || { echo "golden: wine64 is missing; install the Debian package wine64" >&2; exit 1; }
WINESERVER=
for candidate in /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver "$(command -v wineserver || true)"; do
    if [ -x "$candidate" ]; then WINESERVER=$candidate; break; fi
done

work=$(mktemp -d)
export WINEPREFIX="$work/prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" WINE64 WINESERVER
# The software driver, whatever the machine has: the references must not depend on a graphics card.
export LIBGL_ALWAYS_SOFTWARE=1
finish() {
    if [ -n "$WINESERVER" ]; then "$WINESERVER" -k >/dev/null 2>&1 || true; fi
    rm -rf "$work"
}
trap finish EXIT
trap 'exit 130' INT TERM

echo "golden: building the runner"
for source in "$here"/canvas.cpp "$here"/golden_runner.cpp "$here"/cases_*.cpp; do
    printf '%s\n' "$source"
done | xargs -P "$(nproc)" -I{} sh -c \
    'x86_64-w64-mingw32-g++ -std=c++20 -O1 -I"$0" -c "$2" -o "$1/$(basename "$2" .cpp).o"' "$tests" "$work" {}
x86_64-w64-mingw32-g++ -static -o "$work/golden_runner.exe" "$work"/*.o -ld3d9
g++ -std=c++20 -O1 -I"$tests" -I"$tests/../src" "$here/raw_to_png.cpp" "$here/picture.cpp" -o "$work/raw_to_png" \
    $(pkg-config --cflags --libs libpng)

echo "golden: starting Wine"
xvfb-run -a "$WINE64" wineboot -i >/dev/null 2>&1

echo "golden: drawing"
mkdir "$work/raw"
status=0
(cd "$work" && xvfb-run -a -s "-screen 0 1024x768x24" "$WINE64" golden_runner.exe raw "$@" >log.txt) || status=$?
cat "$work/log.txt"
[ -n "$(ls "$work/raw")" ] || { echo "golden: no picture was made" >&2; exit 1; }
mkdir -p "$golden"
if [ $# -eq 0 ]; then rm -f "$golden"/*.png; fi
"$work/raw_to_png" "$golden" "$work"/raw/*.raw
{
    echo "The pictures of this folder were drawn by ./run golden, from the cases in tests/conformance, with:"
    grep '^Direct3D' "$work/log.txt" | tr -d '\r'
    dpkg-query -W -f '${Package} ${Version}\n' wine64 libwine libgl1-mesa-dri xvfb g++-mingw-w64-x86-64 2>/dev/null || true
} >"$golden/made_with.txt"

# Other makers of reference data: each finds Wine in WINE64 and a ready prefix in WINEPREFIX.
if [ $# -eq 0 ]; then
    for maker in "$tests"/*/golden.sh; do
        if [ "$maker" != "$here/golden.sh" ]; then
            echo "golden: ${maker#"$tests"/}"
            sh "$maker" || status=$?
        fi
    done
fi
exit $status
