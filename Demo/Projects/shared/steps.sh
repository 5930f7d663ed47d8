# shellcheck shell=bash
# What the scripts of all projects share. They install into the home that the projects lie in, and into no other.

shared=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd -P)
home=${shared%/Projects/shared}

stop()
{
    printf '✗ %s\n' "$1" >&2
    exit 1
}

# A line of progress, with the pause of work that takes a moment.
step()
{
    printf '%s\n' "$1"
    sleep 0.05
}

# A path with "~" for the home.
short()
{
    case $1 in
    "$home"/*) printf '~%s' "${1#"$home"}" ;;
    *) printf '%s' "$1" ;;
    esac
}

[ -f "$home/.sample-home" ] || stop "These projects build and install only inside a sample home made by Demo/make."

# Compiles all sources of a folder in one pass: compile OUTPUT SOURCES [FLAG…]
compile()
{
    local output=$1 sources=$2
    shift 2
    command -v c++ >/dev/null || stop "A C++ compiler is needed, and c++ was not found."
    mkdir -p "${output%/*}"
    cat "$sources"/*.cpp | c++ -std=c++17 -I "$sources" "$@" -o "$output.part-$$" -x c++ - \
        || stop "${sources##*/} could not be compiled."
    mv -f "$output.part-$$" "$output"
}

# Writes the program beside its place first, so that nobody ever meets half of it: install_program FILE PLACE
install_program()
{
    local part=${2%/*}/.${2##*/}.part-$$
    [ ! -d "$2" ] || stop "$2 is a folder, so no program was put in its place."
    mkdir -p "${2%/*}"
    if ! { cp "$1" "$part" && chmod 755 "$part" && mv -f "$part" "$2"; }; then
        rm -f "$part"
        stop "$2 could not be installed."
    fi
}

# Moves an item to the product's own trash and names the place in `trashed`: move_to_trash ITEM NAME
move_to_trash()
{
    local place number=1
    place=$home/.zyn/trash/$2-$(date +%Y%m%d-%H%M%S)
    trashed=$place
    while [ -e "$trashed" ] || [ -L "$trashed" ]; do
        number=$((number + 1))
        trashed=$place-$number
    done
    mkdir -p "$home/.zyn/trash"
    mv "$1" "$trashed" || stop "$1 could not be moved to $trashed."
}
