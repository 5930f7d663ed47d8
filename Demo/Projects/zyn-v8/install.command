#!/bin/bash
# Installs the command line that build.command made.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=Demo/Projects/shared/steps.sh
. ../shared/steps.sh

[ -x build/zyn ] || stop "There is no build to install; run build.command first."
step "Installing into ~/.zyn/bin"
install_program build/zyn "$home/.zyn/bin/zyn"
printf '%s [install] zyn %s (%s) installed\n' "$(date '+%Y-%m-%d %H:%M:%S')" "$(cat VERSION)" "$(cat COMMIT)" \
    >>"$home/Library/Logs/zyn/install.log" 2>/dev/null || true
step "✓ zyn $(cat VERSION) is installed"
