#!/usr/bin/env bash
# A short run of each libFuzzer target from the valid files, all at once. Fails when one finds anything.
#   short_run.sh [BUILD [SECONDS]]
set -euo pipefail
cd "$(dirname "$0")/../.."
build=${1:-build/asan}
seconds=${2:-${OSM_FUZZ_SECONDS:-25}}
work=$build/fuzz
rm -rf "$work"
mkdir -p "$work"
"$build/bin/fuzz_write_seeds" "$work/seeds"
pids=()
kinds=(scene image effect package sound project)
mkdir -p "$work/seeds/project"
cp host/demo/demo.xml "$work/seeds/project"
for kind in "${kinds[@]}"; do
    mkdir -p "$work/corpus_$kind"
    "$build/bin/fuzz_$kind" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=3000 -max_len=65536 -seed=1 \
        -artifact_prefix="$work/${kind}_" -print_final_stats=1 "$work/corpus_$kind" "$work/seeds/$kind" \
        >"$work/$kind.log" 2>&1 &
    pids+=($!)
done
failed=0
for i in "${!kinds[@]}"; do
    if wait "${pids[$i]}"; then
        runs=$(grep -o 'number_of_executed_units: [0-9]*' "$work/${kinds[$i]}.log" | grep -o '[0-9]*$')
        echo "fuzz_${kinds[$i]}: $runs inputs in $seconds s, nothing found"
    else
        tail -40 "$work/${kinds[$i]}.log"
        echo "fuzz_${kinds[$i]}: found something; the input lies in $work" >&2
        failed=1
    fi
done
exit $failed
