# shellcheck shell=bash
# Configuring and building below build/. Sourced with the working directory at the root, after dependencies.sh.

cores()
{
    nproc 2>/dev/null || sysctl -n hw.ncpu
}

# Whether build/$1 was configured in this folder. After the checkout was moved or copied, it was not.
belongs_here()
{
    local home
    home=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "build/$1/CMakeCache.txt")
    [ "$home" -ef . ]
}

# Configures build/$1 with the other arguments for CMake if needed. ninja handles changed CMakeLists, but not presets.
configure()
{
    local name=$1 log="build/$1.configure.log" fresh=""
    shift
    if [ -f "build/$name/CMakeCache.txt" ]; then
        belongs_here "$name" || fresh=--fresh
    fi
    if [ -z "$fresh" ] && [ -f "build/$name/build.ninja" ] && [ ! CMakePresets.json -nt "build/$name/build.ninja" ]; then
        return
    fi
    mkdir -p build
    if ! cmake "$@" -B "build/$name" $fresh >"$log" 2>&1 </dev/null; then
        cat "$log" >&2
        fail "CMake could not configure build/$name."
    fi
    rm -f "$log"
}

# Builds the targets after $1, or all, in build/$1. Prints errors only; with keep_going set, not just the first.
build()
{
    local name=$1
    shift
    cmake --build "build/$name" --parallel "$(cores)" ${1+--target "$@"} -- --quiet ${keep_going:+-k 0} 2>&1 </dev/null |
        sed -e '/^ninja: no work to do\.$/d' -e '/^-- /d' >&2 ||
        fail "build/$name could not be built, see above."
}
