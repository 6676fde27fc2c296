#!/usr/bin/env bash
# Runs the Windows programs under Debian's Wine: their own tests, om2's text and the demo's reel against what the
# programs of this machine give. Usage: check.sh BIN WINDOWS_BIN OUT
# BIN: osmplay, om2, make_demo, compare_pictures. WINDOWS_BIN: the cross-built programs with their tests.
# OSM_REEL_FPS: how many frames of each of the reel's seconds are compared (3).
set -euo pipefail
bin=$(cd "$1" && pwd)
windows=$(cd "$2" && pwd)
out=$(rm -rf "$3" && mkdir -p "$3" && cd "$3" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
fps=${OSM_REEL_FPS:-3}
failed=0
fail() {
    echo "check.sh: $*" >&2
    failed=1
}

. "$here/../../windows/wine.sh"

cd "$out"
mkdir reel
"$bin/make_demo" --plain reel
cp "$here/../../host/demo/demo.xml" reel

echo "check.sh: the programs' own tests"
for test in "$windows"/test_windows_*.exe; do
    name=$(basename "$test" .exe)
    # "[  PASSED  ] 0 tests" stands in the text of a program whose tests failed, too.
    if ! (cd "$windows" && wine "$test") >"$name.txt" 2>&1 || ! grep -a -q '^\[  PASSED' "$name.txt" ||
        grep -a -q '^\[  FAILED' "$name.txt"; then
        cat "$name.txt" >&2
        fail "$name.exe failed"
    fi
    grep -a -E '^\[  (PASSED|SKIPPED)' "$name.txt" | sed "s/^/$name: /" || true
done

echo "check.sh: om2 info"
count=0
for scene in reel/*.om2; do
    name=$(basename "$scene" .om2)
    for option in '' --json; do
        "$bin/om2" info $option "$scene" >"$name$option.txt"
        wine "$windows/om2.exe" info $option "$scene" >"$name$option.wine.txt" 2>/dev/null
        cmp "$name$option.txt" "$name$option.wine.txt" || fail "om2 info $option $scene differs"
        count=$((count + 1))
    done
done
echo "$count texts compared"

echo "check.sh: the reel, $fps frames of each second"
"$bin/osmplay" render reel/demo.xml -o frames --fps "$fps"
wine "$windows/osmplay.exe" render reel/demo.xml -o frames_wine --fps "$fps"
# What cross-fades and colour shifts have captured is read between two texels, and which is taken is left open.
"$bin/compare_pictures" --worst 10 reel_worst.png --ties frames frames_wine || fail "the reel differs"
exit $failed
