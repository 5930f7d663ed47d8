#!/bin/bash
# Builds Zyn's desktop bundle and installs it. The old bundle is moved to the product's trash.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=Demo/Projects/shared/steps.sh
. ../../shared/steps.sh

version=$(cat ../VERSION)
bundle=$home/Applications/Zyn.app
part=$home/Applications/.Zyn.app.part-$$
trap 'rm -rf "$part"' EXIT

step "Building Zyn.app $version"
step "Putting the bundle together"
./assemble "$version" "$part" || stop "Zyn.app could not be built."
step "Installing into ~/Applications"
if [ -e "$bundle" ] || [ -L "$bundle" ]; then
    move_to_trash "$bundle" Zyn.app
    step "  the bundle from before is in $(short "$trashed")"
fi
mv "$part" "$bundle" || stop "Zyn.app could not be installed. The old bundle is in the product's trash."
step "✓ Zyn.app $version is installed"
