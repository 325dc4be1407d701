#!/usr/bin/env bash
# The offline demo behind `make run`: sample documents, the office simulator on loopback,
# a settings profile of its own below demo/ (the user's own settings and documents are never
# touched), and the program with a sample list ready to order. Without a display the sample
# order runs from the command line, and the log lines and the PDFs are shown.
#
#   scripts/demo.sh <build folder>
set -euo pipefail

repo="$(cd "$(dirname "$0")/.." && pwd)"
build="$(cd "${1:-$repo/build}" && pwd)"
demo="$repo/demo"
list="EP1000001,WO2004012345,US5123456,JP2001123456,CN1145230B,XX999"
reference="DEMO"

for program in bqsim brightquill; do
    if [ ! -x "$build/$program" ]; then
        echo "demo: $build/$program is missing; build first (make build)" >&2
        exit 1
    fi
done

# A profile of its own: settings, data, temp and PDF folders all below demo/.
mkdir -p "$demo/config/Tarnwell" "$demo/xdg" "$demo/data" "$demo/tmp" "$demo/pdf" "$demo/samples"
export XDG_CONFIG_HOME="$demo/config"
export XDG_CONFIG_DIRS="$demo/xdg"
export XDG_DATA_HOME="$demo/data"
export TMPDIR="$demo/tmp"
# The simulator's https host uses the test certificate; trust it for this run only.
export BRIGHTQUILL_CA_FILE="$repo/tests/support/tls/ca.pem"
unset http_proxy https_proxy HTTP_PROXY HTTPS_PROXY no_proxy NO_PROXY

settings="$demo/config/Tarnwell/brightquill.ini"
# Every host role first points at a loopback port where nobody listens, so that nothing of
# the demo leaves the machine; the simulator then writes the roles it serves.
{
    echo "[General]"
    echo "PDFDIR=$demo/pdf"
    echo "TEMPDIR=$demo/tmp/brightquill"
    echo "PARPAGEDESKTOP=1"
    echo "ADDBOOKMARKS=1"
    echo "ACT=2"
    for role in CompanyWebHost CompanyLookupHost CompanyServicesHost CompanyMirrorHost \
        CompanyImageHost EspacenetNationalHost EspacenetSiteHost EPOSERVER UsptoPdfPatentHost \
        UsptoPdfApplicationHost UsptoPatentTextHost UsptoApplicationTextHost \
        UsptoPatentViewerHost1 UsptoPatentViewerHost2 UsptoPatentViewerHost3 \
        UsptoApplicationViewerHost1 UsptoApplicationViewerHost2 CipoHost IpAustraliaHost \
        EpolineHost InpiHost OepmHost SipoPatentHost CnpatSearchHost FipsHost KiprisHost \
        KiprisOldHost; do
        echo "$role=127.0.0.1:9"
    done
} >"$settings"

"$build/bqsim" --samples "$demo/samples" \
    --tls-cert "$repo/tests/support/tls/server.pem" --tls-key "$repo/tests/support/tls/server.key" \
    --write-roles 'HKEY_CURRENT_USER\Tarnwell\brightquill' --print-roles \
    >"$demo/roles.txt" 2>"$demo/bqsim.log" &
sim=$!
stop_simulator() {
    kill "$sim" 2>/dev/null || true
    wait "$sim" 2>/dev/null || true
}
trap stop_simulator EXIT

for _ in $(seq 1 300); do
    grep -q "serving" "$demo/bqsim.log" 2>/dev/null && break
    if ! kill -0 "$sim" 2>/dev/null; then
        echo "demo: the simulator did not start:" >&2
        cat "$demo/bqsim.log" >&2
        exit 1
    fi
    sleep 0.1
done
echo "demo: simulator serving (roles in $demo/roles.txt, settings in $settings)"

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    echo "demo: no display; ordering $list with reference $reference"
    "$build/brightquill" "/P:$list /R:$reference" || true
    echo
    echo "Log ($demo/pdf/bnslog.csv):"
    # Records are separated by CR; show one a line.
    tr '\r' '\n' <"$demo/pdf/bnslog.csv" | sed '/^$/d' | sed 's/^/  /'
    echo
    echo "PDFs in $demo/pdf/$reference:"
    ls -l "$demo/pdf/$reference" 2>/dev/null | sed '1d; s/^/  /'
else
    echo "demo: starting the program with the sample list; press the order button"
    "$build/brightquill" "$list" || true
    # Cancel ends the program and starts a new copy of it: serve until the last one closes.
    while pgrep -f "^$build/brightquill" >/dev/null; do
        sleep 1
    done
fi
