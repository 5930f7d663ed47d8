#!/bin/bash
# Installs one model of the catalog into the crucible: install-one-model.command SLUG
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=Demo/Projects/shared/steps.sh
. ../shared/steps.sh
# shellcheck source=Demo/Projects/install-models/entry.sh
. ./entry.sh

# A machine without a crucible gets one; a link that leads nowhere is the owner's to mend.
provide_crucible()
{
    local root=$home/.zyn/crucible
    if [ ! -e "$root" ] && [ ! -L "$root" ]; then
        mkdir -p "$home/.zyn-crucible" "$home/.zyn"
        ln -s "$home/.zyn-crucible" "$root"
    fi
    [ -d "$root" ] || stop "The crucible $root leads to a folder that is not there; set the crucible folder first."
}

# Weights that came with the catalog are copied and compared; others are fetched.
fetch_into()
{
    local bundled=../Models/$repo
    if [ -d "$bundled" ]; then
        step "  copying the weights that came with the catalog"
        cp -R "$bundled" "$1" || stop "The weights of $repo could not be copied."
        diff -r "$bundled" "$1" >/dev/null || stop "The copy of $repo is not what was copied."
    else
        step "  downloading $repo ($(value_of size))"
        tools/fetch-weights model "$model" "$(value_of files)" "$(value_of file_bytes)" "$1" \
            || stop "$repo could not be downloaded."
    fi
}

# The configured model is served from here when nothing is served yet.
serve_configured()
{
    local configured served=$home/.zyn/served-model
    configured=$(sed -n '/^mlx:$/,/^[^ ]*:$/s/^  *model: *//p' "$home/.zyn/defaults.yaml" 2>/dev/null | head -n 1)
    case $repo in
    */"$configured") ;;
    *) return 0 ;;
    esac
    [ -n "$configured" ] && [ ! -e "$served" ] && [ ! -L "$served" ] || return 0
    ln -s "$(cd "$final" && pwd -P)" "$served"
    step "  now served from ~/.zyn/served-model"
}

read_entry "${1:-}"
provide_crucible
final=$place/3_final
if [ -f "$final/config.json" ]; then
    step "✓ $model is installed already"
    serve_configured
    exit 0
fi
[ ! -L "$place" ] || [ -d "$place" ] || stop "$place is a link to a drive that is absent, so nothing was put there."
if [ -e "$final" ] || [ -L "$final" ]; then
    move_to_trash "$final" "${model//\//-}-unfinished"
    step "  an unfinished copy went to $(short "$trashed")"
fi
step "Installing $model"
mkdir -p "$place"
part=$place/.3_final.part-$$
trap 'rm -rf "$part"' EXIT
fetch_into "$part"
mv "$part" "$final" || stop "The weights could not be given their place $final."
step "✓ $model is installed in $(short "$final")"
serve_configured
