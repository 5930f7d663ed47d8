#!/bin/bash
# Builds Zyn's command line from its sources and installs it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=Demo/Projects/shared/steps.sh
. ../shared/steps.sh

version=$(cat VERSION)
commit=$(cat COMMIT)
step "Building zyn $version (${commit:0:8})"
mkdir -p build
./compile "$version" "$commit" build/zyn || stop "zyn could not be built."
step "  compiled $(find src -name '*.sh' | wc -l | tr -d ' ') files"
step "Trying the build"
build/zyn --version | grep -q "^zyn $version\$" || stop "The build does not print its version."
step "Installing into ~/.zyn/bin"
install_program build/zyn "$home/.zyn/bin/zyn"
step "✓ zyn $version is installed"
