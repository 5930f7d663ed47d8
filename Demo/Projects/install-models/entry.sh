# shellcheck shell=bash disable=SC2034,SC2154 # home comes from steps.sh, place goes to the scripts
# Reads a catalog entry for both scripts: read_entry SLUG

# The value of a key of the entry without its quotes; nothing when the key is absent.
value_of()
{
    sed -n "s/^$1[[:space:]]*=[[:space:]]*//p" "catalog/$slug/model.toml" | tail -n 1 \
        | sed -e 's/[[:space:]]*#.*//' -e 's/^"\(.*\)"$/\1/' -e "s/^'\(.*\)'\$/\1/"
}

read_entry()
{
    slug=$1
    case /$slug/ in
    // | *//* | */../* | */./*) stop "'$slug' is no name of a catalog entry." ;;
    esac
    [ -f "catalog/$slug/model.toml" ] || stop "The catalog has no entry '$slug'."
    repo=$(value_of repo)
    model=$(value_of model)
    case /$model/$repo/ in
    *//* | */../* | */./*) stop "The catalog entry '$slug' names no repo or no model inside the crucible." ;;
    esac
    place=$home/.zyn/crucible/models/$model
}
