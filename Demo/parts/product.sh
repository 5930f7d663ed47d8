# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# What the product itself installed: executables, configuration, desktop bundle, and what older installs left about.

make_product()
{
    make_installation
    make_configuration
    make_bundle
    make_strays
    make_editor_extensions
}

make_installation()
{
    program 202609141032 .zyn/bin/zyn zyn
    program 202609141032 .zyn/bin/mlx-vantor mlx-vantor
    link .zyn/crucible .zyn-crucible
    link .zyn/served-model .zyn-crucible/models/zyn-labs/Vantor-7B/3_final
    printf 'zyn-labs.zyn-code 1.3.0\n' | text 202608210911 .zyn/plugins/editor-bridge/VERSION
    bytes 202610301744 .zyn/history/sessions.db 286720
    bytes 202606022210 .zyn/history/archive-2026-05.db 1540096
}

make_configuration()
{
    text 202609141035 .zyn/defaults.yaml <<EOF
# Zyn reads this file at every start.
default: mlx
providers: [mlx, lmstudio]
mlx:
  server: http://127.0.0.1:$port
  model: zyn-labs/Vantor-7B-4bit
  context: 16384
lmstudio:
  server: http://127.0.0.1:1234
  model: zyn-labs/Vantor-7B-4bit
EOF
    printf '[window]\ntheme = "paper"\nfont-size = 13\n' | text 202607190806 .config/zyn/desktop.toml
    printf '{"allow": ["git", "ls", "rg"], "deny": ["rm"]}\n' | text 202610021519 .config/zyn/permissions.json
    printf 'Answer briefly. Prefer plain words.\n' | text 202605110740 .zyn-code/instructions.md
    bytes 202611121803 .zyn-code/index.bin 421888
}

# The bundle of one version, below the place given first.
bundle()
{
    local version=$1 place=$2 time=$3
    sed "s/@VERSION@/$version/g" "$demo/Projects/zyn-v8/desktop/Info.plist" | text "$time" "$place/Contents/Info.plist"
    printf 'APPL????' | text "$time" "$place/Contents/PkgInfo"
    program "$time" "$place/Contents/MacOS/Zyn" zyn-desktop
    text "$time" "$place/Contents/Resources/Zyn.svg" <"$demo/Projects/zyn-v8/desktop/Zyn.svg"
    bytes "$time" "$place/Contents/Resources/window.pak" "$4"
}

make_bundle()
{
    bundle 0.4.2 Applications/Zyn.app 202609141040 1310144
    bundle 0.5.0-preview.3 'Applications/Zyn Preview.app' 202611051127 1498560
}

# Copies that the marker in them gives away, and namesakes without it.
make_strays()
{
    program 202602181655 bin/zyn zyn-0.3.9
    program 202606301204 opt/zyn-0.4.1/bin/zyn zyn-0.4.1
    program 202606301204 opt/zyn-0.4.1/bin/mlx-vantor mlx-vantor
    link opt/old/bin/zyn opt/zyn-0.4.1/bin/zyn
    link opt/old/bin/mlx-vantor opt/zyn-0.4.1/bin/mlx-vantor
    link .local/bin/zyn .zyn/bin/zyn
    printf '#!/bin/sh\n# A synthesiser front end of the same name.\necho "zyn: no sound device"\n' \
        | text 202512082013 opt/scripts/zyn
    chmod 755 "$stage/opt/scripts/zyn"
}

extension()
{
    local place=$2/extensions/$3-$4
    printf '{"publisher": "%s", "name": "%s", "version": "%s", "engines": {"vscode": "^1.80.0"}}\n' \
        "${3%%.*}" "${3#*.}" "$4" | text "$1" "$place/package.json"
    bytes "$1" "$place/dist/extension.js" "$5"
}

make_editor_extensions()
{
    extension 202604150922 .vscode zyn-labs.zyn-code 1.2.3 312457
    extension 202608210911 .cursor zyn-labs.zyn-code 1.3.0-universal 355120
    extension 202608210913 .vscode-oss zyn-labs.zyn-code 1.3.0 355120
    extension 202601071410 .vscode zyn-labs.zyn-theme 0.4.0 18211
    extension 202603271130 .vscode tidy-tools.spellcheck 4.1.0 201733
    extension 202603271131 .windsurf tidy-tools.spellcheck 4.1.0 201733
}
