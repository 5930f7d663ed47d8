# shellcheck shell=bash disable=SC2034 # variables for the scripts
# Functions of the projects' scripts. They install only into the sample home that contains the projects.

shared=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd -P)
home=${shared%/Projects/shared}

stop()
{
    printf '✗ %s\n' "$1" >&2
    exit 1
}

# Prints a line of progress and pauses for a moment, as real work does.
step()
{
    printf '%s\n' "$1"
    sleep 0.05
}

# A path with "~" for the home.
short()
{
    printf '~%s' "${1#"$home"}"
}

[ -f "$home/.sample-home" ] || stop "These projects build and install only inside a sample home made by Demo/make."

# Installs under a temporary name and renames: install_program FILE DESTINATION
install_program()
{
    local part=${2%/*}/.${2##*/}.part-$$
    [ ! -d "$2" ] || stop "$2 is a folder. Nothing was installed."
    mkdir -p "${2%/*}"
    if ! { cp "$1" "$part" && chmod 755 "$part" && mv -f "$part" "$2"; }; then
        rm -f "$part"
        stop "$2 could not be installed."
    fi
}

# Moves an item to the product's own trash and sets `trashed` to its path there: move_to_trash ITEM NAME
move_to_trash()
{
    local path number=1
    path=$home/.zyn/trash/$2-$(date +%Y%m%d-%H%M%S)
    trashed=$path
    while [ -e "$trashed" ] || [ -L "$trashed" ]; do
        number=$((number + 1))
        trashed=$path-$number
    done
    mkdir -p "$home/.zyn/trash"
    mv "$1" "$trashed" || stop "$1 could not be moved to $trashed."
}

# Reads an entry of the model catalog: sets `repo`, `model` and `installed`, the model's folder in the crucible.
read_entry()
{
    entry=catalog/$1/model.toml
    case /$1/ in
    // | *//* | */../* | */./*) stop "'$1' is not a name of a catalog entry." ;;
    esac
    [ -f "$entry" ] || stop "The catalog has no entry '$1'."
    repo=$(value_of repo)
    model=$(value_of model)
    case /$model/$repo/ in
    *//* | */../* | */./*) stop "The catalog entry '$1' does not give a repo and a model inside the crucible." ;;
    esac
    installed=$home/.zyn/crucible/models/$model
}

# The value of a key of the entry, without quotes.
value_of()
{
    sed -n "s/^$1 *= *[\"']*\([^\"'#]*[^\"'# ]\).*/\1/p" "$entry"
}
