#!/usr/bin/env bash
# Builds and runs the fuzz targets. Fails on a finding and keeps the input that causes it.
#   scripts/fuzz.sh                     each target for 5 seconds
#   scripts/fuzz.sh 600                 each target for 600 seconds
#   scripts/fuzz.sh 600 Markdown ...    only these targets
# New inputs that a run finds stay in build/fuzz/corpus for the next run.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-5}
targets=("${@:2}")
if ((${#targets[@]} == 0)); then
    for seeds in fuzz/corpus/*/; do
        targets+=("$(basename "$seeds")")
    done
fi
[[ -f build/fuzz/build.ninja ]] || cmake --preset fuzz
cmake --build build/fuzz --target "${targets[@]}"
findings=build/fuzz/findings
mkdir -p "$findings" build/fuzz/logs

run_target() {
    local target=$1 seconds=$2 findings=$3
    local log=build/fuzz/logs/$target.log learnt=build/fuzz/corpus/$target words=() result=passed
    mkdir -p "$learnt"
    [[ ! -f fuzz/$target.dict ]] || words=(-dict="fuzz/$target.dict")
    "build/fuzz/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1024 -max_len=4096 \
        -print_final_stats=1 -artifact_prefix="$findings/$target-" "${words[@]}" "$learnt" "fuzz/corpus/$target" \
        >"$log" 2>&1 || result=FAILED
    awk -v target="$target" -v result="$result" '
        { for (i = 1; i < NF; i++) if ($i == "cov:") coverage = $(i + 1) }
        /stat::number_of_executed_units/ { runs = $2 }
        /stat::average_exec_per_sec/ { rate = $2 }
        END { printf "%-16s %10d runs %8d a second %6d edges  %s\n", target, runs, rate, coverage, result }' "$log"
    if [[ $result == FAILED ]]; then
        grep -m 6 -E 'does not hold|ERROR:|runtime error|SUMMARY|Test unit written' "$log" || tail -n 20 "$log"
        return 1
    fi
}
export -f run_target
export ASAN_SYMBOLIZER_PATH=${ASAN_SYMBOLIZER_PATH:-$(command -v llvm-symbolizer-16 || true)}
printf '%s\n' "${targets[@]}" |
    xargs -P "$(nproc)" -I '{}' bash -c 'run_target "$@"' _ '{}' "$seconds" "$findings"
