# To be sourced by bash or sh scripts that run Windows programs: finds Debian's Wine and makes a prefix that goes when
# the script ends. Afterwards: WINE64, WINESERVER, WINEPREFIX and $work, a folder of the script's own; `wine PROGRAM
# ARGUMENT...` runs a program on a display that nobody sees. Leaves the script when something is missing.

need_command() { # need_command COMMAND PACKAGE
    command -v "$1" >/dev/null 2>&1 || {
        echo "$(basename "$0"): $1 is missing; install the Debian package $2" >&2
        exit 1
    }
}
need_command Xvfb xvfb
need_command xvfb-run xvfb

# Debian's wine64 puts its binaries into the package's own folder.
WINE64=
for candidate in /usr/lib/wine/wine64 /usr/lib/x86_64-linux-gnu/wine/wine64 "$(command -v wine64 || true)"; do
    if [ -x "$candidate" ]; then WINE64=$candidate; break; fi
done
[ -n "$WINE64" ] || {
    echo "$(basename "$0"): wine64 is missing; install the Debian package wine64" >&2
    exit 1
}
WINESERVER=
for candidate in /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver "$(command -v wineserver || true)"; do
    if [ -x "$candidate" ]; then WINESERVER=$candidate; break; fi
done

work=$(mktemp -d)
export WINE64 WINESERVER WINEPREFIX="$work/prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
# The software driver, whatever the machine has: what is compared must not depend on a graphics card.
export LIBGL_ALWAYS_SOFTWARE=1

end_wine() {
    if [ -n "$WINESERVER" ]; then "$WINESERVER" -k >/dev/null 2>&1 || true; fi
    rm -rf "$work"
}
trap end_wine EXIT
trap 'exit 130' INT TERM

# A program that is done sometimes hangs in libGLX's last words, which wait for an X display that a thread of Wine's
# had locked when it was ended; Wine's server kills it after half a second. So status 137 tells nothing: who needs to
# know whether the program came to its end looks for what it says or writes last.
wine() {
    local status=0
    xvfb-run -a -s "-screen 0 1280x1024x24" "$WINE64" "$@" || status=$?
    if [ "$status" = 137 ]; then status=0; fi
    return "$status"
}

echo "$(basename "$0"): starting Wine"
wine wineboot -i >/dev/null 2>&1
