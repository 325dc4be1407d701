#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests and the demo need, when missing.
set -euo pipefail
pkgs=(cmake ninja-build g++ pkg-config qt6-base-dev libgl-dev libqpdf-dev qpdf libssl-dev
      openssl libtiff-tools poppler-utils libcpp-httplib-dev googletest libgtest-dev libgmock-dev
      libbenchmark-dev procps python3 xvfb xauth clang-16 libclang-rt-16-dev desktop-file-utils
      appstream dpkg-dev file)
missing=()
for p in "${pkgs[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "Installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null; then sudo="sudo"; else
        echo "Missing packages and no root rights: ${missing[*]}" >&2; exit 1
    fi
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
