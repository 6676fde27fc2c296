#!/usr/bin/env bash
# The reel and a scene of 2,000 meshes, frames a second without output: the module of this machine over OpenGL against
# the Windows module under Debian's Wine, by the same program, in turns, with the same software driver beneath.
# Usage: wine.sh BIN WINDOWS_BIN
# BIN: osmplay, make_demo, bench. WINDOWS_BIN: osmplay.exe and osmDriver.dll.
# OSM_WINE_TURNS: how often both take their turn (3). OSM_REEL_EVERY: one frame in so many stands for the reel (11:
# no divisor of a beat, which is 24 frames, so that the frames fall on all parts of the shots).
set -euo pipefail
bin=$(cd "$1" && pwd)
windows=$(cd "$2" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
turns=${OSM_WINE_TURNS:-3}
every=${OSM_REEL_EVERY:-11}
bound=2.00
kept=0

. "$here/../windows/wine.sh"

cd "$work"
mkdir reel full
"$bin/make_demo" --plain reel
"$bin/make_demo" full
cp "$here/../host/demo/demo.xml" reel
cp "$here/../host/demo/demo.xml" "$here"/../host/demo/*.fx full
"$bin/bench" --mesh-scene meshes.om2

# "... 42 frames of 640x480, 3 rounds: 1.17 frames/s (...": the fastest round's rate.
rate() { sed -n 's|.* rounds: \([0-9.]*\) frames/s .*|\1|p' "$1" | tr -d '\r'; }
fastest() { sort -g "$1" | tail -1; }
range() { sort -g "$1" | sed -n '1p;$p' | paste -sd- | sed 's/-/ to /'; }

# sum_of_threads PROCESS: waits for its end; prints the processor's time that each kind of thread took. Threads may end
# before the process: the last that was seen of each counts.
sum_of_threads() {
    local process=$1 stat rest name
    : >threads.seen
    while [ -d "/proc/$process/task" ]; do
        for stat in /proc/"$process"/task/*/stat; do
            read -r rest <"$stat" || continue
            name=${rest#*(}
            name=${name%)*}
            set -- ${rest##*) }
            echo "$stat ${name// /_} $((${12} + ${13}))"
        done 2>/dev/null >>threads.seen || true
        sleep 0.25
    done
    awk -v ticks="$(getconf CLK_TCK)" '{ sub(/-[0-9]+$/, "", $2); names[$1] = $2; last[$1] = $3 }
        END { for (thread in last) sums[names[thread]] += last[thread]
              for (name in sums) if (sums[name] * 50 > ticks)
                  printf "    thread %-22s %7.2f s of a processor\n", name, sums[name] / ticks }' threads.seen | sort
}

# The Windows program among Wine's processes.
windows_process() {
    local process
    for _ in $(seq 100); do
        for process in $(grep -l -s -x 'osmplay.exe' /proc/[0-9]*/comm); do
            process=${process%/comm}
            if tr '\0' '\n' <"$process/environ" 2>/dev/null | grep -q -x "WINEPREFIX=$WINEPREFIX"; then
                echo "${process#/proc/}"
                return
            fi
        done
        sleep 0.1
    done
}

where_time_goes() { # FILE OPTION...
    echo "  on Linux, where the time goes (loading included in the threads'):"
    "$bin/osmplay" bench "$@" --profile >profile.txt 2>/dev/null &
    sum_of_threads $! >threads.txt
    tail -n +2 profile.txt | sed 's/^/  /'
    cat threads.txt
    echo "  under Wine, where the time goes:"
    wine "$windows/osmplay.exe" bench "$@" --profile >profile.txt 2>/dev/null &
    sum_of_threads "$(windows_process)" >threads.txt
    wait
    tail -n +2 profile.txt | tr -d '\r' | sed 's/^/  /'
    cat threads.txt
}

compare() { # NAME FILE OPTION...
    local name=$1
    shift
    : >ours.rates
    : >wine.rates
    for _ in $(seq "$turns"); do
        "$bin/osmplay" bench "$@" --rounds 2 >out.txt
        rate out.txt >>ours.rates
        wine "$windows/osmplay.exe" bench "$@" --rounds 2 >out.txt 2>/dev/null
        rate out.txt >>wine.rates
    done
    local verdict
    verdict=$(awk -v a="$(fastest ours.rates)" -v b="$(fastest wine.rates)" -v bound="$bound" 'BEGIN {
        printf "ratio %.2f (at least %.2f: %s)", a / b, bound, (a / b >= bound) ? "kept" : "NOT KEPT" }')
    printf '%-44s ours %-22s reference %-22s %s\n' "$name" "$(fastest ours.rates) frames/s" \
        "$(fastest wine.rates) frames/s" "$verdict"
    printf '  the fastest rounds of %s turns: ours %s, under Wine %s frames/s\n' "$turns" "$(range ours.rates)" \
        "$(range wine.rates)"
    case "$verdict" in *NOT*) kept=1 ;; esac
    where_time_goes "$@" --rounds 2
}

compare "2,000 meshes, Linux / Wine" meshes.om2
echo "the reel without what needs shaders (effect texts, depth of field), which Wine's compiler does not take:"
compare "the reel, Linux / Wine" reel/demo.xml --every "$every"
"$bin/osmplay" bench full/demo.xml --every "$every" --rounds 2 >out.txt
printf '%-44s %s frames/s\n' "the whole reel on Linux, for information" "$(rate out.txt)"
exit $kept
