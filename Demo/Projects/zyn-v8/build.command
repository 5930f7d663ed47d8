#!/bin/bash
# Builds Zyn's command line from its sources and installs it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=Demo/Projects/shared/steps.sh
. ../shared/steps.sh

version=$(cat VERSION)
commit=$(cat COMMIT)
step "Building zyn $version (${commit:0:8})"
compile "$PWD/build/zyn" "$PWD/src" -DZYN_VERSION="\"$version\"" -DZYN_COMMIT="\"$commit\""
step "  compiled $(find src -name '*.cpp' | wc -l | tr -d ' ') files"
step "Trying the build"
build/zyn --version | grep -q "^zyn $version\$" || stop "The build does not tell its version."
exec /bin/bash install.command
