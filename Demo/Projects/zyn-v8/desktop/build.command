#!/bin/bash
# Builds Zyn's desktop bundle and installs it. The bundle that it replaces goes to the product's trash.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=Demo/Projects/shared/steps.sh
. ../../shared/steps.sh

version=$(cat ../VERSION)
bundle=$home/Applications/Zyn.app
part=$home/Applications/.Zyn.app.part-$$
trap 'rm -rf "$part"' EXIT

step "Building Zyn.app $version"
compile "$PWD/build/Zyn" "$PWD/src" -DZYN_VERSION="\"$version\""
step "Putting the bundle together"
mkdir -p "$part/Contents/MacOS" "$part/Contents/Resources"
sed "s/@VERSION@/$version/g" Info.plist >"$part/Contents/Info.plist"
printf 'APPL????' >"$part/Contents/PkgInfo"
cp build/Zyn "$part/Contents/MacOS/Zyn"
cp Zyn.svg "$part/Contents/Resources/Zyn.svg"
step "Installing into ~/Applications"
if [ -e "$bundle" ] || [ -L "$bundle" ]; then
    move_to_trash "$bundle" Zyn.app
    step "  the bundle from before is in $(short "$trashed")"
fi
mv "$part" "$bundle" || stop "The new bundle could not be given its place; the old one is in the product's trash."
step "✓ Zyn.app $version is installed"
