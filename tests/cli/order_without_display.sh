#!/usr/bin/env bash
# The program as a user starts it from a terminal without a display: --help and --version,
# command lines that start no order, and orders against the office simulator with hits,
# cache hits and misses: the summary's counts, the exit codes, and nothing on standard error
# but status lines and the summary.
#   order_without_display.sh <brightquill> <bqsim>
set -u
program="$1"
simulator="$2"
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
fail=0
check() { # <what> <condition...>
    local what="$1"
    shift
    "$@" || { echo "FAILED: $what"; fail=1; }
}
run() { # <stderr file> <arguments...>: the program without a display, its exit code in rc
    local err="$1"
    shift
    env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM LC_ALL=C timeout 120 "$program" "$@" \
        >"$root/stdout.txt" 2>"$err"
    rc=$?
}

run "$root/help.txt" --help
check "--help exits 0 and tells the exit codes" [ $rc -eq 0 ]
check "--help text" grep -q "Exit codes" "$root/stdout.txt"
run "$root/version.txt" --version
check "--version prints the version" grep -qE '^[0-9]+\.[0-9]+\.[0-9]+ \(built ' "$root/stdout.txt"

# The simulator, and a profile of the test's own that points every role at it.
mkdir -p "$root/bin"
ln -s "$program" "$root/bin/brightquill"
ln -s "$simulator" "$root/bin/bqsim"
. "$(dirname "$0")/../../scripts/simulator-profile.sh"
start_simulator "$root/bin" "$root/profile"
trap 'kill "$SIM_PID" 2>/dev/null; wait "$SIM_PID" 2>/dev/null; rm -rf "$root"' EXIT

run "$root/list.txt" EP1,EP2
check "a plain list without a display exits 2" [ $rc -eq 2 ]
run "$root/nofile.txt" "/F:$root/no-such-list.txt"
check "a missing /F: file exits 2" [ $rc -eq 2 ]
check "it says so" grep -q "cannot read the list file" "$root/nofile.txt"

run "$root/first.txt" "/P:EP1000001,JP2001123456,XX999 /R:CASE 7"
check "an order with a miss exits 1" [ $rc -eq 1 ]
check "the summary counts" grep -q "3 numbers, 1 delivered, 1 from cache, 1 not found" "$root/first.txt"
check "the summary names the log" grep -q "^Log: $root/profile/pdf/bnslog.csv" "$root/first.txt"
run "$root/second.txt" "/P:EP1000001 /R:CASE 7"
check "an order of what is there exits 0" [ $rc -eq 0 ]
check "from the folder" grep -q "1 number, 0 delivered, 1 from cache, 0 not found" "$root/second.txt"
check "the log holds every line" [ "$(tr '\r' '\n' <"$root/profile/pdf/bnslog.csv" | grep -c CASE)" -eq 4 ]

# The proxy's secret prefix reaches neither terminal nor log.
echo "PROXYUSERID=bqsecret7:pw@" >>"$SETTINGS"
run "$root/secret.txt" "/P:EP1000001,US5000001,XX999 /R:SECRET"
check "the proxy prefix stays secret" bash -c "! grep -rq bqsecret7 '$root/secret.txt' '$root/stdout.txt' '$root/profile/pdf'"
sed -i '/^PROXYUSERID=/d' "$SETTINGS"

# Standard error: status lines (they name a number or are the program's own words) and the
# summary, nothing of Qt's.
check "no platform notes on stderr" bash -c "! grep -qiE 'qt\\.|qpa|propagateSizeHints|plugin' '$root/first.txt'"

# Nothing is written outside the profile.
outside=$(cd "$root" && find . -type f ! -path './profile/*' ! -name '*.txt' | head)
check "no files outside the program's folders: $outside" [ -z "$outside" ]
if [ $fail -ne 0 ]; then
    echo "--- stderr of the first order:"; cat "$root/first.txt"; exit 1
fi
echo "command-line orders: help, version, refusals, counts and exit codes as told"
