#!/usr/bin/env bash
# A 5,000-number command-line order of mixed routes through the office simulator: documents
# the company's lookup server holds (every page failing once first, so each is fetched
# twice), the company's cache, numbers already in the folder, numbers nobody holds, and a US
# patent with its certificate step. Prints resident memory at number 5,000 against number
# 500 and the time per number of the last thousand against the first thousand (targets
# within 10 %), and checks one log line per number. Exits non-zero when a target is missed.
#   long_order.sh <build folder> [numbers]
set -euo pipefail
build="$(cd "${1:?usage: long_order.sh <build folder> [numbers]}" && pwd)"
total="${2:-5000}"
repo="$(cd "$(dirname "$0")/.." && pwd)"
for program in brightquill bqsim; do
    [ -x "$build/$program" ] || { echo "long_order.sh: $build/$program is missing" >&2; exit 1; }
done
root=$(mktemp -d)
. "$repo/scripts/simulator-profile.sh"
profile="$root/profile"

# The list, in blocks of ten, so that the first and the last thousand meet the same mix:
# two new 3-page documents, a 6-page one, the first of them again (now in the folder), the
# company cache's document, a WO and a US document (downloaded once, then from the folder),
# three numbers nobody holds.
blocks=$(((total + 9) / 10))
documents=()
list="$root/numbers.txt"
for ((b = 0; b < blocks; ++b)); do
    small=$((2000000 + 2 * b))
    large=$((4000000 + b))
    documents+=(--document "lookup/EP$small=3" --document "lookup/EP$((small + 1))=3"
        --document "lookup/EP$large=6")
    printf 'EP%d\nEP%d\nEP%d\nEP%d\nJP2001123456\nWO2004012345\nUS5123456\nEP%d\nEP%d\nEP%d\n' \
        "$small" "$((small + 1))" "$large" "$small" $((7000000 + 3 * b)) $((7000001 + 3 * b)) \
        $((7000002 + 3 * b))
done >"$list.all"
head -n "$total" "$list.all" >"$list"
mkdir -p "$profile/samples"
"$build/bqsim" --samples "$profile/samples" --generate-only "${documents[@]}" >/dev/null 2>&1

start_simulator "$build" "$profile" --page-failures 1 --drop-pages
trap 'kill "$SIM_PID" 2>/dev/null || true; wait "$SIM_PID" 2>/dev/null || true; rm -rf "$root"' EXIT

log="$profile/pdf/bnslog.csv"
records() { # lines of the log without its header; records stand apart by CR
    [ -f "$log" ] && echo $(($(tr -cd '\r' <"$log" | wc -c) - 1)) || echo 0
}
now() { date +%s.%N; }
rss() { awk '/^VmRSS/ { kb = $2 } END { print kb + 0 }' "/proc/$1/status" 2>/dev/null || echo 0; }

echo "Long order: $total numbers of mixed routes through the simulator"
env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM LC_ALL=C \
    "$build/brightquill" "/F:$list" >/dev/null 2>"$root/order.txt" &
pid=$!
declare -A at        # time at which the log reached a count
rss500=0
rssEnd=0 # the last sample, taken at number nEnd: the program ends right after its last line
nEnd=0
start=$(now)
at[0]=$start
marks=(1000 $((total - 1000)) "$total")
while kill -0 "$pid" 2>/dev/null; do
    n=$(records)
    m=$(rss "$pid")
    if [ "$rss500" -eq 0 ] && [ "$n" -ge $((total / 10)) ]; then rss500=$m; fi
    if [ "$m" -gt 0 ]; then rssEnd=$m nEnd=$n; fi
    for mark in "${marks[@]}"; do
        [ -z "${at[$mark]+x}" ] && [ "$n" -ge "$mark" ] && at[$mark]=$(now)
    done
    sleep 0.1
done
wait "$pid" || true
n=$(records)
for mark in "${marks[@]}"; do [ -n "${at[$mark]+x}" ] || at[$mark]=$(now); done

awk -v t0="${at[0]}" -v t1="${at[1000]}" -v t4="${at[$((total - 1000))]}" -v t5="${at[$total]}" \
    -v r1="$rss500" -v r5="$rssEnd" -v ne="$nEnd" -v n="$n" -v total="$total" -v whole="$(now)" -v s="$start" '
BEGIN {
    first = (t1 - t0) / 1000; last = (t5 - t4) / 1000
    tr = last / first; mr = r5 / r1
    printf "  %d numbers in %.1f s, %d log lines\n", total, whole - s, n
    printf "  time per number: first thousand %.1f ms, last thousand %.1f ms, ratio %.2f (target <= 1.10)\n", first * 1000, last * 1000, tr
    printf "  resident memory: at number %d %.1f MB, at number %d %.1f MB, ratio %.2f (target <= 1.10)\n", total / 10, r1 / 1024, ne, r5 / 1024, mr
    printf "  log lines: %d of %d numbers (target: one each)\n", n, total
    exit !(tr <= 1.10 && mr <= 1.10 && n == total)
}' || { echo "  a target was missed"; tail -3 "$root/order.txt"; exit 1; }
