#!/usr/bin/env bash
# The program killed in the middle of command-line orders against the office simulator,
# twenty times with SIGKILL and twenty times with SIGTERM, at random moments. The simulator
# answers slowly, so kills land inside documents, a US patent's certificate step among them.
# After every kill: bnslog.csv is a well-formed CSV that still holds every line written
# before the kill, unchanged, and every PDF under a document's name passes qpdf --check with
# the page count of the simulator's document.
#   kill_order.sh <brightquill> <bqsim> [rounds per signal]
set -u
program="$(realpath "$1")"
simulator="$(realpath "$2")"
rounds="${3:-20}"
repo="$(cd "$(dirname "$0")/../.." && pwd)"
root=$(mktemp -d)
fail=0

mkdir -p "$root/bin"
ln -s "$program" "$root/bin/brightquill"
ln -s "$simulator" "$root/bin/bqsim"
. "$repo/scripts/simulator-profile.sh"
# Every answer 25 ms late, so that a document takes some hundred milliseconds and a kill
# finds it open, and two longer documents.
start_simulator "$root/bin" "$root/profile" --latency 25 \
    --document lookup/EP1000020=9 --document lookup/EP1000021=12
trap 'kill "$SIM_PID" 2>/dev/null; wait "$SIM_PID" 2>/dev/null; rm -rf "$root"' EXIT
pdf="$root/profile/pdf"
log="$pdf/bnslog.csv"

# The documents of the order and their pages: US5123456 has 3 pages and 2 certificate pages.
declare -A pages=([EP1000001]=6 [US5123456]=5 [EP1000020]=9 [EP1000021]=12 [WO04012345]=4
    [JP2001123456]=3)
list="EP1000001,US5123456,EP1000020,XX999,WO2004012345,EP1000021,JP2001123456"

# The log's records, one a line: they stand apart by CR, the last one ends in CR LF.
records() { [ -f "$1" ] && tr '\r' '\n' <"$1" | grep -v '^$'; }
record='^"[^"]*","[^"]*","[^"]*","[^"]*"$'

check_after_kill() { # <round> <signal> <log before the kill>
    local what="round $1 ($2)" name file out
    records "$log" >"$root/after.txt"
    # Lines seen whole before the kill; one caught while it was being written is not.
    records "$3" | grep -E "$record" >"$root/seen.txt"
    if grep -qvE "$record" "$root/after.txt" ||
        { [ -s "$root/after.txt" ] && [ "$(head -1 "$root/after.txt")" != '"Date","Patent","Ref","Result"' ]; } ||
        ! head -n "$(wc -l <"$root/seen.txt")" "$root/after.txt" | cmp -s - "$root/seen.txt"; then
        echo "FAILED: $what: the log is no longer the one seen before the kill"
        fail=1
    fi
    for file in "$pdf"/*.pdf "$pdf"/KILL/*.pdf; do
        [ -e "$file" ] || continue
        name=$(basename "$file" .pdf)
        if [ -z "${pages[$name]+x}" ]; then
            # Scratch files of an assembly, never taken for a document.
            case "$name" in *TEMP | *test | *CC*) continue ;; esac
            echo "FAILED: $what: unexpected document $file"
            fail=1
        elif ! out=$(qpdf --check --show-npages "$file" 2>&1) || [ "${out##*$'\n'}" != "${pages[$name]}" ]; then
            echo "FAILED: $what: $name.pdf is broken or has not ${pages[$name]} pages: ${out##*$'\n'}"
            fail=1
        fi
    done
}

order_and_kill() { # <round> <signal>
    # Most rounds start from an empty folder; some keep what earlier ones left, so that the
    # next order meets cached documents and left-over assemblies.
    if [ $((RANDOM % 4)) -ne 0 ]; then
        find "$pdf" -name '*.pdf' -delete
    fi
    env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM LC_ALL=C \
        "$program" "/P:$list /R:KILL" >/dev/null 2>&1 &
    local pid=$! wait_ms=$((50 + RANDOM % 1200))
    sleep "$(printf '0.%03d' $((wait_ms % 1000)))"
    [ $wait_ms -ge 1000 ] && sleep 1
    cp "$log" "$root/before.csv" 2>/dev/null || : >"$root/before.csv"
    kill "-$2" "$pid" 2>/dev/null
    wait "$pid" 2>/dev/null
    check_after_kill "$1" "$2" "$root/before.csv"
}

for ((i = 1; i <= rounds; ++i)); do
    order_and_kill "$i" KILL
    order_and_kill "$i" TERM
done

# An order run to its end after all of that delivers every document whole.
find "$pdf" -name '*.pdf' -delete
env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM LC_ALL=C \
    timeout 120 "$program" "/P:$list /R:KILL" >/dev/null 2>&1
check_after_kill final none "$log"
for name in "${!pages[@]}"; do
    [ -f "$pdf/KILL/$name.pdf" ] || { echo "FAILED: the last order did not deliver $name"; fail=1; }
done
lines=$(records "$log" | wc -l)
[ "$fail" -eq 0 ] || exit 1
echo "killed $((2 * rounds)) orders: the log stayed whole ($lines lines), no broken document"
