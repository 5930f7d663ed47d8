# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# What keeps the sample away from everything that is not a sample home.

marker_name=.sample-home
marker_line='A sample home made by Demo/make. It may be removed with everything in it.'

die()
{
    printf 'Demo/make: %s\n' "$1" >&2
    exit 1
}

# A text as one word of a shell's command line.
quoted()
{
    local escape="s/'/'\\\\''/g" text
    text=$(printf '%s' "$1" | sed "$escape")
    printf "'%s'" "$text"
}

# From what was typed: `home`, absolute with the links above it resolved, and its `parent` and `name`.
locate_home()
{
    [ -n "$folder" ] || die "An empty name is no folder to make a sample home in."
    case $folder in
    *[[:cntrl:]]* | *:*)
        die "The folder's name must hold no colon and no control character: it becomes part of a search path."
        ;;
    esac
    while [ "$folder" != / ] && [ "${folder%/}" != "$folder" ]; do folder=${folder%/}; done
    case ${folder##*/} in
    '' | . | ..) home=$(cd "$folder" 2>/dev/null && pwd -P) || die "There is no folder $folder." ;;
    *) home=$(existing_path "$folder") ;;
    esac
    name=${home##*/}
    parent=${home%/*}
    parent=${parent:-/}
}

# The path with its folder made absolute, as far as that folder exists.
existing_path()
{
    local above=. below=$1 missing=''
    case $1 in
    */*)
        above=${1%/*}/
        below=${1##*/}
        ;;
    esac
    while [ ! -d "$above" ]; do
        above=${above%/}
        missing=${above##*/}/$missing
        case $above in
        */*) above=${above%/*}/ ;;
        *) above=. ;;
        esac
    done
    above=$(cd "$above" && pwd -P)
    printf '%s' "${above%/}/$missing$below"
}

is_sample_home()
{
    local line=''
    [ -d "$home" ] && [ ! -L "$home" ] && [ -f "$home/$marker_name" ] && [ ! -L "$home/$marker_name" ] || return 1
    IFS= read -r line <"$home/$marker_name" || true
    [ "$line" = "$marker_line" ]
}

# The home folder that the system has on record for this user, whatever HOME says.
recorded_home()
{
    local user
    user=$(id -un 2>/dev/null) || return 0
    case $user in
    '' | *[!A-Za-z0-9._-]*) return 0 ;;
    esac
    eval "printf '%s' ~$user"
}

refuse_unfit_home()
{
    [ "$home" != / ] || die "The folder / is never made a sample home."
    if command -v iconv >/dev/null && ! printf '%s' "$home" | iconv -f UTF-8 -t UTF-8 >/dev/null 2>&1; then
        die "The folder's path is not UTF-8, and the sample's property lists could not name it."
    fi
    [ ! -L "$home" ] || die "$home is a link; name the folder itself."
    [ ! "$home" -ef "$(recorded_home)" ] || die "$home is your own home folder and is never made a sample home."
    if [ "$home" -ef "${HOME:-}" ] && ! is_sample_home; then
        die "$home is your own home folder and is never made a sample home."
    fi
    if [ -e "$home" ] && ! is_sample_home; then
        die "$home exists and is not a sample home made here, so nothing was written to it."
    fi
}

# One of the options that the home was made with; nothing without a home.
recorded()
{
    ! is_sample_home || sed -n "s/^$1=//p" "$home/$marker_name"
}

write_marker()
{
    printf '%s\n' "$marker_line" "label=$label" "port=$port" "programs=$programs" >"$stage/$marker_name"
}

# Only labels that the product's bundle prefix covers are found by a scan; the real product's own is never taken.
check_label()
{
    case $label in
    *[!A-Za-z0-9.-]*) misused "The label $label holds more than letters, digits, dots and hyphens." ;;
    com.zyn.?*) ;;
    *) misused "The label $label does not begin with com.zyn." ;;
    esac
    ! grep -q "^launch_agent = \"$label\"\$" "$resources/identity.toml" \
        || misused "The label $label is the real product's own."
}

check_port()
{
    case $port in
    '' | *[!0-9]* | ??????*) misused "The port $port is no number." ;;
    esac
    if [ "$port" -lt 1024 ] || [ "$port" -gt 65535 ]; then
        misused "The port $port does not lie between 1024 and 65535."
    fi
}

refuse_mounts()
{
    case $(mount) in
    *" on $home/"*) die "A file system is mounted inside $home; unmount it first, so that nothing on it is removed." ;;
    esac
}

# The home takes another name first, so that it is gone at once and no program sees half of it.
remove_home()
{
    is_sample_home || return 0
    refuse_mounts
    stop_server "$(recorded label)" "$(recorded programs)"
    local leaving=$parent/.$name.leaving-$$
    mv "$home" "$leaving" || die "$home could not be moved away."
    rm -rf "$leaving" 2>/dev/null || { chmod -R u+rwX "$leaving" 2>/dev/null || true; }
    rm -rf "$leaving" || die "Parts of the old sample home could not be removed: $leaving."
}
