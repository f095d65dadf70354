#!/usr/bin/env bash
# Installs the packages that building and testing need (Debian 12, Ubuntu 22.04 and later). Does nothing, quickly, where
# all are there. Without root and sudo it says which are missing and fails.
set -euo pipefail

packages=(
    g++ clang-14 lld cmake ninja-build ccache python3
    libembree-dev libtbb-dev                         # ray tracing, threads
    libopenimageio-dev libopenexr-dev libimath-dev   # images in and out
    libopencolorio-dev                               # color transforms
    libcli11-dev libfmt-dev libboost1.81-dev         # command line, messages, compile-time reflection in the tests
    libgtest-dev libbenchmark-dev
)

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
    [[ $status == "install ok installed" ]] || missing+=("$package")
done
[[ ${#missing[@]} -gt 0 ]] || exit 0

if ! command -v apt-get >/dev/null; then
    echo "These packages are missing (Debian names), please install them: ${missing[*]}" >&2
    exit 1
fi
if [[ $(id -u) -eq 0 ]]; then
    asRoot=()
elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
    asRoot=(sudo)
elif command -v sudo >/dev/null && [[ -t 0 ]]; then
    asRoot=(sudo)
else
    echo "These packages are missing: ${missing[*]}" >&2
    echo "Please run as root: apt-get install ${missing[*]}" >&2
    exit 1
fi

echo "Installing ${missing[*]}"
"${asRoot[@]}" apt-get update -q
"${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
