#!/usr/bin/env bash
# An unattended order on a machine without a display, every host pointed at a closed port:
# the program must end by itself, make the order folder and tell its progress on stderr.
set -u
program="$1"
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1]); s.close()')
mkdir -p "$root/config/Tarnwell"
{
    echo "[General]"
    echo "PDFDIR=$root/pdf"
    echo "TEMPDIR=$root/tmp"
    echo "EPOSERVER=127.0.0.1:$port"
    for role in CompanyWebHost CompanyLookupHost CompanyServicesHost CompanyMirrorHost \
                CompanyImageHost EspacenetNationalHost EspacenetSiteHost UsptoPdfPatentHost \
                UsptoPdfApplicationHost UsptoPatentTextHost UsptoApplicationTextHost \
                UsptoPatentViewerHost1 UsptoPatentViewerHost2 UsptoPatentViewerHost3 \
                UsptoApplicationViewerHost1 UsptoApplicationViewerHost2 CipoHost IpAustraliaHost \
                EpolineHost InpiHost OepmHost SipoPatentHost CnpatSearchHost FipsHost KiprisHost \
                KiprisOldHost; do
        echo "$role=127.0.0.1:$port"
    done
} > "$root/config/Tarnwell/brightquill.ini"

env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM -u http_proxy -u https_proxy -u HTTP_PROXY -u HTTPS_PROXY \
    XDG_CONFIG_HOME="$root/config" XDG_CONFIG_DIRS="$root/xdg" XDG_DATA_HOME="$root/data" \
    HOME="$root/home" TMPDIR="$root" LC_ALL=C \
    timeout 120 "$program" "/P:EP1234567,WO0012345 /R:CASE 7" 2> "$root/stderr.txt"
rc=$?
fail=0
[ $rc -eq 0 ] || { echo "exit code $rc (124 means it did not end by itself)"; fail=1; }
[ -d "$root/pdf/CASE_7" ] || { echo "no CASE_7 folder under PDFDIR"; fail=1; }
grep -q "EP1234567" "$root/stderr.txt" || { echo "no status line for EP1234567 on stderr"; fail=1; }
grep -q "WO0012345" "$root/stderr.txt" || { echo "no status line for WO0012345 on stderr"; fail=1; }
grep -q '"EP1234567","CASE 7"' "$root/pdf/bnslog.csv" 2>/dev/null || { echo "no log line for EP1234567"; fail=1; }
# Nothing is written outside PDFDIR, TEMPDIR and the application folder.
outside=$(cd "$root" && find . -type f ! -path './pdf/*' ! -path './tmp/*' ! -path './data/*' \
          ! -path './config/*' ! -path './runtime-*' ! -name stderr.txt | head)
[ -z "$outside" ] || { echo "files outside the program's folders: $outside"; fail=1; }
if [ $fail -ne 0 ]; then
    echo "--- stderr:"; cat "$root/stderr.txt"; exit 1
fi
echo "command-line order ended by itself; $(wc -l < "$root/stderr.txt") status lines on stderr"
