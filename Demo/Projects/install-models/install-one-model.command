#!/bin/bash
# Installs one model of the catalog into the crucible: install-one-model.command SLUG
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=Demo/Projects/shared/steps.sh
. ../shared/steps.sh

# Creates the crucible on a machine without one. A link to an absent folder is for the user to correct.
provide_crucible()
{
    local root=$home/.zyn/crucible
    if [ ! -e "$root" ] && [ ! -L "$root" ]; then
        mkdir -p "$home/.zyn-crucible" "$home/.zyn"
        ln -s "$home/.zyn-crucible" "$root"
    fi
    [ -d "$root" ] || stop "The crucible $root is a link to an absent folder. Set the crucible folder first."
}

fetch_into()
{
    local bundled=../Models/$repo
    if [ -d "$bundled" ]; then
        step "  copying the weights that came with the catalog"
        cp -R "$bundled" "$1" || stop "The weights of $repo could not be copied."
    else
        step "  downloading $repo ($(value_of size))"
        ./fetch-weights "$model" "$(value_of weights)" "$1" || stop "$repo could not be downloaded."
    fi
}

# Links the configured model as the served one, unless there is a served model.
serve_configured()
{
    local configured served=$home/.zyn/served-model
    configured=$(sed -n '/^mlx:$/,/^[^ ]*:$/s/^  *model: *//p' "$home/.zyn/defaults.yaml" 2>/dev/null | head -n 1)
    if [ -n "$configured" ] && [ "${repo%/"$configured"}" != "$repo" ] && [ ! -e "$served" ] && [ ! -L "$served" ]; then
        ln -s "$(cd "$final" && pwd -P)" "$served"
        step "  now served from ~/.zyn/served-model"
    fi
}

read_entry "${1:-}"
provide_crucible
final=$installed/3_final
if [ -f "$final/config.json" ]; then
    step "✓ $model is installed already"
    serve_configured
    exit 0
fi
[ ! -L "$installed" ] || [ -d "$installed" ] || stop "$installed is a link to an absent drive. Nothing was installed."
if [ -e "$final" ] || [ -L "$final" ]; then
    move_to_trash "$final" "${model//\//-}-unfinished"
    step "  moved an unfinished copy to $(short "$trashed")"
fi
step "Installing $model"
mkdir -p "$installed"
part=$installed/.3_final.part-$$
trap 'rm -rf "$part"' EXIT
fetch_into "$part"
mv "$part" "$final" || stop "$final could not be installed."
step "✓ $model is installed in $(short "$final")"
serve_configured
