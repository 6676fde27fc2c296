#!/usr/bin/env bash
# Makes the demo: demo.sh BIN OUT. BIN holds the built programs; everything is left under OUT.
set -euo pipefail
bin=$1
out=$2
here=$(cd "$(dirname "$0")" && pwd)

mkdir -p "$out/input"
"$bin/make_demo" "$out/input"
cp "$here/demo.xml" "$here/glass.fx" "$out/input"
rm -rf "$out/frames"
"$bin/osmplay" render "$out/input/demo.xml" -o "$out/frames" --jobs "$(nproc)"

frames=("$out"/frames/*.png)
count=${#frames[@]}
chosen=()
# Frames in which each shot shows what it is about, and some of the ways from one to the next.
for frame in 70 110 276 300 385 540 670 728 885 1008 1140 1220; do
    chosen+=("${frames[$frame]}")
done
"$bin/contact_sheet" "$out/contact.png" 3 310 "${chosen[@]}"

rm -f "$out/demo.mp4"
if command -v ffmpeg >/dev/null; then
    ffmpeg -v error -y -framerate 30 -pattern_type glob -i "$out/frames/*.png" -i "$out/input/music.wav" \
        -c:v libx264 -crf 18 -preset veryfast -pix_fmt yuv420p -c:a aac -b:a 192k -movflags +faststart \
        "$out/demo.mp4" || rm -f "$out/demo.mp4"
fi

echo "demo: $count frames in $out/frames"
echo "demo: some of them on one sheet: $out/contact.png"
if [ -f "$out/demo.mp4" ]; then
    echo "demo: the film: $out/demo.mp4"
else
    echo "demo: no film, as ffmpeg is not there or cannot make one"
fi
echo "demo: its scenes, pictures, music and project: $out/input"
