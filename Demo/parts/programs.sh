# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# The sample's programs: taken from a build, or compiled here.

sample_version=0.4.2
sample_commit=3f9c2ab41d7e
program_names='zyn zyn-0.4.1 zyn-0.3.9 zyn-desktop mlx-vantor fetch-weights'

# Before anything is removed or written: a --programs folder that is incomplete is the caller's mistake. One that is
# only remembered may have gone since; then the programs are compiled.
check_programs()
{
    local program missing=''
    [ -n "$programs" ] || return 0
    for program in $program_names; do
        [ -x "$programs/$program" ] || missing=$program
    done
    if [ -n "$missing" ] && [ "$programs" = "$(recorded programs)" ]; then
        programs=''
    fi
    [ -z "$missing" ] || [ -z "$programs" ] || die "The folder $programs does not hold the program $missing."
    [ -z "$programs" ] || programs=$(cd "$programs" && pwd -P)
    [ -n "$programs" ] || command -v c++ >/dev/null \
        || die "A C++ compiler is needed where no --programs are given, and c++ was not found."
}

provide_programs()
{
    tools=$stage/.programs
    if [ -n "$programs" ]; then
        ln -s "$programs" "$tools"
    else
        mkdir "$tools"
        compile_programs || die "The sample's programs could not be compiled."
    fi
}

# All sources of a program in one pass, which takes a third of the time.
compile()
{
    local output=$1 sources=$2
    shift 2
    cat "$sources"/*.cpp | c++ -std=c++17 -I "$sources" "$@" -o "$output" -x c++ -
}

compile_programs()
{
    local projects=$demo/Projects jobs job
    compile "$tools/fetch-weights" "$projects/install-models/src" & jobs=$!
    compile "$tools/mlx-vantor" "$projects/mlx-vantor/src" -DVANTOR_VERSION='"1.6.2"' & jobs="$jobs $!"
    compile_zyn_versions "$projects/zyn-v8/src" & jobs="$jobs $!"
    compile "$tools/zyn-desktop" "$projects/zyn-v8/desktop/src" -DZYN_VERSION="\"$sample_version\"" & jobs="$jobs $!"
    for job in $jobs; do wait "$job" || return 1; done
}

# Of the three versions only the file that holds the version differs.
compile_zyn_versions()
{
    local sources=$1 common=$stage/.programs/common.o
    cat "$sources/main.cpp" "$sources/Preferences.cpp" | c++ -std=c++17 -I "$sources" -c -o "$common" -x c++ - \
        && link_zyn zyn "$sample_version" "$sample_commit" && link_zyn zyn-0.4.1 0.4.1 b07e51c2d9f3 \
        && link_zyn zyn-0.3.9 0.3.9 61d8aa5e0c42 && rm "$common"
}

link_zyn()
{
    c++ -std=c++17 -DZYN_VERSION="\"$2\"" -DZYN_COMMIT="\"$3\"" -o "$tools/$1" "$sources/Build.cpp" "$common"
}
