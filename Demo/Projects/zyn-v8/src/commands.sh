# shellcheck shell=sh disable=SC2154 # variables of version.sh

program=$0
[ ! -L "$program" ] || program=$(readlink -f "$program")
bin=$(cd "${program%/*}" && pwd -P)

case ${1:-} in
--version)
    printf 'zyn %s\ncommit: %s\n' "$version" "$commit"
    seed_configuration "$bin"
    ;;
serve)
    shift
    exec "$bin/mlx-vantor" "$@"
    ;;
identity) printf '%s\n' "$identity_marker" ;;
*)
    printf '%s\n' 'usage: zyn --version' \
        '       zyn serve --model FOLDER --port N [--log FILE]   start the local model server' \
        '       zyn identity                                     print the marker of the program'
    ;;
esac
exit # only padding follows
