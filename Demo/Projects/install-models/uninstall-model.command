#!/bin/bash
# Moves one model of the catalog from the crucible to the product's trash: uninstall-model.command SLUG
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=Demo/Projects/shared/steps.sh
. ../shared/steps.sh

read_entry "${1:-}"
if [ -L "$installed" ]; then
    step "Removing the link to $model; its weights stay where they are"
elif [ -d "$installed" ]; then
    step "Removing $model"
else
    stop "$model is not installed in the crucible."
fi
move_to_trash "$installed" "${model//\//-}"
step "✓ moved to $(short "$trashed")"
