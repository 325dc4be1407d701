#!/usr/bin/env bash
# Runs every fuzz target of a fuzz build for a share of the given seconds, from its seeds in
# tests/fuzz/corpus and a working corpus in the build folder. A crash, a leak or a sanitizer
# report stops the run with the input kept under <build>/crashes/<target>/; copy such an
# input into tests/fuzz/regressions/<target>/ so that the ordinary tests replay it.
#
#   scripts/fuzz.sh <fuzz build folder> [seconds for all targets, default 180]
#   FUZZ_EACH=30 scripts/fuzz.sh <fuzz build folder>   (seconds per target instead)
set -euo pipefail
repo="$(cd "$(dirname "$0")/.." && pwd)"
build="$(cd "$1" && pwd)"
total="${2:-180}"
targets=()
for t in "$build"/*_fuzz; do [ -x "$t" ] && targets+=("$t"); done
[ ${#targets[@]} -gt 0 ] || { echo "no fuzz targets in $build" >&2; exit 1; }
each=${FUZZ_EACH:-$(( total / ${#targets[@]} > 5 ? total / ${#targets[@]} : 5 ))}
status=0
for t in "${targets[@]}"; do
    name="$(basename "$t")"
    work="$build/corpus/$name"
    crashes="$build/crashes/$name"
    seeds="$repo/tests/fuzz/corpus/$name"
    mkdir -p "$work" "$crashes" "$seeds"
    echo "== $name: $each s"
    if ! ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 QT_QPA_PLATFORM=offscreen \
        "$t" -max_total_time="$each" -timeout=20 -rss_limit_mb=4096 -print_final_stats=1 \
        -artifact_prefix="$crashes/" "$work" "$seeds" >"$build/$name.log" 2>&1; then
        echo "$name FAILED; see $build/$name.log and $crashes" >&2
        tail -30 "$build/$name.log" >&2
        status=1
    fi
    grep -E "stat::number_of_executed_units|stat::peak_rss_mb" "$build/$name.log" | sed 's/^/   /'
done
exit $status
