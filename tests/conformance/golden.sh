#!/bin/sh
# Makes the reference data with the Direct3D 9 of Debian's Wine: tests/golden/*.png with the device alone,
# tests/golden/engine/*.png with the engine's Windows programs, and whatever other tests/*/golden.sh make for
# themselves. Usage: golden.sh [CASE...]; an engine's CASE may be the beginning of a name.
# The engine's programs lie in OSM_BIN (build/release/bin) and OSM_WINDOWS_BIN (build/windows-x86_64/bin).
set -eu

here=$(cd "$(dirname "$0")" && pwd)
tests=$(dirname "$here")
root=$(dirname "$tests")
golden=$tests/golden
bin=${OSM_BIN:-$root/build/release/bin}
windows_bin=${OSM_WINDOWS_BIN:-$root/build/windows-x86_64/bin}

# Which set a case belongs to is told by its name.
device= engine=
for name in "$@"; do
    case $name in
        project* | scene*) engine="$engine $name" ;;
        *) device="$device $name" ;;
    esac
done
[ $# -gt 0 ] && [ -z "$device" ] || with_device=yes
[ $# -gt 0 ] && [ -z "$engine" ] || with_engine=yes

need() { # need COMMAND PACKAGE
    command -v "$1" >/dev/null 2>&1 || { echo "golden: $1 is missing; install the Debian package $2" >&2; exit 1; }
}
need x86_64-w64-mingw32-g++ g++-mingw-w64-x86-64
need g++ g++
need pkg-config pkg-config
pkg-config --exists libpng || { echo "golden: libpng is missing; install the Debian package libpng-dev" >&2; exit 1; }
if [ -n "${with_engine-}" ]; then
    for program in "$bin/make_engine_cases" "$windows_bin/osmplay.exe" "$windows_bin/osmDriver.dll"; do
        [ -e "$program" ] || { echo "golden: $program is missing; ./run golden builds it" >&2; exit 1; }
    done
fi

. "$root/windows/wine.sh"
echo "golden: building the converter"
g++ -std=c++20 -O1 -I"$tests" -I"$tests/../src" "$here/raw_to_png.cpp" "$here/picture.cpp" -o "$work/raw_to_png" \
    $(pkg-config --cflags --libs libpng)
mkdir -p "$golden/engine"
status=0

if [ -n "${with_device-}" ]; then
    echo "golden: building the runner"
    for source in "$here"/canvas.cpp "$here"/golden_runner.cpp "$here"/cases_*.cpp; do
        printf '%s\n' "$source"
    done | xargs -P "$(nproc)" -I{} sh -c \
        'x86_64-w64-mingw32-g++ -std=c++20 -O1 -I"$0" -c "$2" -o "$1/$(basename "$2" .cpp).o"' "$tests" "$work" {}
    x86_64-w64-mingw32-g++ -static -o "$work/golden_runner.exe" "$work"/*.o -ld3d9

    echo "golden: drawing with the device"
    mkdir "$work/raw"
    (cd "$work" && wine golden_runner.exe raw $device >log.txt) || status=$?
    cat "$work/log.txt"
    grep -q ' pictures, 0 failures' "$work/log.txt" || status=1
    [ -n "$(ls "$work/raw")" ] || { echo "golden: no picture was made" >&2; exit 1; }
    if [ $# -eq 0 ]; then rm -f "$golden"/*.png; fi
    "$work/raw_to_png" "$golden" "$work"/raw/*.raw
    {
        echo "The pictures of this folder were drawn by ./run golden, from the cases in tests/conformance, with:"
        grep '^Direct3D' "$work/log.txt" | tr -d '\r'
        dpkg-query -W -f '${Package} ${Version}\n' wine64 libwine libgl1-mesa-dri xvfb g++-mingw-w64-x86-64 2>/dev/null || true
    } >"$golden/made_with.txt"
fi

if [ -n "${with_engine-}" ]; then
    echo "golden: drawing with osmplay.exe"
    mkdir "$work/pictures"
    "$bin/make_engine_cases" "$work/cases" $engine
    # One display for all; each case is a program run of its own.
    (cd "$work/cases" && xvfb-run -a -s "-screen 0 1280x1024x24" xargs -P "$(nproc)" -L 1 -a manifest.txt \
        "$here/draw_engine_case.sh" "$work/pictures" "$WINE64" "$windows_bin/osmplay.exe") || status=$?
    [ -n "$(ls "$work"/pictures/*.png 2>/dev/null)" ] || { echo "golden: no picture was made" >&2; exit 1; }
    if [ $# -eq 0 ]; then rm -f "$golden"/engine/*.png; fi
    "$work/raw_to_png" "$golden/engine" "$work"/pictures/*.png
    echo "golden: $(ls "$work"/pictures/*.png | wc -l) pictures"
fi

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
