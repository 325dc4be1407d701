#!/usr/bin/env bash
# The Debian package as a user gets it: built with CPack, its dependency list and contents
# checked with dpkg-deb, installed with apt-get, the installed program run (--version, and a
# command-line order against the installed simulator without a display), then removed. The
# desktop entry and the AppStream metainfo are validated as well. Needs root (CI runs as
# root); leaves the machine as it found it.
#
#   scripts/package-check.sh [package build folder]
set -euo pipefail

repo="$(cd "$(dirname "$0")/.." && pwd)"
cd "$repo"
pkgbuild="${1:-build-package}"
step() { echo "package-check: $*"; }
fail() { echo "package-check: FAILED: $*" >&2; exit 1; }

step "desktop entry and metainfo"
desktop-file-validate data/brightquill.desktop
appstreamcli validate --no-net --pedantic data/com.tarnwell.brightquill.metainfo.xml

step "building the package"
mkdir -p "$pkgbuild"
make --no-print-directory package PACKAGE_BUILD="$pkgbuild" >"$pkgbuild/make-package.log" 2>&1 ||
    { tail -40 "$pkgbuild/make-package.log" >&2; fail "make package"; }
deb="$(ls "$pkgbuild"/brightquill_*.deb)"
[ "$(echo "$deb" | wc -l)" -eq 1 ] || fail "expected one package, found: $deb"

step "dependencies and contents of $deb"
depends="$(dpkg-deb -f "$deb" Depends)"
echo "  Depends: $depends"
for lib in libqt6core6 libqt6gui6 libqt6widgets6 libqt6network6 libqt6dbus6 libqpdf; do
    grep -q "$lib" <<<"$depends" || fail "Depends does not name $lib"
done
contents="$(dpkg-deb -c "$deb" | awk '{print $6}')"
for file in ./usr/bin/brightquill ./usr/bin/brightquill-simulator \
    ./usr/share/applications/brightquill.desktop \
    ./usr/share/icons/hicolor/scalable/apps/brightquill.svg \
    ./usr/share/icons/hicolor/256x256/apps/brightquill.png \
    ./usr/share/metainfo/com.tarnwell.brightquill.metainfo.xml \
    ./usr/share/man/man1/brightquill.1 ./usr/share/brightquill-simulator/ca.pem; do
    grep -qx "$file" <<<"$contents" || fail "the package lacks $file"
done

step "installing"
if dpkg-query -W -f='${Status}' brightquill 2>/dev/null | grep -q "install ok installed"; then
    fail "brightquill is installed already; remove it first"
fi
work="$(mktemp -d)"
sim_pid=""
cleanup() {
    [ -n "$sim_pid" ] && { kill "$sim_pid" 2>/dev/null || true; wait "$sim_pid" 2>/dev/null || true; }
    rm -rf "$work"
    DEBIAN_FRONTEND=noninteractive apt-get remove -y -qq brightquill >/dev/null 2>&1 || true
}
trap cleanup EXIT
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "./$deb" >"$work/apt.log" 2>&1 ||
    { cat "$work/apt.log" >&2; fail "apt-get install"; }

step "the installed program"
version="$(/usr/bin/brightquill --version)"
echo "  $version"
grep -qE '^3\.0\.372 \(built [0-9]{4}-[0-9]{2}-[0-9]{2}\)$' <<<"$version" || fail "--version"
man -w brightquill >/dev/null 2>&1 || [ -f /usr/share/man/man1/brightquill.1 ] || fail "man page"

# A profile of its own: settings, documents and samples below the work folder.
export XDG_CONFIG_HOME="$work/config" XDG_CONFIG_DIRS="$work/xdg" XDG_DATA_HOME="$work/data"
export TMPDIR="$work/tmp" HOME="$work"
export BRIGHTQUILL_CA_FILE=/usr/share/brightquill-simulator/ca.pem
unset http_proxy https_proxy HTTP_PROXY HTTPS_PROXY no_proxy NO_PROXY
mkdir -p "$XDG_CONFIG_HOME/Tarnwell" "$XDG_CONFIG_DIRS" "$XDG_DATA_HOME" "$TMPDIR" "$work/pdf"
printf '[General]\nPDFDIR=%s\nTEMPDIR=%s\nACT=2\n' "$work/pdf" "$TMPDIR/brightquill" \
    >"$XDG_CONFIG_HOME/Tarnwell/brightquill.ini"
/usr/bin/brightquill-simulator --samples "$work/samples" \
    --write-roles 'HKEY_CURRENT_USER\Tarnwell\brightquill' 2>"$work/sim.log" &
sim_pid=$!
for _ in $(seq 1 300); do
    grep -q serving "$work/sim.log" 2>/dev/null && break
    kill -0 "$sim_pid" 2>/dev/null || { cat "$work/sim.log" >&2; fail "the simulator"; }
    sleep 0.1
done
grep -q serving "$work/sim.log" || fail "the simulator did not start"

rc=0
env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM timeout 300 \
    /usr/bin/brightquill "/P:EP1000001,JP2001123456,XX999 /R:CI" 2>"$work/order.txt" || rc=$?
sed 's/^/  /' "$work/order.txt"
[ "$rc" -eq 1 ] || fail "the order's exit code is $rc, not 1 (one number not found)"
grep -q "3 numbers, 1 delivered, 1 from cache, 1 not found" "$work/order.txt" || fail "summary"
log="$(tr '\r' '\n' <"$work/pdf/bnslog.csv")"
grep -q '"EP1000001","CI","Downloaded' <<<"$log" || fail "the log lacks EP1000001"
grep -q '"XX999","CI","Not found' <<<"$log" || fail "the log lacks XX999"
[ "$(head -c 4 "$work/pdf/CI/EP1000001.pdf")" = "%PDF" ] || fail "EP1000001.pdf"

step "removing"
kill "$sim_pid"
wait "$sim_pid" 2>/dev/null || true
sim_pid=""
DEBIAN_FRONTEND=noninteractive apt-get remove -y -qq brightquill >/dev/null
[ ! -e /usr/bin/brightquill ] || fail "brightquill is still there after the removal"
step "the package builds, installs, runs and goes again"
