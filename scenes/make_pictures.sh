#!/usr/bin/env bash
# Makes the pictures of README.md and of docs/ anew: scenes/make_pictures.sh [NAME ...]     all, or those of these names
# Needs build/release/lumorender and Debian's openimageio-tools. Nothing of how and where they were made is in the files.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
wanted=" ${*:-still_life cumulus interior harbor look_development wax helmet archive breakfast nodes rabbits passes scenes} "

# render SCENE [options]: leaves $work/SCENE.png, and its sheet of passes in $work/SCENE-passes.png
render() {
    local scene=$1 files
    shift
    [[ ! -f $work/$scene.png ]] || return 0
    mkdir "$work/$scene"
    build/release/lumorender -preview -file_dir "$work/$scene" "$@" "scenes/$scene.mi"
    files=("$work/$scene"/*-passes.png)
    cp "${files[0]}" "$work/$scene-passes.png"
    cp "${files[0]%-passes.png}.png" "$work/$scene.png"
}

# picture NAME OPERATIONS...: the JPEG file of that name, without metadata
picture() {
    local name=$1
    shift
    oiiotool "$@" --ch R,G,B --nosoftwareattrib --eraseattrib ".*" --compression jpeg:90 -o "docs/images/$name.jpg"
}

wants() { [[ $wanted == *" $1 "* ]]; }

if wants rabbits && [[ ! -f scenes/geometry/rabbits_hair.mi ]]; then scenes/generate.py --hair; fi
for scene in still_life cumulus interior harbor wax helmet nodes rabbits; do
    if wants $scene; then render $scene && picture $scene "$work/$scene.png"; fi
done
if wants breakfast; then  # which has no passes
    build/release/lumorender -preview -file_dir "$work" -samples 2 2 scenes/breakfast.mi
    picture breakfast "$work/breakfast.png"
fi
if wants archive; then  # which has no passes
    build/release/lumorender -preview -file_dir "$work" scenes/archive.mi
    picture archive "$work/archive.png"
fi
if wants look_development || wants passes; then render look_development -resolution 1200 675; fi
if wants look_development; then picture look_development "$work/look_development.png"; fi
if wants passes; then picture passes "$work/look_development-passes.png" --resize 1400x0; fi
if wants scenes; then
    for scene in teapots roundabout landscape halftone; do render "$scene"; done
    picture scenes "$work"/{teapots,roundabout,landscape,halftone}.png --mosaic:pad=8 2x2 --resize:filter=lanczos3 1368x770
fi
