#!/usr/bin/env bash
# The offline demo behind `make run`: sample documents, the office simulator on loopback,
# a settings profile of its own below demo/, and the program with a sample list ready to
# order. Each run starts from a fresh demo folder (only the generated sample documents are
# kept). Without a display the sample order runs from the command line, and this run's log
# lines and PDFs are shown.
#
#   scripts/demo.sh <build folder>
set -euo pipefail

repo="$(cd "$(dirname "$0")/.." && pwd)"
build="$(cd "${1:-$repo/build}" && pwd)"
demo="$repo/demo"
list="EP1000001,WO2004012345,US5123456,JP2001123456,#DE4446098C2,FWEP19990402065,FR2900001,JP2003123456B2,MTJP2004012345,RU2258034,KR100703201B1,ES2123456T3,CA2172863,AUA199662135,CN1145230B,XX999"
reference="DEMO"

# shellcheck source=scripts/simulator-profile.sh
. "$repo/scripts/simulator-profile.sh"
rm -rf "$demo/config" "$demo/xdg" "$demo/data" "$demo/tmp" "$demo/pdf"
# The side tools: files to import, and the revision that the version check is told about
# (BQ_DEMO_VERSION=3.0.373 make run shows the update reminder at start-up).
mkdir -p "$demo/samples"
cp "$repo/tests/tools/data/scifinder.rtf" "$demo/samples/import-scifinder.rtf"
printf 'EP1000001,WO2004012345\r\nUS5123456,JP2001123456\r\n' >"$demo/samples/import-comma.txt"
printf '%s' "${BQ_DEMO_VERSION:-3.0.372}" >"$demo/samples/bqdver.txt"
start_simulator "$build" "$demo"
echo "demo: a fresh profile in $demo; simulator serving (roles in $demo/roles.txt)"

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    echo "demo: no display; ordering $list with reference $reference"
    echo "demo: (the import, family search, equivalents and tips need the window)"
    rc=0
    "$build/brightquill" "/P:$list /R:$reference" || rc=$?
    echo
    echo "Log ($demo/pdf/bnslog.csv):"
    # Records are separated by CR; show one a line.
    tr '\r' '\n' <"$demo/pdf/bnslog.csv" | sed '/^$/d' | sed 's/^/  /'
    echo
    echo "PDFs in $demo/pdf/$reference:"
    ls -l "$demo/pdf/$reference" 2>/dev/null | sed '1d; s/^/  /'
    echo "demo: the order ended with exit code $rc (see brightquill --help)"
else
    echo "demo: starting the program with the sample list; press the order button"
    echo "demo: side tools to try: Import $demo/samples/import-scifinder.rtf (SciFinder filter)"
    echo "      or import-comma.txt (comma filter); Inpadoc family search of EP1000001 or"
    echo "      WO 01/12345; Equivalent-lookup of EP1000001; the Tips menu; Help"
    "$build/brightquill" "$list" || true
    # Cancel ends the program and starts a new copy of it: serve until the last one closes.
    while pgrep -f "^$build/brightquill" >/dev/null; do
        sleep 1
    done
fi
