#!/usr/bin/env bash
# Checks that clang-format would leave every source file as it is: check-format.sh STAMP
# Another version than this one would not. Files that are older than STAMP, left by the last success, were good then.
set -euo pipefail
stamp=$(realpath -m "$1")
cd "$(dirname "${BASH_SOURCE[0]}")/.."

if ! command -v clang-format-19 >/dev/null; then
    echo "The formatting of the sources was not checked: clang-format-19 is not installed."
    exit 77
fi
[[ $stamp -nt .clang-format ]] || touch -d @0 "$stamp"
touch "$stamp.new"
find . \( -path ./build -o -path ./renders -o -name '.?*' \) -prune -o \( -name '*.[ch]' -o -name '*.cpp' \) \
    -newer "$stamp" -print0 | xargs -0 -r -n 40 -P "$(nproc)" clang-format-19 --dry-run -Werror
mv "$stamp.new" "$stamp"
