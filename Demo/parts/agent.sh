# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# The sample's launch agent: its property list, and stopping it before its home goes away.

xml()
{
    printf '%s' "$1" | sed -e 's/&/\&amp;/g' -e 's/</\&lt;/g' -e 's/>/\&gt;/g' -e 's/"/\&quot;/g'
}

# A property list with one dictionary, its entries from standard input.
property_list()
{
    local entries=''
    IFS= read -r -d '' entries || true
    printf '%s\n' '<?xml version="1.0" encoding="UTF-8"?>' \
        '<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">' \
        '<plist version="1.0">' '<dict>'
    printf '%s</dict>\n</plist>\n' "$entries"
}

agent_entries()
{
    local place
    place=$(xml "$home")
    cat <<EOF
    <key>Label</key>
    <string>$label</string>
    <key>ProgramArguments</key>
    <array>
        <string>$place/.zyn/bin/mlx-vantor</string>
        <string>--model</string>
        <string>$place/.zyn/served-model</string>
        <string>--port</string>
        <string>$port</string>
    </array>
    <key>WorkingDirectory</key>
    <string>$place/.zyn</string>
    <key>EnvironmentVariables</key>
    <dict>
        <key>HOME</key>
        <string>$place</string>
        <key>PATH</key>
        <string>/usr/bin:/bin</string>
    </dict>
    <key>RunAtLoad</key>
    <true/>
    <key>KeepAlive</key>
    <dict>
        <key>SuccessfulExit</key>
        <false/>
    </dict>
    <key>ThrottleInterval</key>
    <integer>10</integer>
    <key>StandardOutPath</key>
    <string>$place/Library/Logs/zyn/mlx-vantor.log</string>
    <key>StandardErrorPath</key>
    <string>$place/Library/Logs/zyn/mlx-vantor.log</string>
EOF
}

# Takes the agent from the system's launchctl, else from the one that was built beside the sample's programs:
# boot_out LABEL PROGRAMS
boot_out()
{
    local launchctl=/bin/launchctl
    [ -x $launchctl ] || launchctl=${2%/*}/launchctl
    [ ! -x "$launchctl" ] || HOME=$home CFFIXED_USER_HOME=$home XDG_CONFIG_HOME=$home/.config \
        "$launchctl" bootout "gui/$(id -u)/$1" >/dev/null 2>&1 || true
}

# The processes of this home's own server, and of no other: by the path they were started with or, where the system
# tells, by the executable itself.
home_servers()
{
    local server=$home/.zyn/bin/mlx-vantor process started
    if [ -r /proc/self/cmdline ]; then
        for process in /proc/[0-9]*; do
            started=''
            { IFS= read -r -d '' started <"$process/cmdline"; } 2>/dev/null || true
            if [ "$started" = "$server" ] || [ "$process/exe" -ef "$server" ]; then
                printf '%s\n' "${process#/proc/}"
            fi
        done
    else
        ps -axww -o pid= -o comm= | while read -r process started; do
            [ "$started" != "$server" ] || printf '%s\n' "$process"
        done
    fi
}

signal_servers()
{
    local process
    for process in $(home_servers); do kill "-$1" "$process" 2>/dev/null || true; done
}

# The agent first, which would start the server again; then a server that was started by hand.
stop_server()
{
    boot_out "$1" "$2"
    signal_servers TERM
    local waited=0
    while [ -n "$(home_servers)" ]; do
        [ "$waited" -lt 50 ] || signal_servers KILL
        [ "$waited" -lt 60 ] || die "The server of $home could not be stopped, so its home was left as it is."
        sleep 0.1
        waited=$((waited + 1))
    done
}
