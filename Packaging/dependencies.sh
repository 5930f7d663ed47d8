# shellcheck shell=bash
# Installs what the project needs. Source it, then call `need GROUP...`: it prints one line that says what it installs and
# why, or nothing if nothing is missing. Groups: build, test, fuzz, bench, lint, cross, pack, ship.

# Columns: group; command that is looked for, or "-" to look for the package; Debian package; Homebrew formula. A system
# with "-" needs none.
dependency_table()
{
    cat <<'TABLE'
build  c++              g++                                  -
build  cmake            cmake                                cmake
build  ninja            ninja-build                          ninja
build  pkg-config       pkg-config                           pkgconf
build  -                libplist-dev                         libplist
build  -                nlohmann-json3-dev                   nlohmann-json
build  -                libutf8proc-dev                      utf8proc
build  -                libcli11-dev                         cli11
build  -                libglib2.0-dev                       -
build  -                qt6-base-dev                         qt
build  -                qt6-declarative-dev                  -
build  -                qt6-svg-dev                          -
build  -                qcoro-qt6-dev                        -
build  -                qt6-wayland                          -
build  -                qml6-module-qtqml                    -
build  -                qml6-module-qtqml-workerscript       -
build  -                qml6-module-qtquick                  -
build  -                qml6-module-qtquick-layouts          -
build  -                qml6-module-qtquick-templates        -
build  -                qml6-module-qtquick-window           -
build  -                qml6-module-qtquick-controls         -
build  -                qml6-module-qtquick-dialogs          -
build  -                qml6-module-qt-labs-folderlistmodel  -
test   -                libgtest-dev                         googletest
test   -                libgmock-dev                         -
test   dbus-daemon      dbus                                 -
test   -                systemd                              -
test   -                dbus-user-session                    -
test   mkfs.ext4        e2fsprogs                            -
test   mkfs.xfs         xfsprogs                             -
test   mkfs.btrfs       btrfs-progs                          -
test   setfattr         attr                                 -
test   -                locales                              -
test   pgrep            procps                               -
test   python3          python3                              -
test   mandoc           mandoc                               mandoc
test   zsh              zsh                                  -
test   fish             fish                                 fish
test   Xvfb             xvfb                                 -
test   xdotool          xdotool                              -
test   xclip            xclip                                -
test   -                at-spi2-core                         -
test   -                gir1.2-atspi-2.0                     -
test   -                python3-gi                           -
fuzz   clang++-19       clang-19                             -
fuzz   -                libclang-rt-19-dev                   -
bench  -                libbenchmark-dev                     google-benchmark
bench  python3          python3                              -
bench  rg               ripgrep                              ripgrep
bench  Xvfb             xvfb                                 -
bench  xdotool          xdotool                              -
bench  xclip            xclip                                -
bench  mkfs.xfs         xfsprogs                             -
bench  mkfs.btrfs       btrfs-progs                          -
lint   clang++-19       clang-19                             -
lint   clang-tidy-19    clang-tidy-19                        -
lint   clang-format-19  clang-format-19                      -
lint   shellcheck       shellcheck                           shellcheck
lint   python3          python3                              -
lint   git              git                                  -
lint   -                qt6-declarative-dev-tools            -
cross  npm              npm                                  node
cross  nm               binutils                             -
pack   dpkg-shlibdeps   dpkg-dev                             -
pack   file             file                                 -
ship   desktop-file-validate desktop-file-utils           -
ship   appstreamcli     appstream                            -
ship   man              man-db                               -
TABLE
}

# The purpose of a group, for the message.
dependency_purpose()
{
    case $1 in
    build) echo "the build needs" ;;
    test) echo "the tests need" ;;
    fuzz) echo "the fuzzers need" ;;
    bench) echo "the benchmarks need" ;;
    lint) echo "the lints need" ;;
    cross) echo "the check for macOS needs" ;;
    pack) echo "the package needs" ;;
    ship) echo "the check of the package needs" ;;
    *) fail "Unknown group of dependencies: \"$1\"." ;;
    esac
}

fail()
{
    echo "$*" >&2
    exit 1
}

# Users may not have sbin, where mkfs is, in their PATH.
has_command()
{
    [ "$1" != - ] && PATH="$PATH:/usr/sbin:/sbin" command -v "$1" >/dev/null
}

# The packages of a group without the commands that exist. Column 3 has Debian's names, 4 Homebrew's.
dependency_candidates()
{
    local wanted=$1 column=$2 group probe debian brew name
    while read -r group probe debian brew; do
        [ "$group" = "$wanted" ] || continue
        name=$debian
        [ "$column" = 3 ] || name=$brew
        [ "$name" = - ] || has_command "$probe" || echo "$name"
    done < <(dependency_table)
}

# The given Debian packages that are not installed.
missing_debian()
{
    local installed name
    # shellcheck disable=SC2016 # the fields are dpkg-query's
    installed=$(dpkg-query --show --showformat '${Package} ${db:Status-Status}\n' "$@" 2>/dev/null || true)
    for name in "$@"; do
        case $'\n'$installed$'\n' in
        *$'\n'"$name installed"$'\n'*) ;;
        *) echo "$name" ;;
        esac
    done
}

brew_prefix()
{
    local candidate
    for candidate in "${HOMEBREW_PREFIX:-}" /opt/homebrew /usr/local; do
        if [ -n "$candidate" ] && [ -x "$candidate/bin/brew" ]; then
            echo "$candidate"
            return
        fi
    done
    fail "Homebrew is needed to install what is missing. Install it as described on https://brew.sh."
}

missing_brew()
{
    local prefix name
    prefix=$(brew_prefix) || exit 1
    for name in "$@"; do
        [ -e "$prefix/opt/$name" ] || echo "$name"
    done
}

# Runs a command as root, with sudo if needed.
as_root()
{
    if [ "$(id -u)" = 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

apt_install()
{
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install --yes --quiet=2 --no-install-recommends \
        -o DPkg::Lock::Timeout=300 "$@" </dev/null
}

# Fetches the package lists only if the installation fails with the present ones.
install_debian()
{
    local log
    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null ||
        fail "Run \"apt-get install $*\" as root, then try again. There is no sudo to do it with."
    log=$(mktemp)
    if ! { apt_install "$@" || { as_root apt-get update --quiet=2 </dev/null && apt_install "$@"; }; } >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        fail "These packages could not be installed: $*."
    fi
    rm -f "$log"
}

install_brew()
{
    "$(brew_prefix)/bin/brew" install --quiet "$@" </dev/null >&2 || fail "These could not be installed with Homebrew: $*."
}

# On other systems, look for commands only. CMake reports missing libraries.
need_elsewhere()
{
    local wanted=" $* " group probe missing=""
    while read -r group probe _; do
        case $wanted in
        *" $group "*) [ "$probe" = - ] || has_command "$probe" || missing="$missing $probe" ;;
        esac
    done < <(dependency_table)
    [ -z "$missing" ] || fail "Install these programs first:$missing."
}

need()
{
    local system column group candidates missing purposes="" all=()
    case $(uname -s) in
    Darwin) system=brew column=4 ;;
    *) system=debian column=3 ;;
    esac
    if [ $system = debian ] && ! command -v apt-get >/dev/null; then
        need_elsewhere "$@"
        return
    fi
    if [ $system = brew ]; then
        c++ --version >/dev/null 2>&1 || fail "The compiler is missing: run \"xcode-select --install\" first."
    fi
    for group in "$@"; do
        dependency_purpose "$group" >/dev/null || exit 1
        candidates=$(dependency_candidates "$group" $column) || exit 1
        [ -n "$candidates" ] || continue
        # shellcheck disable=SC2086 # package names have no spaces
        missing=$("missing_$system" $candidates) || exit 1
        [ -n "$missing" ] || continue
        purposes="$purposes${purposes:+; }$(dependency_purpose "$group") ${missing//$'\n'/ }"
        # shellcheck disable=SC2206
        all+=($missing)
    done
    [ ${#all[@]} -eq 0 ] && return
    echo "Installing what is missing: $purposes." >&2
    "install_$system" "${all[@]}"
}
