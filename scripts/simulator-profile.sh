# Sourced by demo.sh and order.sh: a settings profile of its own below a folder (the user's
# own settings and documents are never touched), the office simulator on loopback serving
# every host role, and its hosts written into that profile.
#
#   start_simulator <build folder> <profile folder> [more options of bqsim]
# leaves SIM_PID, SETTINGS and the XDG variables set, and stops the simulator on exit.

start_simulator() {
    local build="$1" profile="$2" repo program role
    shift 2
    repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
    for program in bqsim brightquill; do
        if [ ! -x "$build/$program" ]; then
            echo "$build/$program is missing; build first (make program)" >&2
            exit 2
        fi
    done
    mkdir -p "$profile/config/Tarnwell" "$profile/xdg" "$profile/data" "$profile/tmp" \
        "$profile/pdf" "$profile/samples"
    export XDG_CONFIG_HOME="$profile/config"
    export XDG_CONFIG_DIRS="$profile/xdg"
    export XDG_DATA_HOME="$profile/data"
    export TMPDIR="$profile/tmp"
    # The simulator's https hosts use the test certificate; trust it for this run only.
    export BRIGHTQUILL_CA_FILE="$repo/tests/support/tls/ca.pem"
    unset http_proxy https_proxy HTTP_PROXY HTTPS_PROXY no_proxy NO_PROXY

    SETTINGS="$profile/config/Tarnwell/brightquill.ini"
    # Every host role first points at a loopback port where nobody listens, so that nothing
    # leaves the machine; the simulator then writes the roles it serves.
    {
        echo "[General]"
        echo "PDFDIR=$profile/pdf"
        echo "TEMPDIR=$profile/tmp/brightquill"
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
    } >"$SETTINGS"

    "$build/bqsim" --samples "$profile/samples" \
        --tls-cert "$repo/tests/support/tls/server.pem" --tls-key "$repo/tests/support/tls/server.key" \
        --write-roles 'HKEY_CURRENT_USER\Tarnwell\brightquill' --print-roles "$@" \
        >"$profile/roles.txt" 2>"$profile/bqsim.log" &
    SIM_PID=$!
    trap 'kill "$SIM_PID" 2>/dev/null || true; wait "$SIM_PID" 2>/dev/null || true' EXIT
    for _ in $(seq 1 300); do
        grep -q "serving" "$profile/bqsim.log" 2>/dev/null && return 0
        if ! kill -0 "$SIM_PID" 2>/dev/null; then
            echo "the simulator did not start:" >&2
            cat "$profile/bqsim.log" >&2
            exit 2
        fi
        sleep 0.1
    done
    echo "the simulator did not start within 30 seconds" >&2
    exit 2
}
