# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# What the product's installers left: executables, configuration, bundles, editor extensions, projects. Paths are
# relative to the home.

# Sets `file` to a path of the new home and creates the folders above it.
place()
{
    file=$stage/$1
    [ -d "${file%/*}" ] || mkdir -p "${file%/*}"
}

# Standard input becomes the file: text PATH
text()
{
    place "$1"
    cat >"$file"
}

# One line becomes the file: line PATH TEXT
line()
{
    place "$1"
    printf '%s\n' "$2" >"$file"
}

# Files of a given size, as lines "SIZE PATH" on standard input. They have no holes, so they occupy that size.
sized_files()
{
    local size path
    while read -r size path; do
        place "$path"
        head -c "$size" < <(yes "$path" 2>/dev/null) >"$file"
    done
}

# A link to a path of the home: link PATH DESTINATION
link()
{
    place "$1"
    ln -s "$home/$2" "$file"
}

make_product()
{
    make_executables
    make_configuration
    make_bundle 0.4.2 'Applications/Zyn.app' 1322432
    make_bundle 0.5.0-preview.3 'Applications/Zyn Preview.app' 1510848
    make_editor_extensions
}

# Older copies contain the product's marker; the script of the same name in opt/scripts does not.
make_executables()
{
    mkdir -p "$stage/.zyn/bin" "$stage/opt/zyn-0.4.1/bin" "$stage/bin"
    "$demo/Projects/zyn-v8/compile" 0.4.2 3f9c2ab41d7e "$stage/.zyn/bin/zyn"
    "$demo/Projects/zyn-v8/compile" 0.4.1 b07e51c2d9f3 "$stage/opt/zyn-0.4.1/bin/zyn"
    "$demo/Projects/zyn-v8/compile" 0.3.9 61d8aa5e0c42 "$stage/bin/zyn"
    if [ -n "$programs" ]; then
        cp "$programs/mlx-vantor" "$stage/.zyn/bin/mlx-vantor"
    else
        "$demo/Projects/mlx-vantor/compile" 1.6.2 "$stage/.zyn/bin/mlx-vantor"
    fi
    cp "$stage/.zyn/bin/mlx-vantor" "$stage/opt/zyn-0.4.1/bin/mlx-vantor"
    link opt/old/bin/zyn opt/zyn-0.4.1/bin/zyn
    link opt/old/bin/mlx-vantor opt/zyn-0.4.1/bin/mlx-vantor
    link .local/bin/zyn .zyn/bin/zyn
    printf '#!/bin/sh\necho "zyn: no sound device"\n' | text opt/scripts/zyn
    chmod 755 "$stage/opt/scripts/zyn"
}

make_configuration()
{
    text .zyn/defaults.yaml <<EOF
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
    line .zyn/plugins/editor-bridge/VERSION 'zyn-labs.zyn-code 1.3.0'
    line .config/zyn/desktop.toml 'theme = "paper"'
    line .config/zyn/permissions.json '{"allow": ["git", "ls", "rg"], "deny": ["rm"]}'
    line .zyn-code/instructions.md 'Answer briefly.'
    sized_files <<'EOF'
286720 .zyn/history/sessions.db
1540096 .zyn/history/archive-2026-05.db
421888 .zyn-code/index.bin
EOF
}

make_bundle()
{
    mkdir -p "$stage/Applications"
    "$demo/Projects/zyn-v8/desktop/assemble" "$1" "$stage/$2"
    sized_files <<<"$3 $2/Contents/Resources/window.pak"
}

# An editor's extension: extension EDITOR_FOLDER PUBLISHER.NAME VERSION SIZE
extension()
{
    local path=$1/extensions/$2-$3
    line "$path/package.json" "{\"publisher\": \"${2%%.*}\", \"name\": \"${2#*.}\", \"version\": \"$3\"}"
    sized_files <<<"$4 $path/dist/extension.js"
}

make_editor_extensions()
{
    extension .vscode zyn-labs.zyn-code 1.2.3 312457
    extension .cursor zyn-labs.zyn-code 1.3.0-universal 355120
    extension .vscode-oss zyn-labs.zyn-code 1.3.0 355120
    extension .vscode zyn-labs.zyn-theme 0.4.0 18211
    extension .windsurf tidy-tools.spellcheck 4.1.0 201733
}

# The projects with the models and databases that come with them; of the databases, orchid is installed.
make_projects()
{
    cp -R "$demo/Projects" "$stage/Projects"
    model zyn-labs/Vantor-7B "3 2000000" Projects/Models/zyn-hub/zyn-labs/Vantor-7B-4bit
    model zyn-labs/Vantor-Draft "2 1000000" Projects/Models/zyn-labs/Vantor-Draft-8bit
    sized_files <<'EOF'
1843200 Projects/databases/orchid/segments/0001.bin
630784 Projects/databases/orchid/segments/0002.bin
811008 Projects/databases/quill/quill.db
EOF
    mkdir -p "$stage/.zyn/databases"
    cp -R "$stage/Projects/databases/orchid" "$stage/.zyn/databases/orchid"
}
