#!/bin/bash
# Takes one model of the catalog out of the crucible: uninstall-model.command SLUG
# Its weights go to the product's trash and nothing of them is deleted.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=Demo/Projects/shared/steps.sh
. ../shared/steps.sh
# shellcheck source=Demo/Projects/install-models/entry.sh
. ./entry.sh

read_entry "${1:-}"
if [ -L "$place" ]; then
    step "Removing the link to $model; its weights stay where it leads"
elif [ -d "$place" ]; then
    step "Removing $model"
else
    stop "$model is not installed in the crucible."
fi
move_to_trash "$place" "${model//\//-}"
step "✓ moved to $(short "$trashed")"
