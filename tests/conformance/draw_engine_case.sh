#!/bin/sh
# Draws one line of make_engine_cases' manifest with an osmplay, in the folder that holds the cases. Pictures go to
# OUTDIR. Usage: draw_engine_case.sh OUTDIR RUNNER OSMPLAY KIND NAME ...; RUNNER is Wine's program, or env.
set -eu
out=$1 runner=$2 osmplay=$3 kind=$4 name=$5
shift 5
# Wine holds a program that crashed for its debugger.
limit=120
# Wine kills programs that do not go when they are done (windows/wine.sh): their pictures tell whether they are.
draw() {
    timeout "$limit" "$runner" "$osmplay" "$@" 2>"$out/$name.log" >/dev/null </dev/null || [ $? = 137 ]
}
failed=
case $kind in
    still)
        draw still "$@" -o "$out/$name.png" && [ -s "$out/$name.png" ] || failed=yes
        ;;
    frames)
        count=$1
        shift
        draw render "$@" -o "$out/$name" || failed=yes
        frame=0
        while [ "$frame" -lt "$count" ]; do
            mv "$out/$name/frame_$(printf %06d "$frame").png" "$out/$name.$((frame + 1)).png" || failed=yes
            frame=$((frame + 1))
        done
        rm -rf "${out:?}/$name"
        ;;
esac
# What osmplay tells of a drawn picture matters when its device lacks something.
if [ -n "$failed" ] || grep -q "samples a pixel" "$out/$name.log"; then
    echo "golden: $name: not drawn as asked:" >&2
    cat "$out/$name.log" >&2
    exit 1
fi
rm "$out/$name.log"
