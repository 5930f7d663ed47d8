# shellcheck shell=bash disable=SC2154,SC2034 # variables of Demo/make
# The folder of the sample home: its checks, its marker, and its removal together with its server.

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
    printf "'%s'" "$(printf '%s' "$1" | sed "s/'/'\\\\''/g")"
}

# Sets `home`, the absolute path of `folder` without links, and its `parent` and `name`.
locate_home()
{
    case $folder in
    '') die "The name of the folder is empty." ;;
    *[[:cntrl:]]* | *:*) die "The path contains a colon or a control character, which PATH or a property list cannot." ;;
    /*) ;;
    *) folder=./$folder ;;
    esac
    while [ "$folder" != / ] && [ "${folder%/}" != "$folder" ]; do folder=${folder%/}; done
    [ ! -L "$folder" ] || die "$folder is a link; give the folder itself."
    home=$(absolute "$folder")
    name=${home##*/}
    parent=${home%/*}
    parent=${parent:-/}
}

# The path without links, as far as its folders exist.
absolute()
{
    local above
    if [ -d "$1" ]; then
        (cd "$1" && pwd -P)
    else
        above=$(absolute "$(dirname "$1")")
        printf '%s/%s' "${above%/}" "${1##*/}"
    fi
}

is_sample_home()
{
    local line=''
    [ -d "$home" ] && [ -f "$home/$marker_name" ] && [ ! -L "$home/$marker_name" ] || return 1
    IFS= read -r line <"$home/$marker_name" || true
    [ "$line" = "$marker_line" ]
}

# The user's own home is compared by the system's record: inside a sample, HOME is the sample itself.
refuse_unfit_home()
{
    [ "$home" != / ] || die "The folder / cannot be a sample home."
    case $home/ in
    */../*) die "There is no folder $folder." ;;
    esac
    if command -v iconv >/dev/null && ! printf '%s' "$home" | iconv -f UTF-8 -t UTF-8 >/dev/null 2>&1; then
        die "The path is not UTF-8, so a property list cannot contain it."
    fi
    [ ! "$home" -ef "$(eval "printf '%s' ~$(id -un)")" ] || die "$home is your own home folder."
    [ ! -e "$home" ] || is_sample_home || die "$home exists and is not a sample home. Nothing was changed."
}

# An option that the existing home was made with; empty without a home.
recorded()
{
    ! is_sample_home || sed -n "s/^$1=//p" "$home/$marker_name"
}

write_marker()
{
    printf '%s\n' "$marker_line" "label=$label" "port=$port" "programs=$programs" >"$stage/$marker_name"
}

# A scan finds only agents with the product's prefix.
check_label()
{
    case $label in
    *[!A-Za-z0-9.-]*) usage_error "The label $label contains more than letters, digits, dots and hyphens." ;;
    com.zyn.?*) ;;
    *) usage_error "The label $label does not begin with com.zyn." ;;
    esac
    ! grep -q "^launch_agent = \"$label\"\$" "$resources/identity.toml" \
        || usage_error "The label $label belongs to the real product."
}

check_port()
{
    case $port in
    '' | *[!0-9]* | ??????*) usage_error "The port $port is not a number." ;;
    esac
    if [ "$port" -lt 1024 ] || [ "$port" -gt 65535 ]; then
        usage_error "The port $port is not between 1024 and 65535."
    fi
}

refuse_mounts()
{
    case $(mount) in
    *" on $home/"*) die "A file system is mounted inside $home. Unmount it first, so that nothing on it is removed." ;;
    esac
}

# Removes the agent with the system's launchctl, or with the one of the build.
boot_out()
{
    local launchctl=/bin/launchctl
    [ -x $launchctl ] || launchctl=$(dirname "$(recorded programs)")/launchctl
    [ ! -x "$launchctl" ] || HOME=$home CFFIXED_USER_HOME=$home XDG_CONFIG_HOME=$home/.config \
        "$launchctl" bootout "gui/$(id -u)/$(recorded label)" >/dev/null 2>&1 || true
}

# The processes that were started with the path of this home's server.
home_servers()
{
    local server=$home/.zyn/bin/mlx-vantor process started
    if [ -r /proc/self/cmdline ]; then
        for process in /proc/[0-9]*; do
            started=''
            { IFS= read -r -d '' started <"$process/cmdline"; } 2>/dev/null || true
            [ "$started" != "$server" ] || printf '%s\n' "${process#/proc/}"
        done
    else
        ps -axww -o pid= -o comm= | while read -r process started; do
            [ "$started" != "$server" ] || printf '%s\n' "$process"
        done
    fi
}

# The agent is removed first, because it would start the server again.
stop_server()
{
    local attempt process
    boot_out
    for attempt in TERM 0 0 0 0 0 0 0 0 0 KILL 0 0 0 0; do
        [ -n "$(home_servers)" ] || return 0
        for process in $(home_servers); do kill "-$attempt" "$process" 2>/dev/null || true; done
        sleep 0.2
    done
    [ -z "$(home_servers)" ] || die "The server of $home could not be stopped. Nothing was removed."
}

# The home is renamed first, so that no program sees a part of it.
remove_home()
{
    is_sample_home || return 0
    refuse_mounts
    stop_server
    local leaving=$parent/.$name.leaving-$$
    mv "$home" "$leaving" || die "$home could not be renamed. Nothing was removed."
    chmod -R u+rwX "$leaving" 2>/dev/null || true
    rm -rf "$leaving" || die "Parts of the old sample home could not be removed: $leaving."
}
