#!/usr/bin/env bash
# The README's screenshots: the program runs under a virtual X display (xvfb-run) against the
# office simulator, orders a sample list and grabs each of its windows into docs/ as PNG.
#
#   scripts/screenshots.sh <build folder> [output folder]
#   make screenshots
set -euo pipefail

repo="$(cd "$(dirname "$0")/.." && pwd)"
build="$(cd "${1:-$repo/build}" && pwd)"
out="$(mkdir -p "${2:-$repo/docs}" && cd "${2:-$repo/docs}" && pwd)"
# Short paths in the pictures of the setup and import dialogs.
profile="/tmp/brightquill-screenshots"
list="EP1000001,JP2001123456,WO2004012345,US5123456,XX999"

if ! command -v xvfb-run >/dev/null; then
    echo "xvfb-run is missing (Debian package xvfb)" >&2
    exit 2
fi
# shellcheck source=scripts/simulator-profile.sh
. "$repo/scripts/simulator-profile.sh"
rm -rf "$profile"
mkdir -p "$profile/samples"
# The version the simulator reports is this one: no update reminder in front of the window.
printf '3.0.372' >"$profile/samples/bqdver.txt"
start_simulator "$build" "$profile"
# The import dialog opens in the working folder: show it files to import.
mkdir -p "$profile/lists"
cp "$repo/tests/tools/data/scifinder.rtf" "$profile/lists/import-scifinder.rtf"
printf 'EP1000001,WO2004012345\r\n' >"$profile/lists/import-comma.txt"
cd "$profile/lists"
export HOME="$profile"
# One size and scale for every run, so that the pictures change only when the windows do.
BRIGHTQUILL_SCREENSHOTS="$out" QT_SCALE_FACTOR=1 QT_QPA_PLATFORM=xcb \
    xvfb-run -a -s "-screen 0 1600x1200x24" "$build/brightquill" "$list" 2>"$profile/program.log" ||
    { cat "$profile/program.log" >&2; exit 1; }
echo "screenshots in $out:"
ls -1 "$out"/*.png | sed 's/^/  /'
