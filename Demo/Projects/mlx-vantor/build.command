#!/bin/bash
# Builds the model server and installs it beside Zyn's command line.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=Demo/Projects/shared/steps.sh
. ../shared/steps.sh

version=$(cat VERSION)
step "Building mlx-vantor $version"
mkdir -p build
./compile "$version" build/mlx-vantor || stop "mlx-vantor could not be compiled."
step "Installing into ~/.zyn/bin"
install_program build/mlx-vantor "$home/.zyn/bin/mlx-vantor"
step "✓ mlx-vantor $version is installed; a running server goes on with the old one until it is restarted"
