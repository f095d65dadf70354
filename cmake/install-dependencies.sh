#!/usr/bin/env bash
# Installs the Debian packages that jobs need: install-dependencies.sh [run] [test] [clang] [fuzz] [bench] [vdb] [farm]
# Does nothing, quickly, where all are there. Without root and sudo it says which are missing and fails.
set -euo pipefail

packages=()
for job in "$@"; do
    case $job in
        run) packages+=(
            g++ cmake ninja-build
            libembree-dev libtbb-dev                         # ray tracing, threads
            libosd-dev                                       # limits of subdivision surfaces
            libopenimageio-dev libopenexr-dev libimath-dev   # images in and out
            libopencolorio-dev                               # color transforms
            libcli11-dev libfmt-dev                          # command line, messages
            python3                                          # makes what is too large to be checked in
        ) ;;
        test) packages+=(
            libgtest-dev clang-format-19
            python3    # noise tables, count of cases
            valgrind   # instructions of a sample
        ) ;;
        clang) packages+=(clang) ;;
        fuzz) packages+=(clang libclang-rt-dev) ;;
        bench) packages+=(libbenchmark-dev python3) ;;
        farm) packages+=(slurm-wlm munge) ;;   # tests/farm, which runs on request only
        vdb) packages+=(libopenvdb-dev libtbb-dev libimath-dev) ;;   # tools/vdb2grid, which nothing else needs
        *) echo "There is no job $job; jobs are run, test, clang, fuzz, bench, vdb and farm." >&2; exit 2 ;;
    esac
done

if ! command -v apt-get >/dev/null; then
    echo "Packages are installed on Debian only. There they are called ${packages[*]}."
    exit 0
fi

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
    [[ $status == "install ok installed" ]] || missing+=("$package")
done
# The formatter's package is named by its version. Where there is none, the one test that needs it says so.
isOffered() { [[ $1 != clang-format-19 ]] || apt-cache show "$1" >/dev/null 2>&1; }
if [[ ${missing[*]-} == clang-format-19 ]] && ! isOffered clang-format-19; then exit 0; fi
[[ ${#missing[@]} -gt 0 ]] || exit 0

asRoot=()
if [[ $(id -u) -ne 0 ]]; then
    asRoot=(sudo)
    if ! command -v sudo >/dev/null || { ! sudo -n true 2>/dev/null && [[ ! -t 0 ]]; }; then
        echo "These packages are missing. Please run as root: apt-get install ${missing[*]}" >&2
        exit 1
    fi
fi
"${asRoot[@]}" apt-get update -q
available=()
for package in "${missing[@]}"; do
    if isOffered "$package"; then available+=("$package"); fi
done
echo "Installing ${available[*]}"
"${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${available[@]}"
