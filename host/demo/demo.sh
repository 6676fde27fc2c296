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
"$bin/osmplay" render "$out/input/demo.xml" -o "$out/frames"

frames=("$out"/frames/*.png)
count=${#frames[@]}
chosen=()
# Tenths of a second in which each shot shows what it is about.
for tenth in 29 85 116 144 188 217 252 302 330 361 384 417; do
    chosen+=("${frames[$((tenth * 3))]}")
done
"$bin/contact_sheet" "$out/contact.png" 4 320 "${chosen[@]}"

rm -f "$out/demo.mp4"
if command -v ffmpeg >/dev/null; then
    ffmpeg -v error -y -framerate 30 -pattern_type glob -i "$out/frames/*.png" -c:v libx264 -crf 18 -preset medium \
        -pix_fmt yuv420p -movflags +faststart "$out/demo.mp4" || rm -f "$out/demo.mp4"
fi

echo "demo: $count frames in $out/frames"
echo "demo: some of them on one sheet: $out/contact.png"
if [ -f "$out/demo.mp4" ]; then
    echo "demo: the film: $out/demo.mp4"
else
    echo "demo: no film, as ffmpeg is not there or cannot make one"
fi
echo "demo: its scenes, pictures and project: $out/input"
