# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# The sample's descriptors, made from the built-in ones, and its environment.

# Moves every path that begins with "/" below the home.
relocated()
{
    sed -e '/^#/b' -e 's|"/|"~/|g' "$@"
}

make_descriptor()
{
    local database expected
    relocated -e "s|^launch_agent = .*|launch_agent = \"$label\"|" -e "s|^server_port = .*|server_port = \"$port\"|" \
        -e 's|^\(identity_marker = ".*\)"|\1-sample"|' "$resources/identity.toml" | text zyn.toml
    for expected in "launch_agent = \"$label\"" "server_port = \"$port\"" 'identity_marker = "[^"]*-sample"'; do
        grep -q "^$expected\$" "$stage/zyn.toml" || die "No line of $resources/identity.toml becomes $expected."
    done
    for database in "$resources"/databases/*.toml; do
        relocated "$database" | text "databases/${database##*/}"
    done
    { printf 'HOME=%s\n' "$(quoted "$home")" && environment; } | text sample-env.sh
}

environment()
{
    cat <<'EOF'
# Read this file with "." in a shell: programs that are started from it use the sample and not your own home.
CFFIXED_USER_HOME=$HOME
CM_IDENTITY_TOML=$HOME/zyn.toml
CM_PROJECT_DIR=$HOME/Projects/zyn-v8
CM_DATABASES_DIR=$HOME/databases
TMPDIR=$HOME/tmp
XDG_CACHE_HOME=$HOME/.cache
XDG_CONFIG_HOME=$HOME/.config
XDG_DATA_HOME=$HOME/.local/share
XDG_STATE_HOME=$HOME/.local/state
case :$PATH: in
*":$HOME/opt/scripts:"*) ;;
*) PATH=$PATH:$HOME/bin:$HOME/.local/bin:$HOME/opt/old/bin:$HOME/opt/scripts ;;
esac
export HOME CFFIXED_USER_HOME CM_IDENTITY_TOML CM_PROJECT_DIR CM_DATABASES_DIR TMPDIR PATH
export XDG_CACHE_HOME XDG_CONFIG_HOME XDG_DATA_HOME XDG_STATE_HOME
unset ZYN_CRUCIBLE_LOCAL ZYN_CRUCIBLE_ROOT
EOF
}
