# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# What tells the manager about the sample: its descriptors, and the environment to run it in.

# A descriptor of the real product's with every path that begins with "/" moved below the home.
relocated()
{
    sed -e '/^#/b' -e 's|"/|"~/|g' "$@"
}

make_descriptor()
{
    local file=zyn.toml database line
    relocated -e "s|^launch_agent = .*|launch_agent = \"$label\"|" -e "s|^server_port = .*|server_port = \"$port\"|" \
        -e 's|^\(identity_marker = ".*\)"|\1-sample"|' "$resources/identity.toml" | text 202609141034 $file
    for database in "$resources"/databases/*.toml; do
        relocated "$database" | text 202609141034 "databases/${database##*/}"
    done
    for line in "launch_agent = \"$label\"" "server_port = \"$port\"" 'identity_marker = "[^"]*-sample"'; do
        grep -q "^$line\$" "$stage/$file" \
            || die "The descriptor $resources/identity.toml no longer has the lines that the sample changes."
    done
    write_environment
}

write_environment()
{
    local place
    place=$(quoted "$home")
    cat >"$stage/sample-env.sh" <<EOF
# Read this with "." in a shell: what is started from it sees the sample and not your own home.
HOME=$place
EOF
    cat >>"$stage/sample-env.sh" <<'EOF'
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
