#!/bin/sh
# check_symbols.sh MODULE MAP: the module exports exactly what the map names, needs no renderer function at load time,
# and holds no writable data but what the design allows.
set -eu
module=$1 map=$2
for file in "$module" "$map"; do
    [ -r "$file" ] || { echo "$file: cannot be read"; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

nm -D --defined-only "$module" | awk '{print $NF}' | sort > "$work/exported"
grep -oE '^ +[A-Za-z_0-9]+;' "$map" | tr -d ' ;' | sort > "$work/wanted"
if ! diff "$work/wanted" "$work/exported" > "$work/difference"; then
    echo "$module: exports differ from $map (< wanted, > exported):"
    cat "$work/difference"
    exit 1
fi

if nm -D --undefined-only "$module" | awk '{print $2}' | grep '^mi_'; then
    echo "$module: these renderer functions are called past the binding"
    exit 1
fi

# Writable data: objects in .data and .bss. Constants that need relocation are read-only once the module is loaded.
readelf -SW "$module" | sed 's/^ *\[ *\([0-9]*\)\] */\1 /' \
    | awk '$2 == ".data" || $2 == ".bss" {print $1}' > "$work/sections"
readelf -sW "$module" | awk '$4 == "OBJECT" {print $7, $8}' | while read -r section name; do
    if grep -qx "$section" "$work/sections"; then echo "${name%.0}"; fi
done | c++filt | sort -u > "$work/writable"

cat > "$work/allowed" <<'END'
VEXA_BLACK
VEXA_WHITE
lumo::mi_[a-zA-Z0-9_]+
lumo::\(anonymous namespace\)::rendererModule
lumo::\(anonymous namespace\)::poolList
__dso_handle
__TMC_(END|LIST)__
completed
DW\.ref\..*
END
if grep -vxE -f "$work/allowed" "$work/writable" > "$work/unexpected"; then
    echo "$module: writable data that the design does not know:"
    cat "$work/unexpected"
    exit 1
fi
echo "$module: $(wc -l < "$work/exported") exports as in the map, writable data as designed"
