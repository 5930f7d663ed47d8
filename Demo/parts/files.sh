# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# Putting files into the sample home. Places are given relative to it, times as YYYYMMDDhhmm.

folder_for()
{
    case $1 in
    */*) [ -d "$stage/${1%/*}" ] || mkdir -p "$stage/${1%/*}" ;;
    esac
}

# Standard input becomes the file: text TIME PLACE
text()
{
    local content=''
    folder_for "$2"
    IFS= read -r -d '' content || true
    printf '%s' "$content" >"$stage/$2"
    dated "$1" "$2"
}

# A file of that many bytes, the same ones for every file of that name: bytes TIME PLACE COUNT
bytes()
{
    printf '%s %s %s\n' "$1" "$3" "$2" >>"$stage/.table"
}

program()
{
    folder_for "$2"
    cp "$tools/$3" "$stage/$2"
    dated "$1" "$2"
}

dated()
{
    printf '%s - %s\n' "$1" "$2" >>"$stage/.table"
}

# Files of bytes are only noted, and so are times; one program does what was noted when all else is in its place.
do_what_was_noted()
{
    "$tools/fetch-weights" table "$stage" <"$stage/.table" || die "The files of the sample could not be written."
    rm "$stage/.table"
}

# A link to the absolute path of a place in the home.
link()
{
    folder_for "$1"
    ln -s "$home/$2" "$stage/$1"
}
