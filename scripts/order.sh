#!/usr/bin/env bash
# A command-line order against the office simulator, as a user would run one against the
# company's servers:
#
#   scripts/order.sh <build folder> "EP1000001,US5123456" [reference]
#   make order LIST="EP1000001,US5123456" REF=CASE7
#
# The profile (settings, PDFs, log) lives in demo-orders/ and is kept between runs, so a
# second order of a number finds it in the folder. Prints this run's log lines and ends with
# the program's exit code (0 all delivered, 1 some not, 2 the order could not start).
set -euo pipefail

repo="$(cd "$(dirname "$0")/.." && pwd)"
build="$(cd "${1:-$repo/build}" && pwd)"
list="${2:-}"
reference="${3:-}"
profile="$repo/demo-orders"
if [ -z "$list" ]; then
    echo "usage: $0 <build folder> \"NUMBER,NUMBER,...\" [reference]" >&2
    exit 2
fi

# shellcheck source=scripts/simulator-profile.sh
. "$repo/scripts/simulator-profile.sh"
start_simulator "$build" "$profile"
log="$profile/pdf/bnslog.csv"
before=$(stat -c %s "$log" 2>/dev/null || echo 0)

command="/P:$list"
[ -n "$reference" ] && command="$command /R:$reference"
rc=0
env -u DISPLAY -u WAYLAND_DISPLAY "$build/brightquill" "$command" || rc=$?
echo
echo "This order's log lines ($log):"
# The log's records are separated by CR; the first new record starts on the last byte of the
# old file.
tail -c +"$((before > 0 ? before : 1))" "$log" 2>/dev/null | tr '\r' '\n' | sed '/^$/d' |
    grep -v '^"Date","Patent"' | sed 's/^/  /' || true
exit "$rc"
